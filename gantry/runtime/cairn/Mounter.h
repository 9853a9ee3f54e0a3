/// The receiver of a mount group's completion. The client's user derives from it and owns it; a
/// group holds it by pointer. Lives on the activity loop's thread.
#pragma once

#include <gantry/runtime/cairn/MountStatus.h>
#include <gantry/runtime/fen/Entity.h>

namespace Cairn {

class EntityManager;

class GANTRY_EXPORT Mounter : public Fen::Entity {
 public:
   static constexpr char const* fenFullTypeName = "Cairn::Mounter";
   class NotifieeConst;
   class Notifiee;

   explicit Mounter(Fen::Name name);

   static Fen::FenType* _fwkType();
   Fen::FenType* fwkType() const override;

   /// Called by the client when the group's mounts have ended, well or not. It may be called again
   /// when a mount that had succeeded is lost for good. The receiver may drop the manager.
   virtual void doMountsComplete(MountStatus status, Fen::Ptr<EntityManager> const& entityManager);

 protected:
   ~Mounter() override;
};

class GANTRY_EXPORT Mounter::NotifieeConst : public Fen::Entity::NotifieeConst {
 public:
   using NotifierType = Mounter const;

   Fen::Ptr<Mounter const> notifier() const;

 protected:
   NotifieeConst();
   explicit NotifieeConst(Fen::Ptr<Mounter const> const& notifier);
   ~NotifieeConst() override;
};

class GANTRY_EXPORT Mounter::Notifiee : public Mounter::NotifieeConst {
 public:
   using NotifierType = Mounter;

   Fen::Ptr<Mounter> notifier() const;

 protected:
   Notifiee();
   explicit Notifiee(Fen::Ptr<Mounter> const& notifier);
   ~Notifiee() override;
};

} // namespace Cairn
