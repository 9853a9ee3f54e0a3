// Emits the accessors of machines and reactors, and the passing on of activation and of the zombie
// mark to all that they hold.

#include <fenc/EmitParts.h>

namespace Fenc {

namespace {

class HolderSource {
 public:
   HolderSource(EmitText& out, Type const& type)
      : out_(out), type_(type), name_(scopedName(type)),
        isReactor_(type.kind == TypeKind::reactor) {}

   void run() {
      for (auto const& attribute : type_.attributes) {
         accessors(*attribute);
      }
      if (!isReactor_ || holdsNested(type_)) {
         active();
      }
      if (!isReactor_ || holdsNested(type_) || endOf(type_) != nullptr) {
         zombie();
      }
      if (isReactor_) {
         reactorMembers();
      }
   }

 private:
   void define(std::string const& result, std::string const& method, std::string const& parameters,
               std::string const& suffix, std::vector<std::string> const& body) {
      std::string const head =
         result + " " + name_ + "::" + method + "(" + parameters + ")" + suffix + " {";
      out_.open(head);
      for (std::string const& line : body) {
         out_.line(line);
      }
      out_.close("}");
   }

   /// A reactor that lies in the class of its machine has nothing else to be destroyed.
   void reactorMembers() {
      if (!holdsNested(type_)) {
         return;
      }
      out_.gap();
      out_.open(name_ + "::~" + type_.name + "() {");
      out_.line(name_ + "::fenDoZombieReactors(true);");
      for (auto const& a : type_.attributes) {
         if (isNested(*a)) {
            out_.line(
               std::string(isCollection(a->kind) ? "Fen::nestedMembersDel(" : "Fen::nestedDel(") +
               a->name + "_);");
         }
      }
      out_.close("}");
   }

   void passOn(char const* single, char const* many, char const* value) {
      for (auto const& a : type_.attributes) {
         if (isNested(*a)) {
            out_.line(std::string("Fen::") + (isCollection(a->kind) ? many : single) + "(" + value +
                      ", " + a->name + "_);");
         }
      }
   }

   std::string base() const {
      return isReactor_              ? "NestedReactor"
             : type_.base != nullptr ? type_.base->cppName
                                     : "Fen::PtrInterface";
   }

   void active() {
      out_.gap();
      out_.open("void " + name_ + "::hasNotificationActiveIs(bool active) {");
      out_.open("if (hasNotificationActive() == active) {");
      out_.line("return;");
      out_.close("}");
      out_.line(base() + "::hasNotificationActiveIs(active);");
      passOn("nestedActiveIs", "nestedMembersActiveIs", "active");
      out_.close("}");
   }

   void zombie() {
      out_.gap();
      out_.open("void " + name_ + "::fenDoZombieReactors(bool zombie) {");
      out_.open("if (fenMarkedForDeletion() == zombie) {");
      out_.line("return;");
      out_.close("}");
      passOn("nestedZombieIs", "nestedMembersZombieIs", "zombie");
      out_.line(isReactor_ ? "NestedReactor::fenDoZombieReactors(zombie);"
                           : "fenMarkedForDeletionIs(zombie);");
      if (Reaction const* const end = isReactor_ ? endOf(type_) : nullptr) {
         // Cut off already, so that it runs once; the way back to the machine is still there.
         for (Handler const& handler : end->handlers) {
            out_.open("if (Fen::Ptr<" + scopedName(*type_.outer) +
                      "> const machine = zombie ? fenMachine() : nullptr) {");
            emitHandlerCall(out_, type_, handler, "", "machine->", 1);
            out_.close("}");
         }
      }
      out_.close("}");
   }

   /// Holds the object for a call that lets others run.
   std::string hold() const { return "Fen::Ptr<" + name_ + "> const running(this);"; }

   void accessors(Attribute const& a) {
      switch (a.kind) {
      case AttributeKind::through:
         out_.gap();
         emitThrough(out_, type_, a);
         break;
      case AttributeKind::reference:
         reference(a);
         break;
      case AttributeKind::owned:
         owned(a);
         break;
      case AttributeKind::reactor:
         reactor(a);
         break;
      case AttributeKind::timer:
         timer(a);
         break;
      case AttributeKind::reactorCollection:
         reactors(a);
         break;
      case AttributeKind::ownedCollection:
         members(a);
         break;
      case AttributeKind::scalarCollection:
      case AttributeKind::valueCollection:
      case AttributeKind::referenceCollection:
         values(a);
         break;
      default:
         break;
      }
   }

   void reference(Attribute const& a) {
      out_.gap();
      define(valueType(a), a.name, "", " const", {"return " + a.name + "_;"});
      if (!a.isMutable) {
         return;
      }
      std::vector<std::string> body;
      if (a.isRequired) {
         body = {"if (!value) {",
                 "   Fen::throwNullParameter(" + quoted(a.name) + ", " +
                    quoted(type_.cppName + "::" + a.name) + ");",
                 "}"};
      }
      body.push_back(a.name + "_ = value;");
      define("void", a.name + "Is", parameterType(a) + " value", "", body);
   }

   void owned(Attribute const& a) {
      std::string const pointer = pointerTo(*a.type);
      std::vector<Attribute const*> const parameters = createParameters(a);
      std::string const field = a.name + "_";
      bool const isMachine = a.type->kind == TypeKind::machine;
      std::string equal = field;
      if (isMachine) {
         equal +=
            " && " + field + "->fenParametersEqual(" + named(comparedParameters(*a.type)) + ")";
      } else {
         for (Attribute const* each : parameters) {
            equal += " && " + field + "->" + each->name + "() == " + each->name;
         }
      }
      out_.gap();
      define(pointer, a.name, "", " const", {"return " + field + ";"});
      define(pointer, a.name + "Is", declared(parameters), "",
             {"return " + equal + " ? " + field + " : new" + upperFirst(a.name) + "(" +
              named(parameters) + ");"});
      std::string const create = isMachine ? a.type->cppName + "::" + a.type->name + "Is"
                                           : "Fen::makePtr<" + a.type->cppName + ">";
      define(pointer, "new" + upperFirst(a.name), declared(parameters), "",
             {hold(), "return Fen::heldIs(" + field + ", [&] { return " + create + "(" +
                         createArguments(a) + "); });"});
      define(pointer, a.name + "Del", "", "", {hold(), "return Fen::heldDel(" + field + ");"});
   }

   void reactor(Attribute const& a) {
      std::string const watched = watchedPointer(*a.reactorClass);
      std::string const field = a.name + "_";
      out_.gap();
      define(watched, a.name, "", " const",
             {"return " + field + " ? " + field + "->notifier() : " + watched + "();"});
      define("Fen::Ptr<" + memberClass(a) + ">", "fen" + upperFirst(a.name), "", " const",
             {"return " + field + ";"});
      if (a.isParameter) {
         return;
      }
      std::vector<Handler> change;
      for (Reaction const& reaction : a.reactorClass->reactions) {
         if (reaction.isChange) {
            change = reaction.handlers;
         }
      }
      out_.open("void " + name_ + "::" + a.name + "Is(" + watched + " const& watched) {");
      out_.line(hold());
      if (change.empty()) {
         out_.line("Fen::nestedReactorIs(" + field + ", watched, this);");
      } else {
         out_.open("if (Fen::nestedReactorIs(" + field + ", watched, this)) {");
         for (Handler handler : change) {
            // Resolved from inside the reactor: one class less from here.
            if (handler.outward == 0) {
               out_.open("if (Fen::Ptr<" + memberClass(a) + "> const reactor = " + field + ") {");
               out_.line("reactor->" + handler.operation->name + "();");
               out_.close("}");
            } else {
               --handler.outward;
               emitHandlerCall(out_, type_, handler, "");
            }
         }
         out_.close("}");
      }
      out_.close("}");
      define("void", a.name + "Del", "", "", {a.name + "Is(nullptr);"});
   }

   void timer(Attribute const& a) {
      std::string const field = a.name + "_";
      out_.gap();
      define("Fen::Ptr<" + memberClass(a) + ">", a.name, "", " const", {"return " + field + ";"});
      if (a.isLate) {
         define("void", a.name + "Is", "Fen::Ptr<Fen::Clock> const& clock", "",
                {hold(), "Fen::nestedTimerIs(" + field + ", clock, this);"});
         define("void", a.name + "Del", "", "", {"Fen::nestedDel(" + field + ");"});
      }
   }

   void collectionEnd(Attribute const& a) {
      std::string const upper = upperFirst(a.name);
      std::string const key = keyParameterType(*a.keyType) + " key";
      std::string const iterator = name_ + "::" + upper + "IteratorConst";
      define("std::uint32_t", a.name + "Count", "", " const",
             {"return static_cast<std::uint32_t>(" + a.name + "_.size());"});
      define(iterator, a.name + "Iterator", "", " const",
             {"return " + upper + "IteratorConst(" + a.name + "_, this);"});
      define(iterator, a.name + "Iterator", key, " const",
             {"return " + upper + "IteratorConst(" + a.name + "_, key, this);"});
   }

   void reactors(Attribute const& a) {
      std::string const pointer = "Fen::Ptr<" + memberClass(a) + ">";
      std::string const key = keyParameterType(*a.keyType) + " key";
      std::string const field = a.name + "_";
      // The key is read from what is watched; an entity that is named by it just has a name.
      std::string expression = "watched";
      bool isPlain = true;
      for (Attribute const* step : a.keyPath.steps) {
         expression += (isPlain ? "->" : ".") + (step != nullptr ? step->name : "name") + "()";
         isPlain = step != nullptr && (isPointer(*step) || step->kind == AttributeKind::back);
      }
      out_.gap();
      define(pointer, a.name, key, " const", {"return " + field + ".find(key);"});
      define(
         pointer, a.name + "Is", watchedPointer(*a.reactorClass) + " const& watched", "",
         {"if (!watched) {",
          "   Fen::throwNullParameter(" + quoted(a.name) + ", " +
             quoted(type_.cppName + "::" + a.name) + ");",
          "}", hold(),
          "return Fen::nestedReactorMemberIs(" + field + ", " + expression + ", watched, this);"});
      define(pointer, a.name + "Del", key, "",
             {hold(), "return Fen::nestedMemberDel(" + field + ", key);"});
      define("void", a.name + "DelAll", "", "", {hold(), "Fen::nestedMembersDel(" + field + ");"});
      collectionEnd(a);
   }

   /// The reactors that come and go with the members of a collection.
   std::vector<Attribute const*> paired(Attribute const& a) const {
      std::vector<Attribute const*> result;
      for (auto const& other : type_.attributes) {
         if (other->each == &a) {
            result.push_back(other.get());
         }
      }
      return result;
   }

   void members(Attribute const& a) {
      std::vector<Attribute const*> const parameters = createParameters(a);
      std::string const upper = upperFirst(a.name);
      std::string const pointer = pointerTo(*a.type);
      std::string const key = keyParameterType(*a.keyType) + " key";
      std::string const field = a.name + "_";
      bool const isMachine = a.type->kind == TypeKind::machine;
      std::string compared = named(comparedParameters(*a.type));
      compared = compared.empty() ? "" : ", " + compared;
      emitKeyFunction(out_, a);
      out_.gap();
      define(pointer, a.name, key, " const", {"return " + field + ".find(key);"});
      define(pointer, a.name + "Is", declared(parameters), "",
             {"return Fen::nestedMemberIs(" + field + ", " + createKey(a) + ", [&] { return new" +
              upper + "(" + named(parameters) + "); }" + compared + ");"});
      std::vector<std::string> create = {hold()};
      create.push_back("auto const member = " +
                       (isMachine ? a.type->cppName + "::" + a.type->name + "Is("
                                  : "Fen::makePtr<" + a.type->cppName + ">(") +
                       createArguments(a) + ");");
      create.push_back(field + ".newMember(member);");
      std::vector<std::string> remove = {hold(),
                                         "auto const kept = " + a.keyType->cppName + "(key);"};
      std::vector<std::string> removeAll = {hold()};
      for (Attribute const* each : paired(a)) {
         create.push_back(each->name + "Is(member);");
         remove.push_back(each->name + "Del(kept);");
         removeAll.push_back(each->name + "DelAll();");
      }
      create.push_back("return member;");
      remove.push_back(std::string("return Fen::") +
                       (isMachine ? "nestedMemberDel(" : "heldMemberDel(") + field + ", kept);");
      removeAll.push_back(std::string("Fen::") +
                          (isMachine ? "nestedMembersDel(" : "heldMembersDel(") + field + ");");
      define(pointer, "new" + upper, declared(parameters), "", create);
      define(pointer, a.name + "Del", key, "", remove);
      define("void", a.name + "DelAll", "", "", removeAll);
      collectionEnd(a);
   }

   void values(Attribute const& a) {
      std::string const upper = upperFirst(a.name);
      std::string const member = "Fen::Ptr<" + name_ + "::Fen" + upper + ">";
      std::string const key = keyParameterType(*a.keyType) + " key";
      std::string const field = a.name + "_";
      bool const references = a.kind == AttributeKind::referenceCollection;
      bool const keyed = a.kind == AttributeKind::valueCollection;
      std::string const value = references ? pointerTo(*a.type, a.constTarget) : valueType(a);
      std::string const list =
         (keyed ? "" : key + ", ") + (references ? value + " const&" : parameterType(a)) + " value";
      std::string const keyValue = keyed ? "value." + a.keyField->name + "()" : "key";
      out_.gap();
      define(value, a.name, key, " const", {"return Fen::storedValue(" + field + ", key);"});
      define(member, "fen" + upper, key, " const", {"return " + field + ".find(key);"});
      define("void", a.name + "Is", list, "",
             {std::string("Fen::") + (references ? "storedReferenceIs(" : "storedValueIs(") +
              field + ", " + keyValue + ", value);"});
      define(member, "new" + upper, list, "",
             {"return Fen::newStoredValue(" + field + ", " + keyValue + ", value);"});
      define(member, a.name + "Del", key, "", {"return Fen::heldMemberDel(" + field + ", key);"});
      define("void", a.name + "DelAll", "", "", {"Fen::heldMembersDel(" + field + ");"});
      collectionEnd(a);
   }

   EmitText& out_;
   Type const& type_;
   std::string name_;
   bool isReactor_;
};

} // namespace

void emitHolderSource(EmitText& out, Type const& type) { HolderSource(out, type).run(); }

} // namespace Fenc
