// The last phase of the Resolver: what only the whole model can tell.

#include <fenc/Resolver.h>

#include <algorithm>
#include <array>
#include <map>
#include <string_view>
#include <utility>

namespace Fenc {

std::vector<std::string> accessorNames(Attribute const& attribute) {
   std::string const& name = attribute.name;
   std::string const upper = upperFirst(name);
   std::vector<std::string> result = {name};
   bool const changes =
      attribute.isMutable && !attribute.isKey && attribute.kind != AttributeKind::through &&
      attribute.kind != AttributeKind::computed && attribute.kind != AttributeKind::constant;
   bool const parameter =
      attribute.isParameter && !attribute.isMutable && attribute.kind != AttributeKind::back;
   if (attribute.kind == AttributeKind::reactor || attribute.kind == AttributeKind::timer ||
       attribute.kind == AttributeKind::reactorCollection) {
      result.push_back("fen" + upper);
      result.push_back("Fen" + upper);
   }
   if (!changes || parameter) {
      return result;
   }
   result.push_back(name + "Is");
   bool const collection = isCollection(attribute.kind);
   if (collection || attribute.kind == AttributeKind::owned ||
       attribute.kind == AttributeKind::reactor) {
      result.push_back(name + "Del");
   }
   if (collection || attribute.kind == AttributeKind::owned) {
      result.push_back("new" + upper);
   }
   if (collection) {
      result.push_back(name + "DelAll");
      result.push_back(name + "Notify");
      result.push_back(name + "Iterator");
      result.push_back(upper + "Iterator");
      result.push_back(upper + "IteratorConst");
      bool const hasRecord = attribute.kind != AttributeKind::ownedCollection &&
                             attribute.kind != AttributeKind::reactorCollection;
      if (hasRecord) {
         result.push_back("Fen" + upper);
         result.push_back("fen" + upper);
      }
   }
   return result;
}

std::vector<std::string> slotNames(Attribute const& attribute) {
   std::vector<std::string> result;
   if (attribute.isWritten() && !(attribute.isParameter && !attribute.isMutable)) {
      std::string const slot = "on" + upperFirst(attribute.name);
      result.push_back(slot);
      if (isCollection(attribute.kind)) {
         result.push_back(slot + "fenImmediate");
      }
   }
   return result;
}

namespace {

/// Members that the framework's base classes bring into every generated class.
bool isFrameworkMember(std::string const& name, TypeKind kind) {
   static constexpr std::array<std::string_view, 15> ofAll = {"Notifiee",
                                                              "NotifieeConst",
                                                              "fwkType",
                                                              "isNondestructing",
                                                              "isNondestructingIs",
                                                              "zeroReferences",
                                                              "hasNotificationActive",
                                                              "hasNotificationActiveIs",
                                                              "auditErrors",
                                                              "zeroReferencesIs",
                                                              "fenNotify",
                                                              "fenNotifiees",
                                                              "fenDoZombieReactors",
                                                              "fenMarkedForDeletion",
                                                              "fenAuditErrors"};
   static constexpr std::array<std::string_view, 14> ofEntities = {
      "name",           "parent",   "parentIs",    "parentAttr",     "parentAttrId",
      "parentAttrIdIs", "uriPath",  "fullName",    "entity",         "attributeString",
      "handleParent",   "Iterator", "singletonIs", "singletonExists"};
   static constexpr std::array<std::string_view, 12> ofReactors = {
      "notifier",  "notifierIs",  "name",           "activityPtr",
      "actsm",     "onAttribute", "onNotification", "timeMin",
      "timeMinIs", "onTime",      "doNotification", "handleNotification"};
   auto holds = [&](auto const& list) {
      return std::find(list.begin(), list.end(), name) != list.end();
   };
   return holds(ofAll) || (kind == TypeKind::entity && holds(ofEntities)) ||
          (kind == TypeKind::reactor && holds(ofReactors));
}

} // namespace

void Resolver::checkNames(Type const& type) {
   if (type.kind == TypeKind::enumeration || type.kind == TypeKind::builtin) {
      return;
   }
   std::map<std::string, std::string> taken;
   auto take = [&](std::string const& name, std::string const& whose, Position at) {
      auto const [found, isNew] = taken.emplace(name, whose);
      if (!isNew && found->second != whose) {
         diagnostics_.error(at, "the name '" + name + "' of " + whose +
                                   " clashes with a generated accessor of " + found->second);
      }
   };
   std::map<std::string, std::string> slots;
   for (auto const& attribute : type.attributes) {
      std::string const whose = "the attribute '" + attribute->name + "'";
      for (std::string const& name : accessorNames(*attribute)) {
         bool const isOwnName = attribute->isKey && name == "name";
         if (type.kind != TypeKind::value && !type.isExtern && !isOwnName &&
             isFrameworkMember(name, type.kind)) {
            diagnostics_.error(attribute->at, "the name '" + name +
                                                 "' clashes with a generated accessor of the "
                                                 "framework");
         }
         take(name, whose, attribute->at);
      }
      for (std::string const& slot : slotNames(*attribute)) {
         auto const [found, isNew] = slots.emplace(slot, whose);
         if (!isNew && found->second != whose) {
            diagnostics_.error(attribute->at, "the notification '" + slot + "' of " + whose +
                                                 " clashes with one of " + found->second);
         }
      }
   }
   take(type.name, "the type '" + type.name + "'", type.at);
   take(type.name + "Is", "the type '" + type.name + "'", type.at);
   for (auto const& nested : type.nested) {
      if (nested->kind == TypeKind::reactor) {
         continue; // named by its attribute
      }
      if (nested->kind == TypeKind::machine && type.kind != TypeKind::machine) {
         diagnostics_.error(nested->at, "bad nesting: a machine is declared inside a machine only");
      }
      take(nested->name, "the type '" + nested->name + "'", nested->at);
      for (Enumerator const& enumerator : nested->enumerators) {
         take(enumerator.name, "the enumerator '" + enumerator.name + "'", nested->at);
      }
   }
   for (auto const& operation : type.operations) {
      take(operation->name, "the operation '" + operation->name + "'", operation->at);
   }
}

void Resolver::checkOwnership(Type const& type) {
   bool const isStreamed = type.kind == TypeKind::entity && !type.isLocal && !type.isExtern;
   for (Attribute const* parameter : type.parameters) {
      if (isStreamed && parameter->kind != AttributeKind::scalar) {
         diagnostics_.error(parameter->at,
                            "only a local entity is constructed from references and pointers: the "
                            "attribute log creates an entity from values");
      }
   }
   // An entity's own constructor would need its parent's, which would need the entity's: owning a
   // type in itself is fine in a collection and as a child, but a parameter cannot be created so.
   for (auto const& attribute : type.attributes) {
      bool const owns = attribute->kind == AttributeKind::owned ||
                        attribute->kind == AttributeKind::ownedCollection ||
                        attribute->kind == AttributeKind::recordCollection;
      if (!owns || attribute->type == nullptr || attribute->syntax == nullptr) {
         continue;
      }
      Type const& member = *attribute->type;
      bool const isEntity = member.kind == TypeKind::entity;
      bool const crossesLog = type.kind == TypeKind::entity && !type.isLocal && !type.isExtern;
      if (crossesLog && isEntity && member.isLocal) {
         diagnostics_.error(attribute->at,
                            "'" + member.cppName + "' is local: only a local entity can own it");
      }
      bool const single = attribute->kind != AttributeKind::ownedCollection;
      bool const isNamed = !member.parameters.empty() && member.parameters[0]->isKey;
      bool const travels = crossesLog || attribute->kind == AttributeKind::recordCollection;
      if (type.kind == TypeKind::entity && isEntity && single &&
          (!isNamed || (travels && member.parameters.size() != 1))) {
         diagnostics_.error(
            attribute->syntax->type.at,
            "a single owned child of an entity has its name as its first parameter, "
            "and as its only one when it travels");
      }
   }
}

void Resolver::checkValueCycles() {
   std::set<Type const*> done;
   for (Type const* type : all_) {
      std::vector<Type const*> stack;
      if (type->kind == TypeKind::value) {
         visitValue(*type, done, stack);
      }
   }
}

void Resolver::visitValue(Type const& type, std::set<Type const*>& done,
                          std::vector<Type const*>& stack) {
   if (done.count(&type) != 0) {
      return;
   }
   auto const onStack = std::find(stack.begin(), stack.end(), &type);
   if (onStack != stack.end()) {
      std::string chain;
      for (auto each = onStack; each != stack.end(); ++each) {
         chain += (*each)->name + ", ";
      }
      diagnostics_.error(type.at, "a cycle of value types: " + chain + type.name);
      return;
   }
   stack.push_back(&type);
   if (stack.size() > 64) {
      diagnostics_.error(type.at, "value types are nested too deep");
   } else {
      for (auto const& field : type.attributes) {
         if (field->type != nullptr && field->type->kind == TypeKind::value) {
            visitValue(*field->type, done, stack);
         }
      }
   }
   stack.pop_back();
   done.insert(&type);
}

} // namespace Fenc
