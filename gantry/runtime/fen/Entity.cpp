/// Names, parents, paths and the notifications of every entity.
#include <gantry/runtime/fen/Dir.h>
#include <gantry/runtime/fen/Entity.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/StreamAdapter.h>

#include <algorithm>
#include <string>

namespace Fen {

Entity::Entity(Name name) : name_(name) {}
Entity::~Entity() = default;

void Entity::isNondestructingIs(bool nondestructing) {
   if (isNondestructing() == nondestructing) {
      return;
   }
   PtrInterface::isNondestructingIs(nondestructing);
   fenNotify(isNondestructingAttributeId, nullptr, [](PtrInterface::NotifieeConst& notifiee) {
      static_cast<Entity::NotifieeConst&>(notifiee).onIsNondestructing();
   });
}

Name Entity::name() const { return name_; }
Ptr<Entity const> Entity::parent() const { return Ptr<Entity const>(parent_); }
Ptr<Entity> Entity::parent() { return Ptr<Entity>(parent_); }

void Entity::parentIs(Ptr<Entity> const& parent) {
   if (parent_ == parent.ptr()) {
      return;
   }
   parent_ = parent.ptr();
   handleParent(parent);
   fenNotify(parentAttributeId, nullptr, [](PtrInterface::NotifieeConst& notifiee) {
      static_cast<Entity::NotifieeConst&>(notifiee).onParent();
   });
}

String8 Entity::parentAttr() const {
   return parent_ != nullptr ? parent_->attributeString(parentAttrId_) : String8();
}
AttributeId Entity::parentAttrId() const { return parentAttrId_; }
void Entity::parentAttrIdIs(AttributeId id) { parentAttrId_ = id; }
String8 Entity::uriPath() const { return fullName(); }

String8 Entity::fullName() const {
   if (this == root().ptr()) {
      return "/";
   }
   std::string path(name_.view());
   for (Entity const *child = this, *above = parent_; above != nullptr;
        child = above, above = above->parent_) {
      AttrDesc const* const in = above->fwkType()->attribute(child->parentAttrId_);
      // A directory's members follow it directly; elsewhere the attribute stands between, and a
      // single child is named by its attribute alone.
      if (in != nullptr && in->kind == AttrKind::child) {
         path.replace(0, child->name_.length(), in->name);
      } else if (in != nullptr && dynamic_cast<Dir const*>(above) == nullptr) {
         path.insert(0, std::string(in->name) + "/");
      }
      path.insert(0, "/");
      if (above == root().ptr()) {
         return String8(path);
      }
      path.insert(0, above->name_.view());
   }
   return String8(path);
}

String8 Entity::attributeString(AttributeId id) const {
   switch (id) {
   case zeroReferencesAttributeId:
      return "zeroReferences";
   case isNondestructingAttributeId:
      return "isNondestructing";
   case parentAttributeId:
      return "parent";
   case versionAttributeId:
      return "version";
   case hasAttrLogAttributeId:
      return "fenHasAttrLogInterface";
   case adapterForChannelAttributeId:
      return "fenNboAttrLogSaForMsgChannel";
   case keyAttributeId:
      return "fwkKey";
   case nameAttributeId:
      return "name";
   case fullNameAttributeId:
      return "fullName";
   default:
      return "unknown";
   }
}

void Entity::fenNotifieeAdapterIs(Ptr<Entity const> const&) {}
void Entity::handleParent(Ptr<Entity> const&) {}

FenType* Entity::fwkType() const { return _fwkType(); }

Ptr<Entity> Entity::fenPathMember(std::string_view& rest) const {
   std::size_t const slash = rest.find('/');
   AttrDesc const* const attribute = fwkType()->attribute(rest.substr(0, slash));
   if (attribute == nullptr || attribute->member == nullptr) {
      return nullptr;
   }
   std::string_view const behind =
      slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
   if (attribute->kind == AttrKind::child) {
      rest = behind;
      return attribute->member(*this, String8());
   }
   // A key may contain slashes: the shortest run of components that is a key is taken.
   for (std::size_t end = 0; end < behind.size();) {
      end = std::min(behind.find('/', end + 1), behind.size());
      if (Ptr<Entity> member = attribute->member(*this, behind.substr(0, end))) {
         rest = end < behind.size() ? behind.substr(end + 1) : std::string_view();
         return member;
      }
   }
   return nullptr;
}

Ptr<Entity> Entity::entity(EntityUriPath const& path) { return entity(path, root()); }

Ptr<Entity> Entity::entity(EntityUriPath const& path, Ptr<Entity> const& from) {
   Ptr<Entity> found = from;
   std::string_view rest = path.path().view();
   for (;;) {
      while (!rest.empty() && rest.front() == '/') {
         rest.remove_prefix(1);
      }
      if (rest.empty() || !found) {
         return found;
      }
      found = found->fenPathMember(rest);
   }
}

Entity::NotifieeConst::NotifieeConst(Kind kind) : PtrInterface::NotifieeConst(kind) {}
Entity::NotifieeConst::~NotifieeConst() = default;
void Entity::NotifieeConst::onParent() {}
void Entity::NotifieeConst::onVersion() {}
void Entity::NotifieeConst::onIsNondestructing() {}
Ptr<Entity const> Entity::NotifieeConst::notifier() const {
   return Ptr<Entity const>(static_cast<Entity const*>(fenNotifier()));
}

Entity::Notifiee::Notifiee(Kind kind) : Entity::NotifieeConst(kind) {}
Entity::Notifiee::~Notifiee() = default;
Ptr<Entity> Entity::Notifiee::notifier() const {
   return Ptr<Entity>(const_cast<Entity*>(static_cast<Entity const*>(fenNotifier())));
}

namespace {

/// Empties a directory from below, each member with its notification.
void emptyDirectory(Dir& directory) {
   for (Dir::Members::IteratorConst i(&directory.entityPtrs(), Ptr<PtrInterface const>(&directory));
        i; ++i) {
      Ptr<Entity> const member = directory.entityPtr(i->name());
      if (auto* const below = dynamic_cast<Dir*>(member.ptr())) {
         emptyDirectory(*below);
      }
   }
   directory.entityPtrDelAll();
}

} // namespace

void entityDel(EntityUriPath const& path) {
   Ptr<Entity> const entity = Entity::entity(path);
   if (!entity) {
      return;
   }
   Ptr<Dir> const holder = ptrCast<Dir>(entity->parent());
   if (!holder) {
      return;
   }
   if (auto* const directory = dynamic_cast<Dir*>(entity.ptr())) {
      emptyDirectory(*directory);
   }
   // A handler may have taken it out already, and may have given its name to another one.
   if (holder->entityPtr(entity->name()) == entity) {
      holder->entityPtrDel(entity->name());
   }
}

} // namespace Fen
