// Emits the bodies of an entity: one line each over the runtime's templates.

#include <fenc/EmitParts.h>

namespace Fenc {

namespace {

class EntitySource {
 public:
   EntitySource(EmitText& out, Type const& type)
      : out_(out), type_(type), name_(scopedName(type)) {}

   void run() {
      out_.gap();
      out_.line("// " + name_);
      construction();
      for (auto const& nested : type_.nested) {
         emitEnumerationSource(out_, *nested);
      }
      for (auto const& attribute : type_.attributes) {
         accessors(*attribute);
      }
      match();
      parentGone();
      for (auto const& attribute : type_.attributes) {
         tell(*attribute);
      }
      emitTables(out_, type_);
      notifiees();
      if (travels(type_)) {
         emitAdapterSource(out_, type_);
      }
   }

 private:
   std::string base() const { return type_.base != nullptr ? type_.base->cppName : "Fen::Entity"; }

   void construction() {
      out_.gap();
      out_.line(name_ + "::" + type_.name + "(" + constructorParameters(type_) + ")");
      required();
      std::string names = named({type_.parameters.begin(), type_.parameters.end()});
      out_.gap();
      bool const owns = destructor(true);
      out_.line(owns ? name_ + "::~" + type_.name + "() {"
                     : name_ + "::~" + type_.name + "() = default;");
      if (owns) {
         destructor(false);
         out_.line("}");
      }
      out_.gap();
      out_.open(pointerTo(type_) + " " + name_ + "::" + type_.name + "Is(" +
                constructorParameters(type_) + ") {");
      out_.line("return Fen::makePtr<" + name_ + ">(" + names + ");");
      out_.close("}");
      if (type_.hasFactory) {
         out_.gap();
         out_.open(pointerTo(type_) + " " + type_.factoryName + "(" + constructorParameters(type_) +
                   ") {");
         out_.line("return " + name_ + "::" + type_.name + "Is(" + names + ");");
         out_.close("}");
      }
   }

   /// The constructor's initializers and body, with the checks of pointers that may not be null.
   void required() {
      std::string initializers = base() + "(" + baseArguments() + ")";
      for (auto const& a : type_.attributes) {
         if (a->isParameter && !a->isKey) {
            initializers += ", " + a->name + "_(" + a->name + ")";
         }
      }
      bool any = false;
      for (auto const& a : type_.attributes) {
         any = any || (a->isParameter && a->isRequired);
      }
      out_.line("   : " + initializers + (any ? " {" : " {}"));
      if (!any) {
         return;
      }
      for (auto const& a : type_.attributes) {
         if (a->isParameter && a->isRequired) {
            requireOne(*a, a->name);
         }
      }
      out_.line("}");
   }

   std::string baseArguments() const {
      if (type_.base != nullptr) {
         return named(type_.baseArguments);
      }
      if (Attribute const* const parameter = type_.nameParameter()) {
         return parameter->name;
      }
      if (Attribute const* const through = type_.nameThrough()) {
         return "Fen::Name(" + throughParameter(*through) + ")";
      }
      return "Fen::Name()";
   }

   /// A path that begins at a parameter, over the parameter.
   static std::string throughParameter(Attribute const& through) {
      std::string result;
      bool pointer = false;
      for (Attribute const* step : through.path.steps) {
         std::string const name = step != nullptr ? step->name : "name";
         result += result.empty() ? name : (pointer ? "->" : ".") + name + "()";
         pointer = step != nullptr && (isPointer(*step) || step->kind == AttributeKind::back);
      }
      return result;
   }

   void requireOne(Attribute const& a, std::string const& value) {
      out_.line("   if (!" + value + ") {");
      out_.line("      Fen::throwNullParameter(" + quoted(a.name) + ", " +
                quoted(type_.cppName + "::" + a.name) + ");");
      out_.line("   }");
   }

   /// Lets go of what the entity owns. Returns whether there is anything; only asks when `dry`.
   bool destructor(bool dry) {
      bool any = false;
      for (auto const& a : type_.attributes) {
         char const* function = a->kind == AttributeKind::owned              ? "childOrphan"
                                : a->kind == AttributeKind::ownedCollection  ? "ownedMembersOrphan"
                                : a->kind == AttributeKind::recordCollection ? "recordsOrphan"
                                                                             : nullptr;
         if (function != nullptr) {
            any = true;
            if (!dry) {
               out_.line(std::string("   Fen::") + function + "<" + attr(*a) + ">(*this);");
            }
         }
      }
      return any;
   }

   static std::string attr(Attribute const& a) { return "Fen" + upperFirst(a.name) + "Attr"; }

   /// `result Class::name(parameters) suffix { body }` on one line, or on three when it is long.
   void define(std::string const& result, std::string const& method, std::string const& parameters,
               std::string const& suffix, std::string const& body) {
      std::string const head =
         result + " " + name_ + "::" + method + "(" + parameters + ")" + suffix + " {";
      if (head.size() + body.size() + 3 <= 100) {
         out_.line(head + " " + body + " }");
      } else {
         out_.open(head);
         out_.line(body);
         out_.close("}");
      }
   }

   void accessors(Attribute const& a) {
      if (!a.hasPlace || a.isKey) {
         if (a.kind == AttributeKind::through) {
            emitThrough(out_, type_, a);
         }
         return;
      }
      switch (a.kind) {
      case AttributeKind::scalar:
         out_.gap();
         setter(a);
         break;
      case AttributeKind::reference:
         out_.gap();
         if (!isCompleteBefore(*a.type, type_)) {
            define(valueType(a), a.name, "", " const", "return " + a.name + "_;");
         }
         setter(a);
         break;
      case AttributeKind::through:
         out_.gap();
         emitThrough(out_, type_, a);
         break;
      case AttributeKind::owned:
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
         break;
      }
   }

   void setter(Attribute const& a) {
      if (!a.isMutable) {
         return;
      }
      std::string const call = "Fen::scalarIs<" + attr(a) + ">(*this, value);";
      if (!a.isRequired) {
         define("void", a.name + "Is", parameterType(a) + " value", "", call);
         return;
      }
      out_.line("void " + name_ + "::" + a.name + "Is(" + parameterType(a) + " value) {");
      requireOne(a, "value");
      out_.line("   " + call);
      out_.line("}");
   }

   void child(Attribute const& a) {
      std::vector<Attribute const*> const parameters = createParameters(a);
      std::string const pointer = pointerTo(*a.type);
      out_.gap();
      define(pointer, a.name, "", " const", "return " + a.name + "_;");
      define(pointer, a.name + "Is", declared(parameters), "",
             "return Fen::childIs<" + attr(a) + ">(*this, " + named(parameters) + ");");
      define(pointer, "new" + upperFirst(a.name), declared(parameters), "",
             "return Fen::newChild<" + attr(a) + ">(*this, Fen::makePtr<" + a.type->cppName + ">(" +
                createArguments(a) + "));");
      define(pointer, a.name + "Del", "", "", "return Fen::childDel<" + attr(a) + ">(*this);");
   }

   void collectionEnd(Attribute const& a, std::string const& member) {
      std::string const upper = upperFirst(a.name);
      std::string const key = keyParameterType(*a.keyType) + " key";
      bool const owned = a.kind == AttributeKind::ownedCollection;
      define("void", a.name + "DelAll", "", "", "Fen::memberDelAll<" + attr(a) + ">(*this);");
      define("void", a.name + "Notify",
             key + ", Fen::Ptr<" + member + "> const&" + (owned ? " member" : ""), "",
             owned ? "Fen::ownedMemberNotify<" + attr(a) + ">(*this, key, member);"
                   : "Fen::attrNotify<" + attr(a) + ">(*this, key);");
      define("std::uint32_t", a.name + "Count", "", " const",
             "return static_cast<std::uint32_t>(" + a.name + "_.size());");
      for (char const* argument : {"", ", key"}) {
         std::string const list = *argument == '\0' ? std::string() : key;
         for (char const* suffix : {"", " const"}) {
            std::string const iterator = upper + (*suffix == '\0' ? "Iterator" : "IteratorConst");
            define(name_ + "::" + iterator, a.name + "Iterator", list, suffix,
                   "return " + iterator + "(*this" + argument + ");");
         }
      }
   }

   void valueMembers(Attribute const& a) {
      std::string const member = name_ + "::Fen" + upperFirst(a.name);
      std::string const key = keyParameterType(*a.keyType) + " key";
      bool const references = a.kind == AttributeKind::referenceCollection;
      std::string const value = references ? pointerTo(*a.type, a.constTarget) : valueType(a);
      std::string const parameter = references ? value + " const&" : parameterType(a);
      std::string const setter = references ? "referenceMemberIs" : "valueMemberIs";
      out_.gap();
      define(value, a.name, key, " const", "return Fen::memberValue<" + attr(a) + ">(*this, key);");
      define("Fen::Ptr<" + member + ">", "fen" + upperFirst(a.name), key, " const",
             "return " + a.name + "_.find(key);");
      bool const keyed = a.kind == AttributeKind::valueCollection;
      std::string const list = keyed ? parameter + " value" : key + ", " + parameter + " value";
      std::string const keyValue = keyed ? "value." + a.keyField->name + "()" : "key";
      define("void", a.name + "Is", list, "",
             "Fen::" + setter + "<" + attr(a) + ">(*this, " + keyValue + ", value);");
      define("Fen::Ptr<" + member + ">", "new" + upperFirst(a.name), list, "",
             "return Fen::newValueMember<" + attr(a) + ">(*this, " + keyValue + ", value);");
      define("Fen::Ptr<" + member + ">", a.name + "Del", key, "",
             "return Fen::valueMemberDel<" + attr(a) + ">(*this, key);");
      collectionEnd(a, "Fen" + upperFirst(a.name));
   }

   void ownedMembers(Attribute const& a) {
      std::vector<Attribute const*> const parameters = createParameters(a);
      std::vector<Attribute const*> compared;
      for (Attribute const* each : comparedParameters(*a.type)) {
         compared.push_back(each);
      }
      std::string const key = keyParameterType(*a.keyType) + " key";
      std::string const pointer = pointerTo(*a.type);
      std::string const upper = upperFirst(a.name);
      emitKeyFunction(out_, a);
      out_.gap();
      define(pointer, a.name, key, " const", "return " + a.name + "_.find(key);");
      std::string const more = named(compared);
      out_.line(pointer + " " + name_ + "::" + a.name + "Is(" + declared(parameters) + ") {");
      out_.line("   return Fen::ownedMemberIs<" + attr(a) + ">(");
      out_.line("      *this, " + createKey(a) + ", [&] { return new" + upper + "(" +
                named(parameters) + "); }" + (more.empty() ? "" : ", " + more) + ");");
      out_.line("}");
      define(pointer, "new" + upper, declared(parameters), "",
             "return Fen::newOwnedMember<" + attr(a) + ">(*this, Fen::makePtr<" + a.type->cppName +
                ">(" + createArguments(a) + "));");
      define(pointer, a.name + "Del", key, "",
             "return Fen::ownedMemberDel<" + attr(a) + ">(*this, key);");
      collectionEnd(a, a.type->cppName);
   }

   void records(Attribute const& a) {
      std::string const member = "Fen::Ptr<" + name_ + "::Fen" + upperFirst(a.name) + ">";
      std::string const key = keyParameterType(*a.keyType) + " key";
      out_.gap();
      define(member, a.name, key, " const", "return " + a.name + "_.find(key);");
      define(member, a.name + "Is", key, "", "return Fen::recordIs<" + attr(a) + ">(*this, key);");
      define(member, "new" + upperFirst(a.name), key, "",
             "return Fen::newRecord<" + attr(a) + ">(*this, key);");
      define(member, a.name + "Del", key, "",
             "return Fen::recordDel<" + attr(a) + ">(*this, key);");
      collectionEnd(a, "Fen" + upperFirst(a.name));
   }

   void match() {
      std::vector<Attribute const*> const compared = comparedParameters(type_);
      out_.gap();
      if (compared.empty()) {
         out_.line("void " + name_ + "::fenParametersMatch() {}");
         return;
      }
      out_.open("void " + name_ + "::fenParametersMatch(" + declared(compared) + ") {");
      for (Attribute const* each : compared) {
         if (each->isMutable) {
            out_.line(each->name + "Is(" + each->name + ");");
         } else {
            out_.line("Fen::requireSameParameter(*this, " + quoted(each->name) + ", " + each->name +
                      "_, " + each->name + ");");
         }
      }
      out_.close("}");
   }

   void parentGone() {
      std::vector<Attribute const*> const pointers = backPointers(type_);
      if (pointers.empty()) {
         return;
      }
      out_.gap();
      out_.open("void " + name_ + "::fenParentGone() {");
      for (Attribute const* each : pointers) {
         out_.open("if (" + each->name + "_ == fenParent()) {");
         out_.line(each->name + "_ = nullptr;");
         out_.close("}");
      }
      out_.line(base() + "::fenParentGone();");
      out_.close("}");
   }

   void tell(Attribute const& a) {
      if (slotNames(a).empty()) {
         return;
      }
      bool const keyed = isCollection(a.kind);
      out_.open("void " + name_ + "::" + attr(a) +
                "::tell(Fen::PtrInterface::NotifieeConst& notifiee" +
                (keyed ? ", Key const& key) {" : ") {"));
      out_.line("static_cast<" + name_ + "::NotifieeConst&>(notifiee).on" + upperFirst(a.name) +
                (keyed ? "(key);" : "();"));
      out_.close("}");
   }

   void notifiees() {
      std::string const readOnly = name_ + "::NotifieeConst";
      out_.gap();
      out_.line(readOnly + "::NotifieeConst(Kind kind) : " + base() + "::NotifieeConst(kind) {}");
      out_.open(readOnly + "::NotifieeConst(" + pointerTo(type_, true) + " const& notifier) {");
      out_.line("fenNotifierStore(notifier.ptr());");
      out_.close("}");
      out_.line(readOnly + "::~NotifieeConst() = default;");
      for (auto const& a : type_.attributes) {
         if (slotNames(*a).empty()) {
            continue;
         }
         std::string const slot = "void " + readOnly + "::on" + upperFirst(a->name);
         if (isCollection(a->kind)) {
            out_.line(slot + "(" + slotKeyType(*a->keyType) + ") {}");
            out_.line(slot + "fenImmediate() {}");
         }
         out_.line(slot + "() {}");
      }
      out_.open(pointerTo(type_, true) + " " + readOnly + "::notifier() const {");
      out_.line("return " + pointerTo(type_, true) + "(static_cast<" + name_ +
                " const*>(fenNotifier()));");
      out_.close("}");
      std::string const writable = name_ + "::Notifiee";
      out_.gap();
      out_.line(writable + "::Notifiee(Kind kind) : " + readOnly + "(kind) {}");
      out_.line(writable + "::Notifiee(" + pointerTo(type_) + " const& notifier)");
      out_.line("   : " + readOnly + "(notifier) {}");
      out_.line(writable + "::~Notifiee() = default;");
      out_.open(pointerTo(type_) + " " + writable + "::notifier() const {");
      out_.line("auto const* const watched = static_cast<" + name_ + " const*>(fenNotifier());");
      out_.line("return " + pointerTo(type_) + "(const_cast<" + name_ + "*>(watched));");
      out_.close("}");
   }

   EmitText& out_;
   Type const& type_;
   std::string name_;
};

} // namespace

void emitEntitySource(EmitText& out, Type const& type) { EntitySource(out, type).run(); }

} // namespace Fenc
