/// Directories: entities that hold entities of any type by name.
#pragma once

#include <gantry/runtime/fen/Entity.h>
#include <gantry/runtime/fen/HashMap.h>

#include <tuple>

namespace Fen {

class GANTRY_EXPORT Dir : public Entity {
 public:
   static constexpr char const* fenFullTypeName = "Fen::Dir";
   class NotifieeConst;
   class Notifiee;
   class EntityPtrIterator;

   /// A place in a directory: what entryIs() gives. It has a full name and may be empty.
   class GANTRY_EXPORT Entry : public PtrInterface {
    public:
      Entry(Ptr<Dir> const& directory, Name name);

      Name name() const { return name_; }
      String8 fullName() const;
      /// The entity in this place, null while it is empty.
      Ptr<Entity> entityRef() const;
      /// What the attribute log has said of the entity in this place: 3 when it is synchronised.
      unsigned fenSyncMark() const { return syncMark_; }
      void fenSyncMarkIs(unsigned mark) { syncMark_ = mark; }

      Name fwkKey() const { return name_; }
      HashMapLink& fwkHmLink() { return link_; }

    protected:
      ~Entry() override;

    private:
      friend class Dir;
      HashMapLink link_;
      Dir* directory_;
      Name name_;
      unsigned syncMark_ = 0;
   };

   using Members = HashMap<Entity, Name>;

   static constexpr AttributeId entityPtrAttributeId = firstOwnAttributeId;

   explicit Dir(Name name);

   String8 attributeString(AttributeId id) const override;
   static FenType* _fwkType();
   FenType* fwkType() const override;
   Ptr<Entity> fenPathMember(std::string_view& rest) const override;
   /// A directory is constructed from its name.
   auto fenParameters() const { return std::make_tuple(name()); }
   void fenParametersMatch() const {}

   /// The member of that name, null when there is none.
   Ptr<Entity> entityPtr(Name name) const;
   Ptr<Entity> entityRef(Name name) const { return entityPtr(name); }
   /// Puts an existing entity in under its own name and becomes its parent. The same entity again
   /// changes nothing. Throws NameInUseException when another entity has the name, and
   /// RangeException when the entity is null, has a parent already or lies above this directory.
   Ptr<Entity> entityPtrIs(Ptr<Entity> const& entity);
   /// Takes the member out and returns it; null when there is none.
   Ptr<Entity> entityPtrDel(Name name);
   void entityPtrDelAll();
   /// Tells the notifiees of a member's presence: the parent becomes this directory while the
   /// member is in it, else null, and then onEntityPtr( name ) runs.
   void entityPtrNotify(Name name, Ptr<Entity> const& member);
   Members const& entityPtrs() const { return members_; }
   /// Walks the members; the walk survives whatever is put in and taken out meanwhile.
   EntityPtrIterator entityPtrIterator() const;

   /// The filled entry of that name, null when there is none or when its place is empty.
   Ptr<Entry> entry(Name name) const;
   /// The entry of that name, made empty when it is absent. An empty one is invisible to entry(),
   /// to entityPtr() and to notifiees until an entity fills it. Null for a name that is empty or
   /// contains a slash.
   virtual Ptr<Entry> entryIs(Name name);
   /// Creates an entity of the named type in that place, or returns the occupant when it is of that
   /// type. Null when the type is unknown, needs more than a name, or the occupant is another.
   virtual Ptr<Entity> entityIs(Name name, String8 typeName);

 protected:
   ~Dir() override;

 private:
   friend class Entry;

   Ptr<Entry> entryFor(Name name) const;

   Members members_;
   /// Entries that somebody has asked for and holds, filled or not.
   mutable HashMap<Entry, Name> entries_;
};

/// A walk over the members. It holds the directory.
class Dir::EntityPtrIterator : public Dir::Members::IteratorConst {
 public:
   explicit EntityPtrIterator(Dir const& directory)
      : IteratorConst(&directory.members_, Ptr<PtrInterface const>(&directory)) {}
};

inline Dir::EntityPtrIterator Dir::entityPtrIterator() const { return EntityPtrIterator(*this); }

class GANTRY_EXPORT Dir::NotifieeConst : public Entity::NotifieeConst {
 public:
   using NotifierType = Dir const;

   virtual void onEntityPtr(Name name);
   virtual void onEntityPtrfenImmediate();
   virtual void onEntityPtr();

   Ptr<Dir const> notifier() const;

 protected:
   NotifieeConst();
   explicit NotifieeConst(Ptr<Dir const> const& directory);
   ~NotifieeConst() override;
};

class GANTRY_EXPORT Dir::Notifiee : public Dir::NotifieeConst {
 public:
   using NotifierType = Dir;

   Ptr<Dir> notifier() const;

 protected:
   Notifiee();
   explicit Notifiee(Ptr<Dir> const& directory);
   ~Notifiee() override;
};

/// A new directory without a parent.
GANTRY_EXPORT Ptr<Dir> dirFactory(Name name);

/// The process's root directory. Full names begin here, and paths resolve from here.
GANTRY_EXPORT Ptr<Dir> const& root();

} // namespace Fen
