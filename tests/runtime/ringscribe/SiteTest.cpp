/// Identifiers of message sites: taken on first use, anew for another file, refused when there is
/// no room to describe the site.
#include "TraceTestSupport.h"

#include <gantry/runtime/ringscribe/MsgDesc.h>

#include <algorithm>
#include <array>
#include <deque>
#include <memory>

namespace {

using namespace RingScribe;
using TraceTest::textsOf;
using Texts = std::vector<std::string>;

class TraceSite : public TraceTest::Trace {};

void one(unsigned number) { RINGSCRIBE_TRACE(5, "one ", number); }
void other(std::string_view text) { RINGSCRIBE_TRACE(5, "other ", text); }

/// Sites must outlive the files that they are registered with, so those of tests never go.
MsgSite& siteNew() {
   static std::deque<MsgSite> sites;
   return sites.emplace_back(MsgSite{0, 1, "open.cpp", 5});
}

/// A site written out, whose identifier the test sees.
struct OpenSite {
   MsgSite& site = siteNew();
   void trace(unsigned number) {
      if (theTraceFile) {
         traceMsg(site, "open ", number);
      }
   }
};

TEST_F(TraceSite, TracesNothingWhileOff) {
   OpenSite open;
   bool evaluated = false;
   auto value = [&] {
      evaluated = true;
      return 1u;
   };
   open.trace(1);
   RINGSCRIBE_TRACE(5, "off ", value());
   EXPECT_EQ(open.site.msgId, 0u);
   EXPECT_FALSE(evaluated);
   traceTo();
   RINGSCRIBE_TRACE(5, "on ", value());
   EXPECT_TRUE(evaluated);
   EXPECT_EQ(textsOf(path()), Texts{"on 1"});
}

TEST_F(TraceSite, IsDescribedOnce) {
   Fen::Ptr<TraceFile> const file = traceTo();
   OpenSite open;
   open.trace(1);
   std::uint32_t const msgId = open.site.msgId;
   EXPECT_NE(msgId, 0u);
   EXPECT_TRUE(file->msgIdIsCurrent(msgId));
   open.trace(2);
   EXPECT_EQ(open.site.msgId, msgId);
   EXPECT_EQ(file->msgIdArrCount(), 1u);
   EXPECT_EQ(textsOf(path()), (Texts{"open 1", "open 2"}));
}

TEST_F(TraceSite, IdentifiersGoBackToZeroWithTheirFile) {
   traceTo();
   std::array<OpenSite, 5> sites;
   for (OpenSite& site : sites) {
      site.trace(1);
      EXPECT_NE(site.site.msgId, 0u);
   }
   theTraceFile = nullptr;
   for (OpenSite& site : sites) {
      EXPECT_EQ(site.site.msgId, 0u);
   }
}

TEST_F(TraceSite, IdentifiersAreTakenAnewForAnotherFile) {
   traceTo(256 * 1024, "first");
   one(1);
   other("a");
   OpenSite open;
   open.trace(1);
   traceTo(256 * 1024, "second");
   EXPECT_EQ(open.site.msgId, 0u);
   // In another order, so that an old identifier would name a wrong description.
   open.trace(2);
   other("b");
   one(2);
   EXPECT_EQ(textsOf(path("first")), (Texts{"one 1", "other a", "open 1"}));
   EXPECT_EQ(textsOf(path("second")), (Texts{"open 2", "other b", "one 2"}));
}

TEST_F(TraceSite, ReplacedFileThatSomebodyKeeps) {
   // The first file stays alive, so nothing but the sites' next use can tell them.
   Fen::Ptr<TraceFile> const first = traceTo(256 * 1024, "first");
   OpenSite open;
   OpenSite silent;
   open.trace(1);
   silent.trace(1);
   traceTo(256 * 1024, "second");
   other("new");
   EXPECT_EQ(open.site.msgId, 0u);
   EXPECT_EQ(silent.site.msgId, 0u);
   EXPECT_EQ(first->msgIdArrCount(), 0u);
   open.trace(2);
   theTraceFile = first;
   open.trace(3);
   other("old");
   open.trace(4);
   EXPECT_EQ(textsOf(path("first")), (Texts{"open 1", "open 1", "open 3", "other old", "open 4"}));
   EXPECT_EQ(textsOf(path("second")), (Texts{"other new", "open 2"}));
}

TEST_F(TraceSite, StepByStepWithTheIdentifierOfAnotherFile) {
   Fen::Ptr<TraceFile> const first = traceTo(256 * 1024, "first");
   static std::uint32_t msgId = 0;
   {
      MsgDesc description(first, "hand.cpp", 1);
      msgId = description.msgId();
      first->msgIdArrIs(&msgId);
      description << "by hand";
      description.finish();
   }
   Fen::Ptr<TraceFile> const second = traceTo(256 * 1024, "second");
   // A message that the second file cannot name goes nowhere, and the site starts over.
   RingBuf buffer = RingBuf::startMsg(second, msgId);
   put(buffer, "lost");
   buffer.endMsg();
   EXPECT_EQ(msgId, 0u);
   EXPECT_EQ(textsOf(path("first")), Texts());
   EXPECT_EQ(textsOf(path("second")), Texts());
}

TEST_F(TraceSite, SamePathAgain) {
   traceTo();
   one(1);
   theTraceFile = nullptr;
   traceTo();
   one(2);
   EXPECT_EQ(textsOf(path()), Texts{"one 2"});
}

TEST_F(TraceSite, FullDescriptorArea) {
   Fen::Ptr<TraceFile> const file = traceTo(traceFileBytesMin);
   one(1);
   auto sites = std::make_unique<std::array<OpenSite, 200>>();
   for (unsigned round = 0; round < 3; ++round) {
      for (unsigned i = 0; i < sites->size(); ++i) {
         (*sites)[i].trace(i);
      }
   }
   unsigned described = 0;
   for (OpenSite const& site : *sites) {
      described += file->msgIdIsCurrent(site.site.msgId) ? 1 : 0;
      EXPECT_NE(file->msgIdIsCurrent(site.site.msgId), file->msgIdIsRefused(site.site.msgId));
   }
   EXPECT_GT(described, 10u);
   EXPECT_EQ(file->sitesRefused(), sites->size() - described);
   // Sites that were described before go on, refused ones stay silent.
   one(2);
   sites->back().trace(7);
   Texts const texts = textsOf(path());
   EXPECT_EQ(texts.back(), "one 2");
   EXPECT_EQ(std::count(texts.begin(), texts.end(), "open 199"), 0);

   TraceFileSource const source(path());
   TraceReader reader(source, "trace");
   reader.readNew([](TraceMessage const&) {});
   EXPECT_EQ(reader.sitesRefused(), file->sitesRefused());

   // A larger file has room for all of them.
   traceTo(1 << 20, "larger");
   sites->back().trace(8);
   EXPECT_FALSE(theTraceFile->msgIdIsRefused(sites->back().site.msgId));
   EXPECT_EQ(textsOf(path("larger")), Texts{"open 8"});
}

TEST_F(TraceSite, RefusedSiteStepByStep) {
   Fen::Ptr<TraceFile> const file = traceTo(traceFileBytesMin);
   static std::uint32_t msgId = 0;
   MsgDesc description(file, "hand.cpp", 1);
   msgId = description.msgId();
   file->msgIdArrIs(&msgId);
   description << std::string(5000, 'x');
   description.finish();
   EXPECT_TRUE(file->msgIdIsRefused(msgId));
   RingBuf buffer = RingBuf::startMsg(file, msgId);
   put(buffer, "nowhere");
   buffer.endMsg();
   EXPECT_EQ(textsOf(path()), Texts());
}

TEST_F(TraceSite, ArgumentsThatTraceThemselves) {
   traceTo();
   auto inner = [] {
      one(5);
      return 6u;
   };
   RINGSCRIBE_TRACE(5, "outer ", inner());
   EXPECT_EQ(textsOf(path()), (Texts{"one 5", "outer 6"}));
}

} // namespace
