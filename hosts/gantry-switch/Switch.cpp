// Command line and life of gantry-switch: follow the kernel, then serve the tree.

#include <hosts/gantry-switch/Switch.h>

#include <hosts/gantry-switch/Agent.h>
#include <hosts/gantry-switch/InterfaceWishes.h>
#include <hosts/gantry-switch/PublishedMounts.h>

#include <hosts/control/ControlServer.h>
#include <hosts/control/Metrics.h>
#include <hosts/linux/Collector.h>
#include <hosts/linux/HostModel.h>
#include <hosts/support/Program.h>

#include <gantry/runtime/cairn/Server.h>
#include <gantry/runtime/fen/Dir.h>

#include <net/if.h>
#include <unistd.h>

#include <array>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
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
   std::vector<std::string> services;
   std::string servicesFile;
   std::string systemId;
   std::string controller;
   std::string control;
   bool apply = false;
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
   app.add_option("--system-id", options.systemId,
                  "Identity of this system (the first interface's address by default)");
   app.add_option("--service", options.services,
                  "A service that this system offers, as NAME=VERSIONS; may be given several times")
      ->allow_extra_args(false);
   app.add_option("--services-file", options.servicesFile,
                  "File with one NAME=VERSIONS in each line, read again on SIGHUP");
   app.add_option("--controller", options.controller,
                  "A controller to make oneself known to, as [NAME=]ADDRESS[:PORT]");
   app.add_flag("--apply", options.apply,
                "Set this host's interfaces as the controller's published wishes say");
   app.add_option("--control", options.control,
                  "Path of a socket at which 'gantry' looks at this host, for this user alone");
   options.traces.addTo(app);
   if (!parse(app, argc, argv)) {
      return false;
   }
   if (options.sysname.empty()) {
      options.sysname = hostName();
   }
   requireSysname("--sysname", options.sysname);
   if (options.apply && options.controller.empty()) {
      throw UserError("--apply: say with --controller whose wishes are to be applied");
   }
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

OfferedServices offersOf(Options const& options) {
   OfferedServices offers;
   if (!options.servicesFile.empty()) {
      offers = offersOfFile(options.servicesFile);
   }
   for (std::string const& each : options.services) {
      offerAdd(offers, "--service", each);
   }
   return offers;
}

/// The id that was given; zero when none was.
Controller::SystemId givenId(Options const& options) {
   Controller::SystemId const id((Fen::String8(options.systemId)));
   if (!options.systemId.empty() && id == Controller::SystemId()) {
      throw UserError("--system-id: '" + options.systemId +
                      "' is no system id; give six pairs of hexadecimal digits with colons "
                      "between, not all zero");
   }
   return id;
}

/// Reads the file again; what is wrong with it is told and changes nothing.
void offersRead(Options const& options, AgentEntity& agent) {
   try {
      agent.offersAre(offersOf(options));
      std::cout << "services read again" << std::endl;
   } catch (UserError const& error) {
      std::cerr << "gantry-switch: " << error.what() << std::endl;
   }
}

/// What a switch does for a controller, as long as it has one.
struct ControllerSide {
   std::unique_ptr<InterfaceWishes> wishes;
   std::unique_ptr<PublishedMounts> published;

   std::map<std::string, SteadyMount const*> mounts() const {
      return published ? published->mounts() : std::map<std::string, SteadyMount const*>();
   }
   MachinePlaces::Roots machines() const {
      MachinePlaces::Roots all;
      if (wishes) {
         all.emplace_back("applier", wishes->machine());
      }
      for (auto const& [place, mount] : mounts()) {
         all.emplace_back("mounts" + place, mount->machine());
      }
      return all;
   }
   void addTo(Metrics& metrics) const {
      std::map<std::string, std::uint64_t> states;
      for (auto const& [place, mount] : mounts()) {
         ++states[std::string(Controller::stringValue(mount->state()).view())];
      }
      mountMetric(metrics, states);
   }
};

/// All that is in the tree of a switch comes from its kernel, from its controller or from its
/// options.
ControlPolicy controlPolicy(ControllerSide const& side) {
   return {[](std::string_view path) {
              return isBelow(path, "/linux") || isBelow(path, "/agent") ||
                     isBelow(path, "/controllers");
           },
           [&side](Metrics& metrics) { side.addTo(metrics); }, [&side] { return side.machines(); }};
}

/// Serves until a signal ends the loop.
void serve(Options const& options, Endpoint const& endpoint,
           std::optional<ControllerPlace> const& controller, AgentEntity& agent,
           Controller::SystemId id, Linux::HostModel const& model) {
   std::unique_ptr<ReloadSignal> reload;
   if (!options.servicesFile.empty()) {
      reload = std::make_unique<ReloadSignal>([&options, &agent] { offersRead(options, agent); });
   }
   Fen::Ptr<Cairn::Server> const server = Cairn::serverFactory(
      Fen::Name(options.sysname), Fen::root(), endpoint.address, endpoint.port);
   Cairn::tcpConfig().localName = Fen::String8(options.sysname);
   Cairn::tcpConfig().localSystemId = id;
   Cairn::tcpConfig().localServingPort = server->port();
   ControllerSide side;
   if (options.apply) {
      side.wishes = std::make_unique<InterfaceWishes>(model.interfaces(), model.directory());
   }
   if (controller) {
      // Called in later turns, when both are there.
      side.published = std::make_unique<PublishedMounts>(*controller, id, [&side] {
         if (side.wishes) {
            side.wishes->follow(*side.published);
         }
      });
   }
   std::unique_ptr<ControlServer> control;
   if (!options.control.empty()) {
      control = std::make_unique<ControlServer>(options.control, controlPolicy(side));
   }
   std::cout << "serving " << options.sysname << " on " << endpoint.address << ":" << server->port()
             << std::endl;
   Fen::ActivityLoop::instance().run();
}

} // namespace

int switchRun(int argc, char const* const* argv) {
   Options options;
   if (!optionsRead(options, argc, argv)) {
      return 0;
   }
   Endpoint const endpoint = endpointOf("--listen", options.listen, true);
   std::optional<ControllerPlace> controller;
   if (!options.controller.empty()) {
      controller = controllerOf("--controller", options.controller);
   }
   OfferedServices const offers = offersOf(options);
   Controller::SystemId id = givenId(options);
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
   if (id == Controller::SystemId()) {
      id = firstInterfaceId(*model.interfaces());
   }
   if (controller && id == Controller::SystemId()) {
      throw UserError("--controller: this host has no interface with an address that could name "
                      "it; give --system-id");
   }
   AgentEntity agent(Fen::root(), id);
   agent.offersAre(offers);
   serve(options, endpoint, controller, agent, id, model);
   return 0;
}

} // namespace Host
