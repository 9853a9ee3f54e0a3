/// gantry-trace: prints the messages of a trace file in order with their times, whether its writer
/// runs, has ended or was killed. Exit 0, 1 when the output fails, 2 for a file or an option that
/// cannot be used, each with one line on standard error.
#include <hosts/gantry-trace/TracePrinter.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <string>

int main(int argc, char** argv) {
   CLI::App app("Prints the messages of a trace file in order with their times.", "gantry-trace");
   TraceTool::Options options;
   app.add_option("FILE", options.file, "The trace file")->required();
   TraceTool::choiceAdd(app, options);
   app.add_flag("--json", options.json, "Print each message as one line of JSON");
   app.add_flag("-l,--location", options.location, "Print where in the source each message stands");
   app.add_flag("-u,--utc", options.utc, "Print times in UTC instead of local time");
   try {
      app.parse(argc, argv);
   } catch (CLI::ParseError const& error) {
      if (error.get_exit_code() == 0) {
         return app.exit(error);
      }
      std::fprintf(stderr, "gantry-trace: %s; see gantry-trace --help\n", error.what());
      return 2;
   }
   try {
      TraceTool::TracePrinter(options).run();
   } catch (RingScribe::TraceReadError const& error) {
      std::fprintf(stderr, "gantry-trace: %s\n", error.what());
      return 2;
   } catch (std::exception const& error) {
      std::fprintf(stderr, "gantry-trace: %s\n", error.what());
      return 1;
   }
   return 0;
}
