// Command line of gantry: each command is one request, its answer printed as text or JSON.

#include <hosts/gantry/AnswerText.h>
#include <hosts/gantry/HostConnection.h>
#include <hosts/gantry/StatusText.h>
#include <hosts/gantry/ToolDocuments.h>
#include <hosts/gantry/ToolProgram.h>

#include <hosts/gantry-trace/TracePrinter.h>
#include <hosts/support/Program.h>
#include <hosts/support/ValueText.h>

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>

namespace Host {

namespace {

constexpr char const* clearScreen = "\033[H\033[2J";

using AnswerPrinter = std::string (*)(Json const& answer);

struct Options {
   std::string control;
   bool json = false;
   std::string path;
   std::string value;
   std::string name;
   unsigned depth = 0;
   bool prometheus = false;
   std::string service;
   std::string system;
   bool watches = false;
   TraceTool::Options trace;
};

/// What was watched has gone.
class EndedError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// What is to be done once the command line has been read.
struct Work {
   Json request;
   AnswerPrinter printer = nullptr;
   bool isStream = false;
   /// Ask again and again, and print what has changed.
   bool isRepeated = false;
   /// Read the file that the answer names.
   bool isTrace = false;
   /// Ask nobody and print this.
   std::string text = "";
};

CLI::App* commandAdd(CLI::App& app, Options& options, char const* name, char const* text,
                     char const* example) {
   CLI::App* const command = app.add_subcommand(name, text);
   command->footer(std::string("Example: ") + example);
   command->add_flag("--json", options.json, "The host's answer as one line of JSON");
   return command;
}

void readersAdd(CLI::App& app, Options& options, Work& work) {
   CLI::App* const tree = commandAdd(app, options, "tree",
                                     "The entities below a path, and the machines below /machines",
                                     "gantry tree /linux/interface --depth 1");
   tree->add_option("PATH", options.path, "Where to begin, the root by default");
   CLI::Option const* const depth =
      tree->add_option("--depth", options.depth, "How many levels below the path");
   tree->callback([&options, &work, depth] {
      work = {{{"command", "tree"}, {"path", options.path.empty() ? "/" : options.path}},
              &treeText};
      if (depth->count() > 0) {
         work.request["depth"] = options.depth;
      }
   });
   CLI::App* const get =
      commandAdd(app, options, "get", "The attributes of an entity or machine, or one",
                 "gantry get /linux/host.hostName");
   get->add_option("PATH", options.path, "PATH, PATH.ATTRIBUTE or PATH.ATTRIBUTE[KEY]")->required();
   get->callback([&options, &work] {
      work = {{{"command", "get"}, {"path", options.path}}, &valuesText};
   });
   CLI::App* const watch =
      commandAdd(app, options, "watch", "What is at a path and below, and each change of it",
                 "gantry watch /linux/interface");
   watch->add_option("PATH", options.path, "The entity, the root by default");
   watch->callback([&options, &work] {
      work = {{{"command", "watch"}, {"path", options.path.empty() ? "/" : options.path}},
              &eventText,
              true};
   });
}

void othersAdd(CLI::App& app, Options& options, Work& work) {
   CLI::App* const set =
      commandAdd(app, options, "set", "Store a value, given in its text form; text needs no quotes",
                 "gantry set /services/mountConfig/fabric/mountGroupConfig/links"
                 ".preserveMountsOnDisconnect True");
   set->add_option("PATH", options.path, "PATH.ATTRIBUTE or PATH.ATTRIBUTE[KEY]")->required();
   set->add_option("VALUE", options.value, "The new value")->required();
   set->callback([&options, &work] {
      work = {{{"command", "set"}, {"path", options.path}, {"value", options.value}}, &valuesText};
   });
   CLI::App* const types = commandAdd(app, options, "types", "The host's types, or one of them",
                                      "gantry types Fen::Dir");
   types->add_option("NAME", options.name, "The full name of a type");
   types->callback([&options, &work] {
      work = {{{"command", "types"}, {"name", options.name}}, &typesText};
   });
   CLI::App* const stats =
      commandAdd(app, options, "stats", "Counters of the host", "gantry stats --prometheus");
   stats->add_flag("--prometheus", options.prometheus, "The text format of Prometheus");
   stats->callback([&options, &work] {
      work = {{{"command", "stats"}}, options.prometheus ? &prometheusText : &metricsText};
   });
}

void controllerAdd(CLI::App& app, Options& options, Work& work) {
   CLI::App* const status =
      commandAdd(app, options, "status", "What a controller mounts, with the sums at the top",
                 "gantry status --watch");
   status->add_flag("--watch", options.watches, "Again each second in which something has changed");
   status->callback([&options, &work] {
      work = {{{"command", "status"}}, &statusText, false, options.watches};
   });
   CLI::App* const explain =
      commandAdd(app, options, "explain", "Why a path is or is not mounted from a switch",
                 "gantry explain fabric linux/interface leaf1");
   explain->add_option("SERVICE", options.service, "The service that wants it")->required();
   explain->add_option("PATH", options.path, "The path on the switch")->required();
   explain->add_option("SYSTEM", options.system, "The switch, by name or system id")->required();
   explain->callback([&options, &work] {
      work = {{{"command", "explain"},
               {"service", options.service},
               {"path", options.path},
               {"system", options.system}},
              &explanationText};
   });
}

void print(Options const& options, Work const& work, Json const& answer) {
   std::cout << (options.json ? answer.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n"
                              : work.printer(answer))
             << std::flush;
}

void traceAdd(CLI::App& app, Options& options, Work& work) {
   CLI::App* const trace = commandAdd(app, options, "trace", "The ring trace of the running host",
                                      "gantry trace -f --machine MountSm");
   TraceTool::choiceAdd(*trace, options.trace);
   trace->callback([&work] { work = {{{"command", "host"}}, nullptr, false, false, true}; });
}

/// For the build; nobody else needs them, so they are not shown.
void documentsAdd(CLI::App& app, Work& work) {
   CLI::App* const completion = app.add_subcommand("completion", "The completion for bash");
   completion->group("")->callback([&app, &work] { work.text = completionText(app); });
   CLI::App* const manual = app.add_subcommand("manual", "The manual page");
   manual->group("")->callback([&app, &work] { work.text = manualText(app); });
}

void traceShow(Options const& options, Json const& answer) {
   std::string const file = memberOf(answer, "ring");
   if (file.empty()) {
      throw RefusedError("this host writes no ring trace; start it with --ring FILE");
   }
   TraceTool::Options trace = options.trace;
   trace.file = file;
   trace.json = options.json;
   trace.program = "gantry";
   try {
      TraceTool::TracePrinter(trace).run();
   } catch (RingScribe::TraceReadError const& error) {
      throw RefusedError(error.what());
   }
}

/// Until the host ends, an interrupt comes, or nobody reads any more.
void repeat(HostConnection& host, Options const& options, Work const& work) {
   bool const isScreen = isatty(STDOUT_FILENO) != 0 && !options.json;
   Json shown;
   while (std::cout) {
      Json const answer = host.ask(work.request);
      if (answer != shown) {
         std::cout << (isScreen ? clearScreen : "");
         print(options, work, answer);
         shown = answer;
      }
      std::this_thread::sleep_for(std::chrono::seconds(1));
   }
}

void carryOut(Options const& options, Work const& work) {
   if (!work.text.empty()) {
      std::cout << work.text << std::flush;
      return;
   }
   HostConnection host(options.control);
   if (work.isRepeated) {
      repeat(host, options, work);
      return;
   }
   Json const answer = host.ask(work.request);
   if (work.isTrace) {
      traceShow(options, answer);
      return;
   }
   if (!work.isStream) {
      print(options, work, answer);
      return;
   }
   // Ends with what is watched, with the host, with an interrupt, or when nobody reads any more.
   while (std::cout) {
      Json const event = host.next();
      print(options, work, event);
      if (memberOf(event, "event") == "ended") {
         throw EndedError(memberOf(event, "path") +
                          " is no longer there; watch again when it is back, or what is above it");
      }
   }
}

int failed(std::string const& text, int status) {
   std::cerr << "gantry: " << plainText(text) << std::endl;
   return status;
}

} // namespace

int toolRun(int argc, char const* const* argv) {
   CLI::App app("Looks at a running gantry-switch or gantry-controller, and drives it.", "gantry");
   Options options;
   Work work;
   // None is found out below: so a word that is no command is what is complained about.
   app.require_subcommand(0, 1);
   app.fallthrough();
   app.add_option("--control", options.control, "The socket that the host was started with")
      ->envname("GANTRY_CONTROL")
      ->required();
   app.footer("Exit status: 0 done, 1 refused by the host, 2 wrong command line, 3 no host, "
              "4 what was watched has gone.");
   readersAdd(app, options, work);
   othersAdd(app, options, work);
   controllerAdd(app, options, work);
   traceAdd(app, options, work);
   documentsAdd(app, work);
   try {
      if (!parse(app, argc, argv)) {
         return toolDone;
      }
      if (app.get_subcommands().empty()) {
         throw UserError("say what to show, such as 'gantry tree'; --help lists the commands");
      }
      carryOut(options, work);
   } catch (UserError const& error) {
      return failed(error.what(), toolUsage);
   } catch (RefusedError const& error) {
      return failed(error.what(), toolRefused);
   } catch (NoHostError const& error) {
      return failed(error.what(), toolNoHost);
   } catch (EndedError const& error) {
      return failed(error.what(), toolEnded);
   }
   return toolDone;
}

} // namespace Host
