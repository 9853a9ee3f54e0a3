/// The progress of an unmount. Made by the backend, held by the manager and by whoever watches it;
/// read-only for all but the backend. Lives on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/Attribute.h>

namespace Cairn {

class GANTRY_EXPORT RemoteUnmounter : public Fen::Entity {
 public:
   static constexpr char const* fenFullTypeName = "Cairn::RemoteUnmounter";
   class NotifieeConst;
   class Notifiee;

   explicit RemoteUnmounter(Fen::Name name);

   /// Whether the local copy is kept.
   bool statePreserving() const { return statePreserving_; }
   void statePreservingIs(bool statePreserving);
   /// Whether all mounts of the manager have ended.
   bool unmountsComplete() const { return unmountsComplete_; }
   void unmountsCompleteIs(bool unmountsComplete);

   static Fen::FenType* _fwkType();
   Fen::FenType* fwkType() const override;
   Fen::String8 attributeString(Fen::AttributeId id) const override;

   struct FenStatePreservingAttr {
      using Owner = RemoteUnmounter;
      using Value = bool;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
      static constexpr Fen::AttributeId id = 262;
      static constexpr char const* name = "statePreserving";
      static Value& field(Owner& owner) { return owner.statePreserving_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };
   struct FenUnmountsCompleteAttr {
      using Owner = RemoteUnmounter;
      using Value = bool;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
      static constexpr Fen::AttributeId id = 263;
      static constexpr char const* name = "unmountsComplete";
      static Value& field(Owner& owner) { return owner.unmountsComplete_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };

 protected:
   ~RemoteUnmounter() override;

 private:
   bool statePreserving_ = false;
   bool unmountsComplete_ = false;
};

/// One slot per attribute, in the order of the attributes; those that this client does not change
/// are there so that slots keep their places.
class GANTRY_EXPORT RemoteUnmounter::NotifieeConst : public Fen::Entity::NotifieeConst {
 public:
   using NotifierType = RemoteUnmounter const;

   virtual void onConfigDir();
   virtual void onStatusDir();
   virtual void onMount(Fen::Name key);
   virtual void onMountfenImmediate();
   virtual void onMount();
   virtual void onInputsComplete();
   virtual void onStatePreserving();
   virtual void onUnmountsComplete();
   virtual void onInitialized();

   Fen::Ptr<RemoteUnmounter const> notifier() const;

 protected:
   NotifieeConst();
   explicit NotifieeConst(Fen::Ptr<RemoteUnmounter const> const& notifier);
   ~NotifieeConst() override;
};

class GANTRY_EXPORT RemoteUnmounter::Notifiee : public RemoteUnmounter::NotifieeConst {
 public:
   using NotifierType = RemoteUnmounter;

   Fen::Ptr<RemoteUnmounter> notifier() const;

 protected:
   Notifiee();
   explicit Notifiee(Fen::Ptr<RemoteUnmounter> const& notifier);
   ~Notifiee() override;
};

GANTRY_EXPORT Fen::Ptr<RemoteUnmounter> remoteUnmounterFactory(Fen::Name name);

} // namespace Cairn
