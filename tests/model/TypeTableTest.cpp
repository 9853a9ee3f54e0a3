/// Every type of the model against its row: name, ids, attributes, constructor parameters, and
/// whether it travels. Ids stand on the wire and in stored traces, so they must never move.
#include "TypeRows.h"

#include <gtest/gtest.h>

#include <ostream>

namespace ModelTest {

void PrintTo(TypeRow const& row, std::ostream* out) { *out << row.name; }

namespace {

std::string textOf(char const* text) { return text != nullptr ? text : ""; }

class TypeTable : public testing::TestWithParam<TypeRow> {};

TEST_P(TypeTable, IsFoundByItsName) {
   TypeRow const& row = GetParam();
   Fen::FenType* const type = Fen::FenType::type(row.name);
   ASSERT_NE(type, nullptr);
   EXPECT_EQ(type->fullTypeName(), Fen::String8(row.name));
   EXPECT_EQ(row.sample->fwkType(), type);
   EXPECT_EQ(type->baseType(), Fen::Entity::_fwkType());
}

TEST_P(TypeTable, AttributesRunWithoutGapsFromTheFirstOwnId) {
   TypeRow const& row = GetParam();
   auto const attributes = row.sample->fwkType()->attributes();
   ASSERT_EQ(attributes.size(), row.attributes.size());
   for (std::size_t i = 0; i < row.attributes.size(); ++i) {
      AttributeRow const& wanted = row.attributes[i];
      Fen::AttrDesc const& found = attributes[i];
      SCOPED_TRACE(wanted.name);
      EXPECT_EQ(found.id, 258 + static_cast<int>(i));
      EXPECT_EQ(found.name, wanted.name);
      EXPECT_EQ(found.valueType, wanted.valueType);
      EXPECT_EQ(textOf(found.keyType), wanted.keyType);
      EXPECT_EQ(found.kind, wanted.kind);
      EXPECT_EQ(row.sample->attributeString(found.id), Fen::String8(wanted.name));
   }
}

TEST_P(TypeTable, OtherIdsAnswerAsTheBaseDoes) {
   TypeRow const& row = GetParam();
   int const behind = 258 + static_cast<int>(row.attributes.size());
   EXPECT_EQ(row.sample->attributeString(behind), "unknown");
   EXPECT_EQ(row.sample->attributeString(257), "unknown");
   EXPECT_EQ(row.sample->attributeString(0), "unknown");
   EXPECT_EQ(row.sample->attributeString(-258), "unknown");
   EXPECT_EQ(row.sample->attributeString(5), "zeroReferences");
   EXPECT_EQ(row.sample->attributeString(6), "isNondestructing");
}

TEST_P(TypeTable, ConstructorParameters) {
   TypeRow const& row = GetParam();
   auto const parameters = row.sample->fwkType()->parameters();
   ASSERT_EQ(parameters.size(), row.parameters.size());
   for (std::size_t i = 0; i < row.parameters.size(); ++i) {
      EXPECT_EQ(parameters[i].name, row.parameters[i].name);
      EXPECT_EQ(parameters[i].type, row.parameters[i].type);
   }
}

TEST_P(TypeTable, TravelsOrStays) {
   TypeRow const& row = GetParam();
   EXPECT_EQ(row.sample->fenHasAttrLogInterface(), row.travels);
   EXPECT_EQ(row.sample->fwkType()->wire() != nullptr, row.travels);
}

std::vector<TypeRow> allRows() {
   std::vector<TypeRow> rows = serviceRows();
   for (auto const& more : {controllerRows(), registryRows()}) {
      rows.insert(rows.end(), more.begin(), more.end());
   }
   return rows;
}

std::string testName(testing::TestParamInfo<TypeRow> const& info) {
   std::string name = info.param.name;
   for (std::size_t at; (at = name.find("::")) != std::string::npos;) {
      name.erase(at, 2);
   }
   return name;
}

INSTANTIATE_TEST_SUITE_P(Model, TypeTable, testing::ValuesIn(allRows()), testName);

} // namespace
} // namespace ModelTest
