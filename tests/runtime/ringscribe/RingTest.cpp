/// Order of messages, what remains when the ring has wrapped, and their times.
#include "TraceTestSupport.h"

#include <gantry/runtime/ringscribe/MsgDesc.h>
#include <gantry/runtime/ringscribe/TraceClock.h>

#include <algorithm>
#include <csignal>
#include <deque>
#include <random>
#include <sys/wait.h>

namespace {

using namespace RingScribe;
using TraceTest::messagesOf;
using TraceTest::textsOf;

class TraceRing : public TraceTest::Trace {};

/// Remembers where each message went, message by message, and says what must remain.
class Model {
 public:
   explicit Model(std::size_t ringBytes) : ringBytes_(ringBytes) {}

   void message(std::size_t argumentBytes, std::string text) {
      messages_.push_back({end_, std::move(text)});
      end_ += (sizeof(TraceMsgHead) + argumentBytes + 7) / 8 * 8;
      overwritten(end_);
   }
   /// A message for which this much was set aside and which was never finished.
   void torn(std::size_t bytes) { overwritten(end_ + bytes); }

   std::vector<std::string> texts() const {
      std::vector<std::string> result;
      for (Entry const& entry : messages_) {
         result.push_back(entry.text);
      }
      return result;
   }

 private:
   struct Entry {
      std::size_t start;
      std::string text;
   };
   void overwritten(std::size_t reserved) {
      while (!messages_.empty() && messages_.front().start + ringBytes_ < reserved) {
         messages_.pop_front();
      }
   }

   std::size_t ringBytes_;
   std::size_t end_ = 0;
   std::deque<Entry> messages_;
};

TEST_F(TraceRing, EmptyFile) {
   traceTo();
   EXPECT_TRUE(textsOf(path()).empty());
}

TEST_F(TraceRing, OrderAndSequence) {
   traceTo();
   std::vector<std::string> expected;
   for (unsigned i = 0; i < 100; ++i) {
      RINGSCRIBE_TRACE(5, "even ", i);
      RINGSCRIBE_TRACE(5, "odd ", std::uint16_t{7}, " ", i);
      expected.push_back("even " + std::to_string(i));
      expected.push_back("odd 7 " + std::to_string(i));
   }
   EXPECT_EQ(textsOf(path()), expected);
   std::uint32_t sequence = 0;
   for (TraceMessage const& message : messagesOf(path())) {
      EXPECT_EQ(message.sequence, sequence++);
   }
}

TEST_F(TraceRing, TimesAreThoseOfTheWallClock) {
   std::int64_t const before = static_cast<std::int64_t>(nanosecondsNow(CLOCK_REALTIME));
   traceTo();
   for (unsigned i = 0; i < 1000; ++i) {
      TraceTest::traceNumbered(i);
   }
   std::int64_t const after = static_cast<std::int64_t>(nanosecondsNow(CLOCK_REALTIME));
   // Generous: what is checked is the unit and the epoch.
   constexpr std::int64_t second = 1'000'000'000;
   std::int64_t last = 0;
   for (TraceMessage const& message : messagesOf(path())) {
      EXPECT_GE(message.wallNanoseconds, last);
      EXPECT_GT(message.wallNanoseconds, before - second);
      EXPECT_LT(message.wallNanoseconds, after + second);
      last = message.wallNanoseconds;
   }
}

/// One step of the property test: a message of random size in one of four forms.
void step(std::mt19937& random, Model& model, Fen::Ptr<TraceFile> const& file,
          std::uint32_t handId) {
   auto below = [&](std::size_t bound) { return static_cast<std::size_t>(random() % bound); };
   std::size_t const length = below(10) == 0 ? below(1900) : below(70);
   std::string const text(length, static_cast<char>('a' + below(26)));
   std::uint32_t const number = static_cast<std::uint32_t>(random());
   switch (below(4)) {
   case 0:
      RINGSCRIBE_TRACE(5, "bare");
      model.message(0, "bare");
      break;
   case 1:
      RINGSCRIBE_TRACE(5, "number ", number);
      model.message(4, "number " + std::to_string(number));
      break;
   case 2:
      RINGSCRIBE_TRACE(5, "text ", text, " and ", std::uint16_t{5});
      model.message(2 + length + 2, "text " + text + " and 5");
      break;
   default: {
      RingBuf buffer = RingBuf::startMsg(file, handId);
      put(buffer, text);
      buffer.endMsg();
      model.message(2 + length, text);
   }
   }
}

TEST_F(TraceRing, WhatRemainsIsWhatTheModelSays) {
   std::mt19937 random(20240611);
   for (std::size_t bytes : {traceFileBytesMin, traceFileBytesMin + 8, traceFileBytesMin + 13,
                             std::size_t{20000}, std::size_t{65536}}) {
      Fen::Ptr<TraceFile> const file = traceTo(bytes);
      static std::uint32_t handId = 0;
      MsgDesc description(file, "hand.cpp", 1);
      handId = description.msgId();
      file->msgIdArrIs(&handId);
      description.formatString().put(Letter::string);
      description << Varg();
      description.finish();
      Model model(file->ringBytes());
      TraceFileSource const source(path());
      TraceReader follower(source, "follower");
      EXPECT_EQ(follower.readNew([](TraceMessage const&) {}), 0u);
      std::vector<std::string> followed;
      for (unsigned round = 0; round < 300; ++round) {
         for (std::size_t count = random() % 40; count != 0; --count) {
            step(random, model, file, handId);
         }
         std::vector<std::string> const expected = model.texts();
         ASSERT_EQ(textsOf(path()), expected) << "round " << round << ", bytes " << bytes;
         // Who reads on from where it was gets the same messages as who starts afresh.
         std::vector<std::string> news;
         std::uint64_t const lostBefore = follower.lost();
         follower.readNew([&](TraceMessage const& message) { news.push_back(message.text); });
         ASSERT_LE(news.size(), expected.size());
         ASSERT_TRUE(std::equal(news.rbegin(), news.rend(), expected.rbegin()));
         if (follower.lost() != lostBefore) {
            ASSERT_EQ(news.size(), expected.size());
         }
         followed.insert(followed.end(), news.begin(), news.end());
      }
      std::vector<TraceMessage> const all = messagesOf(path());
      EXPECT_EQ(followed.size() + follower.lost(), std::size_t{all.back().sequence} + 1);
      theTraceFile = nullptr;
   }
}

TEST_F(TraceRing, LargestAndSmallestMessagesAtEveryOffset) {
   Fen::Ptr<TraceFile> const file = traceTo(traceFileBytesMin);
   Model model(file->ringBytes());
   std::string const largest(traceArgumentBytesMax - 2, 'L');
   for (unsigned round = 0; round < 3000; ++round) {
      for (unsigned i = 0; i < round % 7; ++i) {
         RINGSCRIBE_TRACE(5, "s");
         model.message(0, "s");
      }
      RINGSCRIBE_TRACE(5, "", largest);
      model.message(2 + largest.size(), largest);
      if (round % 50 == 0) {
         ASSERT_EQ(textsOf(path()), model.texts());
      }
   }
   EXPECT_EQ(textsOf(path()), model.texts());
}

TEST_F(TraceRing, LossIsCountedFromAnEmptyFileOn) {
   traceTo(traceFileBytesMin);
   TraceFileSource const source(path());
   TraceReader reader(source, "trace");
   EXPECT_EQ(reader.readNew([](TraceMessage const&) {}), 0u);
   for (std::uint32_t i = 0; i < 1000; ++i) {
      TraceTest::traceNumbered(i);
   }
   std::size_t const seen = reader.readNew([](TraceMessage const&) {});
   EXPECT_GT(reader.lost(), 0u);
   EXPECT_EQ(seen + reader.lost(), 1000u);
}

TEST_F(TraceRing, TornMessageTakesWhatItMayHaveOverwritten) {
   for (unsigned more = 0; more < 40; ++more) {
      TraceTest::Child child([&] {
         traceTo(traceFileBytesMin);
         // Step by step, so that the process can die in the midst of a message.
         static std::uint32_t msgId = 0;
         MsgDesc description(theTraceFile, "hand.cpp", 1);
         msgId = description.msgId();
         theTraceFile->msgIdArrIs(&msgId);
         description.formatString().put(Letter::string);
         description << Varg();
         description.finish();
         for (unsigned i = 0; i < 300 + more; ++i) {
            RINGSCRIBE_TRACE(5, "whole ", i);
         }
         RingBuf buffer = RingBuf::startMsg(theTraceFile, msgId);
         put(buffer, std::string(300, 'z'));
         raise(SIGKILL);
      });
      EXPECT_TRUE(WIFSIGNALED(child.status()));
      Model model(traceFileBytesMin - traceHeaderBytes - 2048 - traceSlackBytes);
      for (unsigned i = 0; i < 300 + more; ++i) {
         model.message(4, "whole " + std::to_string(i));
      }
      model.torn(traceMsgBytesMax);
      EXPECT_EQ(textsOf(path()), model.texts());
      EXPECT_GT(model.texts().size(), 150u);
   }
}

} // namespace
