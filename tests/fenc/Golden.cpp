// The compiler's diagnostics, compared with texts that are kept beside the schemas, and its output
// for one tiny schema. Every `golden/X.fen` has either an `X.err`, what a run over it prints, or
// the two files that it is compiled to.

#include "SchemaDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using FencTest::goldenDirectory;
using FencTest::SchemaDirectory;
using FencTest::textOf;

std::vector<std::string> schemas() {
   std::vector<std::string> result;
   for (auto const& entry : std::filesystem::directory_iterator(goldenDirectory())) {
      if (entry.path().extension() == ".fen") {
         result.push_back(entry.path().filename().string());
      }
   }
   std::sort(result.begin(), result.end());
   return result;
}

std::string expected(std::string const& schema, char const* extension) {
   return textOf(goldenDirectory() / (schema.substr(0, schema.size() - 4) + extension));
}

class Golden : public testing::TestWithParam<std::string> {};

TEST_P(Golden, isAsExpected) {
   SchemaDirectory source(goldenDirectory());
   Fenc::CompileResult const result = Fenc::compile({GetParam()}, source);
   EXPECT_EQ(result.errors, expected(GetParam(), ".err"));
   EXPECT_EQ(result.ok, result.errors.empty());
   if (!result.ok) {
      EXPECT_TRUE(result.files.empty());
      return;
   }
   ASSERT_EQ(result.files.size(), 2u);
   EXPECT_EQ(result.files[0].path, GetParam() + ".h");
   EXPECT_EQ(result.files[0].text, expected(GetParam(), ".fen.h.golden"));
   EXPECT_EQ(result.files[1].path, GetParam() + ".cpp");
   EXPECT_EQ(result.files[1].text, expected(GetParam(), ".fen.cpp.golden"));
}

TEST_P(Golden, isTheSameInEveryRun) {
   SchemaDirectory first(goldenDirectory());
   SchemaDirectory second(goldenDirectory());
   Fenc::CompileResult const one = Fenc::compile({GetParam()}, first);
   // The order on the command line decides nothing about the text of a file.
   Fenc::CompileResult const two = Fenc::compile({GetParam(), GetParam()}, second);
   EXPECT_EQ(one.errors, two.errors);
   ASSERT_LE(one.files.size(), two.files.size());
   for (std::size_t i = 0; i < one.files.size(); ++i) {
      EXPECT_EQ(one.files[i].text, two.files[i].text);
   }
}

INSTANTIATE_TEST_SUITE_P(Schemas, Golden, testing::ValuesIn(schemas()), [](auto const& each) {
   return each.param.substr(0, each.param.size() - 4);
});

} // namespace
