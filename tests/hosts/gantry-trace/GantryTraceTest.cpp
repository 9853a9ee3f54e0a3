/// The program gantry-trace, run as a process on files that this process or a child writes.
#include <gantry/runtime/ringscribe/Trace.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

/// One run of the program with its two outputs.
class ToolRun {
 public:
   explicit ToolRun(std::vector<std::string> const& arguments) {
      int out[2];
      int err[2];
      EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
      EXPECT_EQ(pipe2(err, O_CLOEXEC), 0);
      process_ = fork();
      EXPECT_GE(process_, 0);
      if (process_ == 0) {
         prctl(PR_SET_PDEATHSIG, SIGKILL);
         dup2(out[1], STDOUT_FILENO);
         dup2(err[1], STDERR_FILENO);
         setenv("TZ", "UTC", 1);
         std::string const program = GANTRY_BINARY_DIR "/hosts/gantry-trace";
         std::vector<char*> list{const_cast<char*>(program.c_str())};
         for (std::string const& argument : arguments) {
            list.push_back(const_cast<char*>(argument.c_str()));
         }
         list.push_back(nullptr);
         execv(program.c_str(), list.data());
         _exit(127);
      }
      close(out[1]);
      close(err[1]);
      out_ = out[0];
      err_ = err[0];
   }
   ToolRun(ToolRun const&) = delete;
   ToolRun& operator=(ToolRun const&) = delete;
   ~ToolRun() {
      if (!ended_) {
         kill(process_, SIGKILL);
         waitpid(process_, nullptr, 0);
      }
      closeOut();
      close(err_);
   }

   /// The next line of standard output or, for errors, of standard error; waits for it. Nothing at
   /// the end of the output.
   std::string line() { return lineOf(out_); }
   std::string errorLine() { return lineOf(err_); }
   std::vector<std::string> lines() {
      std::vector<std::string> result;
      for (std::string text = line(); !text.empty(); text = line()) {
         result.push_back(text);
      }
      return result;
   }
   void closeOut() {
      if (out_ >= 0) {
         close(out_);
         out_ = -1;
      }
   }
   int exitCode() {
      int status = 0;
      EXPECT_EQ(waitpid(process_, &status, 0), process_);
      ended_ = true;
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
   }

 private:
   static std::string lineOf(int descriptor) {
      std::string result;
      char byte;
      while (read(descriptor, &byte, 1) == 1) {
         if (byte == '\n') {
            return result;
         }
         result += byte;
      }
      return result;
   }

   pid_t process_;
   int out_ = -1;
   int err_ = -1;
   bool ended_ = false;
};

class GantryTrace : public testing::Test {
 protected:
   GantryTrace() {
      std::string pattern =
         (std::filesystem::temp_directory_path() / "gantry-trace-XXXXXX").string();
      EXPECT_NE(mkdtemp(pattern.data()), nullptr);
      folder_ = pattern;
   }
   ~GantryTrace() override {
      RingScribe::theTraceFile = nullptr;
      std::filesystem::remove_all(folder_);
   }
   std::string path() const { return (folder_ / "trace").string(); }
   void traceTo(std::size_t bytes = 64 * 1024) {
      RingScribe::theTraceFile = RingScribe::traceFileFactory(path(), bytes);
   }
   /// The program's only error line for a run that must end with 2.
   std::string refused(std::vector<std::string> const& arguments) {
      ToolRun run(arguments);
      EXPECT_EQ(run.line(), "");
      std::string const text = run.errorLine();
      EXPECT_EQ(run.errorLine(), "");
      EXPECT_EQ(run.exitCode(), 2);
      return text;
   }

   std::filesystem::path folder_;
};

void message(unsigned number) { RINGSCRIBE_TRACE(5, "message ", number, " of leaf1"); }

std::string textOf(std::string const& line) {
   constexpr std::size_t timeLength = sizeof "2026-01-01 00:00:00.000000000 " - 1;
   return line.size() < timeLength ? line : line.substr(timeLength);
}

TEST_F(GantryTrace, PrintsAllInOrderWithTimes) {
   traceTo();
   for (unsigned i = 0; i < 200; ++i) {
      message(i);
   }
   ToolRun run({path()});
   std::vector<std::string> const lines = run.lines();
   EXPECT_EQ(run.exitCode(), 0);
   ASSERT_EQ(lines.size(), 200u);
   std::string last;
   for (unsigned i = 0; i < lines.size(); ++i) {
      EXPECT_THAT(lines[i], MatchesRegex("[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+\\.[0-9]+ .*"));
      EXPECT_EQ(textOf(lines[i]), "message " + std::to_string(i) + " of leaf1");
      std::string const time = lines[i].substr(0, lines[i].size() - textOf(lines[i]).size());
      EXPECT_GE(time, last);
      last = time;
   }
}

TEST_F(GantryTrace, EmptyFilePrintsNothing) {
   traceTo();
   ToolRun run({path()});
   EXPECT_TRUE(run.lines().empty());
   EXPECT_EQ(run.errorLine(), "");
   EXPECT_EQ(run.exitCode(), 0);
}

TEST_F(GantryTrace, PrintsThePlace) {
   traceTo();
   message(1);
   ToolRun run({"--location", "--utc", path()});
   EXPECT_THAT(run.line(), HasSubstr("GantryTraceTest.cpp:"));
}

TEST_F(GantryTrace, PrintsUpToALevel) {
   traceTo();
   RINGSCRIBE_TRACE(8, "entered");
   RINGSCRIBE_TRACE(1, "look here");
   RINGSCRIBE_TRACE(5, "decided");
   ToolRun run({"--level", "5", path()});
   EXPECT_EQ(textOf(run.line()), "look here");
   EXPECT_EQ(textOf(run.line()), "decided");
   EXPECT_EQ(run.line(), "");
   EXPECT_THAT(refused({"--level", "10", path()}), HasSubstr("--level"));
}

TEST_F(GantryTrace, PrintsJson) {
   traceTo();
   RINGSCRIBE_TRACE(8, "a \"quoted\" text");
   ToolRun run({"--json", path()});
   EXPECT_THAT(run.line(), MatchesRegex("\\{\"time\":[0-9.]+,\"sequence\":0,\"level\":8,"
                                        "\"file\":\"GantryTraceTest.cpp\",\"line\":[0-9]+,"
                                        "\"text\":\"a \\\\\"quoted\\\\\" text\"\\}"));
}

TEST_F(GantryTrace, FollowsTheWriter) {
   traceTo();
   message(0);
   ToolRun run({"-f", path()});
   for (unsigned i = 0; i < 20; ++i) {
      EXPECT_EQ(textOf(run.line()), "message " + std::to_string(i) + " of leaf1");
      message(i + 1);
   }
}

TEST_F(GantryTrace, FollowsAKilledWriterAndItsSuccessor) {
   int ready[2];
   ASSERT_EQ(pipe(ready), 0);
   pid_t const writer = fork();
   ASSERT_GE(writer, 0);
   if (writer == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      traceTo();
      message(1);
      if (write(ready[1], "x", 1) != 1) {
         _exit(1);
      }
      pause();
      _exit(0);
   }
   char byte;
   ASSERT_EQ(read(ready[0], &byte, 1), 1);
   ToolRun run({"-f", path()});
   EXPECT_EQ(textOf(run.line()), "message 1 of leaf1");
   kill(writer, SIGKILL);
   ASSERT_EQ(waitpid(writer, nullptr, 0), writer);
   close(ready[0]);
   close(ready[1]);
   traceTo();
   message(2);
   EXPECT_EQ(textOf(run.line()), "message 2 of leaf1");
   EXPECT_THAT(run.errorLine(), HasSubstr("the trace file was replaced"));
}

TEST_F(GantryTrace, FollowingEndsWithItsReader) {
   traceTo();
   message(0);
   ToolRun run({"-f", path()});
   EXPECT_EQ(textOf(run.line()), "message 0 of leaf1");
   run.closeOut();
   EXPECT_EQ(run.exitCode(), 0);
}

TEST_F(GantryTrace, SaysWhenSitesFoundNoRoom) {
   traceTo(RingScribe::traceFileBytesMin);
   std::vector<RingScribe::MsgSite> sites(200, RingScribe::MsgSite{0, 1, "many.cpp", 5});
   for (RingScribe::MsgSite& site : sites) {
      RingScribe::traceMsg(site, "one of many");
   }
   ToolRun run({path()});
   EXPECT_FALSE(run.lines().empty());
   EXPECT_THAT(run.errorLine(), HasSubstr("give the host a larger trace file"));
   EXPECT_EQ(run.exitCode(), 0);
   // They die before their file does.
   RingScribe::theTraceFile = nullptr;
}

TEST_F(GantryTrace, FilesThatCannotBeRead) {
   EXPECT_THAT(refused({path()}), HasSubstr("No such file or directory; name a trace file"));
   std::ofstream(path()) << "some text";
   EXPECT_THAT(refused({path()}),
               HasSubstr("not a trace file; name the file that a host traces to"));
   EXPECT_THAT(refused({"-f", path()}), HasSubstr("not a trace file"));
   EXPECT_THAT(refused({folder_.string()}), HasSubstr("not a file; name a trace file"));
   std::filesystem::remove(path());
   traceTo();
   message(1);
   RingScribe::theTraceFile = nullptr;
   for (std::uintmax_t bytes : {60'000u, 5000u, 4096u, 4000u, 100u, 8u}) {
      std::filesystem::resize_file(path(), bytes);
      EXPECT_THAT(refused({path()}), HasSubstr("truncated trace file"));
   }
   std::filesystem::resize_file(path(), 0);
   EXPECT_THAT(refused({path()}), HasSubstr("not a trace file"));
}

TEST_F(GantryTrace, BadOptions) {
   EXPECT_THAT(refused({}), StartsWith("gantry-trace: FILE is required"));
   EXPECT_THAT(refused({"--no-such", path()}), HasSubstr("see gantry-trace --help"));
   EXPECT_THAT(refused({"one", "two"}), HasSubstr("see gantry-trace --help"));
}

TEST_F(GantryTrace, Help) {
   ToolRun run({"--help"});
   EXPECT_THAT(run.line(), HasSubstr("in order with their times"));
   EXPECT_EQ(run.exitCode(), 0);
}

} // namespace
