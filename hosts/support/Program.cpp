// Command lines, traces and signals of the host programs.

#include <hosts/support/Program.h>

#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/Trace.h>
#include <gantry/runtime/ringscribe/TraceFile.h>

#include <arpa/inet.h>

#include <charconv>
#include <csignal>
#include <cstddef>
#include <iostream>

namespace Host {

namespace {

constexpr std::size_t ringBytes = 1 << 20;
constexpr int exitUserError = 2;

} // namespace

Endpoint endpointOf(std::string const& option, std::string const& text, bool mayBeZeroPort) {
   std::size_t const colon = text.rfind(':');
   std::string const address = text.substr(0, colon);
   in_addr binary{};
   if (colon == std::string::npos || inet_pton(AF_INET, address.c_str(), &binary) != 1) {
      throw UserError(option + ": '" + text +
                      "' is no address; give an IPv4 address and a port, such as 127.0.0.1:9001");
   }
   std::uint16_t port = 0;
   char const* const end = text.data() + text.size();
   auto const [at, error] = std::from_chars(text.data() + colon + 1, end, port);
   if (error != std::errc() || at != end || (port == 0 && !mayBeZeroPort)) {
      throw UserError(option + ": '" + text.substr(colon + 1) + "' is no port; give a number " +
                      (mayBeZeroPort ? "from 0 (a free one)" : "from 1") + " to 65535");
   }
   return {Nimet::IpAddr(Fen::String8(address)), port};
}

void requireSysname(std::string const& option, std::string const& name) {
   if (name.empty() || name.find('/') != std::string::npos) {
      throw UserError(option + ": '" + name +
                      "' cannot name a system; give a name without slashes");
   }
}

void TraceOptions::addTo(CLI::App& app) {
   app.add_option("--trace", setting_, "Stream traces by handle and level, such as MountSm/5");
   app.add_option("--ring", ringPath_, "File for the ring trace; gantry-trace prints it");
}

void TraceOptions::apply() const {
   if (!setting_.empty()) {
      try {
         Fen::traceSettingIs(setting_.c_str());
      } catch (Fen::Exception const& exception) {
         throw UserError("--trace: " + std::string(exception.what()));
      }
   }
   if (!ringPath_.empty()) {
      try {
         RingScribe::theTraceFile =
            RingScribe::traceFileFactory(Fen::String8(ringPath_), ringBytes);
      } catch (RingScribe::TraceFileError const& error) {
         throw UserError("--ring: " + std::string(error.what()));
      }
   }
}

bool parse(CLI::App& app, int argc, char const* const* argv) {
   try {
      app.parse(argc, argv);
   } catch (CLI::CallForHelp const& help) {
      app.exit(help);
      return false;
   } catch (CLI::ParseError const& error) {
      std::string text = error.what();
      text = text.substr(0, text.find('\n'));
      throw UserError(text + "; --help lists the options");
   }
   return true;
}

int programRun(char const* name, std::function<int()> const& body) {
   try {
      return body();
   } catch (std::exception const& error) {
      std::cerr << name << ": " << error.what() << std::endl;
   }
   return exitUserError;
}

class StopSignals::Reactor : public Fen::Signal::Notifiee {
 public:
   Reactor(Fen::Ptr<Fen::Signal> const& signal, bool* stopped)
      : Notifiee(signal), stopped_(stopped) {
      isRegisteredNotifieeIs(true);
   }
   void onSignal() override {
      *stopped_ = true;
      Fen::ActivityLoop::instance().stop();
   }

 private:
   bool* stopped_;
};

StopSignals::StopSignals()
   : interrupt_(Fen::makePtr<Fen::Signal>(SIGINT)), terminate_(Fen::makePtr<Fen::Signal>(SIGTERM)),
     interruptReactor_(Fen::makePtr<Reactor>(interrupt_, &stopped_)),
     terminateReactor_(Fen::makePtr<Reactor>(terminate_, &stopped_)) {}

StopSignals::~StopSignals() {
   interruptReactor_->isRegisteredNotifieeIs(false);
   terminateReactor_->isRegisteredNotifieeIs(false);
}

class ReloadSignal::Reactor : public Fen::Signal::Notifiee {
 public:
   Reactor(Fen::Ptr<Fen::Signal> const& signal, std::function<void()> const* reload)
      : Notifiee(signal), reload_(reload) {
      isRegisteredNotifieeIs(true);
   }
   void onSignal() override { (*reload_)(); }

 private:
   std::function<void()> const* reload_;
};

ReloadSignal::ReloadSignal(std::function<void()> reload)
   : reload_(std::move(reload)), signal_(Fen::makePtr<Fen::Signal>(SIGHUP)),
     reactor_(Fen::makePtr<Reactor>(signal_, &reload_)) {}

ReloadSignal::~ReloadSignal() { reactor_->isRegisteredNotifieeIs(false); }

} // namespace Host
