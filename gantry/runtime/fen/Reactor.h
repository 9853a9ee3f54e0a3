/// Reactors that are part of a machine. A machine watches an attribute through a nested reactor,
/// which holds a plain pointer back to the machine and turns each notification into a call of a
/// handler.
///
/// The machine owns its reactors and lives on the activity loop's thread. A handler may drop the
/// last reference to its machine: a run keeps machine and reactor alive until its stack has
/// unwound.
#pragma once

#include <gantry/runtime/fen/HashMap.h>
#include <gantry/runtime/fen/Notifiee.h>

#include <type_traits>
#include <utility>

namespace Fen {

/// Base of a nested reactor. `Derived` is the generated class, which overrides the slots and offers
/// fenHandleAll(): run the handlers as if everything had changed. `Base` is the Notifiee class of
/// what is watched, `Machine` the outer class.
template <class Derived, class Base, class Machine>
class NestedReactor : public Base {
 public:
   using Watched = typename Base::NotifierType;

   /// Registers on `watched` (which may be null) without running a handler.
   NestedReactor(Ptr<Watched> const& watched, Machine* machine) : machine_(machine) {
      this->fenNotifierStore(watched.ptr());
      this->isRegisteredNotifieeIs(true);
   }

   /// Moves the reactor: unchanged does nothing; else the handlers run as if everything had
   /// changed, and then the reactor registers. So one that is attached late sees the present state,
   /// and is not told of what its handlers change meanwhile. An exception of a handler goes to the
   /// caller; the reactor is registered all the same, since what it watches is stored already and
   /// asking for it again would do nothing.
   void notifierIs(Ptr<PtrInterface const> const& notifier) override {
      if (notifier.ptr() == this->fenNotifier()) {
         return;
      }
      Ptr<NestedReactor> const self(this);
      this->isRegisteredNotifieeIs(false);
      auto const* const watched = dynamic_cast<Watched const*>(notifier.ptr());
      this->fenNotifierStore(watched);
      if (watched != nullptr && !this->fenMarkedForDeletion()) {
         try {
            static_cast<Derived*>(this)->fenHandleAll();
         } catch (...) {
            fenMoved(watched);
            throw;
         }
      }
      fenMoved(watched);
   }

   /// The machine that this reactor belongs to, null when that has gone.
   Machine* fenMachine() const { return machine_; }
   /// The machine is going, or has let go of this reactor.
   void fenMachineDel() { machine_ = nullptr; }

 protected:
   /// The machine, held for the run of a handler; null when none may run, since this reactor is a
   /// zombie or its machine has gone.
   Ptr<Machine> fenRunning() const {
      return this->fenMarkedForDeletion() ? Ptr<Machine>() : Ptr<Machine>(machine_);
   }

   /// Runs `handler( machine )` unless this reactor is a zombie or its machine has gone.
   template <class Handler>
   void fenRun(Handler const& handler) {
      if (this->fenMarkedForDeletion() || machine_ == nullptr) {
         return;
      }
      Ptr<Machine> const running(machine_);
      handler(*running);
   }

 private:
   /// Registers on what it was moved to, unless a handler has moved it on.
   void fenMoved(Watched const* watched) {
      if (this->fenNotifier() == watched) {
         this->isRegisteredNotifieeIs(true);
      }
   }

   Machine* machine_;
};

/// Drops a nested reactor or machine for good: as a zombie, without a way back to its machine.
template <class Nested>
void nestedDel(Ptr<Nested>& nested) {
   if (Ptr<Nested> const going = std::exchange(nested, nullptr)) {
      going->fenDoZombieReactors(true);
      going->fenMachineDel();
   }
}

/// Opens or closes the nested reactors and machines that exist.
template <class... Nested>
void nestedActiveIs(bool active, Ptr<Nested> const&... nested) {
   ((nested ? nested->hasNotificationActiveIs(active) : void()), ...);
}

/// Marks the nested reactors and machines that exist as zombies, or takes the mark back.
template <class... Nested>
void nestedZombieIs(bool zombie, Ptr<Nested> const&... nested) {
   ((nested ? nested->fenDoZombieReactors(zombie) : void()), ...);
}

// ---- collections of nested machines and reactors -----------------------------------------------

template <class Member, class Key>
void nestedMembersActiveIs(bool active, HashMap<Member, Key>& members) {
   for (typename HashMap<Member, Key>::Iterator i(&members); i; ++i) {
      i->hasNotificationActiveIs(active);
   }
}

template <class Member, class Key>
void nestedMembersZombieIs(bool zombie, HashMap<Member, Key>& members) {
   for (typename HashMap<Member, Key>::Iterator i(&members); i; ++i) {
      i->fenDoZombieReactors(zombie);
   }
}

/// The birth of a machine: handleInitialized() and then the opening of its reactors. The pointer is
/// returned for the factory to return. A nested machine that its owner has dropped at birth stays
/// closed: opening it would put a zombie's reactors back on the lists.
template <class Machine>
Ptr<Machine> machineBorn(Ptr<Machine> machine) {
   machine->handleInitialized();
   if (!machine->fenMarkedForDeletion()) {
      machine->hasNotificationActiveIs(true);
   }
   return ValidPtr<Machine>(std::move(machine));
}

/// Puts a fresh machine into its owner's collection and lets it be born there.
template <class Member, class Key>
Ptr<Member> newNestedMember(HashMap<Member, Key>& members, Ptr<Member> const& member) {
   members.newMember(member);
   return machineBorn(member);
}

/// Find-or-create: an existing member with equal constructor parameters is returned; different ones
/// throw NameInUseException and change nothing.
template <class Member, class Key, class Create, class... Parameters>
Ptr<Member> nestedMemberIs(HashMap<Member, Key>& members, std::type_identity_t<Key> const& key,
                           Create const& create, Parameters const&... parameters) {
   if (Ptr<Member> const existing = members.find(key)) {
      existing->fenParametersMatch(parameters...);
      return existing;
   }
   return create();
}

/// Takes a member out and drops it for good; returns it, null when there is none.
template <class Member, class Key>
Ptr<Member> nestedMemberDel(HashMap<Member, Key>& members, std::type_identity_t<Key> const& key) {
   Ptr<Member> member = members.memberDel(key);
   if (Ptr<Member> going = member) {
      nestedDel(going);
   }
   return member;
}

/// Takes all members out, one after the other; what is put in meanwhile goes too.
template <class Member, class Key>
void nestedMembersDel(HashMap<Member, Key>& members) {
   for (typename HashMap<Member, Key>::IteratorConst i(&members); i; i.reset()) {
      nestedMemberDel(members, Key(i.key()));
   }
}

} // namespace Fen
