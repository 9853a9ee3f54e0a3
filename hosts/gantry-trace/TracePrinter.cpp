/// What gantry-trace prints, and how it follows a file that tells nobody of its changes.
#include <hosts/gantry-trace/TracePrinter.h>

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace TraceTool {

namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
/// A file that is written through a mapping tells nobody of changes, so following it is looking.
constexpr int lookMilliseconds = 50;
constexpr std::size_t bufferBytes = 64 * 1024;

} // namespace

void choiceAdd(CLI::App& app, Options& options) {
   app.add_flag("-f,--follow", options.follow,
                "Go on with new messages, also when the file is replaced, until interrupted");
   app.add_option(
         "--level", options.level,
         "Only messages up to this level: 1 what somebody has to see, 5 also decisions and "
         "outcomes, 8 also entry into operations")
      ->check(CLI::Range(0u, 9u));
   app.add_option("--machine", options.machine,
                  "Only messages of files whose names begin so, or that have it in their text");
}

void TimeText::append(std::string& to, std::int64_t wallNanoseconds) {
   std::int64_t nanoseconds = wallNanoseconds % nanosecondsPerSecond;
   std::int64_t second = wallNanoseconds / nanosecondsPerSecond;
   if (nanoseconds < 0) {
      nanoseconds += nanosecondsPerSecond;
      --second;
   }
   if (second != second_ || text_.empty()) {
      std::tm parts{};
      std::time_t const time = second;
      bool const known = (utc_ ? gmtime_r(&time, &parts) : localtime_r(&time, &parts)) != nullptr;
      char text[64];
      std::size_t const length =
         known ? std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts) : 0;
      text_ = length != 0 ? std::string(text, length) : std::to_string(second);
      second_ = second;
   }
   std::string const fraction = std::to_string(nanoseconds);
   to += text_;
   to += '.';
   to.append(9 - fraction.size(), '0');
   to += fraction;
}

TracePrinter::TracePrinter(Options options)
   : options_(std::move(options)), timeText_(options_.utc) {
   open();
}

void TracePrinter::open() {
   auto source = std::make_unique<RingScribe::TraceFileSource>(options_.file);
   reader_ = std::make_unique<RingScribe::TraceReader>(*source, options_.file);
   source_ = std::move(source);
   lostNoted_ = 0;
   refusedNoted_ = 0;
}

void TracePrinter::run() {
   print();
   while (options_.follow && wait()) {
      if (source_->replaced()) {
         // Its writer is gone, so one more look shows the last of it.
         print();
         note("the trace file was replaced; the new one follows");
         open();
      }
      print();
   }
}

void TracePrinter::print() {
   reader_->readNew([this](RingScribe::TraceMessage const& message) { append(message); });
   flush();
   if (reader_->lost() != lostNoted_) {
      note(std::to_string(reader_->lost() - lostNoted_) +
           " messages were overwritten before they could be printed");
      lostNoted_ = reader_->lost();
   }
   if (reader_->sitesRefused() != refusedNoted_) {
      note(std::to_string(reader_->sitesRefused()) +
           " message sites trace nothing, the file has no room to describe them; "
           "give the host a larger trace file");
      refusedNoted_ = reader_->sitesRefused();
   }
}

bool TracePrinter::isWanted(RingScribe::TraceMessage const& message) const {
   std::string_view const name = message.file.substr(message.file.rfind('/') + 1);
   if (message.level > options_.level) {
      return false;
   }
   return options_.machine.empty() || name.starts_with(options_.machine) ||
          message.text.find(options_.machine) != std::string::npos;
}

void TracePrinter::append(RingScribe::TraceMessage const& message) {
   if (!isWanted(message)) {
      return;
   }
   if (options_.json) {
      appendJson(message);
   } else {
      appendText(message);
   }
   buffer_ += '\n';
   if (buffer_.size() >= bufferBytes) {
      flush();
   }
}

void TracePrinter::appendJson(RingScribe::TraceMessage const& message) {
   nlohmann::ordered_json json;
   json["time"] = static_cast<double>(message.wallNanoseconds) / nanosecondsPerSecond;
   json["sequence"] = message.sequence;
   json["level"] = message.level;
   json["file"] = message.file.substr(message.file.rfind('/') + 1);
   json["line"] = message.line;
   json["text"] = message.text;
   buffer_ += json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void TracePrinter::appendText(RingScribe::TraceMessage const& message) {
   timeText_.append(buffer_, message.wallNanoseconds);
   buffer_ += ' ';
   if (options_.location) {
      buffer_ += message.file;
      buffer_ += ':';
      buffer_ += std::to_string(message.line);
      buffer_ += ' ';
   }
   buffer_ += message.text;
}

void TracePrinter::flush() {
   char const* at = buffer_.data();
   std::size_t left = buffer_.size();
   while (left != 0) {
      ssize_t const count = write(STDOUT_FILENO, at, left);
      if (count < 0 && errno == EINTR) {
         continue;
      }
      if (count < 0) {
         throw std::runtime_error(std::string("cannot write the output: ") + std::strerror(errno));
      }
      at += count;
      left -= static_cast<std::size_t>(count);
   }
   buffer_.clear();
}

bool TracePrinter::wait() const {
   // Asking for no event still tells of an error: the reader of a pipe has gone.
   pollfd output{STDOUT_FILENO, 0, 0};
   return poll(&output, 1, lookMilliseconds) <= 0;
}

void TracePrinter::note(std::string const& text) const {
   std::fprintf(stderr, "%s: %s: %s\n", options_.program.c_str(), options_.file.c_str(),
                text.c_str());
}

} // namespace TraceTool
