/// Managers and links of the default backend.
#include <gantry/runtime/cairn/EntityManager.h>
#include <gantry/runtime/cairn/TcpBackend.h>

namespace Cairn {

namespace {

std::uint32_t seed() {
   std::uint32_t const wanted = tcpConfig().seed;
   return wanted != 0 ? wanted : std::random_device()();
}

} // namespace

TcpConfig& tcpConfig() {
   static auto* const config = new TcpConfig;
   return *config;
}

TcpBackend::TcpBackend() : later_(Fen::makePtr<Later>()), random_(seed()) {
   // A mount of a directory names this type before anything else has used it.
   Fen::Dir::_fwkType();
}

TcpBackend::~TcpBackend() {
   for (auto const& [key, link] : links_) {
      link->userDel();
   }
}

Fen::Ptr<ManagerWork> TcpBackend::workOf(EntityManager& manager) {
   Fen::Ptr<ManagerWork>& work = works_[&manager];
   if (!work) {
      work = Fen::makePtr<ManagerWork>(&manager, this);
   }
   return work;
}

void TcpBackend::handleInit(EntityManager& manager) { workOf(manager); }

void TcpBackend::handleClose(EntityManager& manager, Fen::Ptr<MountGroup> const& group) {
   workOf(manager)->groupIs(group);
}

void TcpBackend::handleUnregisterAll(EntityManager& manager, bool statePreserving) {
   workOf(manager)->unregisterAll(statePreserving);
}

void TcpBackend::handleCleanup(EntityManager& manager) {
   auto const found = works_.find(&manager);
   if (found != works_.end()) {
      Fen::Ptr<ManagerWork> const work = found->second;
      works_.erase(found);
      work->managerDel();
   }
}

Fen::Ptr<Link> TcpBackend::linkTo(EntityManager const& manager) {
   InitArguments const& arguments = manager.initArguments();
   LinkKey const key{Nimet::IpAddr(arguments.host), arguments.port, arguments.sockname,
                     Nimet::IpAddr(manager.srcHost())};
   Fen::Ptr<Link>& link = links_[key];
   if (!link) {
      link = Fen::makePtr<Link>(key, tcpConfig(), this);
   }
   return link;
}

void TcpBackend::handleLinkIdle(Link& link) {
   auto const found = links_.find(link.key());
   if (found != links_.end() && found->second == &link) {
      links_.erase(found);
   }
}

double TcpBackend::waitFraction() {
   return std::uniform_real_distribution<double>(0.0, 1.0)(random_);
}

} // namespace Cairn
