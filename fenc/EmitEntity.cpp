// Emits the class of an entity, with its notifiee classes.

#include <fenc/EmitParts.h>

namespace Fenc {

namespace {

class EntityHeader {
 public:
   EntityHeader(EmitText& out, Type const& type) : out_(out), type_(type) {}

   void run() {
      std::string const base = type_.base != nullptr ? type_.base->cppName : "Fen::Entity";
      out_.gap();
      out_.documentation(type_.documentation);
      out_.open("class GANTRY_EXPORT " + type_.name + " : public " + base + " {");
      out_.label("public:");
      out_.line("static constexpr char const* fenFullTypeName = " + quoted(type_.cppName) + ";");
      out_.line("class NotifieeConst;");
      out_.line("class Notifiee;");
      if (travels(type_)) {
         out_.line("class FenNboAttrLogSa;");
      }
      for (auto const& nested : type_.nested) {
         emitEnumeration(out_, *nested);
         emitEnumerationMembers(out_, *nested);
      }
      out_.gap();
      std::string const parameters = constructorParameters(type_);
      out_.line(std::string(type_.parameters.size() == 1 ? "explicit " : "") + type_.name + "(" +
                parameters + ");");
      out_.line("static " + pointerTo(type_) + " " + type_.name + "Is(" + parameters + ");");
      for (auto const& attribute : type_.attributes) {
         accessors(*attribute);
      }
      emitOperations(out_, type_);
      out_.gap();
      emitReflectionNames(out_, type_);
      out_.line("static Fen::FenType* _fwkType();");
      out_.line("Fen::FenType* fwkType() const override;");
      out_.line("Fen::String8 attributeString(Fen::AttributeId id) const override;");
      if (travels(type_)) {
         emitParameters(out_, type_);
      }
      match();
      for (auto const& attribute : type_.attributes) {
         traits(*attribute);
      }
      for (std::string const& extra : type_.extra) {
         out_.gap();
         out_.verbatim(extra);
         out_.line();
      }
      out_.gap();
      out_.label("protected:");
      out_.line("~" + type_.name + "() override;");
      out_.gap();
      out_.label("private:");
      for (auto const& attribute : type_.attributes) {
         field(*attribute);
      }
      out_.close("};");
      notifiees();
      if (travels(type_)) {
         emitAdapter(out_, type_);
      }
   }

 private:
   void accessors(Attribute const& a) {
      if (!a.hasPlace || (a.isKey && a.name == "name")) {
         return;
      }
      out_.gap();
      out_.documentation(a.documentation);
      switch (a.kind) {
      case AttributeKind::constant:
         out_.line("static constexpr " + valueType(a) + " " + a.name + "() { return " +
                   initialValue(a) + "; }");
         break;
      case AttributeKind::through:
      case AttributeKind::computed:
         out_.line(valueType(a) + " " + a.name + "() const;");
         break;
      case AttributeKind::owned:
         out_.line(valueType(a) + " " + a.name + "() const;");
         child(a);
         break;
      case AttributeKind::scalarCollection:
      case AttributeKind::referenceCollection:
      case AttributeKind::valueCollection:
         valueMembers(a);
         break;
      case AttributeKind::ownedCollection:
         ownedMembers(a);
         break;
      case AttributeKind::recordCollection:
         records(a);
         break;
      default:
         getter(a);
         if (a.kind == AttributeKind::back) {
            out_.line("void " + a.name + "Is(" + valueType(a) + " value) { " + a.name +
                      "_ = value; }");
         } else if (a.isMutable) {
            out_.line("void " + a.name + "Is(" + parameterType(a) + " value);");
         }
      }
   }

   void getter(Attribute const& a) {
      std::string const start = valueType(a) + " " + a.name + "() const";
      bool const isComplete =
         a.kind != AttributeKind::reference || isCompleteBefore(*a.type, type_);
      if (a.isKey) {
         out_.line(start + " { return name(); }");
      } else if (isComplete) {
         out_.line(start + " { return " + a.name + "_; }");
      } else {
         out_.line(start + ";");
      }
   }

   void child(Attribute const& a) {
      std::string const upper = upperFirst(a.name);
      std::string const parameters = declared(createParameters(a));
      out_.line("/// The child with that name; another one gives way to it.");
      out_.line(pointerTo(*a.type) + " " + a.name + "Is(" + parameters + ");");
      out_.line(pointerTo(*a.type) + " new" + upper + "(" + parameters + ");");
      out_.line(pointerTo(*a.type) + " " + a.name + "Del();");
   }

   void collectionTypes(Attribute const& a, std::string const& member) {
      std::string const upper = upperFirst(a.name);
      out_.line("using " + upper + "Map = Fen::HashMap<" + member + ", " + a.keyType->cppName +
                ">;");
      out_.line("struct Fen" + upper + "Attr;");
      out_.line("using " + upper + "Iterator = Fen::MemberIterator<Fen" + upper + "Attr>;");
      out_.line("using " + upper + "IteratorConst = Fen::MemberIteratorConst<Fen" + upper +
                "Attr>;");
   }

   void collectionEnd(Attribute const& a, std::string const& member) {
      std::string const upper = upperFirst(a.name);
      std::string const key = keyParameterType(*a.keyType);
      out_.line("void " + a.name + "DelAll();");
      out_.line("void " + a.name + "Notify(" + key + " key, Fen::Ptr<" + member +
                "> const& member);");
      out_.line("std::uint32_t " + a.name + "Count() const;");
      for (char const* parameter : {"", "key"}) {
         std::string const list = *parameter == '\0' ? "" : key + " key";
         out_.line(upper + "Iterator " + a.name + "Iterator(" + list + ");");
         out_.line(upper + "IteratorConst " + a.name + "Iterator(" + list + ") const;");
      }
   }

   void valueMembers(Attribute const& a) {
      std::string const upper = upperFirst(a.name);
      std::string const member = "Fen" + upper;
      std::string const key = keyParameterType(*a.keyType);
      std::string value = valueType(a), parameter = parameterType(a);
      if (a.kind == AttributeKind::referenceCollection) {
         value = pointerTo(*a.type, a.constTarget);
         parameter = value + " const&";
      }
      out_.line("using " + member + " = Fen::ValueMember<" + a.keyType->cppName + ", " + value +
                ">;");
      collectionTypes(a, member);
      out_.line(value + " " + a.name + "(" + key + " key) const;");
      out_.line("Fen::Ptr<" + member + "> fen" + upper + "(" + key + " key) const;");
      if (a.kind == AttributeKind::valueCollection) {
         out_.line("void " + a.name + "Is(" + parameter + " value);");
         out_.line("Fen::Ptr<" + member + "> new" + upper + "(" + parameter + " value);");
      } else {
         out_.line("void " + a.name + "Is(" + key + " key, " + parameter + " value);");
         out_.line("Fen::Ptr<" + member + "> new" + upper + "(" + key + " key, " + parameter +
                   " value);");
      }
      out_.line("Fen::Ptr<" + member + "> " + a.name + "Del(" + key + " key);");
      collectionEnd(a, member);
   }

   void ownedMembers(Attribute const& a) {
      std::string const upper = upperFirst(a.name);
      std::string const key = keyParameterType(*a.keyType);
      std::string const pointer = pointerTo(*a.type);
      std::string const parameters = declared(createParameters(a));
      collectionTypes(a, a.type->cppName);
      out_.line(pointer + " " + a.name + "(" + key + " key) const;");
      out_.line(pointer + " " + a.name + "Is(" + parameters + ");");
      out_.line(pointer + " new" + upper + "(" + parameters + ");");
      out_.line(pointer + " " + a.name + "Del(" + key + " key);");
      collectionEnd(a, a.type->cppName);
   }

   void records(Attribute const& a) {
      std::string const upper = upperFirst(a.name);
      std::string const key = keyParameterType(*a.keyType);
      std::string const member = "Fen" + upper;
      out_.line("/// A record at a key; it owns one entity, or none.");
      out_.open("class " + member + " : public Fen::RecordMember<" + type_.name + ", " +
                a.keyType->cppName + ", " + a.type->cppName + "> {");
      out_.label("public:");
      out_.line("using RecordMember::RecordMember;");
      out_.line(pointerTo(*a.type) + " " + a.name + "() const { return fenChild(); }");
      out_.line(pointerTo(*a.type) + " " + a.name +
                "Is(Fen::Name const& name) { return "
                "fenChildIs(name); }");
      out_.line(pointerTo(*a.type) + " new" + upper +
                "(Fen::Name const& name) { return "
                "fenNewChild(name); }");
      out_.line("void " + a.name + "Del() { fenChildDel(); }");
      out_.close("};");
      collectionTypes(a, member);
      out_.line("Fen::Ptr<" + member + "> " + a.name + "(" + key + " key) const;");
      out_.line("Fen::Ptr<" + member + "> " + a.name + "Is(" + key + " key);");
      out_.line("Fen::Ptr<" + member + "> new" + upper + "(" + key + " key);");
      out_.line("Fen::Ptr<" + member + "> " + a.name + "Del(" + key + " key);");
      collectionEnd(a, member);
   }

   void match() {
      std::vector<Attribute const*> const compared = comparedParameters(type_);
      out_.gap();
      out_.line("/// Throws NameInUseException at the first constructor parameter that differs;");
      out_.line("/// stores those that may change.");
      out_.line("void fenParametersMatch(" + declared(compared) + ");");
      if (!backPointers(type_).empty()) {
         out_.line("/// The owner is going: what points back at it is cleared.");
         out_.line("void fenParentGone();");
      }
   }

   void traits(Attribute const& a) {
      if (!a.isWritten() || (a.isParameter && !a.isMutable)) {
         return;
      }
      std::string const upper = upperFirst(a.name);
      bool const keyed = isCollection(a.kind);
      out_.gap();
      out_.open("struct GANTRY_EXPORT Fen" + upper + "Attr {");
      out_.line("using Owner = " + type_.name + ";");
      std::string fieldType, kind;
      switch (a.kind) {
      case AttributeKind::reference:
         kind = "reference";
         break;
      case AttributeKind::owned:
         kind = "child";
         break;
      case AttributeKind::scalarCollection:
         kind = "valueCollection";
         break;
      case AttributeKind::valueCollection:
         kind = "keyedValueCollection";
         break;
      case AttributeKind::referenceCollection:
         kind = "referenceCollection";
         break;
      case AttributeKind::ownedCollection:
         kind = "ownedCollection";
         break;
      case AttributeKind::recordCollection:
         kind = "recordCollection";
         break;
      default:
         kind = "scalar";
      }
      if (keyed) {
         out_.line("using Key = " + a.keyType->cppName + ";");
         out_.line("using Member = " +
                   (a.kind == AttributeKind::ownedCollection ? a.type->cppName : "Fen" + upper) +
                   ";");
         out_.line("using Map = " + upper + "Map;");
         if (a.kind == AttributeKind::valueCollection) {
            out_.line("static Key keyOf(" + parameterType(a) + " value) { return value." +
                      a.keyField->name + "(); }");
         }
         fieldType = "Map";
      } else if (a.kind == AttributeKind::owned) {
         out_.line("using Member = " + a.type->cppName + ";");
         fieldType = pointerTo(*a.type);
      } else {
         out_.line("using Value = " + valueType(a) + ";");
         fieldType = "Value";
      }
      out_.line("static constexpr Fen::AttrKind kind = Fen::AttrKind::" + kind + ";");
      out_.line("static constexpr Fen::AttributeId id = " + std::to_string(a.id) + ";");
      out_.line("static constexpr char const* name = " + quoted(a.name) + ";");
      out_.line("static " + fieldType + "& field(Owner& owner) { return owner." + a.name + "_; }");
      out_.line(std::string("static void tell(Fen::PtrInterface::NotifieeConst& notifiee") +
                (keyed ? ", Key const& key);" : ");"));
      out_.close("};");
   }

   void field(Attribute const& a) {
      if (a.isKey || a.kind == AttributeKind::through || a.kind == AttributeKind::computed ||
          a.kind == AttributeKind::constant) {
         return;
      }
      if (isCollection(a.kind)) {
         out_.line(upperFirst(a.name) + "Map " + a.name + "_;");
         return;
      }
      std::string const initial =
         a.kind == AttributeKind::scalar && !a.isParameter ? initialValue(a) : std::string();
      out_.line(valueType(a) + " " + a.name + "_" + (initial.empty() ? "{}" : "{" + initial + "}") +
                ";");
   }

   void notifiees() {
      std::string const& name = type_.name;
      std::string const base = type_.base != nullptr ? type_.base->cppName : "Fen::Entity";
      out_.gap();
      out_.open("class GANTRY_EXPORT " + name + "::NotifieeConst : public " + base +
                "::NotifieeConst {");
      out_.label("public:");
      out_.line("using NotifierType = " + name + " const;");
      out_.gap();
      for (auto const& a : type_.attributes) {
         if (slotNames(*a).empty()) {
            continue;
         }
         std::string const slot = "on" + upperFirst(a->name);
         if (isCollection(a->kind)) {
            out_.line("virtual void " + slot + "(" + slotKeyType(*a->keyType) + " key);");
            out_.line("virtual void " + slot + "fenImmediate();");
         }
         // Overrides a slot of the base when the attribute is named like one of its.
         bool const isBase = slot == "onVersion" || slot == "onParent";
         out_.line(isBase ? "void " + slot + "() override;" : "virtual void " + slot + "();");
      }
      out_.gap();
      out_.line(pointerTo(type_, true) + " notifier() const;");
      out_.gap();
      out_.label("protected:");
      out_.line("explicit NotifieeConst(Kind kind = Kind::typed);");
      out_.line("explicit NotifieeConst(" + pointerTo(type_, true) + " const& notifier);");
      out_.line("~NotifieeConst() override;");
      out_.close("};");
      out_.gap();
      out_.open("class GANTRY_EXPORT " + name + "::Notifiee : public " + name +
                "::NotifieeConst {");
      out_.label("public:");
      out_.line("using NotifierType = " + name + ";");
      out_.gap();
      out_.line(pointerTo(type_) + " notifier() const;");
      out_.gap();
      out_.label("protected:");
      out_.line("explicit Notifiee(Kind kind = Kind::typed);");
      out_.line("explicit Notifiee(" + pointerTo(type_) + " const& notifier);");
      out_.line("~Notifiee() override;");
      out_.close("};");
   }

   EmitText& out_;
   Type const& type_;
};

} // namespace

void emitEntity(EmitText& out, Type const& type) { EntityHeader(out, type).run(); }

} // namespace Fenc
