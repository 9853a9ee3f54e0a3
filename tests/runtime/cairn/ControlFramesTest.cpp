/// The frames of a connection byte by byte, as docs/wire.md shows them, in both directions.
#include <gantry/runtime/cairn/ControlFrames.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace Cairn;

std::vector<std::uint8_t> bytesOf(std::string_view hex) {
   std::vector<std::uint8_t> bytes;
   for (std::size_t i = 0; i + 1 < hex.size();) {
      if (hex[i] == ' ') {
         ++i;
         continue;
      }
      bytes.push_back(
         static_cast<std::uint8_t>(std::stoul(std::string(hex.substr(i, 2)), nullptr, 16)));
      i += 2;
   }
   return bytes;
}

std::vector<std::uint8_t> written(std::function<void(Fen::Connection::Out&)> const& put) {
   auto const out = Fen::makePtr<Fen::Connection::Out>();
   put(*out);
   return {out->pending().begin(), out->pending().end()};
}

/// The payload of a frame as input; the bytes must outlive it.
Fen::Ptr<Fen::NboAttrLog::In> payload(std::vector<std::uint8_t>& bytes) {
   return Fen::makePtr<Fen::NboAttrLog::In>(bytes.data() + 8, bytes.size() - 8);
}

TEST(ControlFramesTest, HelloAndReply) {
   auto hello = bytesOf("00000012 20000000 47414e54 0001 0000c000 00000000");
   EXPECT_EQ(written([](auto& out) { putHello(out, Hello()); }), hello);
   Hello const taken = takeHello(*payload(hello));
   EXPECT_EQ(taken.version, 1);
   EXPECT_EQ(taken.messageBytes, 48u * 1024u);
   EXPECT_EQ(taken.name, "");
   EXPECT_EQ(taken.systemId, Nimet::EthAddr());
   EXPECT_EQ(taken.servingPort, 0);
   auto reply = bytesOf("00000013 21000000 0001 0000c000 00000005 6c65616631");
   EXPECT_EQ(written([](auto& out) {
                HelloReply answer;
                answer.sysname = "leaf1";
                putHelloReply(out, answer);
             }),
             reply);
   EXPECT_EQ(takeHelloReply(*payload(reply)).sysname, "leaf1");
}

TEST(ControlFramesTest, HelloOfASystem) {
   auto hello = bytesOf("0000001f 20000000 47414e54 0001 0000c000 00000005 6c65616631 "
                        "020000000001 2329");
   EXPECT_EQ(written([](auto& out) {
                Hello mine;
                mine.name = "leaf1";
                mine.systemId = Nimet::EthAddr("02:00:00:00:00:01");
                mine.servingPort = 9001;
                putHello(out, mine);
             }),
             hello);
   Hello const taken = takeHello(*payload(hello));
   EXPECT_EQ(taken.name, "leaf1");
   EXPECT_EQ(taken.systemId.stringValue(), "02:00:00:00:00:01");
   EXPECT_EQ(taken.servingPort, 9001);
   for (char const* bad : {"020000000001", "020000000001 2329 00", "000000000000 2329", "02"}) {
      auto broken =
         bytesOf(std::string("0000001f 20000000 47414e54 0001 0000c000 00000000 ") + bad);
      EXPECT_THROW(takeHello(*payload(broken)), Fen::NboAttrLog::ProtocolException) << bad;
   }
}

TEST(ControlFramesTest, Heartbeat) {
   auto heartbeat = bytesOf("00000004 22000000");
   EXPECT_EQ(written([](auto& out) { putHeartbeat(out); }), heartbeat);
   takeHeartbeat(*payload(heartbeat));
}

TEST(ControlFramesTest, RequestAndReply) {
   auto request = bytesOf("00000022 23000001 00000009 6c656166312f737973 00000008 "
                          "46656e3a3a446972 00000001 72");
   EXPECT_EQ(written([](auto& out) {
                putMountRequest(out, 1, {"leaf1/sys", "Fen::Dir", "r"});
             }),
             request);
   MountRequest const asked = takeMountRequest(*payload(request));
   EXPECT_EQ(asked.path, "leaf1/sys");
   EXPECT_EQ(asked.typeName, "Fen::Dir");
   EXPECT_EQ(asked.flags, "r");
   auto consent = bytesOf("0000000d 24000001 00000004 00 00000000");
   EXPECT_EQ(written([](auto& out) {
                putMountReply(out, 1, {mountStatusSuccess, false, ""});
             }),
             consent);
   EXPECT_EQ(takeMountReply(*payload(consent)).status, mountStatusSuccess);
   auto refusal = bytesOf("0000000f 24000001 00000003 00 00000002 6e6f");
   EXPECT_EQ(written([](auto& out) {
                putMountReply(out, 1, {mountStatusRefused, false, "no"});
             }),
             refusal);
   EXPECT_EQ(takeMountReply(*payload(refusal)).reason, "no");
}

TEST(ControlFramesTest, Endings) {
   auto unmount = bytesOf("0000000c 25000001 00000000 00000000");
   EXPECT_EQ(written([](auto& out) { putUnmount(out, 1, {}); }), unmount);
   EXPECT_EQ(takeEnding(*payload(unmount)).status, mountStatusNone);
   auto goodbye = bytesOf("0000000c 26000000 00000006 00000000");
   EXPECT_EQ(written([](auto& out) { putGoodbye(out, {mountStatusConnectionLost, ""}); }), goodbye);
   EXPECT_EQ(takeEnding(*payload(goodbye)).status, mountStatusConnectionLost);
}

TEST(ControlFramesTest, TextsForPeopleAreCut) {
   Fen::String8 const longReason(std::string(10000, 'r'));
   auto bytes = written([&](auto& out) { putGoodbye(out, {mountStatusRefused, longReason}); });
   EXPECT_EQ(takeEnding(*payload(bytes)).reason.length(), 4096u);
}

} // namespace
