/// The bodies of the mount group.
#include <gantry/runtime/cairn/Backend.h>
#include <gantry/runtime/cairn/EntityManager.h>
#include <gantry/runtime/cairn/MountGroup.h>

namespace Cairn {

MountGroup::MountGroup(EntityManager* manager, Fen::Ptr<Mounter> const& mounter)
   : manager_(manager), mounter_(mounter) {}
MountGroup::~MountGroup() = default;

Fen::Ptr<EntityManager> MountGroup::entityManager() const {
   return Fen::Ptr<EntityManager>(manager_);
}

void MountGroup::doMount(Mount const& mount) {
   if (closed_) {
      Fen::throwInternalException("mount group is closed");
   }
   mount_.push_back(mount);
   if (manager_ != nullptr) {
      manager_->call(ClientCall::doMount, this);
   }
}

void MountGroup::doClose(bool reserved1, Fen::String8 reserved2, double const& reserved3) {
   if (closed_) {
      return;
   }
   closed_ = true;
   closeReserved1_ = reserved1;
   closeReserved2_ = reserved2;
   closeReserved3_ = reserved3;
   if (Fen::Ptr<EntityManager> const manager = entityManager()) {
      // The backend may let go of the last reference to either.
      Fen::Ptr<MountGroup> const self(this);
      manager->call(ClientCall::doClose, this);
      if (!manager->cleanedUp_) {
         manager->backend()->handleClose(*manager, self);
      }
   }
}

} // namespace Cairn
