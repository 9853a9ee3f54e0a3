/// What the tests of the TCP client and server share: virtual time, a server with a tree, managers
/// that mount from it, and a raw peer that says whatever a test wants. On the test's thread.
#pragma once

#include <gantry/runtime/cairn/EntityManager.h>
#include <gantry/runtime/cairn/Server.h>
#include <gantry/runtime/fen/ActivityLoop.h>
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace CairnTest {

/// Runs turns of the loop until something holds. Fails the test when it has not come true after a
/// minute of real time, which no test gets near.
testing::AssertionResult runUntil(std::function<bool()> const& condition);

/// A mounter that writes down what it hears, and does what a test wants then.
class RecordingMounter : public Cairn::Mounter {
 public:
   RecordingMounter() : Cairn::Mounter("mounter") {}
   void doMountsComplete(Cairn::MountStatus status,
                         Fen::Ptr<Cairn::EntityManager> const& manager) override;

   std::vector<Cairn::MountStatus> heard;
   std::vector<std::string> reasons;
   std::function<void(Fen::Ptr<Cairn::EntityManager> const&)> then;
};

/// What one mount asks for; the defaults are right for the fixture's server.
struct Want {
   std::string sysname = "leaf1";
   std::string path = "leaf1/state";
   std::string type = "Fen::Dir";
   std::string target = "/mnt/leaf1";
   std::string flags = "r";
   std::string sockname;
   std::string host = "127.0.0.1";
   std::string source;
   std::uint16_t port = 0;
   unsigned retries = 0;
   double timeout = 30.0;
};

/// One manager with one mount.
struct Client {
   explicit Client(Want const& want);
   ~Client();
   /// Runs the loop until the mounter has heard something more.
   testing::AssertionResult ends();
   Cairn::MountStatus status() const { return mounter->heard.back(); }
   std::string reason() const { return mounter->reasons.back(); }
   /// Unmounts and runs the loop until that is complete.
   testing::AssertionResult unmounts(bool statePreserving);

   Want want;
   Fen::Ptr<RecordingMounter> mounter = Fen::makePtr<RecordingMounter>();
   Fen::Ptr<Cairn::EntityManager> manager;
   std::size_t known = 0;
};

/// A socket without a protocol, in the test's hands. The loop runs while it waits.
class RawPeer {
 public:
   /// Connects to a port of this machine.
   static RawPeer calling(std::uint16_t port);
   explicit RawPeer(int descriptor) : descriptor_(descriptor) {}
   RawPeer(RawPeer&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
   ~RawPeer();

   void say(std::string const& bytes);
   /// Waits for so many bytes and returns them; fewer when the connection ends.
   std::string hear(std::size_t bytes);
   /// One whole frame: its kind and payload.
   std::pair<unsigned, std::string> hearFrame();
   /// Waits until the other side has closed, reading what comes.
   testing::AssertionResult isCut();

 private:
   int descriptor_;
};

/// Listens for raw peers.
class RawListener {
 public:
   RawListener();
   ~RawListener();
   std::uint16_t port() const { return port_; }
   /// The next peer that connects.
   RawPeer accept();
   /// Takes whoever waits, false when nobody does.
   bool acceptsNow();

 private:
   int descriptor_;
   std::uint16_t port_ = 0;
};

/// Frames as bytes.
std::string frame(unsigned kind, std::uint32_t channel, std::string const& payload);
std::string u8(unsigned value);
std::string u16(unsigned value);
std::string u32(std::uint32_t value);
std::string u64(std::uint64_t value);
std::string text(std::string const& value);
std::string helloFrame();
std::string helloReplyFrame();
std::string mountRequestFrame(std::uint32_t channel, std::string const& path,
                              std::string const& type = "Fen::Dir", std::string const& flags = "r");
std::string mountReplyFrame(std::uint32_t channel, unsigned status, std::string const& reason);

class TcpTest : public testing::Test {
 protected:
   TcpTest();
   ~TcpTest() override;

   /// Starts or restarts the server on the same port.
   void serve();
   Want want() const;
   static std::uint64_t counted(char const* name) { return Fen::Counters::value(name); }

   Fen::VirtualTime time{1000.0};
   Cairn::TcpConfig const savedConfig;
   Fen::Ptr<Fen::Dir> served = Fen::dirFactory("served");
   Fen::Ptr<Fen::Dir> state = Fen::dirFactory("state");
   Fen::Ptr<Cairn::Server> server;
   std::uint16_t port = 0;
};

} // namespace CairnTest
