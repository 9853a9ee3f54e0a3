/// What a test hears of the traces: the stream trace as a text, and the ring trace as the texts of
/// its messages. A test holds one of each for as long as it listens; header only, on the activity
/// loop's thread.
#pragma once

#include <gantry/runtime/fen/Trace.h>
#include <gantry/runtime/ringscribe/Trace.h>
#include <gantry/runtime/ringscribe/TraceReader.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace TestSupport {

/// Sends every trace of a scope into a text.
class Traces {
 public:
   Traces() : former_(Fen::coverageStream_) { Fen::coverageStream_ = &stream_; }
   ~Traces() { Fen::coverageStream_ = former_; }
   bool has(std::string const& text) const { return stream_.str().find(text) != std::string::npos; }
   bool hasLine(std::string const& line) const {
      return ("\n" + stream_.str()).find("\n" + line + "\n") != std::string::npos;
   }
   std::string text() const { return stream_.str(); }
   void clear() { stream_.str(""); }

 private:
   std::ostream* former_;
   std::ostringstream stream_;
};

/// Sends the ring trace of a scope into a file of its own, and reads it back.
class RingTraces {
 public:
   RingTraces() {
      char pattern[] = "/tmp/gantry-ring-XXXXXX";
      folder_ = ::mkdtemp(pattern);
      RingScribe::theTraceFile =
         RingScribe::traceFileFactory((folder_ / "trace").c_str(), 256 * 1024);
      source_.emplace((folder_ / "trace").string());
      reader_.emplace(*source_, "trace");
   }
   ~RingTraces() {
      RingScribe::theTraceFile = nullptr;
      std::filesystem::remove_all(folder_);
   }
   /// What has been traced since the last call.
   std::vector<std::string> texts() {
      std::vector<std::string> result;
      reader_->readNew([&](RingScribe::TraceMessage const& each) { result.push_back(each.text); });
      return result;
   }
   /// The levels of what has been traced since the last call.
   std::vector<int> levels() {
      std::vector<int> result;
      reader_->readNew([&](RingScribe::TraceMessage const& each) { result.push_back(each.level); });
      return result;
   }

 private:
   std::filesystem::path folder_;
   std::optional<RingScribe::TraceFileSource> source_;
   std::optional<RingScribe::TraceReader> reader_;
};

} // namespace TestSupport
