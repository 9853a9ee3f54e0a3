/// Where a trace reader gets the bytes of a trace file from: the file itself, or memory. Reading is
/// by copies and never through a mapping, because a mapped file that somebody truncates kills its
/// reader. Owned by whoever reads; any one thread.
#pragma once

#include <gantry/runtime/Export.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <sys/types.h>

namespace RingScribe {

class GANTRY_EXPORT TraceSource {
 public:
   TraceSource() = default;
   TraceSource(TraceSource const&) = delete;
   TraceSource& operator=(TraceSource const&) = delete;
   virtual ~TraceSource();

   /// Bytes that there are now.
   virtual std::uint64_t bytes() const = 0;
   /// Copies bytes from `offset` on. Returns false when there are not that many.
   virtual bool read(std::uint64_t offset, std::span<std::byte> into) const = 0;
};

/// Bytes in memory, which must outlive the source.
class GANTRY_EXPORT TraceMemorySource : public TraceSource {
 public:
   explicit TraceMemorySource(std::span<std::byte const> memory) : memory_(memory) {}
   ~TraceMemorySource() override;
   std::uint64_t bytes() const override { return memory_.size(); }
   bool read(std::uint64_t offset, std::span<std::byte> into) const override;

 private:
   std::span<std::byte const> memory_;
};

/// A file, as the path named it when the source was made.
class GANTRY_EXPORT TraceFileSource : public TraceSource {
 public:
   /// Raises TraceReadError when the file cannot be opened or is no plain file.
   explicit TraceFileSource(std::string path);
   ~TraceFileSource() override;
   std::uint64_t bytes() const override;
   bool read(std::uint64_t offset, std::span<std::byte> into) const override;
   /// True when the path names another file by now.
   bool replaced() const;
   std::string const& path() const { return path_; }

 private:
   std::string path_;
   int descriptor_;
   dev_t device_ = 0;
   ino_t inode_ = 0;
};

} // namespace RingScribe
