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
