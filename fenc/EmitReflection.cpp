// Emits what generic access to attributes is made from: for each attribute the accessors by which
// its table of functions is built, and the names of the classes that a type has for reflection.

#include <fenc/EmitParts.h>

namespace Fenc {

namespace {

std::string accessorOf(Type const& type, std::string const& method) {
   return "&" + scopedName(type) + "::" + method;
}

std::string traits(Type const& type, Attribute const& a) {
   return scopedName(type) + "::Fen" + upperFirst(a.name) + "Attr";
}

} // namespace

std::string accessKind(Type const& type, Attribute const& a) {
   std::string const get = accessorOf(type, a.name);
   std::string const set = get + "Is", del = get + "Del";
   if (a.isKey && (a.name == "name" || type.kind == TypeKind::machine)) {
      return "Getter<&Fen::Entity::name>";
   }
   switch (a.kind) {
   case AttributeKind::back:
      return "Back<" + get + ">";
   case AttributeKind::timer:
      return "Timer<" + get + ">";
   case AttributeKind::scalar:
   case AttributeKind::reference:
      return !a.isMutable ? "Getter<" + get + ">" : "Scalar<" + get + ", " + set + ">";
   case AttributeKind::owned:
      return "Child<" + get + ", " + set + ">";
   case AttributeKind::scalarCollection:
   case AttributeKind::valueCollection:
   case AttributeKind::referenceCollection:
      return "Values<" + traits(type, a) + ", " + set + ", " + del + ">";
   case AttributeKind::ownedCollection:
      return "Owned<" + traits(type, a) + ", " + set + ", " + del + ", " +
             std::to_string(keyPosition(a)) +
             (keyPosition(a) < 0 ? ", &" + keyFunction(a) : std::string()) + ">";
   case AttributeKind::recordCollection: {
      std::string const record = accessorOf(type, "Fen" + upperFirst(a.name)) + "::" + a.name;
      return "Records<" + traits(type, a) + ", " + set + ", " + del + ", " + record + ", " +
             record + "Is>";
   }
   case AttributeKind::reactorCollection:
      return "Reactors<" + traits(type, a) + ">";
   default:
      return "Getter<" + get + ">";
   }
}

void emitReflectionNames(EmitText& out, Type const& type) {
   out.line("using _Type = Fen::TypeOf<" + scopedName(type) + ">;");
   out.line("using GenericIf_ = Fen::GenericIfOf<" + scopedName(type) + ">;");
}

void emitMemberTraits(EmitText& out, Attribute const& a, std::string const& member) {
   std::string const upper = upperFirst(a.name);
   out.open("struct Fen" + upper + "Attr {");
   out.line("using Owner = " + scopedName(*a.owner) + ";");
   out.line("using Key = " + a.keyType->cppName + ";");
   out.line("using Member = " + member + ";");
   if (a.kind == AttributeKind::valueCollection) {
      out.line("static Key keyOf(" + parameterType(a) + " value) { return value." +
               a.keyField->name + "(); }");
   }
   out.line("static " + upper + "Map& field(Owner& owner) { return owner." + a.name + "_; }");
   out.close("};");
}

} // namespace Fenc
