// The main function of a fuzz target in a build without libFuzzer.
// It gives the target each file of the directories and files named on the command line, in order
// of their names, once and on the main thread; it fails when it was given no file at all. A target
// that dies takes the process with it, after the name of the input was printed.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> inputFiles(int argc, char** argv) {
   std::vector<fs::path> files;
   for (int i = 1; i < argc; ++i) {
      if (!fs::is_directory(argv[i])) {
         files.emplace_back(argv[i]);
         continue;
      }
      for (auto const& entry : fs::recursive_directory_iterator(argv[i])) {
         if (entry.is_regular_file()) {
            files.push_back(entry.path());
         }
      }
   }
   std::sort(files.begin(), files.end());
   return files;
}

bool replay(fs::path const& file) {
   std::printf("%s\n", file.c_str());
   std::fflush(stdout);
   std::ifstream stream(file, std::ios::binary);
   if (!stream) {
      std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
      return false;
   }
   std::string const bytes{std::istreambuf_iterator<char>(stream),
                           std::istreambuf_iterator<char>()};
   // A copy of exactly the right size lets AddressSanitizer see a read past the end.
   std::vector<std::uint8_t> const data(bytes.begin(), bytes.end());
   LLVMFuzzerTestOneInput(data.data(), data.size());
   return true;
}

} // namespace

int main(int argc, char** argv) {
   auto const files = inputFiles(argc, argv);
   if (files.empty()) {
      std::fprintf(stderr, "no input files: name files or directories to replay\n");
      return 2;
   }
   bool good = true;
   for (auto const& file : files) {
      good = replay(file) && good;
   }
   std::printf("%zu inputs replayed\n", files.size());
   return good ? 0 : 1;
}
