// Command line and life of gantry-switch: follow the kernel, then serve the tree.

#include <hosts/gantry-switch/Switch.h>

#include <hosts/linux/Collector.h>
#include <hosts/linux/HostModel.h>
#include <hosts/support/Program.h>

#include <gantry/runtime/cairn/Server.h>
#include <gantry/runtime/fen/Dir.h>

#include <net/if.h>
#include <unistd.h>

#include <array>
#include <iostream>
#include <set>
#include <string>
#include <vector>

namespace Host {

namespace {

constexpr double shortestSample = 0.01;
constexpr double longestSample = 86400.0;

struct Options {
   std::string listen = "127.0.0.1:9001";
   std::string sysname;
   double sampleSeconds = 1.0;
   std::vector<std::string> interfaces;
   TraceOptions traces;
};

std::string hostName() {
   std::array<char, 256> name{};
   return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
}

bool optionsRead(Options& options, int argc, char const* const* argv) {
   CLI::App app("Serves this host's live network state to programs that mount it.",
                "gantry-switch");
   app.add_option("--listen", options.listen,
                  "Address and port to serve on; port 0 takes a free one")
      ->capture_default_str();
   app.add_option("--sysname", options.sysname, "Name of this system (the host's name by default)");
   app.add_option("--sample", options.sampleSeconds, "Seconds between two samples of the counters")
      ->capture_default_str();
   app.add_option("--interface", options.interfaces,
                  "Serve only this interface; may be given several times")
      ->allow_extra_args(false);
   options.traces.addTo(app);
   if (!parse(app, argc, argv)) {
      return false;
   }
   if (options.sysname.empty()) {
      options.sysname = hostName();
   }
   requireSysname("--sysname", options.sysname);
   if (!(options.sampleSeconds >= shortestSample && options.sampleSeconds <= longestSample)) {
      throw UserError("--sample: give a number of seconds from 0.01 to 86400");
   }
   for (std::string const& each : options.interfaces) {
      if (if_nametoindex(each.c_str()) == 0) {
         throw UserError("--interface: there is no interface '" + each +
                         "'; 'ip link' lists those that there are");
      }
   }
   return true;
}

} // namespace

int switchRun(int argc, char const* const* argv) {
   Options options;
   if (!optionsRead(options, argc, argv)) {
      return 0;
   }
   Endpoint const endpoint = endpointOf("--listen", options.listen, true);
   options.traces.apply();

   StopSignals signals;
   Fen::ActivityLoop& loop = Fen::ActivityLoop::instance();
   Linux::HostModel model(
      Fen::root(), std::set<std::string>(options.interfaces.begin(), options.interfaces.end()),
      &Linux::driverSpeed);
   Linux::Collector const collector(model, &Linux::rtnetlinkSocket, options.sampleSeconds);
   // Nobody mounts a half-read tree.
   while (!collector.isComplete() && !signals.isStopped()) {
      loop.runOnce(options.sampleSeconds);
   }
   if (signals.isStopped()) {
      return 0;
   }
   Fen::Ptr<Cairn::Server> const server = Cairn::serverFactory(
      Fen::Name(options.sysname), Fen::root(), endpoint.address, endpoint.port);
   std::cout << "serving " << options.sysname << " on " << endpoint.address << ":" << server->port()
             << std::endl;
   loop.run();
   return 0;
}

} // namespace Host
