/// Entities: objects with a name, a place below a parent, and typed attributes that can be watched.
/// An entity is owned by the collection or attribute of its parent that holds it, and by whoever
/// holds a pointer to it.
///
/// A child knows its parent by a plain pointer, which the parent clears when it lets the child go
/// or goes itself. So a child that outlives its parent has none, and no cycle keeps either alive.
#pragma once

#include <gantry/runtime/fen/HashMapGeneric.h>
#include <gantry/runtime/fen/Notifiee.h>
#include <gantry/runtime/fen/String.h>

#include <string_view>

namespace Fen {

class ConnectDesc;
class Dir;
struct AttrDesc;
class FenType;
class StreamAdapter;

namespace NboAttrLog {
class Out;
class In;
class FlowOut;
} // namespace NboAttrLog
struct EntityId;

/// A path in the process's tree as text: names with slashes between them, from Fen::root() down.
class GANTRY_EXPORT EntityUriPath {
 public:
   explicit EntityUriPath(String8 path) : path_(path) {}
   String8 const& path() const { return path_; }

 private:
   String8 path_;
};

class GANTRY_EXPORT Entity : public Notifier {
 public:
   static constexpr char const* fenFullTypeName = "Fen::Entity";
   class NotifieeConst;
   class Notifiee;
   class FenNboAttrLogSa;

   explicit Entity(Name name);

   void isNondestructingIs(bool nondestructing) override;

   virtual Name name() const;
   virtual Ptr<Entity const> parent() const;
   virtual Ptr<Entity> parent();
   /// Sets or clears the parent and tells onParent(). Owners of collections call it; the reference
   /// is not counted.
   virtual void parentIs(Ptr<Entity> const& parent);
   /// The name of the attribute in the parent that holds this entity, empty without a parent.
   virtual String8 parentAttr() const;
   virtual AttributeId parentAttrId() const;
   virtual void parentAttrIdIs(AttributeId id);
   /// The path by which Entity::entity() finds it: the same text as fullName().
   virtual String8 uriPath() const;
   /// The path from the topmost parent down, names as they are, slashes between. Below Fen::root()
   /// it begins with a slash; without a parent it is the name alone.
   virtual String8 fullName() const;
   /// The name of an attribute of this type, "unknown" for an id that the type does not have.
   virtual String8 attributeString(AttributeId id) const;
   /// Asks the entity to see that changes of `adapted` reach whoever watches this entity. Nothing
   /// in this library adapts one entity to another; the default does nothing.
   virtual void fenNotifieeAdapterIs(Ptr<Entity const> const& adapted);
   /// Runs after the parent has changed, before notifiees are told.
   virtual void handleParent(Ptr<Entity> const& parent);

   /// The adapter that streams this entity over that output, null when there is none.
   virtual Ptr<FenNboAttrLogSa const> fenNboAttrLogSa(Ptr<NboAttrLog::Out const> const& out) const;
   /// Whether entities of this type can be streamed.
   virtual bool fenHasAttrLogInterface() const;
   virtual Ptr<FenNboAttrLogSa> fenNboAttrLogSa(Ptr<NboAttrLog::Out const> const& out);
   /// Another adapter of this entity on the same message channel, see StreamAdapter.h.
   virtual Ptr<FenNboAttrLogSa>
   fenNboAttrLogSaForMsgChannel(Ptr<FenNboAttrLogSa> const& adapter) const;
   /// Finds or creates the adapter for an output; the flags are merged into an existing one.
   virtual Ptr<FenNboAttrLogSa> fenNboAttrLogSaIs(PtrInterface::NotifieeConst::Fen_BitSet flags,
                                                  unsigned version, Ptr<NboAttrLog::Out> const& out,
                                                  PtrInterface* context);
   virtual Ptr<FenNboAttrLogSa> fenNboAttrLogSaDel(Ptr<NboAttrLog::Out const> const& out);
   /// The id by which this entity is known on that output. Where it has none: (0, 0), or with
   /// `required` EntityIdUnavailableException. The other two switches belong to outputs that carry
   /// several versions of a type, of which there are none here.
   EntityId entityId(Ptr<NboAttrLog::Out> const& out, bool version, bool create,
                     bool required) const;

   static FenType* _fwkType();
   FenType* fwkType() const override;

   /// The entity at a path, null when there is none. Components are names of directory members, or
   /// an attribute and, for a collection, a key.
   static Ptr<Entity> entity(EntityUriPath const& path);
   /// The same below `from`, wherever that is.
   static Ptr<Entity> entity(EntityUriPath const& path, Ptr<Entity> const& from);
   /// The member of this entity that the first components of `rest` lead to, which are taken off;
   /// null when there is none.
   virtual Ptr<Entity> fenPathMember(std::string_view& rest) const;

   /// The entity of a type of which the process has one; null when nobody has made it yet.
   static Ptr<Entity> singletonExists(FenType const* type);
   /// The same, made under the type's short name when it is not there, and kept until the process
   /// ends; null when the type needs more than a name.
   static Ptr<Entity> singletonIs(FenType const* type);

   /// The key in the collection that owns it; a type whose key is not its name has its own.
   Name const& fwkKey() const { return name_; }

   /// Link of the one collection that owns this entity. Only that collection touches it.
   HashMapLink& fwkHmLink() { return link_; }
   HashMapLink const& fwkHmLink() const { return link_; }

   /// Clears the parent without telling anybody: for a parent that is going itself.
   void fenParentGone() { parent_ = nullptr; }

 protected:
   ~Entity() override;

   /// The plain pointer behind parent(), for generated accessors.
   Entity* fenParent() const { return parent_; }

 private:
   HashMapLink link_;
   AttributeId parentAttrId_ = 0;
   Name name_;
   Entity* parent_ = nullptr;
};

class GANTRY_EXPORT Entity::NotifieeConst : public PtrInterface::NotifieeConst {
 public:
   virtual void onParent();
   virtual void onVersion();
   virtual void onIsNondestructing();

   Ptr<Entity const> notifier() const;

 protected:
   explicit NotifieeConst(Kind kind = Kind::typed);
   ~NotifieeConst() override;
};

/// The form of reactor that may write to what it watches.
class GANTRY_EXPORT Entity::Notifiee : public Entity::NotifieeConst {
 public:
   Ptr<Entity> notifier() const;

 protected:
   explicit Notifiee(Kind kind = Kind::typed);
   ~Notifiee() override;
};

/// Takes the entity at a path out of its directory, with all below it: members of directories go
/// first, each with its notification. A path that leads nowhere, or not into a directory, changes
/// nothing.
GANTRY_EXPORT void entityDel(EntityUriPath const& path);

} // namespace Fen
