// The table of the builtin types.

#include <fenc/Prelude.h>

#include <utility>

namespace Fenc {

namespace {

Type& add(Model& model, TypeKind kind, char const* name, char const* cppName, Shape shape) {
   auto type = std::make_unique<Type>();
   type->kind = kind;
   type->name = name;
   type->cppName = cppName;
   type->shape = shape;
   type->isExtern = true;
   model.builtins.push_back(std::move(type));
   return *model.builtins.back();
}

} // namespace

void addBuiltins(Model& model) {
   struct Row {
      char const* name;
      char const* cppName;
      Shape shape;
   };
   static constexpr Row rows[] = {
      {"bool", "bool", Shape::boolean},         {"i8", "std::int8_t", Shape::integer},
      {"i16", "std::int16_t", Shape::integer},  {"i32", "std::int32_t", Shape::integer},
      {"i64", "std::int64_t", Shape::integer},  {"u8", "std::uint8_t", Shape::integer},
      {"u16", "std::uint16_t", Shape::integer}, {"u32", "std::uint32_t", Shape::integer},
      {"u64", "std::uint64_t", Shape::integer}, {"double", "double", Shape::real},
      {"String8", "Fen::String8", Shape::text}, {"Name", "Fen::Name", Shape::text},
   };
   Type const* name = nullptr;
   for (Row const& row : rows) {
      name = &add(model, TypeKind::builtin, row.name, row.cppName, row.shape);
   }
   Type& entity = add(model, TypeKind::entity, "Entity", "Fen::Entity", Shape::none);
   Type& directory = add(model, TypeKind::entity, "Dir", "Fen::Dir", Shape::none);
   entity.namespaceName = "Fen";
   directory.namespaceName = "Fen";
   auto nameOf = std::make_unique<Attribute>();
   nameOf->name = "name";
   nameOf->owner = &entity;
   nameOf->type = name;
   nameOf->isKey = true;
   nameOf->isParameter = true;
   nameOf->isMutable = false;
   entity.parameters.push_back(nameOf.get());
   entity.attributes.push_back(std::move(nameOf));
   auto members = std::make_unique<Attribute>();
   members->name = "entityPtr";
   members->owner = &directory;
   members->kind = AttributeKind::referenceCollection;
   members->type = &entity;
   members->keyType = name;
   directory.attributes.push_back(std::move(members));
   auto directoryName = std::make_unique<Attribute>();
   directoryName->name = "name";
   directoryName->owner = &directory;
   directoryName->type = name;
   directoryName->isKey = true;
   directoryName->isParameter = true;
   directoryName->isMutable = false;
   directoryName->hasPlace = false;
   directory.parameters.push_back(directoryName.get());
   directory.attributes.push_back(std::move(directoryName));
}

} // namespace Fenc
