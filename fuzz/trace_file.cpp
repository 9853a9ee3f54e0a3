// Fuzzes the reader of trace files: any bytes are refused with an error or read, and a file that
// changes between two reads, as a living one does, is too. An input's first byte chooses: bit 0,
// whether the rest is a whole file or only what follows a sound header, so that the ring itself is
// reached; bit 1, whether the last 256 bytes change the file, four of them with every read.
#include <gantry/runtime/ringscribe/TraceLayout.h>
#include <gantry/runtime/ringscribe/TraceReader.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

namespace {

using namespace RingScribe;

/// A file in memory that is written while it is read.
class ChangingSource : public TraceSource {
 public:
   ChangingSource(std::vector<std::byte> file, std::span<std::byte const> changes)
      : file_(std::move(file)), changes_(changes) {}

   std::uint64_t bytes() const override { return file_.size(); }
   bool read(std::uint64_t offset, std::span<std::byte> into) const override {
      if (changes_.size() >= 4) {
         std::uint16_t place;
         std::memcpy(&place, changes_.data(), sizeof place);
         for (std::size_t i = 0; i < 2 && place + i < file_.size(); ++i) {
            file_[place + i] = changes_[2 + i];
         }
         changes_ = changes_.subspan(4);
      }
      return TraceMemorySource(file_).read(offset, into);
   }

 private:
   mutable std::vector<std::byte> file_;
   mutable std::span<std::byte const> changes_;
};

/// A sound header, with what changes in a living file taken from the input, and then the input.
std::vector<std::byte> withHeader(std::span<std::byte const> input) {
   TraceHeader header{};
   std::memcpy(header.magic, traceMagic, sizeof header.magic);
   header.version = traceVersion;
   header.byteOrder = traceByteOrder;
   header.headerBytes = traceHeaderBytes;
   header.descriptorBytes = 1024;
   header.ringBytes = 2 * traceSlackBytes;
   header.slackBytes = traceSlackBytes;
   header.fileBytes = traceHeaderBytes + 1024 + 3 * traceSlackBytes;
   header.ticksPerSecond = 1'000'000'000;
   std::size_t const changing = offsetof(TraceHeader, last);
   std::size_t const taken = std::min(input.size(), sizeof header - changing);
   std::vector<std::byte> file(header.fileBytes);
   std::memcpy(file.data(), &header, sizeof header);
   if (taken != 0) {
      std::memcpy(file.data() + changing, input.data(), taken);
   }
   input = input.subspan(taken);
   input = input.first(std::min(input.size(), file.size() - traceHeaderBytes));
   if (!input.empty()) {
      std::memcpy(file.data() + traceHeaderBytes, input.data(), input.size());
   }
   return file;
}

void check(TraceMessage const& message) {
   for (char const byte : message.text) {
      if (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f) {
         std::abort();
      }
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   if (size == 0) {
      return 0;
   }
   std::span<std::byte const> input = std::as_bytes(std::span(data, size));
   unsigned const choice = data[0];
   input = input.subspan(1);
   std::span<std::byte const> changes;
   if ((choice & 2) != 0) {
      changes = input.last(std::min<std::size_t>(input.size(), 256));
      input = input.first(input.size() - changes.size());
   }
   ChangingSource const source(
      (choice & 1) != 0 ? withHeader(input) : std::vector<std::byte>(input.begin(), input.end()),
      changes);
   try {
      TraceReader reader(source, "file");
      std::size_t const most = size < 1'000'000 ? 1'000'000 : size;
      std::size_t count = 0;
      for (int round = 0; round < 3; ++round) {
         count += reader.readNew(check);
         if (count > most) {
            std::abort();
         }
      }
   } catch (TraceReadError const&) {
      // A refusal, as it should be.
   }
   return 0;
}
