// Emits enumerations and value types: plain data with comparison, hash and text form.

#include <fenc/EmitParts.h>

namespace Fenc {

namespace {

std::string instanceOf(Type const& type) {
   return type.outer != nullptr ? type.outer->name + "::" + type.name + "Instance"
                                : type.name + "Instance";
}

/// The type as it is named inside its own namespace.
std::string shortName(Type const& type) {
   return type.outer != nullptr ? type.outer->name + "::" + type.name : type.name;
}

void emitTypeObject(EmitText& out, Type const& type, std::string const& function, char const* kind,
                    bool hasFields) {
   std::string const description = "fen" + flatName(type) + "Type";
   out.gap();
   out.line("static Fen::TypeDesc const " + description + " = {");
   out.line("   " + quoted(type.cppName) + ", Fen::TypeKind::" + kind + ", nullptr, {}, " +
            (hasFields ? "fen" + type.name + "Fields" : std::string("{}")) +
            ", nullptr, nullptr, &Fen::valueForm<" + type.cppName + ">};");
   out.gap();
   out.open("Fen::FenType* " + function + "() {");
   out.line("static Fen::FenType* const type = Fen::FenType::typeIs(" + description + ");");
   out.line("return type;");
   out.close("}");
}

void emitLogForm(EmitText& out, Type const& type) {
   auto form = [](Attribute const& field) {
      return "Fen::NboAttrLog::LogForm<" + valueType(field) + ">";
   };
   out.gap();
   out.open("Fen::NboAttrLog::Out& operator<<(Fen::NboAttrLog::Out& out, " + type.name +
            " const& value) {");
   for (auto const& field : type.attributes) {
      out.line(form(*field) + "::put(out, value." + field->name + "());");
   }
   out.line("return out;");
   out.close("}");
   out.gap();
   out.open("void operator>>(Fen::NboAttrLog::In& in, " + type.name + "& value) {");
   for (auto const& field : type.attributes) {
      out.line("value." + field->name + "Is(" + form(*field) + "::take(in));");
   }
   out.close("}");
   out.gap();
   out.open("std::size_t fenHeldBytes(" + type.name + " const& value) {");
   std::string sum;
   for (auto const& field : type.attributes) {
      sum += (sum.empty() ? "" : " + ") + form(*field) + "::held(value." + field->name + "())";
   }
   out.line("return " + sum + ";");
   out.close("}");
}

} // namespace

void emitEnumeration(EmitText& out, Type const& type) {
   out.gap();
   out.documentation(type.documentation);
   out.open("enum " + type.name + " : " + type.underlying->cppName + " {");
   for (Enumerator const& enumerator : type.enumerators) {
      out.documentation(enumerator.documentation);
      out.line(enumerator.name + " = " + std::to_string(enumerator.number) + ",");
   }
   out.close("};");
}

void emitEnumerationMembers(EmitText& out, Type const& type) {
   out.line("using " + type.name + "_GenericIf_ = Fen::GenericIfValue<" + type.name + ">;");
   out.line("/// The value with this number or text; throws RangeException for any other.");
   out.line("static " + type.name + " " + type.name + "Instance(unsigned int number);");
   out.line("static " + type.name + " " + type.name + "Instance(Fen::String8 const& text);");
   out.line("static Fen::FenType* _fwkType_" + type.name + "();");
}

void emitEnumerationFunctions(EmitText& out, Type const& type) {
   std::string const name = shortName(type);
   out.gap();
   out.line("/// The value's text; a number without a name gives a text with that number.");
   out.line("GANTRY_EXPORT Fen::String8 stringValue(" + name + " value);");
   out.line("GANTRY_EXPORT Fen::String8 valueToStrep(" + name + " value);");
   out.line("GANTRY_EXPORT std::ostream& operator<<(std::ostream& out, " + name + " value);");
   out.line("/// The same as " + instanceOf(type) + ", found by its arguments.");
   out.line("GANTRY_EXPORT " + name + " fenInstance(unsigned int number, " + name + " const*);");
   out.line("/// Reads the text form, and stores the value unless `into` is null.");
   out.line("GANTRY_EXPORT " + name +
            " sequenceToValue(Fen::String8::IteratorConst& at, "
            "Fen::String8::IteratorConst const& end, " +
            name + "* into);");
   if (type.outer == nullptr) {
      out.line("using " + type.name + "_GenericIf_ = Fen::GenericIfValue<" + type.name + ">;");
      out.line("/// The value with this number or text; throws RangeException for any other.");
      out.line("GANTRY_EXPORT " + name + " " + name + "Instance(unsigned int number);");
      out.line("GANTRY_EXPORT " + name + " " + name + "Instance(Fen::String8 const& text);");
      out.line("GANTRY_EXPORT Fen::FenType* _fwkType_" + name + "();");
   }
}

void emitEnumerationSource(EmitText& out, Type const& type) {
   std::string const name = shortName(type);
   std::string const scope = type.outer != nullptr ? type.outer->name + "::" : std::string();
   out.gap();
   out.open("Fen::String8 stringValue(" + name + " value) {");
   out.line("switch (value) {");
   for (Enumerator const& enumerator : type.enumerators) {
      out.line("case " + scope + enumerator.name + ":");
      out.line("   return " + quoted(enumerator.text) + ";");
   }
   out.line("}");
   out.line("return Fen::format(" + quoted(type.fallbackText) + ", static_cast<int>(value));");
   out.close("}");
   out.gap();
   out.open("Fen::String8 valueToStrep(" + name + " value) {");
   out.line("return Fen::valueToStrep(stringValue(value));");
   out.close("}");
   out.gap();
   out.open("std::ostream& operator<<(std::ostream& out, " + name + " value) {");
   out.line("return out << stringValue(value);");
   out.close("}");
   out.gap();
   out.open(name + " " + instanceOf(type) + "(unsigned int number) {");
   out.line("switch (number) {");
   for (Enumerator const& enumerator : type.enumerators) {
      out.line("case " + std::to_string(enumerator.number) + "u:");
   }
   out.line("   return static_cast<" + name + ">(number);");
   out.line("}");
   out.line("Fen::throwRangeException(" + quoted(type.name) + ");");
   out.close("}");
   out.gap();
   out.open(name + " " + instanceOf(type) + "(Fen::String8 const& text) {");
   for (Enumerator const& enumerator : type.enumerators) {
      out.open("if (text == " + quoted(enumerator.text) + ") {");
      out.line("return " + scope + enumerator.name + ";");
      out.close("}");
   }
   out.line("Fen::throwRangeException(" + quoted(type.name) + ");");
   out.close("}");
   out.gap();
   out.open(name + " fenInstance(unsigned int number, " + name + " const*) {");
   out.line("return " + instanceOf(type) + "(number);");
   out.close("}");
   out.gap();
   out.open(name +
            " sequenceToValue(Fen::String8::IteratorConst& at, "
            "Fen::String8::IteratorConst const& end, " +
            name + "* into) {");
   out.line(name + " const value = " + instanceOf(type) + "(Fen::sequenceToText(at, end));");
   out.open("if (into != nullptr) {");
   out.line("*into = value;");
   out.close("}");
   out.line("return value;");
   out.close("}");
   emitTypeObject(out, type, scope + "_fwkType_" + type.name, "enumeration", false);
}

void emitValue(EmitText& out, Type const& type) {
   std::string const& name = type.name;
   out.gap();
   out.documentation(type.documentation);
   out.open("class GANTRY_EXPORT " + name + " {");
   out.label("public:");
   out.line(name + "() = default;");
   std::string parameters;
   for (auto const& field : type.attributes) {
      parameters += (parameters.empty() ? "" : ", ") + parameterType(*field) + " " + field->name;
   }
   out.line(std::string(type.attributes.size() == 1 ? "explicit " : "") + name + "(" + parameters +
            ");");
   out.line("/// Reads the text form, and throws RangeException for any other.");
   out.line(name + "(Fen::String8::IteratorConst& at, Fen::String8::IteratorConst const& end);");
   for (auto const& field : type.attributes) {
      out.gap();
      out.documentation(field->documentation);
      out.line(valueType(*field) + " " + field->name + "() const { return " + field->name + "_; }");
      out.line("void " + field->name + "Is(" + parameterType(*field) + " value) { " + field->name +
               "_ = value; }");
   }
   out.gap();
   out.line("/// The hashes of all fields, combined so that their order does not matter.");
   out.line("std::uint32_t hash() const;");
   out.line("bool operator==(" + name + " const& other) const;");
   out.line("/// Field by field, in declared order.");
   out.line("bool operator<(" + name + " const& other) const;");
   out.line("bool operator>=(" + name + " const& other) const { return !(*this < other); }");
   out.line("bool operator<=(" + name + " const& other) const { return !(other < *this); }");
   out.line("bool operator>(" + name + " const& other) const { return other < *this; }");
   out.line("/// True for a value that equals a fresh one.");
   out.line("bool operator!() const { return *this == " + name + "(); }");
   out.gap();
   out.line("/// Calls `visit( name, field )` for each field in declared order.");
   out.line("template <class Self, class Visit>");
   out.open("static void fenEachField(Self& self, Visit&& visit) {");
   for (auto const& field : type.attributes) {
      out.line("visit(" + quoted(field->name) + ", self." + field->name + "_);");
   }
   out.close("}");
   out.gap();
   out.line("static Fen::FenType* _fwkType();");
   out.line("Fen::FenType* fwkType() const { return _fwkType(); }");
   out.gap();
   out.label("private:");
   for (auto const& field : type.attributes) {
      std::string const initial = initialValue(*field);
      out.line(valueType(*field) + " " + field->name + "_" +
               (initial.empty() ? "" : " = " + initial) + ";");
   }
   out.close("};");
   out.gap();
   out.line("GANTRY_EXPORT Fen::String8 valueToStrep(" + name + " const& value);");
   out.line("GANTRY_EXPORT std::ostream& operator<<(std::ostream& out, " + name +
            " const& value);");
   out.line("/// The form on the attribute log: field by field.");
   out.line("GANTRY_EXPORT Fen::NboAttrLog::Out& operator<<(Fen::NboAttrLog::Out& out, " + name +
            " const& value);");
   out.line("GANTRY_EXPORT void operator>>(Fen::NboAttrLog::In& in, " + name + "& value);");
   out.line("GANTRY_EXPORT std::size_t fenHeldBytes(" + name + " const& value);");
}

void emitValueSource(EmitText& out, Type const& type) {
   std::string const& name = type.name;
   std::string parameters, initializers, hashes, equal;
   for (auto const& field : type.attributes) {
      std::string const& f = field->name;
      bool const first = parameters.empty();
      parameters += (first ? "" : ", ") + parameterType(*field) + " " + f;
      initializers += (first ? "" : ", ") + f + "_(" + f + ")";
      hashes += (first ? "" : " ^ ") + ("Fen::HashOf<" + valueType(*field) + ">::hash(" + f + "_)");
      equal += (first ? "" : " && ") + (f + "_ == other." + f + "_");
   }
   out.gap();
   out.line(name + "::" + name + "(" + parameters + ")");
   out.line("   : " + initializers + " {}");
   out.gap();
   out.open(name + "::" + name +
            "(Fen::String8::IteratorConst& at, Fen::String8::IteratorConst const& end) {");
   out.line("Fen::sequenceToFields(at, end, " + quoted(type.cppName) + ", *this);");
   out.close("}");
   out.gap();
   out.line("std::uint32_t " + name + "::hash() const { return " + hashes + "; }");
   out.gap();
   out.open("bool " + name + "::operator==(" + name + " const& other) const {");
   out.line("return " + equal + ";");
   out.close("}");
   out.gap();
   out.open("bool " + name + "::operator<(" + name + " const& other) const {");
   for (std::size_t i = 0; i + 1 < type.attributes.size(); ++i) {
      std::string const f = type.attributes[i]->name + "_";
      out.open("if (!(" + f + " == other." + f + ")) {");
      out.line("return " + f + " < other." + f + ";");
      out.close("}");
   }
   std::string const last = type.attributes.back()->name + "_";
   out.line("return " + last + " < other." + last + ";");
   out.close("}");
   out.gap();
   out.open("Fen::String8 valueToStrep(" + name + " const& value) {");
   out.line("using Fen::valueToStrep; // for builtin types; others are found beside theirs");
   out.line("Fen::String8 text = " + quoted("Value('" + type.cppName + "', ** {") + ";");
   for (std::size_t i = 0; i < type.attributes.size(); ++i) {
      std::string const& f = type.attributes[i]->name;
      out.line("text += " + quoted((i == 0 ? "'" : ", '") + f + "': ") + ";");
      out.line("text += valueToStrep(value." + f + "());");
   }
   out.line("text += \"})\";");
   out.line("return text;");
   out.close("}");
   out.gap();
   out.open("std::ostream& operator<<(std::ostream& out, " + name + " const& value) {");
   out.line("return out << valueToStrep(value);");
   out.close("}");
   out.gap();
   emitLogForm(out, type);
   out.gap();
   out.line("static Fen::ParameterDesc const fen" + name + "Fields[] = {");
   for (auto const& field : type.attributes) {
      out.line("   {" + quoted(field->name) + ", " + quoted(reflectedName(*field->type)) + "},");
   }
   out.line("};");
   emitTypeObject(out, type, name + "::_fwkType", "value", true);
}

} // namespace Fenc
