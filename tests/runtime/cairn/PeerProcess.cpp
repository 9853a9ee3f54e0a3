/// Both ends of the peer process.
#include "PeerProcess.h"

#include <gantry/runtime/cairn/Server.h>
#include <gantry/runtime/fen/ActivityLoop.h>
#include <tests/runtime/cairn/Sample.fen.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace CairnTest {

namespace {

constexpr char const* roleVariable = "GANTRY_TEST_PEER";

/// Takes the commands.
class CommandReader : public Fen::FileDescriptor::Notifiee {
 public:
   CommandReader(Fen::Ptr<Fen::FileDescriptor> const& input, Fen::Ptr<Rack> const& rack)
      : Fen::FileDescriptor::Notifiee(input), rack_(rack) {
      isRegisteredNotifieeIs(true);
   }

   void onReadable() override {
      char buffer[4096];
      ssize_t const got = ::read(STDIN_FILENO, buffer, sizeof buffer);
      if (got <= 0) {
         std::_Exit(0);
      }
      pending_.append(buffer, static_cast<std::size_t>(got));
      for (std::size_t end; (end = pending_.find('\n')) != std::string::npos;) {
         run(pending_.substr(0, end));
         pending_.erase(0, end + 1);
      }
   }

 private:
   void run(std::string const& line) {
      std::istringstream words(line);
      std::string verb, name;
      std::uint32_t number = 0;
      words >> verb >> name >> number;
      if (verb == "speed") {
         rack_->portIs(name)->speedIs(number);
      } else if (verb == "del") {
         rack_->portDel(name);
      }
      std::cout << "done" << std::endl;
   }

   Fen::Ptr<Rack> rack_;
   std::string pending_;
};

/// Serves, when this process was started for that.
class PeerRole : public testing::Environment {
 public:
   void SetUp() override {
      char const* const role = std::getenv(roleVariable);
      if (role == nullptr) {
         return;
      }
      std::istringstream words(role);
      std::uint16_t port = 0;
      int ports = 0;
      words >> port >> ports;
      auto const served = Fen::dirFactory("served");
      auto const rack = Fen::makePtr<Rack>("rack");
      for (int i = 0; i < ports; ++i) {
         rack->portIs("p" + std::to_string(i))->speedIs(static_cast<std::uint32_t>(i));
      }
      served->entityPtrIs(rack);
      auto const server = Cairn::serverFactory("leaf1", served, Nimet::IpAddr("127.0.0.1"), port);
      auto const input = Fen::makePtr<Fen::FileDescriptor>(STDIN_FILENO);
      auto const reader = Fen::makePtr<CommandReader>(input, rack);
      input->readableWantedIs(true);
      std::cout << server->port() << std::endl;
      Fen::ActivityLoop::instance().run();
      std::_Exit(0);
   }
};

[[maybe_unused]] testing::Environment* const peerRole =
   testing::AddGlobalTestEnvironment(new PeerRole);

} // namespace

PeerProcess::PeerProcess(std::uint16_t port, int ports) {
   int toPeer[2], fromPeer[2];
   EXPECT_EQ(::pipe2(toPeer, O_CLOEXEC), 0);
   EXPECT_EQ(::pipe2(fromPeer, O_CLOEXEC), 0);
   std::string const role = std::to_string(port) + " " + std::to_string(ports);
   pid_ = ::fork();
   if (pid_ == 0) {
      ::dup2(toPeer[0], STDIN_FILENO);
      ::dup2(fromPeer[1], STDOUT_FILENO);
      ::setenv(roleVariable, role.c_str(), 1);
      ::execl("/proc/self/exe", "peer", static_cast<char*>(nullptr));
      std::_Exit(127);
   }
   ::close(toPeer[0]);
   ::close(fromPeer[1]);
   input_ = toPeer[1];
   output_ = fromPeer[0];
   // The test framework says a few lines of its own first.
   std::string line = readLine();
   while (!line.empty() && line.find_first_not_of("0123456789") != std::string::npos) {
      line = readLine();
   }
   port_ = static_cast<std::uint16_t>(std::strtoul(line.c_str(), nullptr, 10));
   EXPECT_NE(port_, 0) << "the peer has not started";
}

PeerProcess::~PeerProcess() {
   kill();
   ::close(input_);
   ::close(output_);
}

std::string PeerProcess::readLine() {
   std::string line;
   for (char next = 0;;) {
      ssize_t const got = ::read(output_, &next, 1);
      if (got < 0 && errno == EINTR) {
         continue;
      }
      if (got <= 0 || next == '\n') {
         return line;
      }
      line += next;
   }
}

void PeerProcess::command(std::string const& line) {
   std::string const whole = line + "\n";
   EXPECT_EQ(::write(input_, whole.data(), whole.size()), static_cast<ssize_t>(whole.size()));
   EXPECT_EQ(readLine(), "done");
}

void PeerProcess::kill() {
   if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
      pid_ = -1;
   }
}

void PeerProcess::stop() {
   ::kill(pid_, SIGSTOP);
   int status = 0;
   ::waitpid(pid_, &status, WUNTRACED);
}

void PeerProcess::resume() { ::kill(pid_, SIGCONT); }

} // namespace CairnTest
