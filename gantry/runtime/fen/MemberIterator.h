/// Iterators over an entity's collection attribute. They hold the owner, so that a handler may drop
/// it while a walk goes on, and they notify of what is deleted through them.
#pragma once

#include <gantry/runtime/fen/Attribute.h>

#include <type_traits>

namespace Fen {

/// Walks the collection with the attribute traits `Attr` and reads.
template <class Attr>
class MemberIteratorConst
   : public HashMap<typename Attr::Member, typename Attr::Key>::IteratorConst {
   using Base = typename HashMap<typename Attr::Member, typename Attr::Key>::IteratorConst;

 public:
   explicit MemberIteratorConst(typename Attr::Owner const& owner)
      : Base(&Attr::field(const_cast<typename Attr::Owner&>(owner)),
             Ptr<PtrInterface const>(&owner)) {}
   /// From the first member that is not below `key`, in the order of iteration.
   MemberIteratorConst(typename Attr::Owner const& owner, typename Attr::Key const& key)
      : Base(&Attr::field(const_cast<typename Attr::Owner&>(owner)), key,
             Ptr<PtrInterface const>(&owner)) {}
};

/// Walks the collection and may change and delete members.
template <class Attr>
class MemberIterator : public HashMap<typename Attr::Member, typename Attr::Key>::Iterator {
   using Base = typename HashMap<typename Attr::Member, typename Attr::Key>::Iterator;
   using Member = typename Attr::Member;

 public:
   explicit MemberIterator(typename Attr::Owner& owner)
      : Base(&Attr::field(owner), Ptr<PtrInterface const>(&owner)), attrOwner_(&owner) {}
   MemberIterator(typename Attr::Owner& owner, typename Attr::Key const& key)
      : Base(&Attr::field(owner), key, Ptr<PtrInterface const>(&owner)), attrOwner_(&owner) {}

   using Base::deleteNotify;
   /// Clears the member's parent and tells the owner's notifiees that it has gone.
   void deleteNotify(Ptr<Member> const& member) const override {
      typename Attr::Key const key(HashMapKey<Member, typename Attr::Key>::key(*member));
      if constexpr (std::is_base_of_v<Entity, Member>) {
         ownedMemberNotify<Attr>(*attrOwner_, key, member);
      } else {
         if constexpr (requires { member->fenTakenOut(); }) {
            member->fenTakenOut();
         }
         attrNotify<Attr>(*attrOwner_, key);
      }
   }

 private:
   typename Attr::Owner* attrOwner_;
};

/// Removes every member, each with its notification; what handlers put in meanwhile goes too.
template <class Attr>
void memberDelAll(typename Attr::Owner& owner) {
   MemberIterator<Attr>(owner).deleteAll();
}

} // namespace Fen
