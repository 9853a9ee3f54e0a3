// What a hostile or broken peer may send: every refusal, with its reason and its counter, and no
// entity made beyond the limits.
#include "HandWrittenEntity.h"
#include "NboAttrLogSample.h"

#include <gantry/runtime/fen/Counters.h>
#include <tests/support/NboAttrLogLink.h>

#include <gtest/gtest.h>

#include <limits>

using namespace NboAttrLogTest;
using Fen::NboAttrLog::Demuxer;
using Fen::NboAttrLog::FrameKind;
using Fen::NboAttrLog::ProtocolException;
using Fen::NboAttrLog::Refusal;
using Sample::Chassis;
using Sample::Port;

namespace {

std::string word(std::uint32_t value) {
   Bytes bytes(4);
   Fen::storeBig32(bytes.data(), value);
   return hex(bytes) + " ";
}

/// A target whose peer is written by hand. Entity 2/0 is a chassis.
struct Hostile : testing::Test {
   void start(Fen::NboAttrLog::Limits const& limits = {}) {
      directory = Fen::dirFactory("mounts");
      Demuxer::Options options;
      options.out = Fen::makePtr<Fen::Connection::Out>();
      options.channel = 1;
      options.limits = limits;
      target = Demuxer::targetIs(options, directory, "copy", nullptr, &user);
   }
   void SetUp() override {
      Chassis::_fwkType();
      Port::_fwkType();
      start();
   }
   void root() { EXPECT_EQ(sent(orphan("Sample::Chassis", 2)), "taken"); }
   static std::string text(std::string const& characters) {
      return word(static_cast<std::uint32_t>(characters.size())) +
             hex(Bytes(characters.begin(), characters.end())) + " ";
   }
   static std::string message(std::uint32_t entity, std::int32_t attribute,
                              std::string const& items, std::uint32_t recordKind = 0) {
      return word(entity) + word(0) + word(static_cast<std::uint32_t>(attribute)) +
             "01 00 00 00 00 " + word(recordKind) + "00 01 " + items + " 03";
   }
   static std::string orphan(std::string const& type, std::uint32_t id) {
      return message(1, 136, text(type) + text("far") + word(id) + word(0));
   }
   static std::string port(std::uint32_t above, std::string const& name, std::uint32_t id) {
      return message(above, 262, text(name) + text("k") + text("s") + word(id) + word(0), 151);
   }
   /// The refusal's name, or "taken". Copies the bytes to a place of exactly their size.
   std::string sent(std::string const& payload, FrameKind kind = FrameKind::message) {
      Bytes const bytes = bytesOf(payload);
      std::unique_ptr<std::uint8_t[]> const exact(new std::uint8_t[bytes.size()]);
      std::copy(bytes.begin(), bytes.end(), exact.get());
      try {
         target->receive(kind, exact.get(), bytes.size());
      } catch (ProtocolException const& exception) {
         EXPECT_TRUE(target->isClosed());
         EXPECT_TRUE(static_cast<bool>(exception.text()));
         return refusalName(exception.refusal());
      }
      return "taken";
   }
   Fen::Ptr<Chassis> copy() const { return Fen::ptrCast<Chassis>(directory->entityPtr("copy")); }

   Fen::Ptr<Fen::Dir> directory;
   User user;
   Fen::Ptr<Demuxer> target;
};

TEST_F(Hostile, aRootOfAnUnknownType) {
   EXPECT_EQ(sent(orphan("No::Such", 2)), "unknown_type");
   EXPECT_FALSE(copy());
}
TEST_F(Hostile, aRootOfATypeThatDoesNotTravel) {
   EXPECT_EQ(sent(orphan("Fen::Entity", 2)), "unknown_type");
}
TEST_F(Hostile, aRootOfAnotherTypeThanAskedFor) {
   Demuxer::Options options;
   options.out = Fen::makePtr<Fen::Connection::Out>();
   target = Demuxer::targetIs(options, directory, "copy", Port::_fwkType(), &user);
   EXPECT_EQ(sent(orphan("Sample::Chassis", 2)), "wrong_type");
}
TEST_F(Hostile, aSecondRoot) {
   root();
   EXPECT_EQ(sent(orphan("Sample::Chassis", 3)), "out_of_order");
}
TEST_F(Hostile, aRootWhoseIdIsNone) {
   EXPECT_EQ(sent(orphan("Sample::Chassis", 0)), "malformed");
   start();
   EXPECT_EQ(sent(orphan("Sample::Chassis", 1)), "malformed");
   start();
   EXPECT_EQ(sent(orphan("Sample::Chassis", 9)), "out_of_order");
}
TEST_F(Hostile, aMessageBeforeTheRoot) { EXPECT_EQ(sent(message(2, 259, "01")), "unknown_entity"); }
TEST_F(Hostile, theEndOfASynchronisationThatDidNotBegin) {
   EXPECT_EQ(sent("", FrameKind::synchronised), "out_of_order");
}
TEST_F(Hostile, theEndOfASynchronisationTwice) {
   root();
   EXPECT_EQ(sent("", FrameKind::synchronised), "taken");
   EXPECT_EQ(user.synchronised, 1);
   EXPECT_EQ(sent("", FrameKind::synchronised), "out_of_order");
}
TEST_F(Hostile, anUnknownFrame) { EXPECT_EQ(sent("", static_cast<FrameKind>(9)), "unknown_frame"); }
TEST_F(Hostile, anUnknownAttribute) {
   root();
   EXPECT_EQ(sent(message(2, 999, "01")), "unknown_attribute");
   start();
   root();
   EXPECT_EQ(sent(message(2, std::numeric_limits<std::int32_t>::min(), "01")), "unknown_attribute");
   start();
   root();
   // The key and the constructor parameters never change.
   EXPECT_EQ(sent(message(2, 258, text("x"))), "unknown_attribute");
}
TEST_F(Hostile, anUnknownEntity) {
   root();
   EXPECT_EQ(sent(message(77, 259, "01")), "unknown_entity");
}
TEST_F(Hostile, aBooleanThatIsNone) {
   root();
   EXPECT_EQ(sent(message(2, 259, "02")), "malformed");
   EXPECT_FALSE(copy()->up());
}
TEST_F(Hostile, itemsThatAreTooShortOrTooLong) {
   root();
   EXPECT_EQ(sent(message(2, 259, "")), "malformed");
   start();
   root();
   EXPECT_EQ(sent(message(2, 259, "01 00")), "malformed");
   start();
   root();
   EXPECT_EQ(sent(message(2, 263, word(0x7fffffff) + "61")), "malformed");
   start();
   EXPECT_EQ(sent("00 00 00 02"), "malformed");
   start();
   EXPECT_EQ(sent(""), "malformed");
}
TEST_F(Hostile, everyFieldOfTheHeader) {
   std::string const good = message(2, 259, "01");
   for (std::size_t const field : {12u, 13u, 16u, 17u, 20u, 21u, 22u, 24u}) {
      start();
      root();
      std::string bad = good;
      bad.replace(field * 3, 2, "05");
      EXPECT_EQ(sent(bad), "malformed") << field;
   }
   start();
   root();
   EXPECT_EQ(sent(good), "taken");
}
TEST_F(Hostile, aReferenceToAnotherType) {
   root();
   EXPECT_EQ(sent(message(2, 260, word(2) + word(0))), "wrong_entity");
   EXPECT_FALSE(copy()->primary());
}
TEST_F(Hostile, aReferenceToAnEntityThatNeverWas) {
   root();
   EXPECT_EQ(sent(message(2, 260, word(9) + word(0))), "unknown_entity");
}
TEST_F(Hostile, anIdThatStandsForAnotherEntity) {
   root();
   EXPECT_EQ(sent(port(2, "a", 3)), "taken");
   EXPECT_EQ(sent(port(2, "b", 3)), "duplicate_entity");
   EXPECT_FALSE(copy()->port("b"));
   start();
   root();
   EXPECT_EQ(sent(port(2, "a", 2)), "duplicate_entity");
}
TEST_F(Hostile, anIdThatIsNotTheNext) {
   root();
   EXPECT_EQ(sent(port(2, "a", 4000000000u)), "out_of_order");
}
TEST_F(Hostile, aCreationOfTheWrongKind) {
   root();
   EXPECT_EQ(sent(message(2, 262, text("a") + text("k") + text("s") + word(3) + word(0))),
             "malformed");
   start();
   root();
   EXPECT_EQ(sent(message(2, 259, "01", 151)), "malformed");
   start();
   root();
   EXPECT_EQ(sent(message(2, -259, "")), "malformed");
}
TEST_F(Hostile, removalOfWhatIsNotThereChangesNothing) {
   root();
   EXPECT_EQ(sent(message(2, -262, text("none"))), "taken");
   EXPECT_EQ(sent(message(2, -263, text("none"))), "taken");
   EXPECT_EQ(sent(message(2, -261, "")), "taken");
}
TEST_F(Hostile, aMessageToAnEntityThatHasGoneIsLate) {
   root();
   EXPECT_EQ(sent(port(2, "a", 3)), "taken");
   EXPECT_EQ(sent(message(2, -262, text("a"))), "taken");
   EXPECT_EQ(sent(message(3, 261, word(7))), "taken");
}
TEST_F(Hostile, namesThatNoDirectoryHolds) {
   auto const member = [](std::string const& name) {
      return message(2, 258, text("Fen::Dir") + text(name) + word(3) + word(0), 151);
   };
   EXPECT_EQ(sent(orphan("Fen::Dir", 2)), "taken");
   EXPECT_EQ(sent(member("a/b")), "bad_key");
   start();
   EXPECT_EQ(sent(orphan("Fen::Dir", 2)), "taken");
   EXPECT_EQ(sent(member("")), "bad_key");
}
TEST_F(Hostile, deepNesting) {
   start({.depth = 10});
   EXPECT_EQ(sent(orphan("Fen::Dir", 2)), "taken");
   std::string result = "taken";
   std::uint32_t above = 2;
   for (; result == "taken" && above < 100; ++above) {
      result =
         sent(message(above, 258, text("Fen::Dir") + text("d") + word(above + 1) + word(0), 151));
   }
   EXPECT_EQ(result, "too_deep");
   EXPECT_EQ(above, 12u);
}
TEST_F(Hostile, moreThanThePeersTreeMayHold) {
   start({.tree = 20'000});
   root();
   std::string result = "taken";
   int members = 0;
   for (; result == "taken" && members < 10'000; ++members) {
      result = sent(message(2, 263, text("key" + std::to_string(members)) + "01"));
   }
   EXPECT_EQ(result, "tree_limit");
   EXPECT_LT(members, 400);
   start({.tree = 20'000});
   root();
   EXPECT_EQ(sent(port(2, "p", 3)), "taken");
   EXPECT_EQ(sent(message(3, 262, text(std::string(30'000, 'a')))), "tree_limit");
   EXPECT_FALSE(copy()->port("p")->label());
   // What is replaced or removed is given back.
   start({.tree = 40'000});
   root();
   EXPECT_EQ(sent(port(2, "p", 3)), "taken");
   for (int i = 0; i < 20; ++i) {
      ASSERT_EQ(sent(message(3, 262, text(std::string(30'000, 'a')))), "taken");
      ASSERT_EQ(sent(message(2, 263, text("k") + "01")), "taken");
      ASSERT_EQ(sent(message(2, -263, text("k"))), "taken");
   }
   std::size_t const before = target->budget().used();
   EXPECT_EQ(sent(message(2, -262, text("p"))), "taken");
   EXPECT_LT(target->budget().used() + 30'000, before);
}
TEST_F(Hostile, aTextInPartsThatNeverEnds) {
   start({.tree = 100'000});
   root();
   EXPECT_EQ(sent(port(2, "p", 3)), "taken");
   EXPECT_EQ(sent(word(3) + word(0) + word(262) + "00 " + word(0), FrameKind::transaction),
             "taken");
   std::string result = "taken";
   for (int i = 0; i < 100 && result == "taken"; ++i) {
      result = sent(message(3, 262, text(std::string(10'000, 'a'))));
   }
   EXPECT_EQ(result, "tree_limit");
}
TEST_F(Hostile, keysThatCollide) {
   start();
   root();
   // Numbers are their own hash: those that differ in the upper bits alone share a chain.
   EXPECT_EQ(sent(port(2, "p", 3)), "taken");
   std::string result = "taken";
   int members = 0;
   for (; result == "taken" && members < 5000; ++members) {
      result =
         sent(message(2, 264, word(static_cast<std::uint32_t>(members) << 16) + word(3) + word(0)));
   }
   EXPECT_EQ(result, "crowded");
}
TEST_F(Hostile, transactionsOfAllKinds) {
   auto const transaction = [](std::uint32_t attribute, std::string const& type) {
      return word(2) + word(0) + word(attribute) + type + " " + word(0);
   };
   root();
   EXPECT_EQ(sent(transaction(262, "02"), FrameKind::transaction), "taken");
   EXPECT_EQ(sent(transaction(259, "00"), FrameKind::transaction), "taken");
   EXPECT_EQ(sent(transaction(262, "01"), FrameKind::transaction), "taken");
   EXPECT_EQ(sent(transaction(262, "03"), FrameKind::transaction), "malformed");
   start();
   root();
   EXPECT_EQ(sent(transaction(999, "00"), FrameKind::transaction), "unknown_attribute");
   start();
   root();
   // The least number there is: no arithmetic on it before it is known to be an id.
   EXPECT_EQ(sent(transaction(0x80000000, "00"), FrameKind::transaction), "unknown_attribute");
   start();
   root();
   EXPECT_EQ(sent(transaction(262, "00") + "00", FrameKind::transaction), "malformed");
}
TEST_F(Hostile, abortTouchesNoMember) {
   auto const transaction = [](std::string const& type) {
      return word(2) + word(0) + word(263) + type + " " + word(0);
   };
   root();
   EXPECT_EQ(sent(message(2, 263, text("a") + "01")), "taken");
   EXPECT_EQ(sent(transaction("00"), FrameKind::transaction), "taken");
   EXPECT_EQ(sent(transaction("01"), FrameKind::transaction), "taken");
   EXPECT_TRUE(copy()->allowed("a"));
   EXPECT_EQ(sent(message(2, 263, text("b") + "01")), "taken");
   EXPECT_EQ(sent(transaction("02"), FrameKind::transaction), "taken");
   EXPECT_FALSE(copy()->allowed("a"));
   EXPECT_TRUE(copy()->allowed("b"));
}
TEST_F(Hostile, theSynchronisationMode) {
   root();
   auto const adapter = Fen::Entity::FenNboAttrLogSa::fenAdapterOn(*copy(), target.ptr());
   auto const entry = Fen::makePtr<Fen::MsgChannel::Entry>();
   adapter->msgChannelEntryIs(entry);
   auto const place = directory->entry("copy");
   EXPECT_EQ(sent(message(2, 135, word(1))), "taken");
   EXPECT_EQ(adapter->syncMode(), Fen::StreamAdapter::SyncMode::synchronised);
   EXPECT_EQ(entry->mode(), 3u);
   EXPECT_EQ(place->fenSyncMark(), 3u);
   EXPECT_EQ(adapter->marks() & Fen::Entity::FenNboAttrLogSa::Mark::outputOff, 0u);
   EXPECT_EQ(sent(message(2, 135, word(99))), "malformed");
}
TEST_F(Hostile, aRecordWithAListInFront) {
   root();
   std::string const items = text("p") + text("k") + text("s");
   // The list: its length, no offset, another id, the collection's id; then the record's kind.
   EXPECT_EQ(
      sent(message(
         2, 144, "00 0c 00 00 " + word(12345) + word(262) + word(151) + items + word(3) + word(0))),
      "taken");
   EXPECT_TRUE(copy()->port("p"));
   // A removal has no word behind the list.
   EXPECT_EQ(
      sent(message(2, 144, "00 08 00 00 " + word(static_cast<std::uint32_t>(-262)) + text("p"))),
      "taken");
   EXPECT_FALSE(copy()->port("p"));
   // An offset skips what a newer writer has put behind the constructor parameters.
   EXPECT_EQ(sent(message(2, 144,
                          "00 08 00 20 " + word(262) + word(151) + text("q") + text("k") +
                             text("s") + "aa bb cc dd ee " + word(4) + word(0))),
             "taken");
   EXPECT_TRUE(copy()->port("q"));
   // A list without the collection's id is not about this type.
   EXPECT_EQ(sent(message(2, 144, "00 08 00 00 " + word(12345) + "aa bb")), "taken");
   EXPECT_EQ(sent(message(2, 144, "00 06 00 00 " + word(262) + word(151) + items)), "malformed");
}
TEST_F(Hostile, aRecordThatIsNone) {
   Sample::Panel::_fwkType();
   auto const again = [this] {
      start();
      EXPECT_EQ(sent(orphan("Sample::Panel", 2)), "taken");
   };
   std::string const child = text("k") + text("c");
   again();
   EXPECT_EQ(sent(message(2, 269, text("k"))), "taken");
   EXPECT_EQ(sent(message(2, 269, child + word(3) + word(0), 151)), "taken");
   EXPECT_EQ(sent(message(2, 269, text("k"), 7)), "malformed");
   again();
   EXPECT_EQ(sent(message(2, -269, text("k"), 151)), "malformed");
   again();
   EXPECT_EQ(sent(message(2, 269, child)), "malformed");
   again();
   EXPECT_EQ(sent(message(2, 269, child, 151)), "malformed");
   again();
   EXPECT_EQ(sent(message(2, 269, child + word(4) + word(0), 151)), "out_of_order");
   again();
   // One id for what two records own.
   EXPECT_EQ(sent(message(2, 269, child + word(3) + word(0), 151)), "taken");
   EXPECT_EQ(sent(message(2, 269, text("l") + text("c") + word(3) + word(0), 151)),
             "duplicate_entity");
   Fen::NboAttrLog::Limits limits;
   limits.depth = 1;
   start(limits);
   EXPECT_EQ(sent(orphan("Sample::Panel", 2)), "taken");
   EXPECT_EQ(sent(message(2, 269, text("k"))), "taken");
   EXPECT_EQ(sent(message(2, 269, child + word(3) + word(0), 151)), "too_deep");
}
TEST_F(Hostile, aWriteFromTheReadingSide) {
   auto const served = Fen::makePtr<Chassis>("served");
   Link link;
   link.mount(served);
   link.settle();
   Bytes bytes = bytesOf(message(2, 259, "01"));
   try {
      link.source->receive(FrameKind::message, bytes.data(), bytes.size());
      ADD_FAILURE();
   } catch (ProtocolException const& exception) {
      EXPECT_EQ(exception.refusal(), Refusal::readOnly);
      EXPECT_EQ(exception.text(), "write-update from readonly proxy: served");
   }
   EXPECT_FALSE(served->up());
   EXPECT_TRUE(link.source->isClosed());
}
TEST_F(Hostile, eachRefusalIsCounted) {
   std::uint64_t const before = Fen::Counters::value("wire.refused.unknown_entity");
   root();
   sent(message(77, 259, "01"));
   EXPECT_EQ(Fen::Counters::value("wire.refused.unknown_entity"), before + 1);
}

} // namespace
