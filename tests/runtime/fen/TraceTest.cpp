/// Stream traces: what is switched on, what a mistake in the setting says, and what is written.
#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/String.h>
#include <gantry/runtime/fen/Trace.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

class TraceTest : public testing::Test {
 protected:
   void TearDown() override {
      Fen::coverageStream_ = nullptr;
      Fen::traceSettingIs("");
   }
   std::string refusal(char const* setting) {
      try {
         Fen::traceSettingIs(setting);
      } catch (Fen::RangeException const& refused) {
         return refused.text().str();
      }
      return "not refused";
   }
   Fen::TraceHandle mount{"MountSm", false};
   Fen::TraceHandle other{"Gantry", false};
};

TEST_F(TraceTest, OffByDefault) {
   EXPECT_FALSE(mount.enabled());
   for (int level = 0; level <= Fen::TraceHandle::highestLevel; ++level) {
      EXPECT_FALSE(mount.levelEnabled(level));
   }
   Fen::TraceHandle const on("TraceTestOn", true);
   EXPECT_TRUE(on.levelEnabled(0));
   EXPECT_TRUE(on.levelEnabled(9));
}

TEST_F(TraceTest, SettingsByHandleAndLevel) {
   Fen::traceSettingIs("MountSm/5,Gantry/1-8");
   EXPECT_FALSE(mount.levelEnabled(4));
   EXPECT_TRUE(mount.levelEnabled(5));
   EXPECT_FALSE(mount.levelEnabled(6));
   EXPECT_FALSE(other.levelEnabled(0));
   EXPECT_TRUE(other.levelEnabled(1));
   EXPECT_TRUE(other.levelEnabled(8));
   EXPECT_FALSE(other.levelEnabled(9));
}

TEST_F(TraceTest, SettingsOfOneHandleAddUpAndANewSettingReplaces) {
   Fen::traceSettingIs("MountSm/1,MountSm/8");
   EXPECT_TRUE(mount.levelEnabled(1));
   EXPECT_TRUE(mount.levelEnabled(8));
   Fen::traceSettingIs("Gantry/3");
   EXPECT_FALSE(mount.enabled());
   Fen::traceSettingIs(nullptr);
   EXPECT_FALSE(other.enabled());
}

TEST_F(TraceTest, LaterHandlesFollowTheSetting) {
   Fen::traceSettingIs("Late/5");
   Fen::TraceHandle const late("Late", false);
   EXPECT_TRUE(late.levelEnabled(5));
   Fen::TraceHandle const twin("Late", false);
   Fen::traceSettingIs("Late/1");
   EXPECT_TRUE(late.levelEnabled(1));
   EXPECT_TRUE(twin.levelEnabled(1));
}

TEST_F(TraceTest, MistakesNameTheirColumn) {
   struct {
      char const* setting;
      int column;
   } const mistakes[] = {
      {"MountSm", 0},     {"/5", 0},          {"MountSm/", 8},         {"MountSm/x", 8},
      {"MountSm/5-", 10}, {"MountSm/5;", 9},  {"MountSm/8-1", 10},     {"MountSm/5,", 10},
      {"MountSm/10", 9},  {"A,MountSm/5", 0}, {"MountSm/5,Other", 10}, {"MountSm/5,,A/1", 10},
   };
   for (auto const& mistake : mistakes) {
      std::string const text = refusal(mistake.setting);
      std::string const words = "column " + std::to_string(mistake.column) + ":";
      EXPECT_NE(text.find(words), std::string::npos) << mistake.setting << ": " << text;
      EXPECT_NE(text.find(mistake.setting), std::string::npos) << text;
   }
}

TEST_F(TraceTest, AMistakeChangesNothing) {
   Fen::traceSettingIs("MountSm/5");
   EXPECT_THROW(Fen::traceSettingIs("Gantry/1,MountSm"), Fen::RangeException);
   EXPECT_TRUE(mount.levelEnabled(5));
   EXPECT_FALSE(other.enabled());
}

TEST_F(TraceTest, CoverageStreamGetsEveryMessage) {
   std::ostringstream out;
   Fen::coverageStream_ = &out;
   FEN_TRACE(mount, 8, "MountSm::doMountNow");
   FEN_TRACE(mount, 5,
             "doMountNow"
                << ": " << Fen::String8("peer") << ' ' << 3);
   FEN_TRACE(other, 1, " already pblished by ");
   EXPECT_EQ(out.str(), "MountSm/8 MountSm::doMountNow\n"
                        "MountSm/5 doMountNow: peer 3\n"
                        "Gantry/1  already pblished by \n");
}

TEST_F(TraceTest, NumbersHaveTwelveDigits) {
   std::ostringstream out;
   Fen::coverageStream_ = &out;
   FEN_TRACE(mount, 5, 1234567.890625 << ' ' << 1.0 / 3.0);
   EXPECT_EQ(out.str(), "MountSm/5 1234567.89062 0.333333333333\n");
}

TEST_F(TraceTest, MessagesAreBuiltOnlyWhenWanted) {
   int built = 0;
   auto const text = [&built] {
      ++built;
      return "text";
   };
   FEN_TRACE(mount, 5, text());
   EXPECT_EQ(built, 0);
   Fen::traceSettingIs("MountSm/5");
   FEN_TRACE(mount, 4, text());
   EXPECT_EQ(built, 0);
   testing::internal::CaptureStderr();
   FEN_TRACE(mount, 5, text());
   EXPECT_EQ(built, 1);
   std::string const line = testing::internal::GetCapturedStderr();
   EXPECT_NE(line.find(" MountSm/5 TraceTest.cpp:"), std::string::npos) << line;
   EXPECT_TRUE(line.ends_with(": text\n")) << line;
}

TEST_F(TraceTest, WhatIsNotSwitchedOnStaysOffStandardError) {
   std::ostringstream out;
   Fen::coverageStream_ = &out;
   testing::internal::CaptureStderr();
   FEN_TRACE(mount, 5, "quiet");
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
   EXPECT_EQ(out.str(), "MountSm/5 quiet\n");
}

} // namespace
