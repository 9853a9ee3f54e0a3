// Writing, with a temporary file and a rename.

#include <fenc/Writer.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace Fenc {

namespace {

bool holds(std::filesystem::path const& path, std::string const& text) {
   std::ifstream in(path, std::ios::binary);
   return in && std::string(std::istreambuf_iterator<char>(in), {}) == text;
}

std::string writeFile(std::filesystem::path const& path, std::string const& text) {
   std::error_code error;
   if (path.has_parent_path()) {
      std::filesystem::create_directories(path.parent_path(), error);
      if (error) {
         return "cannot make the directory " + path.parent_path().string() + ": " + error.message();
      }
   }
   // Two compilers of one build may write beside each other: each has its own temporary name.
   std::filesystem::path temporary = path;
   temporary += ".tmp" + std::to_string(::getpid());
   {
      std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
      out << text;
      out.flush();
      if (!out) {
         out.close();
         std::filesystem::remove(temporary, error);
         return "cannot write " + temporary.string();
      }
   }
   std::filesystem::rename(temporary, path, error);
   if (error) {
      std::string const reason = error.message();
      std::filesystem::remove(temporary, error);
      return "cannot write " + path.string() + ": " + reason;
   }
   return {};
}

} // namespace

std::string writeFiles(std::string const& outputDirectory, std::vector<OutputFile> const& files) {
   for (OutputFile const& file : files) {
      std::filesystem::path const path = std::filesystem::path(outputDirectory) / file.path;
      if (!holds(path, file.text)) {
         std::string failure = writeFile(path, file.text);
         if (!failure.empty()) {
            return failure;
         }
      }
   }
   return {};
}

} // namespace Fenc
