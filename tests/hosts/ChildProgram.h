/// A host program started by a test. Its output is read line by line against a deadline, never by
/// waiting for a while; it is killed when the test is done with it.
#pragma once

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace HostTest {

/// Far longer than anything takes on a loaded machine: what ends here has gone wrong.
constexpr std::chrono::seconds patience(60);

inline std::string program(std::string const& name) {
   return std::string(GANTRY_BINARY_DIR) + "/hosts/" + name;
}

class ChildProgram {
 public:
   /// Starts the program of that name; its standard error is read like its output where asked for.
   ChildProgram(std::string const& name, std::vector<std::string> arguments,
                bool readsErrors = false)
      : deadline_(std::chrono::steady_clock::now() + patience) {
      int ends[2];
      if (pipe(ends) != 0) {
         throw std::runtime_error("pipe");
      }
      std::string path = program(name);
      std::vector<char*> words{path.data()};
      for (std::string& each : arguments) {
         words.push_back(each.data());
      }
      words.push_back(nullptr);
      posix_spawn_file_actions_t actions;
      posix_spawn_file_actions_init(&actions);
      posix_spawn_file_actions_adddup2(&actions, ends[1], readsErrors ? 2 : 1);
      posix_spawn_file_actions_addclose(&actions, ends[0]);
      posix_spawn_file_actions_addclose(&actions, ends[1]);
      int const failed =
         posix_spawn(&process_, path.c_str(), &actions, nullptr, words.data(), environ);
      posix_spawn_file_actions_destroy(&actions);
      close(ends[1]);
      output_ = ends[0];
      if (failed != 0) {
         throw std::runtime_error("cannot start " + path);
      }
   }
   ~ChildProgram() {
      if (process_ > 0) {
         ::kill(process_, SIGKILL);
         waitpid(process_, nullptr, 0);
      }
      close(output_);
   }
   ChildProgram(ChildProgram const&) = delete;
   ChildProgram& operator=(ChildProgram const&) = delete;

   void signal(int number) const { ::kill(process_, number); }

   /// The next line without its end; empty at the end of the output or after too long.
   std::string line() {
      std::size_t end;
      while ((end = text_.find('\n')) == std::string::npos) {
         if (!read()) {
            return std::exchange(text_, std::string());
         }
      }
      std::string const result = text_.substr(0, end);
      text_.erase(0, end + 1);
      return result;
   }
   /// The next line that holds all of the words; empty when none comes.
   std::string lineWith(std::vector<std::string> const& words) {
      for (std::string next = line(); !next.empty(); next = line()) {
         bool holds = true;
         for (std::string const& word : words) {
            holds = holds && next.find(word) != std::string::npos;
         }
         if (holds) {
            return next;
         }
      }
      return {};
   }
   std::string rest() {
      while (read()) {
      }
      return std::exchange(text_, std::string());
   }
   /// Waits for the end of the program, which must be near, and returns its exit status; the
   /// negative number of the signal that ended it.
   int status() {
      rest();
      int result = 0;
      waitpid(process_, &result, 0);
      process_ = 0;
      return WIFEXITED(result) ? WEXITSTATUS(result) : -WTERMSIG(result);
   }

 private:
   bool read() {
      using namespace std::chrono;
      auto const left = duration_cast<milliseconds>(deadline_ - steady_clock::now()).count();
      pollfd waiting{output_, POLLIN, 0};
      char buffer[4096];
      if (left <= 0 || poll(&waiting, 1, static_cast<int>(left)) <= 0) {
         return false;
      }
      ssize_t const size = ::read(output_, buffer, sizeof buffer);
      if (size > 0) {
         text_.append(buffer, static_cast<std::size_t>(size));
      }
      return size > 0;
   }

   std::chrono::steady_clock::time_point const deadline_;
   pid_t process_ = 0;
   int output_ = -1;
   std::string text_;
};

/// A gantry-switch on a free port of the loopback, and where it serves.
struct Switch {
   explicit Switch(std::string const& sysname, std::vector<std::string> more = {})
      : name(sysname), child("gantry-switch", arguments(sysname, std::move(more))),
        serving(child.line()), endpoint(serving.substr(serving.rfind(' ') + 1)) {}

   std::string peer() const { return name + "=" + endpoint; }

   std::string const name;
   ChildProgram child;
   std::string const serving;
   std::string const endpoint;

 private:
   static std::vector<std::string> arguments(std::string const& sysname,
                                             std::vector<std::string> more) {
      if (std::find(more.begin(), more.end(), "--listen") == more.end()) {
         more.insert(more.end(), {"--listen", "127.0.0.1:0"});
      }
      more.insert(more.end(), {"--sysname", sysname});
      return more;
   }
};

} // namespace HostTest
