// Command line and life of gantry-controller.

#include <hosts/gantry-controller/ConfigurationReader.h>
#include <hosts/gantry-controller/ControllerHost.h>
#include <hosts/gantry-controller/ControllerProgram.h>
#include <hosts/gantry-controller/InitialWait.h>
#include <hosts/gantry-controller/StatusAnswers.h>

#include <hosts/linux/Types.h>
#include <hosts/support/Program.h>

#include <unistd.h>

#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace Host {

namespace {

constexpr int exitUserError = 2;
constexpr int exitNotComplete = 3;
/// How long the end waits for mounts to end.
constexpr double closingSeconds = 5.0;

struct Options {
   std::string file;
   bool accepts = false;
   bool json = false;
   bool checksOnly = false;
   std::optional<double> waitSeconds;
   bool once = false;
   std::string inspect;
   std::string control;
   TraceOptions traces;
};

bool optionsRead(Options& options, int argc, char const* const* argv) {
   CLI::App app("Mounts from switches what its services declare, and shows what becomes of it.",
                "gantry-controller");
   app.add_option("--config", options.file,
                  "The file of services and switches; SIGHUP reads it again")
      ->required();
   app.add_flag("--accept", options.accepts,
                "Take up switches that are not in the file and make themselves known");
   app.add_flag("--json", options.json, "One line of JSON for each change");
   app.add_flag("--check", options.checksOnly, "Check the file and end");
   app.add_option(
      "--inspect", options.inspect,
      "Serve the whole state, read-only, to everybody who reaches this address and port");
   app.add_option("--control", options.control,
                  "Path of a socket at which 'gantry' looks at this host, for this user alone");
   CLI::Option* const wait =
      app.add_option("--wait-initial", options.waitSeconds,
                     "Wait at most so many seconds for the first full round of mounts; exit status "
                     "3 when it is not complete by then")
         ->check(CLI::Range(0.0, 86400.0));
   app.add_flag("--once", options.once, "End when that wait has ended")->needs(wait);
   options.traces.addTo(app);
   return parse(app, argc, argv);
}

/// Whether the machines write what is at a path, or a switch does.
bool isReadOnly(ControllerHost const& host, std::string_view path) {
   for (std::string_view const each :
        {"/mounts", "/switches", "/clients", "/services/mountStatus", "/services/publishStatus",
         "/registry/controllerStatus", "/registry/peerTable", "/published"}) {
      if (isBelow(path, each)) {
         return true;
      }
   }
   // Mounts stand wherever the file wants them.
   for (auto entry = host.entities().mountsRegistry->mountEntryIterator(); entry; ++entry) {
      std::string target(entry->targetPath().view());
      target = target.empty() || target.front() == '/' ? target : "/" + target;
      if (!entry->targetPath().empty() && isBelow(path, target)) {
         return true;
      }
   }
   return false;
}

/// Where the whole state is served; null when nobody asked.
Fen::Ptr<Cairn::Server> inspection(Options const& options, std::string const& name) {
   if (options.inspect.empty()) {
      return nullptr;
   }
   Endpoint const endpoint = endpointOf("--inspect", options.inspect, true);
   auto const server =
      Cairn::serverFactory(Fen::Name(name), Fen::root(), endpoint.address, endpoint.port);
   std::cout << "state of " << name << " on " << endpoint.address << ":" << server->port()
             << std::endl;
   return server;
}

/// Where 'gantry' asks; null when nobody wants that.
std::unique_ptr<ControllerTool> controllerTool(Options const& options, ControllerHost const& host) {
   if (options.control.empty()) {
      return nullptr;
   }
   return std::make_unique<ControllerTool>(
      host, options.control,
      ControlPolicy{[&host](std::string_view path) { return isReadOnly(host, path); },
                    [&host](Metrics& metrics) { controllerMetrics(host, metrics); },
                    [&host] { return host.machines(); }});
}

std::unique_ptr<StatusOutput> outputOf(Options const& options, StatusBoard const& board) {
   return options.json                                  ? jsonOutput()
          : isatty(STDOUT_FILENO) != 0 && !options.once ? tableOutput(board)
                                                        : lineOutput();
}

/// Returns the exit status.
int control(Options const& options, Configuration const& configuration) {
   StopSignals const signals;
   ControllerHost host(configuration, options.accepts);
   if (host.server()) {
      std::cout << "serving " << configuration.system.name << " on "
                << *configuration.system.address << ":" << host.server()->port() << std::endl;
   }
   Fen::Ptr<Cairn::Server> const inspected = inspection(options, configuration.system.name);
   std::unique_ptr<StatusOutput> const output = outputOf(options, host.board());
   host.outputIs(output.get());
   ReloadSignal const reload([&] { host.configurationRead(options.file); });
   host.configurationIs(configuration);
   std::unique_ptr<ControllerTool> const tool = controllerTool(options, host);
   std::optional<InitialWait> wait;
   if (options.waitSeconds) {
      wait.emplace(host.initialMounts(), *options.waitSeconds, std::cerr, [&] {
         if (options.once) {
            Fen::ActivityLoop::instance().stop();
         }
      });
   }
   Fen::ActivityLoop::instance().run();
   bool const isMet = !wait || wait->isMet();
   wait.reset();
   if (options.once) {
      host.outputIs(nullptr); // the end of what was shown is nobody's concern
   }
   host.close(closingSeconds);
   host.outputIs(nullptr);
   return isMet ? 0 : exitNotComplete;
}

} // namespace

int controllerRun(int argc, char const* const* argv) {
   Linux::typesRegister();
   Options options;
   if (!optionsRead(options, argc, argv)) {
      return 0;
   }
   try {
      Configuration const configuration = configurationFromFile(options.file);
      if (options.checksOnly) {
         return 0;
      }
      options.traces.apply();
      return control(options, configuration);
   } catch (ConfigurationError const& error) {
      // Lines that an editor can follow: nothing stands in front of the file's name.
      std::cerr << error.what() << std::endl;
      return exitUserError;
   }
   return 0;
}

} // namespace Host
