/// How a trace file takes a path from a dead writer and is refused it by a living one.
#include <gantry/runtime/ringscribe/TracePath.h>

#include <gantry/runtime/ringscribe/TraceFile.h>
#include <gantry/runtime/ringscribe/TraceLayout.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace RingScribe {

namespace {

/// Closes a descriptor, and with it drops its lock.
class Closer {
 public:
   explicit Closer(int descriptor) : descriptor_(descriptor) {}
   Closer(Closer const&) = delete;
   Closer& operator=(Closer const&) = delete;
   ~Closer() { close(descriptor_); }

 private:
   int descriptor_;
};

} // namespace

TracePath::TracePath(std::string path, std::size_t bytes) : path_(std::move(path)), bytes_(bytes) {
   if (path_.empty() || path_.find('\0') != std::string::npos) {
      fail("give the path of a file");
   }
   for (unsigned attempt = 0; descriptor_ < 0; ++attempt) {
      newPath_ = path_ + "." + std::to_string(getpid()) + "." + std::to_string(attempt) + ".new";
      descriptor_ =
         open(newPath_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
      if (descriptor_ < 0 && (errno != EEXIST || attempt == 100)) {
         int const error = errno;
         newPath_.clear();
         failBySystem("choose a path in a directory that this process may write to", error);
      }
   }
}

TracePath::~TracePath() {
   if (descriptor_ >= 0) {
      unlink(newPath_.c_str());
      close(descriptor_);
   }
}

void TracePath::fail(std::string const& reason) const {
   throw TraceFileError("cannot make the trace file " + path_ + ": " + reason);
}

void TracePath::failBySystem(char const* what, int error) const {
   fail(std::string(std::strerror(error)) + "; " + what);
}

void* TracePath::map() const {
   // The mode is exact, whatever the umask says. All blocks are taken now: a store into a mapped
   // file for which the disk has no room left would kill the process.
   if (fchmod(descriptor_, 0600) != 0 || flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
      failBySystem("choose another file system", errno);
   }
   if (int const error = posix_fallocate(descriptor_, 0, static_cast<off_t>(bytes_)); error != 0) {
      failBySystem("make room or choose a smaller size", error);
   }
   void* const memory =
      mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, descriptor_, 0);
   if (memory == MAP_FAILED) {
      failBySystem("choose a smaller size or another file system", errno);
   }
   return memory;
}

bool TracePath::replaceable(int earlier) const {
   struct stat opened {};
   struct stat named {};
   if (fstat(earlier, &opened) != 0) {
      failBySystem("choose another path", errno);
   }
   if (!S_ISREG(opened.st_mode)) {
      fail("something other than a file is there; choose another path");
   }
   char magic[sizeof traceMagic];
   if (opened.st_size != 0 && (pread(earlier, magic, sizeof magic, 0) != sizeof magic ||
                               std::memcmp(magic, traceMagic, sizeof magic) != 0)) {
      fail("a file that is no trace file is there; remove it or choose another path");
   }
   if (flock(earlier, LOCK_EX | LOCK_NB) != 0) {
      TraceHeader header{};
      std::string writer = "another process";
      if (pread(earlier, &header, sizeof header, 0) == sizeof header) {
         writer = "process " + std::to_string(header.writerPid);
      }
      fail(writer + " still traces to it; stop that process or choose another path");
   }
   return stat(path_.c_str(), &named) == 0 && named.st_dev == opened.st_dev &&
          named.st_ino == opened.st_ino;
}

void TracePath::publish() {
   // Whoever wants the path's place must hold the lock of the file that has it. So of two writers
   // that start together one wins and the other meets the winner's lock.
   for (;;) {
      int const earlier = open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
      if (earlier < 0) {
         if (errno != ENOENT) {
            failBySystem("choose another path", errno);
         }
         if (link(newPath_.c_str(), path_.c_str()) == 0) {
            unlink(newPath_.c_str());
            return;
         }
         if (errno != EEXIST) {
            failBySystem("choose another path", errno);
         }
         struct stat link {};
         if (lstat(path_.c_str(), &link) == 0 && S_ISLNK(link.st_mode)) {
            fail("a symbolic link to nowhere is there; remove it or choose another path");
         }
         continue;
      }
      Closer const closer(earlier);
      if (!replaceable(earlier)) {
         continue;
      }
      if (rename(newPath_.c_str(), path_.c_str()) != 0) {
         failBySystem("choose another path", errno);
      }
      return;
   }
}

int TracePath::release() {
   int const result = descriptor_;
   descriptor_ = -1;
   return result;
}

} // namespace RingScribe
