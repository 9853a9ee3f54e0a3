// Emits the bodies of machines: construction, birth, death, and what they pass on to all that they
// hold.

#include <fenc/EmitParts.h>

namespace Fenc {

namespace {

class MachineSource {
 public:
   MachineSource(EmitText& out, Type const& type)
      : out_(out), type_(type), name_(scopedName(type)) {}

   void run() {
      out_.gap();
      out_.line("// " + name_);
      construction();
      birth();
      destruction();
      creation();
      match();
   }

 private:
   void construction() {
      std::string initializers = type_.base != nullptr
                                    ? type_.base->cppName + "(" + named(type_.baseArguments) + ")"
                                    : std::string();
      bool any = false;
      for (auto const& a : type_.attributes) {
         bool const stored = a->isParameter && a->kind != AttributeKind::reactor;
         if (stored && !a->isKey) {
            initializers += (initializers.empty() ? "" : ", ") + a->name + "_(" + a->name + ")";
         }
         any = any || (a->isParameter && (a->isRequired || !stored)) ||
               (a->kind == AttributeKind::timer && !a->isLate);
      }
      out_.gap();
      out_.line(name_ + "::" + type_.name + "(" + constructorParameters(type_) + ")" +
                (initializers.empty() ? (any ? " {" : " {}") : ""));
      if (!initializers.empty()) {
         out_.line("   : " + initializers + (any ? " {" : " {}"));
      }
      if (!any) {
         return;
      }
      for (auto const& a : type_.attributes) {
         if (a->isParameter && a->isRequired) {
            out_.line("   if (!" + a->name + ") {");
            out_.line("      Fen::throwNullParameter(" + quoted(a->name) + ", " +
                      quoted(type_.cppName + "::" + a->name) + ");");
            out_.line("   }");
         }
      }
      for (auto const& a : type_.attributes) {
         if (a->isParameter && a->kind == AttributeKind::reactor) {
            out_.line("   if (" + a->name + ") {");
            out_.line("      " + a->name + "_ = Fen::makePtr<" + memberClass(*a) + ">(" + a->name +
                      ", this);");
            out_.line("   }");
         } else if (a->kind == AttributeKind::timer && !a->isLate) {
            out_.line("   " + a->name + "_ = Fen::makePtr<" + memberClass(*a) +
                      ">(Fen::ActivityFacility::clock(), this);");
         }
      }
      out_.line("}");
   }

   /// What happens once, when the machine is whole and held by its first pointer.
   void birth() {
      out_.gap();
      out_.open("void " + name_ + "::fenBirth() {");
      for (auto const& a : type_.attributes) {
         if (a->isParameter && a->kind == AttributeKind::reactor) {
            out_.open("if (" + a->name + "_) {");
            out_.line(a->name + "_->fenBirth();");
            out_.close("}");
         }
      }
      for (auto const& a : type_.attributes) {
         if (a->kind == AttributeKind::reactor && a->path.any()) {
            attach(*a);
         } else if (a->kind == AttributeKind::reactorCollection && a->path.any()) {
            attachAll(*a);
         }
      }
      for (Handler const& handler : type_.birth) {
         emitHandlerCall(out_, type_, handler, "");
      }
      out_.close("}");
   }

   /// Opens a block for each step of the path but the last; returns the last as an expression.
   std::string openPath(Path const& path, int& depth) {
      std::string expression;
      for (std::size_t i = 0; i < path.steps.size(); ++i) {
         Attribute const* const step = path.steps[i];
         std::string const call = (step != nullptr ? step->name : std::string("name")) + "()";
         expression += (expression.empty() ? "" : ".") + call;
         bool const last = i + 1 == path.steps.size();
         bool const pointer =
            step != nullptr && (isPointer(*step) || step->kind == AttributeKind::back);
         if (pointer && !last) {
            std::string const name = "step" + std::to_string(i);
            out_.open("if (auto const " + name + " = " + expression + ") {");
            ++depth;
            expression = "(*" + name + ")";
         }
      }
      return expression;
   }

   void attach(Attribute const& a) {
      int depth = 0;
      std::string const value = openPath(a.path, depth);
      out_.line(a.name + "Is(" + value + ");");
      for (; depth > 0; --depth) {
         out_.close("}");
      }
   }

   void attachAll(Attribute const& a) {
      std::string const reactor = a.path.steps[0]->name;
      std::string const event = a.path.steps[1]->name;
      out_.open("if (auto const watched = " + reactor + "()) {");
      out_.open("for (auto i = watched->" + event + "Iterator(); i; ++i) {");
      out_.line(a.name + "Is(watched->" + event + "(i.key()));");
      out_.close("}");
      out_.close("}");
   }

   void destruction() {
      out_.gap();
      out_.open(name_ + "::~" + type_.name + "() {");
      out_.line(name_ + "::fenDoZombieReactors(true);");
      for (bool const reactors : {true, false}) {
         for (auto const& a : type_.attributes) {
            if (isNested(*a) && (a->reactorClass != nullptr) == reactors) {
               out_.line(std::string(isCollection(a->kind) ? "Fen::nestedMembersDel("
                                                           : "Fen::nestedDel(") +
                         a->name + "_);");
            } else if (!reactors && a->kind == AttributeKind::owned) {
               out_.line(a->name + "_ = nullptr;");
            }
         }
      }
      out_.close("}");
      out_.gap();
      out_.open("void " + name_ + "::fenMachineDel() {");
      for (auto const& a : type_.attributes) {
         if (a->isParameter && a->kind == AttributeKind::back) {
            out_.line(a->name + "_ = nullptr;");
         }
      }
      out_.close("}");
   }

   void creation() {
      std::string const names = named({type_.parameters.begin(), type_.parameters.end()});
      std::string const pointer = pointerTo(type_);
      out_.gap();
      out_.open(pointer + " " + name_ + "::" + type_.name + "Is(" + constructorParameters(type_) +
                ") {");
      out_.line("auto const machine = " + pointer + "::adopt(new " + name_ + "(" + names + "));");
      out_.line("machine->fenBirth();");
      out_.line("machine->hasNotificationActiveIs(true);");
      out_.line("return machine;");
      out_.close("}");
      if (type_.hasFactory) {
         out_.gap();
         out_.open(pointer + " " + type_.factoryName + "(" + constructorParameters(type_) + ") {");
         out_.line("return " + name_ + "::" + type_.name + "Is(" + names + ");");
         out_.close("}");
      }
   }

   void match() {
      std::vector<Attribute const*> const compared = comparedParameters(type_);
      out_.gap();
      out_.open("void " + name_ + "::fenParametersMatch(" + declared(compared) + ") const {");
      for (Attribute const* each : compared) {
         out_.line("Fen::requireSameParameter(static_cast<Fen::PtrInterface const&>(*this), " +
                   quoted(each->name) + ", this->" + each->name + "(), " + each->name + ");");
      }
      out_.close("}");
      out_.gap();
      out_.open("bool " + name_ + "::fenParametersEqual(" + declared(compared) + ") const {");
      std::string equal;
      for (Attribute const* each : compared) {
         equal += (equal.empty() ? "" : " && ") + ("this->" + each->name + "() == " + each->name);
      }
      out_.line("return " + (equal.empty() ? "true" : equal) + ";");
      out_.close("}");
   }

   EmitText& out_;
   Type const& type_;
   std::string name_;
};

} // namespace

void emitMachineSource(EmitText& out, Type const& type) {
   MachineSource(out, type).run();
   emitHolderSource(out, type);
   emitTables(out, type);
   for (auto const& nested : type.nested) {
      switch (nested->kind) {
      case TypeKind::enumeration:
         emitEnumerationSource(out, *nested);
         break;
      case TypeKind::reactor:
         emitReactorSource(out, *nested);
         break;
      default:
         emitMachineSource(out, *nested);
      }
   }
}

} // namespace Fenc
