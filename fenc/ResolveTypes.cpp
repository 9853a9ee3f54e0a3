// The first phase of the Resolver: which types there are, and how names find them.

#include <fenc/Resolver.h>

#include <limits>
#include <stdexcept>
#include <utility>

namespace Fenc {

void Resolver::run() {
   for (auto const& module : model_.modules) {
      declare(*module);
   }
   // Reactor classes are added to all_ by the attribute that needs them, hence the indices.
   for (std::size_t i = 0; i < all_.size(); ++i) {
      if (all_[i]->kind == TypeKind::enumeration) {
         enumeration(*all_[i]);
      }
      baseOf(*all_[i]);
   }
   for (std::size_t i = 0; i < all_.size(); ++i) {
      attributes(*all_[i]);
   }
   for (Type* type : all_) {
      baseArguments(*type);
      paths(*type);
   }
   for (Type* type : all_) {
      operations(*type);
   }
   for (Type* type : all_) {
      reactions(*type);
      birth(*type);
      timers(*type);
   }
   checkValueCycles();
   for (Type const* type : all_) {
      checkOwnership(*type);
      checkNames(*type);
   }
}

void Resolver::declare(Module& module) {
   for (auto const& syntax : module.syntax->types) {
      declareType(module, *syntax, nullptr);
   }
}

Type* Resolver::declareType(Module& module, TypeSyntax const& syntax, Type* outer) {
   static constexpr TypeKind kinds[] = {TypeKind::value, TypeKind::enumeration, TypeKind::entity,
                                        TypeKind::machine};
   auto type = std::make_unique<Type>();
   type->kind = kinds[static_cast<std::size_t>(syntax.form)];
   type->name = syntax.name.text;
   type->namespaceName = syntax.namespaceName;
   std::size_t const colons = type->name.rfind("::");
   if (colons != std::string::npos) {
      type->namespaceName = type->name.substr(0, colons);
      type->name = type->name.substr(colons + 2);
   }
   type->outer = outer;
   std::string const scope = outer != nullptr ? outer->cppName : type->namespaceName;
   type->cppName = scope.empty() ? type->name : scope + "::" + type->name;
   type->at = syntax.name.at;
   type->documentation = syntax.documentation;
   type->module = &module;
   type->isExtern = syntax.isExtern;
   type->header = syntax.header;
   type->isForward = syntax.isExtern && syntax.header.empty();
   type->isLocal = syntax.isLocal;
   type->hasFactory = syntax.hasFactory;
   type->factoryName = syntax.factoryName.text.empty() ? lowerFirst(type->name) + "Factory"
                                                       : syntax.factoryName.text;
   type->syntax = &syntax;
   type->body = &syntax.body;
   Type* const result = type.get();
   auto const known = byFullName_.find(result->cppName);
   if (known == byFullName_.end()) {
      byFullName_[result->cppName] = result;
   } else if (known->second->isForward) {
      known->second = result; // the real one takes over from its forward declaration
   } else if (!result->isForward) {
      diagnostics_.error(result->at,
                         "duplicate name: the type '" + result->cppName + "' is declared already");
   }
   all_.push_back(result);
   (outer != nullptr ? outer->nested : module.types).push_back(std::move(type));
   for (auto const& nested : syntax.body.nested) {
      declareType(module, *nested, result);
   }
   return result;
}

Type const* Resolver::lookupFull(std::string const& name, Module const& from) const {
   auto const found = byFullName_.find(name);
   if (found != byFullName_.end()) {
      for (Module const* visible : from.visible) {
         if (visible == found->second->module) {
            return found->second;
         }
      }
      // A forward declaration in a visible file makes the name usable, wherever the type is.
      for (Type const* type : all_) {
         if (type->isForward && type->cppName == name) {
            for (Module const* visible : from.visible) {
               if (visible == type->module) {
                  return type;
               }
            }
         }
      }
   }
   for (auto const& builtin : model_.builtins) {
      if (builtin->cppName == name || "Fen::" + builtin->name == name) {
         return builtin.get();
      }
   }
   return nullptr;
}

Type const* Resolver::lookup(std::string const& name, Type const& from) const {
   // From the class outward, then from its namespace outward, then the framework's.
   for (Type const* scope = &from; scope != nullptr; scope = scope->outer) {
      if (Type const* type = lookupFull(scope->cppName + "::" + name, *from.module)) {
         return type;
      }
   }
   std::string scope = from.namespaceName;
   while (!scope.empty()) {
      if (Type const* type = lookupFull(scope + "::" + name, *from.module)) {
         return type;
      }
      std::size_t const colons = scope.rfind("::");
      scope = colons == std::string::npos ? std::string() : scope.substr(0, colons);
   }
   if (Type const* type = lookupFull(name, *from.module)) {
      return type;
   }
   return lookupFull("Fen::" + name, *from.module);
}

Type const* Resolver::find(NameSyntax const& name, Type const& from, char const* what) {
   Type const* const type = lookup(name.text, from);
   if (type == nullptr) {
      diagnostics_.error(name.at, std::string("unknown type '") + name.text + "' for " + what);
   }
   return type;
}

void Resolver::enumeration(Type& type) {
   if (type.isExtern) {
      return;
   }
   TypeSyntax const& syntax = *type.syntax;
   NameSyntax underlying = syntax.underlying;
   if (underlying.text.empty()) {
      underlying.text = "u32";
   }
   type.underlying = find(underlying, type, "the numbers of an enum");
   if (type.underlying != nullptr && type.underlying->shape != Shape::integer) {
      diagnostics_.error(underlying.at, "the numbers of an enum are of an integer type");
   }
   std::string const shortName =
      type.outer != nullptr ? type.outer->name + "::" + type.name : type.name;
   type.fallbackText = syntax.fallbackText.value_or(shortName + "(%d)");
   std::size_t const conversion = type.fallbackText.find('%');
   if (conversion == std::string::npos || type.fallbackText.compare(conversion, 2, "%d") != 0 ||
       type.fallbackText.find('%', conversion + 1) != std::string::npos) {
      diagnostics_.error(syntax.name.at, "the text of a number without a name holds %d once");
   }
   if (syntax.enumerators.empty()) {
      diagnostics_.error(syntax.name.at, "an enum needs at least one enumerator");
   }
   for (EnumeratorSyntax const& each : syntax.enumerators) {
      Enumerator enumerator;
      enumerator.name = each.name.text;
      enumerator.documentation = each.documentation;
      enumerator.text = each.text.value_or(each.name.text);
      bool inRange = each.number.kind == LiteralSyntax::Kind::integer;
      try {
         enumerator.number = inRange ? std::stoll(each.number.text, nullptr, 0) : 0;
      } catch (std::out_of_range const&) {
         inRange = false;
      }
      inRange = inRange && enumerator.number >= 0 &&
                enumerator.number <= std::numeric_limits<std::uint32_t>::max();
      if (!inRange) {
         diagnostics_.error(each.number.at, "an enumerator's number lies between 0 and 4294967295");
      }
      for (Enumerator const& other : type.enumerators) {
         if (other.name == enumerator.name) {
            diagnostics_.error(each.name.at, "duplicate name: the enumerator '" + other.name +
                                                "' is declared already");
         } else if (inRange && other.number == enumerator.number) {
            diagnostics_.error(each.number.at, "duplicate key: the enumerator '" + other.name +
                                                  "' has this number already");
         } else if (other.text == enumerator.text) {
            diagnostics_.error(each.name.at, "duplicate name: the enumerator '" + other.name +
                                                "' has this text already");
         }
      }
      type.enumerators.push_back(std::move(enumerator));
   }
}

void Resolver::baseOf(Type& type) {
   if (type.syntax == nullptr || type.syntax->base.text.empty()) {
      return;
   }
   NameSyntax const& name = type.syntax->base;
   type.base = find(name, type, "a base");
   if (type.base == nullptr) {
      return;
   }
   if (type.base->kind != TypeKind::entity || !type.base->isExtern) {
      diagnostics_.error(name.at, "a base is an extern entity, which is written by hand");
      type.base = nullptr;
   } else {
      needHeader(*type.base, name.at, "a base");
   }
}

void Resolver::baseArguments(Type& type) {
   if (type.base == nullptr) {
      return;
   }
   for (NameSyntax const& argument : type.syntax->baseArguments) {
      Attribute const* found = nullptr;
      for (Attribute const* parameter : type.parameters) {
         if (parameter->name == argument.text) {
            found = parameter;
         }
      }
      if (found == nullptr) {
         diagnostics_.error(argument.at,
                            "'" + argument.text + "' is no parameter of the constructor");
      } else {
         type.baseArguments.push_back(found);
      }
   }
}

void Resolver::needHeader(Type const& type, Position at, char const* use) {
   if (type.isForward) {
      diagnostics_.error(at, "'" + type.cppName + "' is only declared forward: " + use +
                                " needs its header or schema");
   }
}

} // namespace Fenc
