/// What the tests of the ring trace share.
#include "TraceTestSupport.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace TraceTest {

Trace::Trace() {
   std::string pattern = (std::filesystem::temp_directory_path() / "gantry-trace-XXXXXX").string();
   EXPECT_NE(mkdtemp(pattern.data()), nullptr);
   folder_ = pattern;
}

Trace::~Trace() {
   RingScribe::theTraceFile = nullptr;
   std::filesystem::remove_all(folder_);
}

Fen::Ptr<RingScribe::TraceFile> Trace::traceTo(std::size_t bytes, std::string const& name) {
   RingScribe::theTraceFile = RingScribe::traceFileFactory(path(name), bytes);
   return RingScribe::theTraceFile;
}

std::vector<RingScribe::TraceMessage> messagesOf(std::string const& path) {
   RingScribe::TraceFileSource const source(path);
   RingScribe::TraceReader reader(source, path);
   std::vector<RingScribe::TraceMessage> result;
   reader.readNew([&](RingScribe::TraceMessage const& message) {
      result.push_back(message);
      result.back().file = {};
   });
   EXPECT_EQ(reader.lost(), 0u);
   return result;
}

std::vector<std::string> textsOf(std::string const& path) {
   std::vector<std::string> result;
   for (RingScribe::TraceMessage const& message : messagesOf(path)) {
      result.push_back(message.text);
   }
   return result;
}

std::string fileBytes(std::string const& path) {
   std::ifstream in(path, std::ios::binary);
   std::ostringstream bytes;
   bytes << in.rdbuf();
   return bytes.str();
}

void fileBytesAre(std::string const& path, std::string const& bytes) {
   std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

Child::Child(std::function<void()> const& body) : process_(fork()) {
   EXPECT_GE(process_, 0);
   if (process_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      body();
      _exit(0);
   }
}

Child::~Child() { kill(); }

void Child::kill() {
   if (!ended_) {
      ::kill(process_, SIGKILL);
      status();
   }
}

int Child::status() {
   if (!ended_) {
      EXPECT_EQ(waitpid(process_, &status_, 0), process_);
      ended_ = true;
   }
   return status_;
}

namespace {

std::string fillOf(std::uint32_t number) {
   return std::string(number * 7 % 61, static_cast<char>('a' + number % 26));
}

} // namespace

void traceNumbered(std::uint32_t number) {
   RINGSCRIBE_TRACE(5, "number ", number, " fill ", fillOf(number), " end ", number % 3 == 0);
}

void traceNumberedByHand(std::uint32_t number) {
   using namespace RingScribe;
   static std::uint32_t msgId = 0;
   if (msgId == 0) {
      MsgDesc description(theTraceFile, __FILE__, __LINE__);
      msgId = description.msgId();
      theTraceFile->msgIdArrIs(&msgId);
      for (Letter letter : {Letter::word32, Letter::string, Letter::flag}) {
         description.formatString().put(letter);
      }
      description << "number " << Varg() << " fill " << Varg() << " end " << Varg();
      description.finish();
   }
   RingBuf buffer = RingBuf::startMsg(theTraceFile, msgId);
   buffer.store(number);
   put(buffer, fillOf(number));
   buffer.store(number % 3 == 0);
   buffer.endMsg();
}

std::uint32_t numberOf(std::string const& text) {
   std::uint32_t const number =
      static_cast<std::uint32_t>(std::strtoul(text.c_str() + std::strlen("number "), nullptr, 10));
   EXPECT_EQ(text, "number " + std::to_string(number) + " fill " + fillOf(number) + " end " +
                      (number % 3 == 0 ? "true" : "false"));
   return number;
}

} // namespace TraceTest
