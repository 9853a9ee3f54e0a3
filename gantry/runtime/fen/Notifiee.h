/// Notifiees, which are told of changes, and notifiers, which tell them. A notifiee holds a counted
/// reference to its notifier (unless it is weak); the notifier's list does not count its notifiees.
///
/// Everything here runs on the activity loop's thread, synchronously inside the call that changed
/// something.
#pragma once

#include <gantry/runtime/fen/BitSet.h>
#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/ListRaw.h>
#include <gantry/runtime/fen/Ptr.h>
#include <gantry/runtime/fen/String.h>

#include <cstdint>
#include <memory>

namespace Fen {

class ActivityConfig;
class ActivitySm;
class Notifier;

/// What is told of changes: a reactor. A fresh one is active and not registered anywhere. Its owner
/// keeps it alive; being on a notifier's list does not.
class GANTRY_EXPORT PtrInterface::NotifieeConst : public PtrInterface {
 public:
   using Fen_BitSet = BitSet<27, std::uint32_t>;

   void hasNotificationActiveIs(bool active) override;

   /// The object whose code runs when this reactor is told; a reactor that forwards says to whom.
   virtual PtrInterface const* fenReactor() const;
   virtual PtrInterface const* fenRawReactor() const;
   virtual bool isStreamAdapter() const;
   /// Joins the notifier's list at its end, or leaves it. An inactive reactor remembers the wish
   /// and follows it when it becomes active. Runs no handler.
   virtual void isRegisteredNotifieeIs(bool registered) const;
   virtual void fen_bitSetIs(Fen_BitSet bits);
   virtual String8 name() const;
   /// Moves the reactor to another notifier, or to none. The plain form runs no handler and leaves
   /// the registration to the caller; reactors of machines run their handlers and register.
   virtual void notifierIs(Ptr<PtrInterface const> const& notifier);
   virtual void handleNotification(ActivityConfig* activity);
   virtual void handleDefault(ActivityConfig* activity, AttributeId id, bool immediate);
   /// Told of each change when the reactor is a generic one; typed reactors have a slot per
   /// attribute.
   virtual void onAttribute(AttributeId id);
   virtual void onNotification();
   virtual void onCollectionNotification(String8 key);
   virtual void onNotificationException();
   /// An exception left this reactor's handler while it was told of attribute `id`.
   virtual void onNotificationException(AttributeId id);
   virtual void handleNotificationException(AttributeId id);
   virtual void handleNotificationException();
   virtual void onZeroReferences();
   virtual ActivityConfig* activityPtr() const;
   virtual ActivityConfig* fenFwkActivity();
   virtual ActivityConfig const* fenFwkActivity() const;
   virtual ActivitySm* actsm();
   /// Marks the reactor as a zombie and closes it, or takes the mark back.
   virtual void fenDoZombieReactors(bool zombie);
   /// Generic reactors, those that watch a type that they do not know at compile time, are told
   /// here: the attribute, and for a collection the key, which is of the attribute's key type.
   virtual void doNotification(AttributeId id, void const* key);

   Ptr<PtrInterface const> notifier() const;
   bool isRegisteredNotifiee() const { return isRegisteredNotifiee_; }
   bool isWeakReference() const { return isWeakReference_; }
   /// A weak reactor's reference does not count: it does not keep its notifier alive, and it loses
   /// its notifier when that goes, registered or not.
   void isWeakReferenceIs(bool weak);
   bool isGenericNotifiee() const { return isGenericNotifiee_; }
   Fen_BitSet fen_bitSet() const { return bits_; }

   /// Link of the list that the notifier keeps this reactor in; only that list touches it.
   NotifieeConst* fwkLrNext() const { return next_; }
   void fwkLrNextIs(NotifieeConst* next) { next_ = next; }

 protected:
   /// Which kind of reactor this is: a typed one has the slots of its notifier's type, a generic
   /// one takes doNotification.
   enum class Kind : bool { typed, generic };

   explicit NotifieeConst(Kind kind = Kind::typed);
   ~NotifieeConst() override;

   Notifier const* fenNotifier() const { return notifier_; }
   /// Stores the notifier with its count, leaving a list that the reactor may be on.
   void fenNotifierStore(Notifier const* notifier);
   /// Forgets the notifier, which is going.
   void fenNotifierGone();
   /// Joining and leaving as such: the notifier's list, unless a notifier of another kind keeps its
   /// notifiees otherwise. A class that overrides these unregisters in its own destructor.
   virtual void fenJoin();
   virtual void fenLeave();

   Fen_BitSet bits_;

 private:
   friend class Notifier;

   void weakUnregisteredIs(bool listed) const;

   Notifier const* notifier_ = nullptr;
   bool isWeakReference_ = false;
   mutable bool isRegisteredNotifiee_ = false;
   mutable bool registersWhenActive_ = false;
   bool const isGenericNotifiee_;
   NotifieeConst* next_ = nullptr;
};

/// An object that can be watched. It keeps the list of those that want to be told.
class GANTRY_EXPORT Notifier : public PtrInterface {
 public:
   using Notifiees = ListRaw<PtrInterface::NotifieeConst>;

   void zeroReferencesIs(bool zero) override;

   /// The registered notifiees, in order of registration.
   Notifiees const& fenNotifiees() const { return notifiees_; }

   /// The one notification loop. Tells every reactor that was registered when it began, in order,
   /// by calling `typed` on a typed one (which must then be of the notifier's own notifiee type)
   /// and doNotification( id, key ) on a generic one.
   ///
   /// The list is copied first, so handlers may register, unregister and drop whatever they like. A
   /// reactor that was unregistered but is still held is told this time; one that only the copy
   /// still holds is released untold. The first one is always told. An exception that leaves a
   /// handler goes to that reactor's onNotificationException( id ), and the walk goes on. The
   /// notifier stays alive until the walk is over.
   template <class Typed>
   void fenNotify(AttributeId id, void const* key, Typed const& typed) const {
      if (auto const count = notifiees_.size(); count == 1) {
         notifyOne(id, key, typed);
      } else if (count != 0) {
         notify(id, key, typed);
      }
   }

 protected:
   Notifier();
   ~Notifier() override;

 private:
   friend class PtrInterface::NotifieeConst;

   /// So many notifiees are copied to the stack; a longer list costs one allocation.
   static constexpr std::uint32_t inlineNotifiees = 16;

   /// The walk over several, over the one that most notifiers have, and over a copy in which there
   /// are generic or uncounted reactors; the last takes the copy's references over.
   template <class Typed>
   [[gnu::noinline]] void notify(AttributeId id, void const* key, Typed const& typed) const;
   template <class Typed>
   [[gnu::noinline]] void notifyOne(AttributeId id, void const* key, Typed const& typed) const;
   using TypedCall = void(PtrInterface::NotifieeConst& notifiee, void const* call);
   static void notifySpecial(PtrInterface::NotifieeConst** begin, PtrInterface::NotifieeConst** end,
                             AttributeId id, void const* key, TypedCall* typed, void const* call);
   template <class Typed>
   static void tell(PtrInterface::NotifieeConst& notifiee, AttributeId id, Typed const& typed);

   mutable Notifiees notifiees_;
   /// Weak reactors that are not registered, linked as in a list: they too must learn that this
   /// object goes.
   mutable PtrInterface::NotifieeConst* weakUnregistered_ = nullptr;
};

/// Tells a reactor of an exception that left its handler; what leaves that in turn ends here, since
/// the writer of an attribute never sees its readers' exceptions.
GANTRY_EXPORT void tellOfException(PtrInterface::NotifieeConst& notifiee, AttributeId id) noexcept;

template <class Typed>
inline void Notifier::tell(PtrInterface::NotifieeConst& notifiee, AttributeId id,
                           Typed const& typed) {
   try {
      Expect const expect(Exception::Id::any);
      typed(notifiee);
   } catch (...) {
      tellOfException(notifiee, id);
   }
}

template <class Typed>
void Notifier::notifyOne(AttributeId id, void const* key, Typed const& typed) const {
   Ptr<Notifier const> const self(this);
   Ptr<PtrInterface::NotifieeConst> const only(notifiees_.head());
   if (__builtin_expect(only->isGenericNotifiee(), 0)) {
      tell(*only, id, [id, key](auto& each) { each.doNotification(id, key); });
   } else {
      tell(*only, id, typed);
   }
}

template <class Typed>
void Notifier::notify(AttributeId id, void const* key, Typed const& typed) const {
   Ptr<Notifier const> const self(this);
   auto const count = notifiees_.size();
   PtrInterface::NotifieeConst* few[inlineNotifiees];
   std::unique_ptr<PtrInterface::NotifieeConst*[]> many;
   PtrInterface::NotifieeConst** snapshot = few;
   if (__builtin_expect(count > inlineNotifiees, 0)) {
      many.reset(new PtrInterface::NotifieeConst*[count]);
      snapshot = many.get();
   }
   PtrInterface::NotifieeConst** const end = snapshot + count;
   PtrInterface::NotifieeConst** at = snapshot;
   bool special = false;
   for (auto* each = notifiees_.head(); each != nullptr; each = each->fwkLrNext()) {
      special |= each->isGenericNotifiee() || each->isNondestructing();
      each->fenReferenceNew();
      *at++ = each;
   }
   if (__builtin_expect(special, 0)) {
      notifySpecial(
         snapshot, end, id, key,
         [](PtrInterface::NotifieeConst& each, void const* call) {
            (*static_cast<Typed const*>(call))(each);
         },
         &typed);
      return;
   }
   // The first one is told also when only the copy holds it.
   at = snapshot;
   PtrInterface::NotifieeConst* each = *at;
   for (;;) {
      tell(*each, id, typed);
      do {
         each->fenCountedReferenceDel();
         if (++at == end) {
            return;
         }
         each = *at;
      } while (__builtin_expect(each->fenReferenceCount() == 1, 0));
   }
}

} // namespace Fen
