/// Members and places of directories.
#include <gantry/runtime/fen/AttrAccess.h>
#include <gantry/runtime/fen/Dir.h>

namespace Fen {

namespace {

/// The traits of the one attribute; the generic rules of collections work through them.
struct EntityPtrAttr {
   using Owner = Dir;
   using Key = Name;
   using Member = Entity;
   static constexpr AttrKind kind = AttrKind::ownedCollection;
   static constexpr AttributeId id = Dir::entityPtrAttributeId;
   static constexpr char const* name = "entityPtr";
   static Dir::Members& field(Owner& owner) {
      return const_cast<Dir::Members&>(owner.entityPtrs());
   }
   static void tell(PtrInterface::NotifieeConst& notifiee, Name const& key) {
      static_cast<Dir::NotifieeConst&>(notifiee).onEntityPtr(key);
   }
};

Ptr<Entity> memberByText(Entity const& owner, String8 const& key) {
   return static_cast<Dir const&>(owner).entityPtr(key);
}

Ptr<Entity> newDir(Name const& name) { return makePtr<Dir>(name); }

/// Members may be of any type that travels, so the type's name stands before the member's own.
struct EntityPtrPlace final : AttrLog::OwnedPlace {
   constexpr EntityPtrPlace() : OwnedPlace(Dir::entityPtrAttributeId) {}

   EntityWire const* wireOf(Entity const& member) const override { return EntityWire::of(member); }
   EntityWire const* wireRead(NboAttrLog::In& in) const override {
      std::string_view const typeName = in.nextText();
      FenType const* const type = FenType::type(typeName);
      if (type == nullptr || type->wire() == nullptr) {
         NboAttrLog::refuse(NboAttrLog::Refusal::unknownType,
                            String8("no type is named ") + String8(typeName));
      }
      return type->wire();
   }
   void typePut(NboAttrLog::Out& out, Entity const& member) const override {
      out << member.fwkType()->fullTypeName();
   }
   Ptr<Entity> present(Entity& owner, Entity const& like) const override {
      Name const name = like.name();
      if (!name || name.view().find('/') != std::string_view::npos) {
         NboAttrLog::refuse(NboAttrLog::Refusal::badKey, "no directory holds a member so named");
      }
      return directory(owner).entityPtr(name);
   }
   bool isPresent(Entity& owner, Entity const& member) const override {
      return directory(owner).entityPtr(member.name()) == &member;
   }
   void take(Entity& owner, Ptr<Entity> const& member) const override {
      directory(owner).entityPtrIs(member);
   }
   void drop(Entity& owner, Ptr<Entity> const& member) const override {
      directory(owner).entityPtrDel(member->name());
   }

 private:
   static Dir& directory(Entity& owner) { return static_cast<Dir&>(owner); }
};

/// Members by their names; what is put in stands there under its own name and no other.
struct EntityPtrAccess : Access::Members<EntityPtrAttr> {
   static bool readMember(PtrInterface const& owner, void const* key, ValueUse const& use) {
      Ptr<Entity> const member(find(owner, key));
      use(&member);
      return static_cast<bool>(member);
   }
   static void set(PtrInterface& owner, void const* key, void const* value) {
      auto const& entity = *static_cast<Ptr<Entity> const*>(value);
      if (entity && !(entity->name() == *static_cast<Name const*>(key))) {
         GenericIf::throwTypeException("fen_index");
      }
      static_cast<Dir&>(owner).entityPtrIs(entity);
   }
   static Ptr<GenericIf> del(PtrInterface& owner, void const* key) {
      return genericIf(static_cast<Dir&>(owner).entityPtrDel(*static_cast<Name const*>(key)));
   }
   static constexpr AttrAccess table() {
      return {
         &valueForm<Ptr<Entity>>, &valueForm<Name>, &readMember, &set, nullptr, &del, &map, &walk};
   }
};

constexpr AttrDesc attributes[] = {
   {Dir::entityPtrAttributeId, EntityPtrAttr::name, EntityPtrAttr::kind, "Fen::Entity", "Fen::Name",
    &AttrLog::wireObject<AttrLog::OwnedCollectionWire<EntityPtrAttr, EntityPtrPlace>>,
    &memberByText, nullptr, &Access::tableOf<EntityPtrAccess>},
};

constexpr TypeDesc description = {"Fen::Dir", TypeKind::entity, &Entity::_fwkType, attributes,
                                  {},         &newDir,          entityWire<Dir>()};

} // namespace

Dir::Entry::Entry(Ptr<Dir> const& directory, Name name)
   : directory_(directory.ptr()), name_(name) {}
Dir::Entry::~Entry() = default;

String8 Dir::Entry::fullName() const {
   if (directory_ == nullptr) {
      return name_;
   }
   String8 const above = directory_->fullName();
   return above == "/" ? above + name_ : above + "/" + name_;
}

Ptr<Entity> Dir::Entry::entityRef() const {
   return directory_ != nullptr ? directory_->entityPtr(name_) : Ptr<Entity>();
}

Dir::Dir(Name name) : Entity(name) {}

Dir::~Dir() {
   members_.forEachMember([](Entity* member) { member->fenParentGone(); });
   entries_.forEachMember([](Entry* entry) { entry->directory_ = nullptr; });
}

FenType* Dir::_fwkType() {
   static FenType* const type = FenType::typeIs(description);
   return type;
}

namespace {

/// Peers and schemas name the type before anybody here has made a directory: it is there from load.
[[maybe_unused]] FenType* const madeAtLoad = Dir::_fwkType();

} // namespace

FenType* Dir::fwkType() const { return _fwkType(); }

String8 Dir::attributeString(AttributeId id) const {
   return id == entityPtrAttributeId ? String8(EntityPtrAttr::name) : Entity::attributeString(id);
}

Ptr<Entity> Dir::fenPathMember(std::string_view& rest) const {
   std::size_t const slash = rest.find('/');
   Ptr<Entity> member = entityPtr(Name(rest.substr(0, slash)));
   rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
   return member;
}

Ptr<Entity> Dir::entityPtr(Name name) const { return Ptr<Entity>(members_.find(name)); }

Ptr<Entity> Dir::entityPtrIs(Ptr<Entity> const& entity) {
   if (!entity) {
      throwRangeException("a directory's member is not null");
   }
   Name const name = entity->name();
   if (Entity const* const existing = members_.find(name)) {
      if (existing == entity.ptr()) {
         return entity;
      }
      throwNameInUseException(String8("the name ") + valueToStrep(name) + " is taken in " +
                              valueToStrep(fullName()));
   }
   for (Entity const* above = this; above != nullptr; above = above->parent().ptr()) {
      if (above == entity.ptr()) {
         throwRangeException("a directory does not contain itself");
      }
   }
   if (entity->parent()) {
      throwRangeException(valueToStrep(entity->fullName()) + " has a parent already");
   }
   // Whoever is told of the parent may drop this directory already.
   Ptr<Dir> const self(this);
   members_.newMember(entity);
   entity->parentAttrIdIs(entityPtrAttributeId);
   entity->parentIs(Ptr<Entity>(this));
   attrNotify<EntityPtrAttr>(*this, name);
   return entity;
}

Ptr<Entity> Dir::entityPtrDel(Name name) {
   Ptr<Dir> const self(this);
   Ptr<Entity> member = members_.memberDel(name);
   if (member) {
      // A place that somebody still holds stays, empty, and goes on knowing its directory.
      if (Entry const* const place = entries_.find(name);
          place != nullptr && place->fenReferenceCount() == 1) {
         entries_.memberDel(name);
      }
      member->parentIs(nullptr);
      attrNotify<EntityPtrAttr>(*this, name);
   }
   return member;
}

void Dir::entityPtrDelAll() {
   // Handlers may put members in while others go: the walk ends when none is left.
   Ptr<Dir> const self(this);
   while (members_.size() != 0) {
      for (Members::IteratorConst i(&members_); i; ++i) {
         entityPtrDel(i->name());
      }
   }
}

void Dir::entityPtrNotify(Name name, Ptr<Entity> const& member) {
   Ptr<Dir> const self(this);
   if (member) {
      bool const present = members_.find(name) == member.ptr();
      member->parentIs(present ? Ptr<Entity>(this) : Ptr<Entity>());
   }
   attrNotify<EntityPtrAttr>(*this, name);
}

Ptr<Dir::Entry> Dir::entryFor(Name name) const {
   if (Entry* const known = entries_.find(name)) {
      return Ptr<Entry>(known);
   }
   auto made = makePtr<Entry>(Ptr<Dir>(const_cast<Dir*>(this)), name);
   entries_.newMember(made);
   return made;
}

Ptr<Dir::Entry> Dir::entry(Name name) const {
   return members_.find(name) != nullptr ? entryFor(name) : Ptr<Entry>();
}

Ptr<Dir::Entry> Dir::entryIs(Name name) {
   if (!name || name.view().find('/') != std::string_view::npos) {
      return nullptr;
   }
   return entryFor(name);
}

Ptr<Entity> Dir::entityIs(Name name, String8 typeName) {
   FenType const* const type = FenType::type(typeName.view());
   if (type == nullptr || !name || name.view().find('/') != std::string_view::npos) {
      return nullptr;
   }
   if (Ptr<Entity> occupant = entityPtr(name)) {
      return occupant->fwkType() == type ? occupant : Ptr<Entity>();
   }
   return type->newEntity(name, this);
}

Dir::NotifieeConst::NotifieeConst() = default;
Dir::NotifieeConst::NotifieeConst(Ptr<Dir const> const& directory) {
   fenNotifierStore(directory.ptr());
}
Dir::NotifieeConst::~NotifieeConst() = default;
void Dir::NotifieeConst::onEntityPtr(Name) {}
void Dir::NotifieeConst::onEntityPtrfenImmediate() {}
void Dir::NotifieeConst::onEntityPtr() {}
Ptr<Dir const> Dir::NotifieeConst::notifier() const {
   return Ptr<Dir const>(static_cast<Dir const*>(fenNotifier()));
}

Dir::Notifiee::Notifiee() = default;
Dir::Notifiee::Notifiee(Ptr<Dir> const& directory) : Dir::NotifieeConst(directory) {}
Dir::Notifiee::~Notifiee() = default;
Ptr<Dir> Dir::Notifiee::notifier() const {
   return Ptr<Dir>(const_cast<Dir*>(static_cast<Dir const*>(fenNotifier())));
}

Ptr<Dir> dirFactory(Name name) { return makePtr<Dir>(name); }

Ptr<Dir> const& root() {
   // Never destroyed: it is there for as long as any code runs.
   static Ptr<Dir> const* const theRoot = new Ptr<Dir>(makePtr<Dir>(Name()));
   return *theRoot;
}

} // namespace Fen
