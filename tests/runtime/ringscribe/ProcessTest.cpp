/// Writers in processes of their own: read while they write, killed at any point, forked.
#include "TraceTestSupport.h"

#include <memory>
#include <random>
#include <sched.h>
#include <unistd.h>

namespace {

using namespace RingScribe;
using TraceTest::Child;
using TraceTest::numberOf;
using TraceTest::textsOf;
using TraceTest::traceNumbered;

class TraceProcess : public TraceTest::Trace {
 protected:
   /// Opens the file as soon as the child has made it.
   std::unique_ptr<TraceFileSource> opened() {
      while (access(path().c_str(), F_OK) != 0) {
         sched_yield();
      }
      return std::make_unique<TraceFileSource>(path());
   }
   void writeForEver(std::size_t bytes) {
      traceTo(bytes);
      for (std::uint32_t number = 0;; ++number) {
         // In both ways, since they say differently what they are going to overwrite.
         number % 5 == 0 ? TraceTest::traceNumberedByHand(number) : traceNumbered(number);
      }
   }
};

TEST_F(TraceProcess, ReadWhileItIsWritten) {
   for (std::size_t bytes : {traceFileBytesMin, std::size_t{64} * 1024, std::size_t{1} << 20}) {
      std::filesystem::remove(path());
      Child const child([&] { writeForEver(bytes); });
      std::unique_ptr<TraceFileSource> const source = opened();
      TraceReader reader(*source, "trace");
      std::uint64_t seen = 0;
      std::uint32_t next = 0;
      std::int64_t lastTime = 0;
      while (seen < 50'000) {
         std::uint64_t lostBefore = reader.lost();
         reader.readNew([&](TraceMessage const& message) {
            std::uint32_t const number = numberOf(message.text);
            ASSERT_EQ(number, message.sequence);
            if (seen != 0) {
               ASSERT_EQ(number, next + (reader.lost() - lostBefore));
            }
            ASSERT_GE(message.wallNanoseconds, lastTime);
            lastTime = message.wallNanoseconds;
            lostBefore = reader.lost();
            next = number + 1;
            ++seen;
         });
         ASSERT_FALSE(HasFatalFailure());
      }
   }
}

TEST_F(TraceProcess, KilledAtAnyPoint) {
   std::mt19937 random(77);
   for (unsigned round = 0; round < 60; ++round) {
      std::filesystem::remove(path());
      std::size_t const bytes = round % 2 == 0 ? traceFileBytesMin : std::size_t{128} * 1024;
      Child child([&] { writeForEver(bytes); });
      std::unique_ptr<TraceFileSource> const source = opened();
      TraceReader reader(*source, "trace");
      std::uint64_t const wanted = random() % 20'000;
      std::uint64_t seen = 0;
      while (seen + reader.lost() < wanted) {
         seen += reader.readNew([](TraceMessage const&) {});
      }
      child.kill();
      std::vector<std::string> const texts = textsOf(path());
      if (wanted != 0) {
         ASSERT_FALSE(texts.empty());
      }
      std::uint32_t expected = texts.empty() ? 0 : numberOf(texts.front());
      for (std::string const& text : texts) {
         ASSERT_EQ(numberOf(text), expected++);
      }
      // Twice the same: nobody writes any more.
      ASSERT_EQ(textsOf(path()), texts);
      std::string last;
      reader.readNew([&](TraceMessage const& message) { last = message.text; });
      if (!last.empty()) {
         EXPECT_EQ(last, texts.back());
      }
   }
}

TEST_F(TraceProcess, FileOfAKilledWriterIsReplaced) {
   Child child([&] { writeForEver(traceFileBytesMin); });
   std::unique_ptr<TraceFileSource> const source = opened();
   EXPECT_FALSE(source->replaced());
   child.kill();
   traceTo();
   traceNumbered(5);
   EXPECT_TRUE(source->replaced());
   EXPECT_EQ(textsOf(path()).size(), 1u);
}

TEST_F(TraceProcess, SecondLivingWriterIsRefused) {
   Child child([&] { writeForEver(traceFileBytesMin); });
   std::unique_ptr<TraceFileSource> const source = opened();
   try {
      traceTo();
      FAIL() << "the file of a living process was replaced";
   } catch (TraceFileError const& error) {
      EXPECT_NE(std::string(error.what()).find("still traces to it"), std::string::npos)
         << error.what();
   }
   EXPECT_FALSE(source->replaced());
   child.kill();
   EXPECT_NO_THROW(traceTo());
}

TEST_F(TraceProcess, ForkedChildDoesNotTrace) {
   Fen::Ptr<TraceFile> const file = traceTo();
   traceNumbered(0);
   int status = 0;
   {
      Child child([&] {
         traceNumbered(100);
         // Its own file is its own matter.
         traceTo(traceFileBytesMin, "child");
         traceNumbered(200);
         _exit(theTraceFile ? 0 : 1);
      });
      status = child.status();
   }
   EXPECT_EQ(status, 0);
   traceNumbered(1);
   std::vector<std::string> const texts = textsOf(path());
   ASSERT_EQ(texts.size(), 2u);
   EXPECT_EQ(numberOf(texts[0]), 0u);
   EXPECT_EQ(numberOf(texts[1]), 1u);
   EXPECT_EQ(textsOf(path("child")).size(), 1u);
   // The child's end has not dropped the lock.
   EXPECT_THROW(traceFileFactory(path(), traceFileBytesMin), TraceFileError);
}

} // namespace
