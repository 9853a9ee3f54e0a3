/// A batch of mounts that completes as a whole. Owned by its manager and by whoever holds it; the
/// group knows its manager by a plain pointer that the manager clears, so neither keeps the other
/// alive. Lives on the activity loop's thread.
#pragma once

#include <gantry/runtime/cairn/Mount.h>
#include <gantry/runtime/cairn/Mounter.h>

#include <vector>

namespace Cairn {

class GANTRY_EXPORT MountGroup : public Fen::PtrInterface {
 public:
   /// Made by EntityManager::getPersistentMountGroup().
   MountGroup(EntityManager* manager, Fen::Ptr<Mounter> const& mounter);

   /// Adds one mount. Throws InternalException once the group is closed.
   void doMount(Mount const& mount);
   /// Closes the group and starts its work: the mounter is called when its mounts have ended. The
   /// arguments are kept as given and have no meaning for this client. A closed group stays as it
   /// is.
   void doClose(bool reserved1, Fen::String8 reserved2, double const& reserved3);

   std::vector<Mount> const& mount() const { return mount_; }
   Fen::Ptr<Mounter> const& mounter() const { return mounter_; }
   bool closed() const { return closed_; }
   bool closeReserved1() const { return closeReserved1_; }
   Fen::String8 const& closeReserved2() const { return closeReserved2_; }
   double closeReserved3() const { return closeReserved3_; }
   /// Null when the manager has gone.
   Fen::Ptr<EntityManager> entityManager() const;

 protected:
   ~MountGroup() override;

 private:
   friend class EntityManager;

   EntityManager* manager_;
   Fen::Ptr<Mounter> mounter_;
   std::vector<Mount> mount_;
   bool closed_ = false;
   bool closeReserved1_ = false;
   Fen::String8 closeReserved2_;
   double closeReserved3_ = 0.0;
};

} // namespace Cairn
