// Objects below machines, found by reflection.

#include <hosts/control/MachinePlaces.h>

#include <hosts/control/ControlError.h>
#include <hosts/control/ObjectAccess.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <unordered_map>

namespace Host {

namespace {

using Object = MachinePlaces::Object;

/// Whether the tree of entities has a place for it.
bool isInTree(Fen::PtrInterface const& object) {
   auto const* const entity = dynamic_cast<Fen::Entity const*>(&object);
   return entity != nullptr &&
          Fen::Entity::entity(Fen::EntityUriPath(entity->fullName())).ptr() == entity;
}

/// Whether values of the attribute are objects that may stand here. A plain pointer leads back to
/// an owner, which stands above.
bool leadsToObjects(Fen::AttrDesc const& attribute) {
   if (attribute.access == nullptr || attribute.access->value == nullptr) {
      return false;
   }
   Fen::FenType const* const type = attribute.access->value->type();
   return type != nullptr &&
          (type->kind() == Fen::TypeKind::machine || type->kind() == Fen::TypeKind::entity);
}

/// The object that an attribute gives; null for none, and for one that has its place elsewhere.
Object objectOf(Fen::GenericIfPtrInterface& handle, Fen::AttrDesc const& attribute,
                Fen::Ptr<Fen::GenericIf const> const& key) {
   auto const value =
      handle.attributeOp(operation(attribute, Fen::GenericIf::operationGet), key, nullptr);
   auto const* const found = dynamic_cast<Fen::GenericIfPtrInterface const*>(value.ptr());
   Fen::PtrInterface const* const object = found != nullptr ? found->object().ptr() : nullptr;
   return object != nullptr && object->fwkType() != nullptr && !isInTree(*object)
             ? Object(const_cast<Fen::PtrInterface*>(object))
             : Object();
}

/// The first components of `rest` as a key, which are taken off; null for none that is there.
Fen::Ptr<Fen::GenericIf> keyTaken(Fen::GenericIfPtrInterface& handle,
                                  Fen::AttrDesc const& attribute, std::string_view& rest) {
   // A key may contain slashes: the shortest run of components that is a key is taken.
   for (std::size_t end = 0; end < rest.size();) {
      end = std::min(rest.find('/', end + 1), rest.size());
      try {
         auto const key = parsed(*attribute.access->key, std::string(rest.substr(0, end)));
         auto const contained = handle.attributeOp(
            operation(attribute, Fen::GenericIf::operationContains), key, nullptr);
         if (Fen::valueTaken<bool>(*contained)) {
            rest.remove_prefix(std::min(end + 1, rest.size()));
            return key;
         }
      } catch (Fen::Exception const&) {
         // No text of a key.
      }
   }
   return nullptr;
}

Object below(Object const& owner, std::string_view& rest) {
   std::size_t const slash = std::min(rest.find('/'), rest.size());
   Fen::AttrDesc const* const attribute = attributeOf(owner->fwkType(), rest.substr(0, slash));
   if (attribute == nullptr || !leadsToObjects(*attribute)) {
      return nullptr;
   }
   rest.remove_prefix(std::min(slash + 1, rest.size()));
   auto const handle = handleOf(*owner, true);
   if (!handle) {
      return nullptr;
   }
   if (!isCollection(*attribute)) {
      return objectOf(*handle, *attribute, nullptr);
   }
   auto const key = keyTaken(*handle, *attribute, rest);
   return key ? objectOf(*handle, *attribute, key) : Object();
}

/// Trees of objects. What leads back up is not followed, and what several refer to is written out
/// once; elsewhere stands where that is.
class TreeBuilder {
 public:
   explicit TreeBuilder(unsigned limit) : left_(limit) {}

   Json tree(std::string const& path, Object const& object, unsigned depth) {
      if (left_ == 0) {
         throw ControlError("tooLarge", "there is more below this path than one answer may have",
                            "give a longer path or a smaller --depth");
      }
      --left_;
      Json json{{"path", path}, {"type", textOf(object->fwkType()->fullTypeName())}};
      if (auto const written = written_.find(object.ptr()); written != written_.end()) {
         json["at"] = written->second;
         return json;
      }
      if (depth > 0) {
         written_.emplace(object.ptr(), path);
      }
      above_.push_back(object.ptr());
      Json members = Json::array();
      std::size_t count = 0;
      eachMember(object, [&](std::string const& name, Object const& member) {
         ++count;
         if (depth > 0) {
            members.push_back(tree(path + "/" + name, member, depth - 1));
         }
      });
      above_.pop_back();
      depth > 0 ? json["members"] = std::move(members) : json["below"] = count;
      return json;
   }

 private:
   template <class Visit>
   void eachMember(Object const& owner, Visit const& visit) {
      auto const handle = handleOf(*owner, true);
      if (!handle) {
         return;
      }
      auto const visitNew = [&](std::string const& name, Object const& member) {
         if (member && std::find(above_.begin(), above_.end(), member.ptr()) == above_.end()) {
            visit(name, member);
         }
      };
      for (Fen::AttrDesc const* each : attributesOf(owner->fwkType())) {
         if (!leadsToObjects(*each)) {
            continue;
         }
         if (!isCollection(*each)) {
            visitNew(each->name, objectOf(*handle, *each, nullptr));
            continue;
         }
         eachKey(*handle, *each, [&](Fen::Ptr<Fen::GenericIf const> const& key) {
            visitNew(std::string(each->name) + "/" + keyTextOf(*key),
                     objectOf(*handle, *each, key));
         });
      }
   }

   unsigned left_;
   std::vector<Fen::PtrInterface const*> above_;
   /// Those whose members stand in the answer, with their places.
   std::unordered_map<Fen::PtrInterface const*, std::string> written_;
};

/// The part of a path below root, nothing for another path.
std::optional<std::string_view> belowRoot(std::string_view path) {
   std::string_view const root = MachinePlaces::root;
   if (!path.starts_with(root) || (path.size() > root.size() && path[root.size()] != '/')) {
      return std::nullopt;
   }
   return path.substr(std::min(root.size() + 1, path.size()));
}

} // namespace

MachinePlaces::Object MachinePlaces::find(std::string_view path, Roots const& roots) const {
   auto const inside = belowRoot(path);
   if (!inside) {
      return nullptr;
   }
   for (auto const& [name, machine] : roots) {
      if (!inside->starts_with(name) ||
          (inside->size() > name.size() && (*inside)[name.size()] != '/')) {
         continue;
      }
      std::string_view rest = inside->substr(std::min(name.size() + 1, inside->size()));
      Object found = machine;
      while (found && !rest.empty()) {
         found = below(found, rest);
      }
      if (found) {
         return found;
      }
   }
   return nullptr;
}

Json MachinePlaces::tree(std::string_view path, unsigned depth, unsigned limit) const {
   TreeBuilder builder(limit);
   Roots const all = roots();
   if (Object const one = find(path, all)) {
      return builder.tree(std::string(path), one, depth);
   }
   Json json{{"path", root}, {"type", "machines"}};
   if (depth == 0) {
      json["below"] = all.size();
      return json;
   }
   Json members = Json::array();
   for (auto const& [name, machine] : all) {
      members.push_back(builder.tree(std::string(root) + "/" + name, machine, depth - 1));
   }
   json["members"] = std::move(members);
   return json;
}

} // namespace Host
