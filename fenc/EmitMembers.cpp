// What generated entities and machines have in common: parameters, keys, paths, operations and the
// tables that reflection reads.

#include <fenc/EmitParts.h>

#include <algorithm>

namespace Fenc {

std::string scopedName(Type const& type) {
   return type.outer != nullptr ? scopedName(*type.outer) + "::" + type.name : type.name;
}

std::string flatName(Type const& type) {
   return type.outer != nullptr ? flatName(*type.outer) + "_" + type.name : type.name;
}

bool isCompleteBefore(Type const& type, Type const& user) {
   if (type.isForward) {
      return false;
   }
   if (type.isExtern || type.module != user.module) {
      return true;
   }
   // Classes stand in the order of their places, nested ones inside their outermost class.
   Type const* outermost = &type;
   while (outermost->outer != nullptr) {
      outermost = outermost->outer;
   }
   Type const* place = &user;
   while (place->outer != nullptr) {
      place = place->outer;
   }
   if (outermost == place) {
      return false;
   }
   for (auto const& each : type.module->types) {
      if (each.get() == outermost) {
         return true;
      }
      if (each.get() == place) {
         return false;
      }
   }
   return false;
}

std::string declared(std::vector<Attribute const*> const& parameters) {
   std::string result;
   for (Attribute const* each : parameters) {
      result += (result.empty() ? "" : ", ") + parameterType(*each) + " " + each->name;
   }
   return result;
}

std::string named(std::vector<Attribute const*> const& parameters) {
   std::string result;
   for (Attribute const* each : parameters) {
      result += (result.empty() ? "" : ", ") + each->name;
   }
   return result;
}

std::string constructorParameters(Type const& type) {
   return declared({type.parameters.begin(), type.parameters.end()});
}

namespace {

/// The back pointer by which a member is to know `owner`.
bool isBackTo(Attribute const& parameter, Type const& owner) {
   return parameter.kind == AttributeKind::back && parameter.type->cppName == owner.cppName;
}

/// The name that a member gets from a key that is another of its attributes.
bool isNameFromKey(Attribute const& parameter, Attribute const& holder) {
   if (!parameter.isKey || !holder.keyPath.any()) {
      return false;
   }
   Attribute const* const first = holder.keyPath.steps.front();
   return first != nullptr && first != &parameter;
}

std::vector<Attribute const*> stepsOf(Path const& path) {
   std::vector<Attribute const*> result;
   for (Attribute const* step : path.steps) {
      if (result.empty() && step != nullptr && step->kind == AttributeKind::through) {
         result = stepsOf(step->path);
      } else {
         result.push_back(step);
      }
   }
   return result;
}

} // namespace

std::vector<Attribute const*> createParameters(Attribute const& holder) {
   std::vector<Attribute const*> result;
   for (Attribute const* parameter : holder.type->parameters) {
      if (!isBackTo(*parameter, *holder.owner) && !isNameFromKey(*parameter, holder)) {
         result.push_back(parameter);
      }
   }
   return result;
}

std::string createArguments(Attribute const& holder) {
   std::string result;
   for (Attribute const* parameter : holder.type->parameters) {
      result += result.empty() ? "" : ", ";
      if (isBackTo(*parameter, *holder.owner)) {
         result += "this";
      } else if (isNameFromKey(*parameter, holder)) {
         result += "Fen::keyName(" + keyExpression(holder) + ")";
      } else {
         result += parameter->name;
      }
   }
   return result;
}

std::vector<Attribute const*> comparedParameters(Type const& type) {
   std::vector<Attribute const*> result;
   for (Attribute const* parameter : type.parameters) {
      // An entity is found by its name; a machine with a name is compared like any other.
      bool const isFound = parameter->isKey && type.kind == TypeKind::entity;
      if (!isFound && parameter->kind != AttributeKind::back) {
         result.push_back(parameter);
      }
   }
   return result;
}

std::vector<Attribute const*> backPointers(Type const& type) {
   std::vector<Attribute const*> result;
   for (auto const& attribute : type.attributes) {
      if (attribute->kind == AttributeKind::back && attribute->type->kind == TypeKind::entity) {
         result.push_back(attribute.get());
      }
   }
   return result;
}

std::string keyExpression(Attribute const& holder) {
   std::vector<Attribute const*> const steps = stepsOf(holder.keyPath);
   std::string result;
   bool pointer = false;
   for (Attribute const* step : steps) {
      std::string name = "name";
      if (step != nullptr) {
         name = step->name;
      } else if (result.empty()) {
         // The member's own name: the parameter that holds it.
         Attribute const* const parameter = holder.type->nameParameter();
         name = parameter != nullptr ? parameter->name : "name";
      }
      result += result.empty() ? name : (pointer ? "->" : ".") + name + "()";
      pointer = step != nullptr && (isPointer(*step) || step->kind == AttributeKind::back);
   }
   return result;
}

int keyPosition(Attribute const& holder) {
   std::string const key = keyExpression(holder);
   int position = 0;
   for (Attribute const* each : createParameters(holder)) {
      if (each->name == key) {
         return position;
      }
      ++position;
   }
   return -1;
}

std::string keyFunction(Attribute const& holder) {
   return "fen" + flatName(*holder.owner) + upperFirst(holder.name) + "Key";
}

std::string createKey(Attribute const& holder) {
   return keyPosition(holder) >= 0
             ? keyExpression(holder)
             : keyFunction(holder) + "(" + named(createParameters(holder)) + ")";
}

void emitKeyFunction(EmitText& out, Attribute const& holder) {
   if (keyPosition(holder) >= 0) {
      return;
   }
   Attribute const* const first = stepsOf(holder.keyPath).front();
   std::string parameters;
   for (Attribute const* each : createParameters(holder)) {
      parameters += (parameters.empty() ? "" : ", ") + parameterType(*each) +
                    (each == first ? " " + each->name : std::string());
   }
   out.gap();
   out.open("static " + holder.keyType->cppName + " " + keyFunction(holder) + "(" + parameters +
            ") {");
   if (isPointer(*first)) {
      out.open("if (!" + first->name + ") {");
      out.line("Fen::throwNullParameter(" + quoted(first->name) + ", " +
               quoted(holder.type->cppName + "::" + first->name) + ");");
      out.close("}");
   }
   out.line("return " + keyExpression(holder) + ";");
   out.close("}");
}

void emitMemberKey(EmitText& out, Attribute const& holder, bool defines) {
   Type const& member = *holder.type;
   Attribute const* const first = holder.keyPath.steps.front();
   bool const isEntity = member.kind == TypeKind::entity || member.base != nullptr;
   bool const isName = isEntity && holder.keyPath.steps.size() == 1 &&
                       (first == nullptr || first->isKey) && holder.keyType->name == "Name";
   if (isName) {
      return; // an entity's own name is read where it is stored
   }
   // Several schemas may hold the same type under the same key, and be included together.
   std::string guard = "FEN_KEY_" + member.cppName + (defines ? "_DEFINED" : "");
   for (Attribute const* step : holder.keyPath.steps) {
      guard += "_" + (step != nullptr ? step->name : std::string("name"));
   }
   for (char& c : guard) {
      c = c == ':' ? '_' : c;
   }
   std::string const traits = "HashMapKey<" + member.cppName + ", " + holder.keyType->cppName + ">";
   out.gap();
   out.line("#ifndef " + guard);
   out.line("#define " + guard);
   if (!defines) {
      out.line("template <>");
      out.open("struct Fen::" + traits + " {");
      out.line("static " + holder.keyType->cppName + " key(" + member.cppName + " const& member);");
      out.close("};");
   } else {
      std::string expression = "member";
      bool pointer = false;
      for (Attribute const* step : holder.keyPath.steps) {
         expression +=
            (pointer ? "->" : ".") + (step != nullptr ? step->name : std::string("name")) + "()";
         pointer = step != nullptr && (isPointer(*step) || step->kind == AttributeKind::back);
      }
      out.open("inline " + holder.keyType->cppName + " Fen::" + traits + "::key(" + member.cppName +
               " const& member) {");
      out.line("return " + expression + ";");
      out.close("}");
   }
   out.line("#endif");
}

void emitThrough(EmitText& out, Type const& type, Attribute const& attribute) {
   out.open(valueType(attribute) + " " + scopedName(type) + "::" + attribute.name + "() const {");
   std::string expression;
   bool pointer = false;
   for (std::size_t i = 0; i < attribute.path.steps.size(); ++i) {
      Attribute const* const step = attribute.path.steps[i];
      std::string const call = (step != nullptr ? step->name : std::string("name")) + "()";
      expression += expression.empty() ? call : (pointer ? "->" : ".") + call;
      pointer = step != nullptr && (isPointer(*step) || step->kind == AttributeKind::back);
      bool const last = i + 1 == attribute.path.steps.size();
      if (pointer && !last) {
         std::string const local = "step" + std::to_string(i);
         out.line("auto const " + local + " = " + expression + ";");
         out.open("if (!" + local + ") {");
         out.line("return {};");
         out.close("}");
         expression = local;
      }
   }
   out.line("return " + expression + ";");
   out.close("}");
}

void emitOperations(EmitText& out, Type const& type) {
   if (type.operations.empty()) {
      return;
   }
   out.gap();
   for (auto const& operation : type.operations) {
      out.documentation(operation->documentation);
      std::string text = operation->isStatic ? "static " : operation->isVirtual ? "virtual " : "";
      text += operation->result ? valueType(*operation->result) : "void";
      text += " " + operation->name + "(";
      for (std::size_t i = 0; i < operation->parameters.size(); ++i) {
         OperationParameter const& parameter = operation->parameters[i];
         text += (i == 0 ? "" : ", ") + signatureType(parameter.type) + " " + parameter.name;
      }
      text += operation->isConst ? ") const" : ")";
      text += operation->isOverride ? " override;" : ";";
      out.line(text);
   }
}

namespace {

std::string kindWord(Attribute const& attribute) {
   if (attribute.isKey && attribute.isParameter) {
      return "key";
   }
   if (attribute.isParameter && !(attribute.isMutable && attribute.isWritten())) {
      return "constructorParameter";
   }
   switch (attribute.kind) {
   case AttributeKind::scalar:
      return attribute.isMutable ? "scalar" : "computed";
   case AttributeKind::reference:
      return attribute.isMutable ? "reference" : "computed";
   case AttributeKind::owned:
      return "child";
   case AttributeKind::scalarCollection:
      return "valueCollection";
   case AttributeKind::valueCollection:
      return "keyedValueCollection";
   case AttributeKind::referenceCollection:
      return "referenceCollection";
   case AttributeKind::ownedCollection:
      return "ownedCollection";
   case AttributeKind::recordCollection:
      return "recordCollection";
   default:
      return "computed";
   }
}

std::string description(Type const& type, Attribute const& attribute) {
   std::string const id = std::to_string(attribute.id);
   std::string const name = quoted(attribute.name);
   std::string const kind = kindWord(attribute);
   bool const isEntity = type.kind == TypeKind::entity;
   if (isEntity && kind == "key") {
      return "Fen::keyDesc<" + scopedName(type) + ", Fen::Name>(" + id + ", " + name + ")";
   }
   if (isEntity && attribute.isWritten() && kind != "constructorParameter") {
      return "Fen::attrDesc<" + scopedName(type) + "::Fen" + upperFirst(attribute.name) + "Attr>()";
   }
   if (isEntity && kind == "constructorParameter" && attribute.kind != AttributeKind::back) {
      return "Fen::parameterDesc<" + scopedName(type) + ", " + valueType(attribute) + ", &" +
             scopedName(type) + "::" + attribute.name + ">(" + id + ", " + name + ")";
   }
   std::string const key =
      attribute.keyType != nullptr ? quoted(reflectedName(*attribute.keyType)) : "nullptr";
   std::string const value =
      attribute.type != nullptr ? quoted(reflectedName(*attribute.type)) : "\"Fen::Clock\"";
   return "Fen::plainDesc(" + id + ", " + name + ", Fen::AttrKind::" + kind + ", " + value + ", " +
          key + ")";
}

} // namespace

void emitTables(EmitText& out, Type const& type) {
   bool const isEntity = type.kind == TypeKind::entity || type.base != nullptr;
   std::string const name = scopedName(type);
   std::string const flat = "fen" + flatName(type);
   std::string attributes = "{}", parameters = "{}";
   out.gap();
   out.line("namespace {");
   out.gap();
   bool const hasAttributes = std::any_of(type.attributes.begin(), type.attributes.end(),
                                          [](auto const& each) { return each->hasPlace; });
   if (hasAttributes) {
      attributes = flat + "Attributes";
      out.line("constexpr Fen::AttrDesc " + attributes + "[] = {");
      for (auto const& attribute : type.attributes) {
         if (attribute->hasPlace) {
            out.line("   Fen::accessible<Fen::Access::" + accessKind(type, *attribute) + ">(");
            out.line("      " + description(type, *attribute) + "),");
         }
      }
      out.line("};");
   }
   if (!type.parameters.empty()) {
      parameters = flat + "Parameters";
      out.line("constexpr Fen::ParameterDesc " + parameters + "[] = {");
      for (Attribute const* each : type.parameters) {
         out.line("   {" + quoted(each->name) + ", " + quoted(reflectedName(*each->type)) + "},");
      }
      out.line("};");
   }
   std::string const base = type.base != nullptr ? type.base->cppName : "Fen::Entity";
   bool const byName =
      type.kind == TypeKind::entity && type.parameters.size() == 1 && type.parameters[0]->isKey;
   out.line("constexpr Fen::TypeDesc " + flat + "Type = {");
   out.line("   " + quoted(type.cppName) + ",");
   out.line(std::string("   Fen::TypeKind::") +
            (type.kind == TypeKind::entity ? "entity" : "machine") + ",");
   out.line(isEntity ? "   &" + base + "::_fwkType," : "   nullptr,");
   out.line("   " + attributes + ",");
   out.line("   " + parameters + ",");
   out.line(byName ? "   &Fen::newEntityByName<" + name + ">," : "   nullptr,");
   out.line(travels(type) ? "   Fen::entityWire<" + name + ">()};" : "   nullptr};");
   out.gap();
   out.line("} // namespace");
   out.gap();
   out.open("Fen::FenType* " + name + "::_fwkType() {");
   out.line("static Fen::FenType* const type = Fen::FenType::typeIs(new _Type(" + flat + "Type));");
   out.line("return type;");
   out.close("}");
   out.line("Fen::FenType* " + name + "::fwkType() const { return _fwkType(); }");
   if (isEntity) {
      out.open("Fen::String8 " + name + "::attributeString(Fen::AttributeId id) const {");
      out.line("Fen::AttrDesc const* const attribute = _fwkType()->attribute(id);");
      out.line("return attribute != nullptr ? Fen::String8(attribute->name)");
      out.line("                            : " + base + "::attributeString(id);");
      out.close("}");
   }
}

} // namespace Fenc
