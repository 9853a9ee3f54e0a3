/// Private to the library. The default backend: managers, and the links that they share. Owned by
/// the process and by the managers; on the activity loop's thread.
#pragma once

#include <gantry/runtime/cairn/Backend.h>
#include <gantry/runtime/cairn/Link.h>
#include <gantry/runtime/cairn/ManagerWork.h>

#include <map>
#include <unordered_map>

namespace Cairn {

class TcpBackend : public Backend, public Link::User, public ManagerWork::User {
 public:
   TcpBackend();

   void handleInit(EntityManager& manager) override;
   void handleClose(EntityManager& manager, Fen::Ptr<MountGroup> const& group) override;
   void handleUnregisterAll(EntityManager& manager, bool statePreserving) override;
   void handleCleanup(EntityManager& manager) override;

 protected:
   ~TcpBackend() override;

 private:
   Fen::Ptr<ManagerWork> workOf(EntityManager& manager);
   Fen::Ptr<Link> linkTo(EntityManager const& manager) override;
   Later& later() override { return *later_; }
   void handleLinkIdle(Link& link) override;
   double waitFraction() override;

   Fen::Ptr<Later> later_;
   std::map<LinkKey, Fen::Ptr<Link>> links_;
   std::unordered_map<EntityManager*, Fen::Ptr<ManagerWork>> works_;
   std::minstd_rand random_;
};

} // namespace Cairn
