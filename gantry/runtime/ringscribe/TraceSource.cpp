/// Bytes of trace files from memory and from files.
#include <gantry/runtime/ringscribe/TraceSource.h>

#include <gantry/runtime/ringscribe/TraceReader.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace RingScribe {

TraceSource::~TraceSource() = default;

TraceMemorySource::~TraceMemorySource() = default;

bool TraceMemorySource::read(std::uint64_t offset, std::span<std::byte> into) const {
   if (offset > memory_.size() || into.size() > memory_.size() - offset) {
      return false;
   }
   if (!into.empty()) {
      std::memcpy(into.data(), memory_.data() + offset, into.size());
   }
   return true;
}

TraceFileSource::TraceFileSource(std::string path)
   : path_(std::move(path)),
     descriptor_(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
   if (descriptor_ < 0) {
      throw TraceReadError(path_ + ": " + std::strerror(errno) +
                           "; name a trace file that you may read");
   }
   struct stat status {};
   if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
      close(descriptor_);
      throw TraceReadError(path_ + ": not a file; name a trace file");
   }
   device_ = status.st_dev;
   inode_ = status.st_ino;
}

TraceFileSource::~TraceFileSource() { close(descriptor_); }

std::uint64_t TraceFileSource::bytes() const {
   struct stat status {};
   return fstat(descriptor_, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

bool TraceFileSource::read(std::uint64_t offset, std::span<std::byte> into) const {
   std::size_t done = 0;
   while (done < into.size()) {
      ssize_t const count = pread(descriptor_, into.data() + done, into.size() - done,
                                  static_cast<off_t>(offset + done));
      if (count < 0 && errno == EINTR) {
         continue;
      }
      if (count <= 0) {
         return false;
      }
      done += static_cast<std::size_t>(count);
   }
   return true;
}

bool TraceFileSource::replaced() const {
   struct stat status {};
   return stat(path_.c_str(), &status) == 0 &&
          (status.st_dev != device_ || status.st_ino != inode_);
}

} // namespace RingScribe
