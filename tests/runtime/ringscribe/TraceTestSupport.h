/// What the tests of the ring trace share: a folder of their own, reading a file back, and child
/// processes that end in any way they like.
#pragma once

#include <gantry/runtime/ringscribe/Trace.h>
#include <gantry/runtime/ringscribe/TraceReader.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace TraceTest {

/// A folder that goes with the test, and tracing off when it does.
class Trace : public testing::Test {
 protected:
   Trace();
   ~Trace() override;

   std::string path(std::string const& name = "trace") const { return (folder_ / name).string(); }
   /// Makes a file and traces to it.
   Fen::Ptr<RingScribe::TraceFile> traceTo(std::size_t bytes = 256 * 1024,
                                           std::string const& name = "trace");

 private:
   std::filesystem::path folder_;
};

/// All messages of a file, oldest first.
std::vector<RingScribe::TraceMessage> messagesOf(std::string const& path);
std::vector<std::string> textsOf(std::string const& path);

std::string fileBytes(std::string const& path);
void fileBytesAre(std::string const& path, std::string const& bytes);

/// A process of its own that runs `body`, and is killed at the latest when the test ends.
class Child {
 public:
   explicit Child(std::function<void()> const& body);
   Child(Child const&) = delete;
   Child& operator=(Child const&) = delete;
   ~Child();

   void kill();
   /// Waits for its end. Returns what waitpid says.
   int status();

 private:
   pid_t process_;
   int status_ = 0;
   bool ended_ = false;
};

/// A message whose text follows from its number, so that it can be checked alone.
void traceNumbered(std::uint32_t number);
/// The same message, written step by step.
void traceNumberedByHand(std::uint32_t number);
/// Checks such a text. Returns its number.
std::uint32_t numberOf(std::string const& text);

} // namespace TraceTest
