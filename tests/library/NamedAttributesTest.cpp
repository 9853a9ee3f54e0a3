/// Every attribute of every type, by its name and by its accessors: what is set one way is read the
/// other way, and what cannot be done is refused in the same words. GANTRY_TEST_LONG multiplies the
/// number of seeds.
#include "NamedAttributes.h"

#include <gantry/runtime/fen/VirtualTime.h>

#include <fstream>
#include <iterator>
#include <ostream>

namespace LibraryTest {

void PrintTo(TypeRow const& row, std::ostream* out) { *out << row.type; }

namespace {

std::vector<TypeRow> allRows() {
   std::vector<TypeRow> rows = declarationRows();
   for (auto const& more : {recordRows(), machineRows(), sharedRows()}) {
      rows.insert(rows.end(), more.begin(), more.end());
   }
   return rows;
}

class NamedAttributes : public testing::TestWithParam<TypeRow> {
 protected:
   Fen::VirtualTime time{1000.0};
};

TEST_P(NamedAttributes, TheRowsAreTheTypesAttributes) {
   Fen::FenType const* const type = Fen::FenType::type(GetParam().type);
   ASSERT_NE(type, nullptr);
   std::vector<std::string> rows, attributes;
   for (AttributeRow const& each : GetParam().attributes) {
      rows.emplace_back(each.name);
   }
   for (Fen::AttrDesc const& each : type->attributes()) {
      attributes.emplace_back(each.name);
   }
   EXPECT_EQ(rows, attributes);
   std::vector<Fen::Name> parameters, types;
   for (Fen::ParameterDesc const& each : type->parameters()) {
      parameters.emplace_back(each.name);
      types.emplace_back(each.type);
   }
   EXPECT_EQ(type->constructorArgNameQ(), parameters);
   EXPECT_EQ(type->constructorArgTypeQ(), types);
}

TEST_P(NamedAttributes, ByNameAsByAccessor) {
   for (unsigned seed = 1; seed <= 4 * TestSupport::longFactor(); ++seed) {
      randomSeedIs(seed);
      Made const made = GetParam().make();
      ASSERT_TRUE(made.object);
      Subject const subject(made.object);
      ASSERT_EQ(made.object->fwkType()->fullTypeName(), GetParam().type);
      for (AttributeRow const& each : GetParam().attributes) {
         SCOPED_TRACE(std::string(each.name) + ", seed " + std::to_string(seed));
         each.check(subject, each.name);
         ASSERT_FALSE(HasFailure());
      }
   }
}

TEST_P(NamedAttributes, IdsHaveTheNames) {
   randomSeedIs(1);
   Made const made = GetParam().make();
   auto const* const entity = dynamic_cast<Fen::Entity const*>(made.object.ptr());
   if (entity == nullptr) {
      return;
   }
   Fen::AttributeId id = 258;
   for (AttributeRow const& each : GetParam().attributes) {
      EXPECT_EQ(Subject(made.object).handle->attributeId(each.name), id);
      EXPECT_EQ(entity->attributeString(id++), each.name);
   }
   EXPECT_EQ(entity->attributeString(id), "unknown");
   EXPECT_EQ(entity->attributeString(-1), "unknown");
   EXPECT_EQ(entity->attributeString(6), "isNondestructing");
}

/// One attribute of the framework: read as typed code does, and never changed.
template <class Value>
void frameworkRead(Subject const& subject, char const* name, Value const& value) {
   SCOPED_TRACE(name);
   expectReads<Value>(subject, name, value);
   expectOnlyRead(subject, name);
}

TEST_P(NamedAttributes, ThoseOfTheFramework) {
   randomSeedIs(2);
   Made const made = GetParam().make();
   Subject const subject(made.object);
   frameworkRead(subject, "isNondestructing", made.object->isNondestructing());
   auto const* const entity = dynamic_cast<Fen::Entity const*>(made.object.ptr());
   if (entity == nullptr) {
      for (char const* const name : {"fwkKey", "fenHasAttrLogInterface"}) {
         expectNotSupported(subject, name, {get, set, del, 1, 77});
         expectNoKey(subject, name);
         expectConst(subject, name);
      }
      return;
   }
   frameworkRead(subject, "fwkKey", entity->name());
   frameworkRead(subject, "name", entity->name());
   frameworkRead(subject, "fullName", entity->fullName());
   frameworkRead(subject, "fenHasAttrLogInterface", entity->fenHasAttrLogInterface());
   EXPECT_EQ(objectOf(operate(subject.handle, "parent", get)), entity->parent().ptr());
   expectOnlyRead(subject, "parent");
   expectNotSupported(subject, "fenNboAttrLogSaForMsgChannel", {get, set, del, 1, 77});
}

std::string testName(testing::TestParamInfo<TypeRow> const& info) {
   std::string name = info.param.type;
   for (std::size_t at; (at = name.find("::")) != std::string::npos;) {
      name.erase(at, 2);
   }
   return name;
}

INSTANTIATE_TEST_SUITE_P(Library, NamedAttributes, testing::ValuesIn(allRows()), testName);

} // namespace
} // namespace LibraryTest
