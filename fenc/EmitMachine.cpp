// Emits the classes of machines and of their nested reactors. Both hold attributes, so one class
// here writes both.

#include <fenc/EmitParts.h>

namespace Fenc {

std::string reactorBase(Type const& type) {
   std::string const name = scopedName(type);
   std::string const notifiee = type.holder->kind == AttributeKind::timer
                                   ? std::string("Fen::Clock::Notifiee")
                                : type.constWatched ? type.watched->cppName + "::NotifieeConst"
                                                    : type.watched->cppName + "::Notifiee";
   return "Fen::NestedReactor<" + name + ", " + notifiee + ", " + scopedName(*type.outer) + ">";
}

std::string watchedPointer(Type const& type) {
   return type.holder->kind == AttributeKind::timer ? std::string("Fen::Ptr<Fen::Clock>")
                                                    : pointerTo(*type.watched, type.constWatched);
}

std::string watchedName(Type const& type) {
   return type.holder->each != nullptr ? type.holder->each->name : type.holder->name;
}

bool holdsNested(Type const& type) {
   for (auto const& attribute : type.attributes) {
      if (isNested(*attribute)) {
         return true;
      }
   }
   return false;
}

Reaction const* endOf(Type const& reactor) {
   for (Reaction const& reaction : reactor.reactions) {
      if (reaction.isEnd) {
         return &reaction;
      }
   }
   return nullptr;
}

bool isNested(Attribute const& a) {
   bool const owned = a.kind == AttributeKind::owned || a.kind == AttributeKind::ownedCollection;
   return a.reactorClass != nullptr || (owned && a.type->kind == TypeKind::machine);
}

std::string memberClass(Attribute const& a) {
   return a.reactorClass != nullptr ? scopedName(*a.reactorClass) : a.type->cppName;
}

std::vector<Slot> slotsOf(Type const& reactor) {
   std::vector<Slot> result;
   if (reactor.watched == nullptr) {
      return result;
   }
   for (auto const& event : reactor.watched->attributes) {
      Slot slot{event.get(), nullptr, nullptr, {}};
      for (Reaction const& reaction : reactor.reactions) {
         if (reaction.event == event.get()) {
            (reaction.isImmediate ? slot.immediate : slot.plain) = &reaction;
         }
      }
      for (Type const* holder : {static_cast<Type const*>(reactor.outer), &reactor}) {
         for (auto const& attribute : holder->attributes) {
            if (attribute->follows && attribute->path.any() &&
                attribute->path.steps[0] == reactor.holder &&
                attribute->path.steps[1] == event.get()) {
               slot.followers.push_back(attribute.get());
            }
         }
      }
      if (slot.plain != nullptr || slot.immediate != nullptr || !slot.followers.empty()) {
         result.push_back(slot);
      }
   }
   return result;
}

namespace {

class HolderHeader {
 public:
   HolderHeader(EmitText& out, Type const& type)
      : out_(out), type_(type), isReactor_(type.kind == TypeKind::reactor) {}

   void run() {
      out_.gap();
      out_.documentation(type_.documentation);
      std::string const base = isReactor_              ? reactorBase(type_)
                               : type_.base != nullptr ? type_.base->cppName
                                                       : "Fen::PtrInterface";
      out_.open("class GANTRY_EXPORT " + scopedName(type_) + " : public " + base + " {");
      out_.label("public:");
      nested();
      isReactor_ ? reactorStart() : machineStart();
      for (auto const& attribute : type_.attributes) {
         accessors(*attribute);
      }
      emitOperations(out_, type_);
      for (std::string const& extra : type_.extra) {
         out_.gap();
         out_.verbatim(extra);
         out_.line();
      }
      isReactor_ ? reactorEnd() : machineEnd();
      if (!isReactor_ || !type_.attributes.empty() || isKeyed()) {
         out_.gap();
         out_.label("private:");
      }
      for (auto const& attribute : type_.attributes) {
         field(*attribute);
      }
      if (!isReactor_ && type_.base == nullptr) {
         out_.line("Fen::HashMapLink fenLink_;");
      }
      if (isReactor_ && isKeyed()) {
         out_.line("Fen::HashMapLink fenLink_;");
         out_.line(type_.holder->keyType->cppName + " fenKey_{};");
      }
      out_.close("};");
   }

 private:
   bool isKeyed() const { return type_.holder->kind == AttributeKind::reactorCollection; }

   void nested() {
      if (!isReactor_) {
         out_.line("static constexpr char const* fenFullTypeName = " + quoted(type_.cppName) + ";");
      }
      for (auto const& each : type_.nested) {
         if (each->kind != TypeKind::enumeration) {
            out_.line("class " + each->name + ";");
         }
      }
      for (auto const& each : type_.nested) {
         if (each->kind == TypeKind::enumeration) {
            emitEnumeration(out_, *each);
            emitEnumerationMembers(out_, *each);
         }
      }
   }

   void machineStart() {
      out_.gap();
      out_.line("/// Makes the machine, lets it be born, and opens its reactors.");
      out_.line("static " + pointerTo(type_) + " " + type_.name + "Is(" +
                constructorParameters(type_) + ");");
      out_.gap();
      out_.line("void hasNotificationActiveIs(bool active) override;");
      out_.line("Fen::FenType* fwkType() const override;");
      emitReflectionNames(out_, type_);
      out_.line("static Fen::FenType* _fwkType();");
      if (type_.base != nullptr) {
         out_.line("Fen::String8 attributeString(Fen::AttributeId id) const override;");
      }
      out_.line("virtual void fenDoZombieReactors(bool zombie);");
   }

   void reactorStart() {
      out_.line("using NestedReactor::NestedReactor;");
      out_.gap();
      out_.line(scopedName(*type_.outer) + "* " + lowerFirst(type_.outer->name) +
                "() const { return fenMachine(); }");
      if (type_.holder->kind != AttributeKind::timer) {
         out_.line(watchedPointer(type_) + " " + watchedName(type_) +
                   "() const { return notifier(); }");
      } else {
         out_.line("void onTime() override;");
      }
      for (Slot const& slot : slotsOf(type_)) {
         std::string const name = "void on" + upperFirst(slot.event->name);
         if (!isCollection(slot.event->kind)) {
            out_.line(name + "() override;");
            continue;
         }
         if (slot.plain != nullptr || !slot.followers.empty()) {
            out_.line(name + "(" + slotKeyType(*slot.event->keyType) + " key) override;");
         }
         if (slot.immediate != nullptr || !slot.followers.empty()) {
            out_.line(name + "fenImmediate() override;");
         }
      }
      if (holdsNested(type_)) {
         out_.line("void hasNotificationActiveIs(bool active) override;");
      }
      if (holdsNested(type_) || endOf(type_) != nullptr) {
         out_.line("void fenDoZombieReactors(bool zombie) override;");
      }
      out_.line("/// Runs the handlers as if everything had changed.");
      out_.line("void fenHandleAll();");
      out_.line("/// Runs once, when the reactor has its place.");
      out_.line("void fenBirth();");
      if (isKeyed()) {
         std::string const& key = type_.holder->keyType->cppName;
         out_.line(key + " const& fwkKey() const { return fenKey_; }");
         out_.line("void fenKeyIs(" + key + " const& key) { fenKey_ = key; }");
         out_.line("Fen::HashMapLink& fwkHmLink() { return fenLink_; }");
         out_.line("Fen::HashMapLink const& fwkHmLink() const { return fenLink_; }");
      }
   }

   void machineEnd() {
      std::vector<Attribute const*> const compared = comparedParameters(type_);
      out_.gap();
      out_.line("/// Throws NameInUseException at the first constructor parameter that differs.");
      out_.line("void fenParametersMatch(" + declared(compared) + ") const;");
      out_.line("bool fenParametersEqual(" + declared(compared) + ") const;");
      out_.line("/// The owner is going, or has let go of this machine.");
      out_.line("void fenMachineDel();");
      if (type_.base == nullptr) {
         out_.line("Fen::HashMapLink& fwkHmLink() { return fenLink_; }");
         out_.line("Fen::HashMapLink const& fwkHmLink() const { return fenLink_; }");
      }
      out_.gap();
      out_.label("protected:");
      out_.line(std::string(type_.parameters.size() == 1 ? "explicit " : "") + type_.name + "(" +
                constructorParameters(type_) + ");");
      out_.line("~" + type_.name + "() override;");
      out_.line("void fenBirth();");
   }

   void reactorEnd() {
      if (holdsNested(type_)) {
         out_.gap();
         out_.label("protected:");
         out_.line("~" + type_.name + "() override;");
      }
   }

   void accessors(Attribute const& a) {
      if (a.isKey) {
         return; // the base has the name
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
      case AttributeKind::back:
         out_.line(valueType(a) + " " + a.name + "() const { return " + a.name + "_; }");
         out_.line("void " + a.name + "Is(" + valueType(a) + " value) { " + a.name +
                   "_ = value; }");
         break;
      case AttributeKind::scalar:
         out_.line(valueType(a) + " " + a.name + "() const { return " + a.name + "_; }");
         if (a.isMutable) {
            out_.line("void " + a.name + "Is(" + parameterType(a) + " value) { " + a.name +
                      "_ = value; }");
         }
         break;
      case AttributeKind::reference:
         out_.line(valueType(a) + " " + a.name + "() const;");
         if (a.isMutable) {
            out_.line("void " + a.name + "Is(" + parameterType(a) + " value);");
         }
         break;
      case AttributeKind::owned: {
         std::string const parameters = declared(createParameters(a));
         out_.line(pointerTo(*a.type) + " " + a.name + "() const;");
         out_.line("/// The present one when its parameters are equal; else another takes its "
                   "place.");
         out_.line(pointerTo(*a.type) + " " + a.name + "Is(" + parameters + ");");
         out_.line(pointerTo(*a.type) + " new" + upperFirst(a.name) + "(" + parameters + ");");
         out_.line(pointerTo(*a.type) + " " + a.name + "Del();");
         break;
      }
      case AttributeKind::reactor:
         out_.line(watchedPointer(*a.reactorClass) + " " + a.name + "() const;");
         out_.line("Fen::Ptr<" + memberClass(a) + "> fen" + upperFirst(a.name) + "() const;");
         if (!a.isParameter) {
            out_.line("void " + a.name + "Is(" + watchedPointer(*a.reactorClass) +
                      " const& watched);");
            out_.line("void " + a.name + "Del();");
         }
         break;
      case AttributeKind::timer:
         out_.line("Fen::Ptr<" + memberClass(a) + "> " + a.name + "() const;");
         if (a.isLate) {
            out_.line("void " + a.name + "Is(Fen::Ptr<Fen::Clock> const& clock);");
            out_.line("void " + a.name + "Del();");
         }
         break;
      default:
         members(a);
      }
   }

   void members(Attribute const& a) {
      std::string const upper = upperFirst(a.name);
      std::string const key = keyParameterType(*a.keyType) + " key";
      bool const values = a.kind == AttributeKind::scalarCollection ||
                          a.kind == AttributeKind::valueCollection ||
                          a.kind == AttributeKind::referenceCollection;
      std::string const member = values ? "Fen" + upper : memberClass(a);
      std::string const pointer = "Fen::Ptr<" + member + ">";
      if (values) {
         bool const references = a.kind == AttributeKind::referenceCollection;
         bool const keyed = a.kind == AttributeKind::valueCollection;
         std::string const value = references ? pointerTo(*a.type, a.constTarget) : valueType(a);
         std::string const list = (keyed ? "" : key + ", ") +
                                  (references ? value + " const&" : parameterType(a)) + " value";
         out_.line("using " + member + " = Fen::ValueMember<" + a.keyType->cppName + ", " + value +
                   ">;");
         out_.line(value + " " + a.name + "(" + key + ") const;");
         out_.line(pointer + " fen" + upper + "(" + key + ") const;");
         out_.line("void " + a.name + "Is(" + list + ");");
         out_.line(pointer + " new" + upper + "(" + list + ");");
      } else {
         std::string const parameters = a.reactorClass != nullptr
                                           ? watchedPointer(*a.reactorClass) + " const& watched"
                                           : declared(createParameters(a));
         out_.line(pointer + " " + a.name + "(" + key + ") const;");
         out_.line(pointer + " " + a.name + "Is(" + parameters + ");");
         if (a.reactorClass == nullptr) {
            out_.line(pointer + " new" + upper + "(" + parameters + ");");
         }
      }
      out_.line(pointer + " " + a.name + "Del(" + key + ");");
      out_.line("void " + a.name + "DelAll();");
      out_.line("std::uint32_t " + a.name + "Count() const;");
      out_.line("using " + upper + "Map = Fen::HashMap<" + member + ", " + a.keyType->cppName +
                ">;");
      out_.line("using " + upper + "IteratorConst = Fen::HeldIterator<" + member + ", " +
                a.keyType->cppName + ">;");
      out_.line(upper + "IteratorConst " + a.name + "Iterator() const;");
      out_.line(upper + "IteratorConst " + a.name + "Iterator(" + key + ") const;");
      if (!isReactor_) {
         emitMemberTraits(out_, a, member);
      }
   }

   void field(Attribute const& a) {
      if (a.isKey) {
         return;
      }
      switch (a.kind) {
      case AttributeKind::through:
      case AttributeKind::computed:
      case AttributeKind::constant:
         return;
      case AttributeKind::reactor:
      case AttributeKind::timer:
         out_.line("Fen::Ptr<" + memberClass(a) + "> " + a.name + "_;");
         return;
      case AttributeKind::scalar:
      case AttributeKind::reference:
      case AttributeKind::owned:
      case AttributeKind::back: {
         std::string const initial =
            a.kind == AttributeKind::scalar && !a.isParameter ? initialValue(a) : std::string();
         out_.line(valueType(a) + " " + a.name + "_" +
                   (initial.empty() ? "{}" : "{" + initial + "}") + ";");
         return;
      }
      default:
         out_.line(upperFirst(a.name) + "Map " + a.name + "_;");
      }
   }

   EmitText& out_;
   Type const& type_;
   bool isReactor_;
};

} // namespace

void emitMachine(EmitText& out, Type const& type) { HolderHeader(out, type).run(); }

void emitNestedClasses(EmitText& out, Type const& type) {
   for (auto const& nested : type.nested) {
      if (nested->kind != TypeKind::enumeration) {
         emitMachine(out, *nested);
         emitNestedClasses(out, *nested);
      }
   }
}

} // namespace Fenc
