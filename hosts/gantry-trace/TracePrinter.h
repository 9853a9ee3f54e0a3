/// Prints the messages of one trace file, and follows it when asked. Owned by main; one thread.
#pragma once

#include <gantry/runtime/ringscribe/TraceReader.h>
#include <gantry/runtime/ringscribe/TraceSource.h>

#include <CLI/CLI.hpp>

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>

namespace TraceTool {

struct Options {
   std::string file;
   /// Goes on with what comes, also when the file is replaced, until the process is ended.
   bool follow = false;
   /// Prints the place of each message's site.
   bool location = false;
   bool utc = false;
   /// Only messages of sites in files whose names begin so, or whose text has it; empty for all.
   std::string machine;
   /// Only messages of this level and below.
   unsigned level = 9;
   /// Each message as one line of JSON.
   bool json = false;
   /// Who speaks on standard error.
   std::string program = "gantry-trace";
};

/// Adds the options that choose messages to a command line.
void choiceAdd(CLI::App& app, Options& options);

/// Wall-clock time as text, "YYYY-MM-DD HH:MM:SS.nnnnnnnnn"; keeps the text of the last second.
class TimeText {
 public:
   explicit TimeText(bool utc) : utc_(utc) {}
   void append(std::string& to, std::int64_t wallNanoseconds);

 private:
   bool utc_;
   std::time_t second_ = -1;
   std::string text_;
};

class TracePrinter {
 public:
   /// Opens the file. Raises RingScribe::TraceReadError.
   explicit TracePrinter(Options options);

   /// Prints all there is; with `follow`, returns only when nobody reads the output any more.
   /// Raises RingScribe::TraceReadError, and std::runtime_error when the output fails.
   void run();

 private:
   void open();
   /// Prints what is new.
   void print();
   void append(RingScribe::TraceMessage const& message);
   void appendJson(RingScribe::TraceMessage const& message);
   void appendText(RingScribe::TraceMessage const& message);
   bool isWanted(RingScribe::TraceMessage const& message) const;
   void flush();
   /// Waits a moment. Returns false when the output has been closed.
   bool wait() const;
   void note(std::string const& text) const;

   Options options_;
   TimeText timeText_;
   std::unique_ptr<RingScribe::TraceFileSource> source_;
   std::unique_ptr<RingScribe::TraceReader> reader_;
   std::string buffer_;
   std::uint64_t lostNoted_ = 0;
   std::uint64_t refusedNoted_ = 0;
};

} // namespace TraceTool
