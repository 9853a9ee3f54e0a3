/// Private to the library. What the TCP backend does for one entity manager: its groups of mounts,
/// and the unmount. Owned by the backend while the manager lives; it knows the manager by a plain
/// pointer that managerDel() clears. On the activity loop's thread.
#pragma once

#include <gantry/runtime/cairn/ClientMount.h>
#include <gantry/runtime/cairn/EntityManager.h>
#include <gantry/runtime/cairn/Later.h>

namespace Cairn {

class ManagerWork : public Fen::PtrInterface, public ClientMount::User {
 public:
   /// What the work needs of the backend. It outlives the work.
   class User {
    public:
      virtual Fen::Ptr<Link> linkTo(EntityManager const& manager) = 0;
      virtual Later& later() = 0;

    protected:
      ~User() = default;
   };

   ManagerWork(EntityManager* manager, User* user);

   void groupIs(Fen::Ptr<MountGroup> const& group);
   void unregisterAll(bool statePreserving);
   /// The manager is going: the mounts end, nothing is told any more. An unmount that was still to
   /// remove the local copy does so.
   void managerDel();

 protected:
   ~ManagerWork() override;

 private:
   struct Group {
      Fen::Ptr<MountGroup> group;
      std::vector<Fen::Ptr<ClientMount>> mounts;
      std::size_t succeeded = 0;
      bool told = false;
   };

   void handleMountEnded(ClientMount& mount, Ending const& ending) override;
   /// Fills in what is to be mounted; says what is wrong with it.
   Ending wishOf(Mount const& mount, ClientMount::Wish& wish) const;
   void tellLater(Group& group, Ending const& ending);
   void mountsEnd();
   void localCopiesDel();
   void unmountDone();

   EntityManager* manager_;
   User* user_;
   std::vector<std::unique_ptr<Group>> groups_;
   Fen::Ptr<RemoteUnmounter> unmounter_;
   /// Counts the unmounts, so that one that was overtaken does not report.
   unsigned unmounts_ = 0;
   bool copiesToGo_ = false;
};

} // namespace Cairn
