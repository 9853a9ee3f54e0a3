// Tables of text: widths, what is left out, and drawings that are not too many.

#include <hosts/support/TextTable.h>

#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

namespace Host {
namespace {

TEST(TextTable, ColumnsAreAsWideAsWhatIsInThem) {
   EXPECT_EQ(textTable({{"A", "B"}, {"long", "x"}, {"", "y"}}, 0, 1),
             "A     B\nlong  x\n      y\n");
   EXPECT_EQ(textTable({{"\xc3\xa4", "B"}, {"xx", "y"}}, 0, 1), "\xc3\xa4   B\nxx  y\n");
   EXPECT_EQ(textTable({}, 0, 1), "");
}

TEST(TextTable, WhatDoesNotFitIsLeftOut) {
   std::vector<TextRow> const rows{{"one", "two", "three"}};
   EXPECT_EQ(textTable(rows, 15, 1), "one  two  three\n");
   EXPECT_EQ(textTable(rows, 14, 1), "one  two\n");
   EXPECT_EQ(textTable(rows, 3, 2), "one  two\n");
   EXPECT_EQ(textTable(rows, 1, 1), "one\n");
}

TEST(TextTable, ManyChangesAreOneDrawing) {
   Fen::VirtualTime time(1000.0);
   unsigned drawings = 0;
   testing::internal::CaptureStdout();
   ScreenText screen([&] {
      ++drawings;
      return std::string("text\n");
   });
   time.advance(1.0);
   EXPECT_EQ(drawings, 0u);
   for (unsigned i = 0; i < 10; ++i) {
      screen.changed();
   }
   time.advance(0.0);
   EXPECT_EQ(drawings, 1u);
   screen.changed();
   time.advance(0.1);
   EXPECT_EQ(drawings, 1u);
   time.advance(0.2);
   EXPECT_EQ(drawings, 2u);
   EXPECT_EQ(testing::internal::GetCapturedStdout(),
             "\033[Htext\033[K\n\033[J\033[Htext\033[K\n\033[J");
}

} // namespace
} // namespace Host
