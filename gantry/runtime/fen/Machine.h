/// What a machine does with the objects that it holds: single ones, collections of them, values by
/// key, and reactors that come and go. The mutators of a machine only store: a machine has no
/// notifiees.
///
/// All of it runs on the activity loop's thread. Making and dropping an object may run handlers;
/// whoever calls holds the machine meanwhile.
#pragma once

#include <gantry/runtime/fen/Attribute.h>
#include <gantry/runtime/fen/Clock.h>
#include <gantry/runtime/fen/HashMap.h>
#include <gantry/runtime/fen/Reactor.h>

#include <concepts>
#include <type_traits>
#include <utility>

namespace Fen {

/// Walks a collection of a machine, which it holds meanwhile. What stands in it is the machine's
/// own, to act on.
template <class Member, class Key>
class HeldIterator : public HashMap<Member, Key>::IteratorConst {
   using Base = typename HashMap<Member, Key>::IteratorConst;

 public:
   HeldIterator(HashMap<Member, Key> const& members, PtrInterface const* holder)
      : Base(&members, Ptr<PtrInterface const>(holder)) {}
   /// From the first member that is not below `key`, in the order of iteration.
   HeldIterator(HashMap<Member, Key> const& members, Key const& key, PtrInterface const* holder)
      : Base(&members, key, Ptr<PtrInterface const>(holder)) {}

   Member* operator->() const { return this->current_.ptr(); }
   Member& operator*() const { return *this->current_; }
   /// The member, null at the end. The iterator holds it until it moves on.
   Member* ptr() const { return this->current_.ptr(); }
};

/// Drops what a machine holds, a nested machine for good; returns it, null when there is none.
template <class Held>
Ptr<Held> heldDel(Ptr<Held>& field) {
   Ptr<Held> const going = field;
   if constexpr (requires { going->fenMachineDel(); }) {
      nestedDel(field);
   } else {
      field = nullptr;
   }
   return going;
}

/// Puts a fresh object in the place of the present one, which goes first.
template <class Held, class Create>
Ptr<Held> heldIs(Ptr<Held>& field, Create const& create) {
   heldDel(field);
   Ptr<Held> const made = create();
   heldDel(field); // what the birth of the new one may have put there
   field = made;
   return made;
}

/// Takes an entity or a value out of a collection; null when there is none.
template <class Member, class Key>
Ptr<Member> heldMemberDel(HashMap<Member, Key>& members, std::type_identity_t<Key> const& key) {
   return members.memberDel(Key(key));
}

template <class Member, class Key>
void heldMembersDel(HashMap<Member, Key>& members) {
   for (typename HashMap<Member, Key>::IteratorConst i(&members); i; i.reset()) {
      members.deleteMember(i.ptr());
   }
}

// ---- values by key -----------------------------------------------------------------------------

/// The value at a key, a fresh one when the key is absent.
template <class Member, class Key>
typename Member::Value storedValue(HashMap<Member, Key> const& members,
                                   std::type_identity_t<Key> const& key) {
   Member const* const member = members.find(key);
   return member != nullptr ? member->value() : typename Member::Value();
}

template <class Member, class Key>
Ptr<Member> newStoredValue(HashMap<Member, Key>& members, std::type_identity_t<Key> const& key,
                           typename Member::Value const& value) {
   Ptr<Member> const member = makePtr<Member>(key, value);
   members.newMember(member);
   return member;
}

template <class Member, class Key>
void storedValueIs(HashMap<Member, Key>& members, std::type_identity_t<Key> const& key,
                   typename Member::Value const& value) {
   if (Member* const member = members.find(key)) {
      member->fenValueIs(value);
   } else {
      newStoredValue(members, key, value);
   }
}

/// The same for references: a null takes the member out.
template <class Member, class Key>
void storedReferenceIs(HashMap<Member, Key>& members, std::type_identity_t<Key> const& key,
                       typename Member::Value const& value) {
   if (value) {
      storedValueIs(members, key, value);
   } else {
      heldMemberDel(members, key);
   }
}

// ---- reactors that come and go -----------------------------------------------------------------

/// Attaches, moves or drops the reactor of a machine: null drops it, what it watches already
/// changes nothing. A moved one runs its handlers; a fresh one runs what its birth says. Returns
/// whether anything changed.
template <class Reactor, class Machine>
bool nestedReactorIs(Ptr<Reactor>& field, Ptr<typename Reactor::Watched> const& watched,
                     Machine* machine) {
   if (field && field->notifier() == watched) {
      return false;
   }
   if (!watched) {
      bool const was = static_cast<bool>(field);
      nestedDel(field);
      return was;
   }
   if (Ptr<Reactor> const present = field) {
      present->notifierIs(watched);
   } else {
      Ptr<Reactor> const fresh = makePtr<Reactor>(watched, machine);
      field = fresh;
      fresh->fenBirth();
   }
   return true;
}

/// The same for a reactor on the clock, which runs its handler when it is attached.
template <class Reactor, class Machine>
void nestedTimerIs(Ptr<Reactor>& field, Ptr<Clock> const& clock, Machine* machine) {
   if (!clock) {
      nestedDel(field);
   } else if (Ptr<Reactor> const present = field) {
      present->notifierIs(clock);
   } else {
      Ptr<Reactor> const fresh = makePtr<Reactor>(clock, machine);
      field = fresh;
      fresh->fenHandleAll();
   }
}

/// The reactor at a key, made when it is absent. One that is there with another object to watch is
/// moved to this one; that is no error.
template <class Reactor, class Key, class Machine>
Ptr<Reactor>
nestedReactorMemberIs(HashMap<Reactor, Key>& reactors, std::type_identity_t<Key> const& key,
                      Ptr<typename Reactor::Watched> const& watched, Machine* machine) {
   if (Ptr<Reactor> const present = reactors.find(key)) {
      present->notifierIs(watched);
      return present;
   }
   Ptr<Reactor> const fresh = makePtr<Reactor>(watched, machine);
   fresh->fenKeyIs(key);
   reactors.newMember(fresh);
   fresh->fenBirth();
   return fresh;
}

} // namespace Fen
