/// Puts a new trace file at a path. The file grows under a name of its own and takes the path's
/// place in one step when it is complete, so that no reader ever meets half a file and one that
/// still reads the file before keeps it. A lock on the file says that its writer lives; the kernel
/// drops it with the writer, however that dies. Lives on the stack of the trace file's
/// constructor. Private to the library.
#pragma once

#include <cstddef>
#include <string>

namespace RingScribe {

class TracePath {
 public:
   /// Makes and locks the new file beside `path`. Raises TraceFileError.
   TracePath(std::string path, std::size_t bytes);
   TracePath(TracePath const&) = delete;
   TracePath& operator=(TracePath const&) = delete;
   ~TracePath();

   /// Maps the file; the caller unmaps it. Raises TraceFileError.
   void* map() const;
   /// Puts the file in its place. Raises TraceFileError when a living process writes the file that
   /// is there, or when what is there is no trace file.
   void publish();
   /// Gives the descriptor of the published file, which holds its lock, to the caller.
   int release();

 private:
   [[noreturn]] void fail(std::string const& reason) const;
   [[noreturn]] void failBySystem(char const* what, int error) const;
   /// Checks that the open file may be replaced. Returns false when it is no longer at the path.
   bool replaceable(int earlier) const;

   std::string path_;
   std::string newPath_;
   std::size_t bytes_;
   int descriptor_ = -1;
};

} // namespace RingScribe
