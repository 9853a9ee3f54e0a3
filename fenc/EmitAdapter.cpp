// Emits what makes an entity travel: its constructor's parameters as a tuple, and the stream
// adapter whose named operations lead to the table-driven ones of the runtime.

#include <fenc/EmitParts.h>

namespace Fenc {

bool travels(Type const& entity) {
   return entity.kind == TypeKind::entity && !entity.isLocal && !entity.isExtern &&
          entity.base == nullptr;
}

namespace {

std::string attr(Attribute const& a) { return "Fen" + upperFirst(a.name) + "Attr"; }

bool isStreamed(Attribute const& a) { return !slotNames(a).empty(); }

bool isText(Attribute const& a) {
   return a.kind == AttributeKind::scalar && a.type->shape == Shape::text;
}

bool ownsEntity(Attribute const& a) {
   return a.kind == AttributeKind::owned || a.kind == AttributeKind::ownedCollection ||
          a.kind == AttributeKind::recordCollection;
}

/// What the operations about an owned entity's adapter take: the entity, or the record that owns
/// it, since the entity alone does not tell its key.
std::string holderType(Type const& type, Attribute const& a) {
   return a.kind == AttributeKind::recordCollection
             ? "Fen::Ptr<" + scopedName(type) + "::Fen" + upperFirst(a.name) + ">"
             : pointerTo(*a.type);
}

std::string memberValueType(Type const& type, Attribute const& a) {
   switch (a.kind) {
   case AttributeKind::ownedCollection:
   case AttributeKind::recordCollection:
      return holderType(type, a) + " const&";
   case AttributeKind::referenceCollection:
      return pointerTo(*a.type, a.constTarget) + " const&";
   default:
      return parameterType(a);
   }
}

constexpr char const* adapterPointer = "Fen::Ptr<Fen::Entity::FenNboAttrLogSa>";

void emitFlow(EmitText& out, Type const& type) {
   out.gap();
   out.line("/// What a flow of this type holds back, by name.");
   out.open("class FlowOut : public Fen::NboAttrLog::FlowOutView {");
   out.label("public:");
   out.line("using Fen::NboAttrLog::FlowOutView::FlowOutView;");
   for (auto const& a : type.attributes) {
      if (!isStreamed(*a)) {
         continue;
      }
      std::string const upper = upperFirst(a->name);
      if (!isCollection(a->kind)) {
         out.line("bool fenIs" + upper + "Dirty() const { return isDirty(" + attr(*a) + "::id); }");
         out.line("void fenIs" + upper + "DirtyIs(bool dirty) { dirtyIs(" + attr(*a) +
                  "::id, dirty); }");
         continue;
      }
      out.line("bool fen" + upper + "HasSynced() const { return hasSynced(" + attr(*a) +
               "::id); }");
      out.open("bool fenIs" + upper + "Dirty(" + keyParameterType(*a->keyType) + " key) const {");
      out.line("return isKeyDirty<" + a->keyType->cppName + ">(" + attr(*a) + "::id, key);");
      out.close("}");
   }
   out.close("};");
}

} // namespace

void emitAdapter(EmitText& out, Type const& type) {
   std::string const name = scopedName(type) + "::FenNboAttrLogSa";
   out.gap();
   out.line("/// Streams a " + type.name +
            " over the attribute log; the base does it all by the table of attributes.");
   out.open("class GANTRY_EXPORT " + name + " : public Fen::Entity::FenNboAttrLogSa {");
   out.label("public:");
   out.line("using Fen::Entity::FenNboAttrLogSa::FenNboAttrLogSa;");
   for (auto const& a : type.attributes) {
      if (!isStreamed(*a)) {
         continue;
      }
      std::string const upper = upperFirst(a->name);
      out.gap();
      if (!isCollection(a->kind)) {
         out.line("void on" + upper + "() { attributeChanged(" + attr(*a) + "::id); }");
      } else {
         std::string const key = slotKeyType(*a->keyType) + " key";
         out.line("void on" + upper + "(" + key + ") { attributeChanged(" + attr(*a) +
                  "::id, &key); }");
         out.line("bool fenHandle" + upper + "SerializeColl() { return fenAttributeSerialize(" +
                  attr(*a) + "::id); }");
         out.line("void fenHandle" + upper + "SerializeSing(" + key + ", " +
                  memberValueType(type, *a) + ", bool) { on" + upper + "(key); }");
      }
      if (isText(*a)) {
         out.line("bool fenHandle" + upper + "Serialize() { return fenAttributeSerialize(" +
                  attr(*a) + "::id); }");
      }
      if (ownsEntity(*a)) {
         std::string const member = holderType(type, *a) + " const& member";
         std::string const start = a->name + "NboAttrLogAdapter";
         out.line(std::string(adapterPointer) + " " + start + "(" + member + ") const;");
         out.line(std::string(adapterPointer) + " " + start + "Is(" + member + ");");
         out.line("void " + start + "Del(" + member + ");");
      }
   }
   emitFlow(out, type);
   out.gap();
   out.label("protected:");
   out.line("~FenNboAttrLogSa() override;");
   out.close("};");
}

void emitAdapterSource(EmitText& out, Type const& type) {
   std::string const name = scopedName(type) + "::FenNboAttrLogSa";
   out.gap();
   out.line(name + "::~FenNboAttrLogSa() = default;");
   for (auto const& a : type.attributes) {
      if (!isStreamed(*a) || !ownsEntity(*a)) {
         continue;
      }
      std::string const pointer = holderType(type, *a) + " const& member";
      bool const isRecord = a->kind == AttributeKind::recordCollection;
      // A record that owns nothing has no adapter.
      std::string const entity = isRecord ? "member->" + a->name + "()" : "member";
      std::string const method = std::string(name) + "::" + a->name + "NboAttrLogAdapter";
      out.open(std::string(adapterPointer) + " " + method + "(" + pointer + ") const {");
      out.line("return fenMemberAdapter(" + entity + ");");
      out.close("}");
      out.open(std::string(adapterPointer) + " " + method + "Is(" + pointer + ") {");
      if (isRecord) {
         out.line("return fenMemberAdapterIs(" + attr(*a) + "::id, " + entity +
                  ", &member->key());");
      } else if (isCollection(a->kind)) {
         std::string const key = a->keyType->cppName;
         out.line(key + " const key(Fen::HashMapKey<" + a->type->cppName + ", " + key +
                  ">::key(*member));");
         out.line("return fenMemberAdapterIs(" + attr(*a) + "::id, member, &key);");
      } else {
         out.line("return fenMemberAdapterIs(" + attr(*a) + "::id, member, nullptr);");
      }
      out.close("}");
      out.open("void " + method + "Del(" + pointer + ") {");
      out.line("fenMemberAdapterDel(" + entity + ");");
      out.close("}");
   }
}

void emitParameters(EmitText& out, Type const& type) {
   std::string list;
   for (Attribute const* parameter : type.parameters) {
      list += (list.empty() ? "" : ", ") + parameter->name + "()";
   }
   out.line("/// What an entity of this type is constructed from.");
   out.line("auto fenParameters() const { return std::make_tuple(" + list + "); }");
}

} // namespace Fenc
