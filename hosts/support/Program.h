/// What the host programs share: how they are started, stopped and traced, and how they say what is
/// wrong with their command line.
///
/// Used by main() and on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/ActivityLoop.h>
#include <gantry/runtime/nimet/IpAddr.h>

#include <CLI/CLI.hpp>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

namespace Host {

/// Something that the user can put right; the text says what, in one line.
class UserError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// An address and a port, as in "127.0.0.1:9001".
struct Endpoint {
   Nimet::IpAddr address;
   std::uint16_t port = 0;
};

/// Reads an endpoint that `option` was given; throws UserError. Port 0 is for those who listen.
Endpoint endpointOf(std::string const& option, std::string const& text, bool mayBeZeroPort);

/// Throws UserError unless `name` can be the first component of a path.
void requireSysname(std::string const& option, std::string const& name);

/// The options --trace and --ring of every program that runs the loop.
class TraceOptions {
 public:
   void addTo(CLI::App& app);
   /// Switches on what was asked for; throws UserError.
   void apply() const;

 private:
   std::string setting_;
   std::string ringPath_;
};

/// Reads the command line into `app`. True when the program is to go on; false when help was asked
/// for and given. Throws UserError for anything that the options do not allow.
bool parse(CLI::App& app, int argc, char const* const* argv);

/// Runs `body` and returns its result as the exit status. An error becomes one line on standard
/// error, that begins with the program's name, and exit status 2.
int programRun(char const* name, std::function<int()> const& body);

/// While one lives, SIGINT and SIGTERM end the activity loop after the current turn.
class StopSignals {
 public:
   StopSignals();
   ~StopSignals();
   StopSignals(StopSignals const&) = delete;
   StopSignals& operator=(StopSignals const&) = delete;

   bool isStopped() const { return stopped_; }

 private:
   class Reactor;

   Fen::Ptr<Fen::Signal> interrupt_;
   Fen::Ptr<Fen::Signal> terminate_;
   Fen::Ptr<Reactor> interruptReactor_;
   Fen::Ptr<Reactor> terminateReactor_;
   bool stopped_ = false;
};

/// While one lives, SIGHUP runs a function on the loop's thread, and nothing else.
class ReloadSignal {
 public:
   explicit ReloadSignal(std::function<void()> reload);
   ~ReloadSignal();
   ReloadSignal(ReloadSignal const&) = delete;
   ReloadSignal& operator=(ReloadSignal const&) = delete;

 private:
   class Reactor;

   std::function<void()> const reload_;
   Fen::Ptr<Fen::Signal> signal_;
   Fen::Ptr<Reactor> reactor_;
};

} // namespace Host
