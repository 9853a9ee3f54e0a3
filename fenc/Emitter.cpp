// Puts the texts of a module together: which headers it includes, and its types by namespace.

#include <fenc/Emitter.h>

#include <fenc/EmitParts.h>

#include <algorithm>
#include <set>

namespace Fenc {

namespace {

Type const* outermost(Type const* type) {
   while (type->outer != nullptr) {
      type = type->outer;
   }
   return type;
}

/// Adds the type after those of the module that it holds by value.
void place(Type const& type, std::vector<Type const*>& order, std::set<Type const*>& visited) {
   if (!visited.insert(&type).second) {
      return;
   }
   for (auto const& attribute : type.attributes) {
      if (attribute->type == nullptr || attribute->type->kind == TypeKind::entity ||
          attribute->type->kind == TypeKind::machine) {
         continue;
      }
      Type const* const needed = outermost(attribute->type);
      if (needed->module == type.module && !needed->isExtern && needed != &type) {
         place(*needed, order, visited);
      }
   }
   order.push_back(&type);
}

/// The types that are emitted, values before what holds them, else in declared order.
std::vector<Type const*> ordered(Module const& module) {
   std::vector<Type const*> order;
   std::set<Type const*> visited;
   for (bool const plain : {true, false}) {
      for (auto const& type : module.types) {
         bool const isPlain = type->kind == TypeKind::value || type->kind == TypeKind::enumeration;
         if (!type->isExtern && isPlain == plain) {
            place(*type, order, visited);
         }
      }
   }
   return order;
}

bool holds(Module const& module, TypeKind kind) {
   return std::any_of(module.types.begin(), module.types.end(),
                      [&](auto const& type) { return type->kind == kind && !type->isExtern; });
}

/// Opens and closes namespaces as the types need them.
class Namespaces {
 public:
   explicit Namespaces(EmitText& out) : out_(out) {}

   void enter(std::string const& name) {
      if (name == open_) {
         return;
      }
      leave();
      if (!name.empty()) {
         out_.gap();
         out_.line("namespace " + name + " {");
      }
      open_ = name;
   }
   void leave() {
      if (!open_.empty()) {
         out_.gap();
         out_.line("} // namespace " + open_);
      }
      open_.clear();
   }

 private:
   EmitText& out_;
   std::string open_;
};

void includes(EmitText& out, Module const& module) {
   std::set<std::string> lines = {"<gantry/runtime/Export.h>", "<gantry/runtime/fen/FenType.h>",
                                  "<gantry/runtime/fen/HashMap.h>",
                                  "<gantry/runtime/fen/String.h>"};
   if (holds(module, TypeKind::entity) || holds(module, TypeKind::machine)) {
      lines.insert({"<gantry/runtime/fen/Attribute.h>", "<gantry/runtime/fen/Dir.h>",
                    "<gantry/runtime/fen/MemberIterator.h>",
                    "<gantry/runtime/fen/NboAttrLogFlow.h>",
                    "<gantry/runtime/fen/RecordMember.h>"});
   }
   if (holds(module, TypeKind::machine)) {
      lines.insert({"<gantry/runtime/fen/Clock.h>", "<gantry/runtime/fen/Machine.h>",
                    "<gantry/runtime/fen/Reactor.h>"});
   }
   for (Module const* import : module.imports) {
      lines.insert("<" + import->headerPath() + ">");
   }
   for (std::string const& include : module.syntax->includes) {
      lines.insert(include);
   }
   for (auto const& type : module.types) {
      if (type->isExtern && !type->isForward) {
         lines.insert(type->header);
      }
   }
   for (std::string const& line : lines) {
      out.line("#include " + line);
   }
   out.gap();
   out.line("#include <cstdint>");
   out.line("#include <iosfwd>");
   if (holds(module, TypeKind::entity)) {
      out.line("#include <tuple>");
   }
}

void forwardDeclarations(EmitText& out, Module const& module) {
   Namespaces namespaces(out);
   for (auto const& type : module.types) {
      bool const isClass = type->kind == TypeKind::entity || type->kind == TypeKind::machine;
      if (isClass && (!type->isExtern || type->isForward)) {
         namespaces.enter(type->namespaceName);
         out.line("class " + type->name + ";");
      }
   }
   namespaces.leave();
}

enum class Keys { ofTypes, ofNested, defined };

/// How collections read the keys of members whose key is not their name. Nested members can be
/// named only behind the class that they are nested in.
void keys(EmitText& out, Type const& type, Keys which) {
   for (auto const& attribute : type.attributes) {
      if (attribute->kind != AttributeKind::ownedCollection || attribute->keyType == nullptr) {
         continue;
      }
      bool const isNested = attribute->type->outer != nullptr;
      if (which == Keys::defined || (which == Keys::ofNested) == isNested) {
         emitMemberKey(out, *attribute, which == Keys::defined);
      }
   }
   for (auto const& nested : type.nested) {
      keys(out, *nested, which);
   }
}

bool hasNestedKeys(Type const& type) {
   EmitText out;
   keys(out, type, Keys::ofNested);
   return !out.text().empty();
}

void typeName(EmitText& out, Type const& type) {
   out.line("template <>");
   out.open("struct Fen::TypeName<" + type.cppName + "> {");
   out.line("static constexpr char const* name = " + quoted(type.cppName) + ";");
   out.close("};");
}

/// Calls `visit` for each enumeration that is nested in the type, however deep.
template <class Visit>
void nestedEnumerations(Type const& type, Visit const& visit) {
   for (auto const& nested : type.nested) {
      if (nested->kind == TypeKind::enumeration) {
         visit(*nested);
      }
      nestedEnumerations(*nested, visit);
   }
}

void factory(EmitText& out, Type const& type) {
   if (type.hasFactory) {
      out.gap();
      out.line("GANTRY_EXPORT " + pointerTo(type) + " " + type.factoryName + "(" +
               constructorParameters(type) + ");");
   }
}

void typeObjects(EmitText& out, Type const& type) {
   for (auto const& nested : type.nested) {
      typeObjects(out, *nested);
   }
   if (type.kind == TypeKind::enumeration) {
      std::string const scope = type.outer != nullptr ? type.outer->cppName : type.namespaceName;
      out.line(scope + (scope.empty() ? "" : "::") + "_fwkType_" + type.name + "();");
   } else if (type.kind != TypeKind::reactor) {
      out.line(type.cppName + "::_fwkType();");
   }
}

/// Makes the type objects when the file is loaded, so that types are found by their names before
/// any object of theirs exists.
void load(EmitText& out, std::vector<Type const*> const& types) {
   if (types.empty()) {
      return;
   }
   out.gap();
   out.line("namespace {");
   out.gap();
   out.line("/// Makes the type objects at load.");
   out.open("struct FenTypesLoad {");
   out.open("FenTypesLoad() {");
   for (Type const* type : types) {
      typeObjects(out, *type);
   }
   out.close("}");
   out.close("} const fenTypesLoad;");
   out.gap();
   out.line("} // namespace");
}

void banner(EmitText& out, Module const& module, char const* what) {
   out.line(std::string("// ") + what + " Made by fenc from " + module.importName + ".");
   out.line("// Do not edit: change the schema instead.");
}

} // namespace

std::string emitHeader(Module const& module) {
   EmitText out;
   std::vector<Type const*> const order = ordered(module);
   banner(out, module, "The types of a schema.");
   out.line("#pragma once");
   out.gap();
   includes(out, module);
   forwardDeclarations(out, module);
   for (Type const* type : order) {
      keys(out, *type, Keys::ofTypes);
   }
   Namespaces namespaces(out);
   for (Type const* type : order) {
      namespaces.enter(type->namespaceName);
      switch (type->kind) {
      case TypeKind::enumeration:
         emitEnumeration(out, *type);
         emitEnumerationFunctions(out, *type);
         break;
      case TypeKind::value:
         emitValue(out, *type);
         break;
      case TypeKind::entity:
         emitEntity(out, *type);
         break;
      default:
         emitMachine(out, *type);
         if (hasNestedKeys(*type)) {
            namespaces.leave();
            keys(out, *type, Keys::ofNested);
            namespaces.enter(type->namespaceName);
         }
         emitNestedClasses(out, *type);
      }
      nestedEnumerations(*type, [&](Type const& each) { emitEnumerationFunctions(out, each); });
      factory(out, *type);
   }
   namespaces.leave();
   out.gap();
   for (Type const* type : order) {
      keys(out, *type, Keys::defined);
      if (type->kind == TypeKind::value || type->kind == TypeKind::enumeration) {
         typeName(out, *type);
      }
      nestedEnumerations(*type, [&](Type const& each) { typeName(out, each); });
   }
   return out.text();
}

std::string emitSource(Module const& module) {
   EmitText out;
   banner(out, module, "The bodies of a schema's types.");
   out.gap();
   out.line("#include <" + module.headerPath() + ">");
   out.gap();
   out.line("#include <gantry/runtime/fen/AttrAccess.h>");
   out.line("#include <gantry/runtime/fen/NboAttrLogForm.h>");
   out.line("#include <gantry/runtime/fen/Strep.h>");
   out.gap();
   out.line("#include <ostream>");
   Namespaces namespaces(out);
   for (Type const* type : ordered(module)) {
      namespaces.enter(type->namespaceName);
      switch (type->kind) {
      case TypeKind::enumeration:
         emitEnumerationSource(out, *type);
         break;
      case TypeKind::value:
         emitValueSource(out, *type);
         break;
      case TypeKind::entity:
         emitEntitySource(out, *type);
         break;
      default:
         emitMachineSource(out, *type);
      }
   }
   namespaces.leave();
   load(out, ordered(module));
   return out.text();
}

} // namespace Fenc
