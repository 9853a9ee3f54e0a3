/// Serving and mounting.
#include "Mounts.h"

#include <gantry/runtime/fen/Exception.h>

namespace Bench {

Serving::Serving(std::uint32_t rows, char const* sysname)
   : gauge_(gaugeFactory("gauge")), table_(portTableFactory("ports")) {
   auto const root = Fen::dirFactory("served");
   root->entityPtrIs(gauge_);
   root->entityPtrIs(table_);
   for (std::uint32_t i = 0; i < rows; ++i) {
      table_->portIs(Fen::Name(rowName(i)))->descriptionIs(Fen::String8(rowText(i)));
   }
   server_ = Cairn::serverFactory(sysname, root, Nimet::IpAddr("127.0.0.1"), 0);
}

void Mounting::Completion::doMountsComplete(Cairn::MountStatus status,
                                            Fen::Ptr<Cairn::EntityManager> const& manager) {
   if (status != Cairn::mountStatusSuccess) {
      fail(manager->reason().charPtr());
   }
   isMounted = true;
}

Mounting::Mounting(MountWish const& wish)
   : client_(wish.client), entity_(wish.entity),
     manager_(Fen::makePtr<Cairn::EntityManager>(Fen::Name(wish.client))),
     completion_(Fen::makePtr<Completion>("completion")) {
   // A type is known to a process from its first use on.
   Gauge::_fwkType();
   PortTable::_fwkType();
   Port::_fwkType();
   std::string const target = wish.client + "/" + wish.entity;
   std::string const remote = std::string(wish.sysname) + "/" + wish.entity;
   double const timeout = 60.0;
   manager_->doInit(wish.sysname, Fen::String8(target), Fen::String8(remote), wish.port,
                    "127.0.0.1", Fen::String8(wish.ownConnection ? wish.client : std::string()),
                    false, false, timeout, false, "", true, false, true);
   auto const group = manager_->getPersistentMountGroup(completion_);
   group->doMount(Cairn::Mount("", wish.type, "rt"));
   group->doClose(false, "", 0.0);
}

Mounting::~Mounting() {
   if (manager_) {
      manager_->doCleanup();
   }
}

Fen::Ptr<Fen::Entity> Mounting::found() const {
   auto const directory = Fen::ptrCast<Fen::Dir>(Fen::root()->entityPtr(Fen::Name(client_)));
   return directory ? directory->entityPtr(entity_) : Fen::Ptr<Fen::Entity>();
}

void runUntil(std::function<bool()> const& condition) {
   while (!condition()) {
      Fen::ActivityLoop::instance().runOnce(0.01);
   }
}

std::uint16_t portOf(Board const& board) {
   while (board.port == 0) {
      sleepFor(1'000'000);
   }
   return static_cast<std::uint16_t>(board.port);
}

} // namespace Bench
