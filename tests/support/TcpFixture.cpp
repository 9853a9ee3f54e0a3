/// The bodies of what the tests of the TCP client and server share.
#include "TcpFixture.h"

#include <gantry/runtime/fen/Assert.h>

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace CairnTest {

testing::AssertionResult runUntil(std::function<bool()> const& condition) {
   auto const end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
   while (!condition()) {
      if (std::chrono::steady_clock::now() > end) {
         return testing::AssertionFailure() << "it has not come true";
      }
      Fen::ActivityLoop::instance().runOnce(0.01);
   }
   return testing::AssertionSuccess();
}

void RecordingMounter::doMountsComplete(Cairn::MountStatus status,
                                        Fen::Ptr<Cairn::EntityManager> const& manager) {
   heard.push_back(status);
   reasons.push_back(manager->reason().str());
   if (then) {
      then(manager);
   }
}

Client::Client(Want const& wanted) : want(wanted) {
   manager = Fen::makePtr<Cairn::EntityManager>("em");
   manager->reconnectRetriesIs(want.retries);
   manager->srcHostIs(want.source);
   manager->doInit(want.sysname, want.target, want.path, want.port, want.host, want.sockname, false,
                   false, want.timeout, false, "", true, false, true);
   auto const group = manager->getPersistentMountGroup(mounter);
   group->doMount(Cairn::Mount("", want.type, want.flags));
   group->doClose(false, "", 0.0);
   EXPECT_TRUE(mounter->heard.empty()) << "nothing ends inside the call that begins it";
}

Client::~Client() {
   if (manager) {
      manager->doCleanup();
   }
}

testing::AssertionResult Client::ends() {
   auto const result = runUntil([&] { return mounter->heard.size() > known; });
   known = mounter->heard.size();
   return result;
}

testing::AssertionResult Client::unmounts(bool statePreserving) {
   manager->doUnregisterAll(statePreserving);
   EXPECT_FALSE(manager->unmounter()->unmountsComplete());
   return runUntil([&] { return manager->unmounter()->unmountsComplete(); });
}

namespace {

sockaddr_in loopback(std::uint16_t port) {
   sockaddr_in address{};
   address.sin_family = AF_INET;
   address.sin_port = htons(port);
   address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
   return address;
}

} // namespace

RawPeer RawPeer::calling(std::uint16_t port) {
   int const descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
   sockaddr_in const address = loopback(port);
   // The kernel completes this by itself, as long as somebody listens.
   int const failed =
      ::connect(descriptor, reinterpret_cast<sockaddr const*>(&address), sizeof address);
   EXPECT_EQ(failed, 0);
   return RawPeer(descriptor);
}

RawPeer::~RawPeer() {
   if (descriptor_ >= 0) {
      ::close(descriptor_);
   }
}

void RawPeer::say(std::string const& bytes) {
   std::size_t said = 0;
   EXPECT_TRUE(runUntil([&] {
      ssize_t const sent =
         ::send(descriptor_, bytes.data() + said, bytes.size() - said, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (sent < 0 && errno != EAGAIN) {
         said = bytes.size(); // cut already, which the test will see
      } else if (sent > 0) {
         said += static_cast<std::size_t>(sent);
      }
      return said == bytes.size();
   }));
}

std::string RawPeer::hear(std::size_t bytes) {
   std::string heard;
   EXPECT_TRUE(runUntil([&] {
      char buffer[65536];
      std::size_t const wanted = std::min(sizeof buffer, bytes - heard.size());
      ssize_t const got = ::recv(descriptor_, buffer, wanted, MSG_DONTWAIT);
      if (got == 0 || (got < 0 && errno != EAGAIN)) {
         return true;
      }
      if (got > 0) {
         heard.append(buffer, static_cast<std::size_t>(got));
      }
      return heard.size() == bytes;
   }));
   return heard;
}

std::pair<unsigned, std::string> RawPeer::hearFrame() {
   std::string const head = hear(8);
   if (head.size() < 8) {
      return {0, ""};
   }
   auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(head[i]); };
   std::uint32_t const length = (static_cast<std::uint32_t>(byte(0)) << 24) |
                                (static_cast<std::uint32_t>(byte(1)) << 16) |
                                (static_cast<std::uint32_t>(byte(2)) << 8) | byte(3);
   return {byte(4), hear(length - 4)};
}

testing::AssertionResult RawPeer::isCut() {
   return runUntil([&] {
      char buffer[65536];
      ssize_t const got = ::recv(descriptor_, buffer, sizeof buffer, MSG_DONTWAIT);
      return got == 0 || (got < 0 && errno != EAGAIN);
   });
}

RawListener::RawListener()
   : descriptor_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
   sockaddr_in address = loopback(0);
   socklen_t size = sizeof address;
   EXPECT_EQ(::bind(descriptor_, reinterpret_cast<sockaddr*>(&address), size), 0);
   EXPECT_EQ(::listen(descriptor_, 64), 0);
   EXPECT_EQ(::getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &size), 0);
   port_ = ntohs(address.sin_port);
}

RawListener::~RawListener() { ::close(descriptor_); }

RawPeer RawListener::accept() {
   int accepted = -1;
   EXPECT_TRUE(runUntil([&] {
      accepted = ::accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC);
      return accepted >= 0;
   }));
   return RawPeer(accepted);
}

bool RawListener::acceptsNow() {
   int const accepted = ::accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC);
   if (accepted >= 0) {
      ::close(accepted);
   }
   return accepted >= 0;
}

std::string u8(unsigned value) { return std::string(1, static_cast<char>(value)); }
std::string u16(unsigned value) { return u8(value >> 8 & 255) + u8(value & 255); }
std::string u32(std::uint32_t value) { return u16(value >> 16) + u16(value & 0xffff); }
std::string u64(std::uint64_t value) {
   return u32(static_cast<std::uint32_t>(value >> 32)) + u32(static_cast<std::uint32_t>(value));
}
std::string text(std::string const& value) {
   return u32(static_cast<std::uint32_t>(value.size())) + value;
}
std::string frame(unsigned kind, std::uint32_t channel, std::string const& payload) {
   return u32(static_cast<std::uint32_t>(payload.size()) + 4) + u32(kind << 24 | channel) + payload;
}
std::string helloFrame() { return frame(32, 0, "GANT" + u16(1) + u32(48 * 1024) + text("raw")); }
std::string helloReplyFrame() { return frame(33, 0, u16(1) + u32(48 * 1024) + text("leaf1")); }
std::string mountRequestFrame(std::uint32_t channel, std::string const& path,
                              std::string const& type, std::string const& flags) {
   return frame(35, channel, text(path) + text(type) + text(flags));
}
std::string mountReplyFrame(std::uint32_t channel, unsigned status, std::string const& reason) {
   return frame(36, channel, u32(status) + u8(0) + text(reason));
}

TcpTest::TcpTest() : savedConfig(Cairn::tcpConfig()) {
   Cairn::tcpConfig().seed = 1;
   Cairn::backendIs(nullptr);
   served->entityPtrIs(state);
   serve();
}

TcpTest::~TcpTest() {
   server = nullptr;
   Cairn::backendIs(nullptr);
   Cairn::tcpConfig() = savedConfig;
   Fen::root()->entityPtrDelAll();
   // What was put off, such as the end of links, runs before the next test.
   time.advance(20.0);
}

void TcpTest::serve() {
   server = nullptr;
   server = Cairn::serverFactory("leaf1", served, Nimet::IpAddr("127.0.0.1"), port);
   port = server->port();
}

Want TcpTest::want() const {
   Want result;
   result.port = port;
   return result;
}

} // namespace CairnTest
