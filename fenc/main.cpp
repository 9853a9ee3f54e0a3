// fenc: the schema compiler's command line.
//
// Exit status: 0 done, 1 errors in the schemas or in writing (nothing is written for schemas with
// errors), 2 a command line that cannot be understood.

#include <fenc/Compiler.h>
#include <fenc/Writer.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr char const* help =
   "Usage: fenc [options] file.fen...\n"
   "\n"
   "Compiles schemas into C++. The schema DIR/a/B.fen, with DIR an import path, becomes\n"
   "OUT/a/B.fen.h and OUT/a/B.fen.cpp, with OUT the output directory. Files that would not\n"
   "change are left alone. Nothing is written when a schema has an error.\n"
   "\n"
   "Options:\n"
   "  --import-path DIR   look up imports below DIR; may be given several times; the first that\n"
   "                      has the schema wins (default: the current directory)\n"
   "  --output-dir OUT    write below OUT (default: the current directory)\n"
   "  --depfile FILE      also write the dependencies of the output, in the form of make\n"
   "  --version           print the version and exit\n"
   "  --help              print this text and exit\n"
   "\n"
   "The language is told in docs/schema-language.md.\n";

namespace fs = std::filesystem;

struct Options {
   std::vector<std::string> importPaths;
   std::string outputDirectory = ".";
   std::string depfile;
   std::vector<std::string> files;
};

class FileSource : public Fenc::Source {
 public:
   explicit FileSource(Options const& options) : options_(options) {}

   std::optional<File> read(std::string const& importName) override {
      for (std::string const& directory : options_.importPaths) {
         std::string const path = directory == "." ? importName : directory + '/' + importName;
         std::error_code error;
         if (!fs::is_regular_file(path, error)) {
            continue;
         }
         std::ifstream in(path, std::ios::binary);
         if (in) {
            return File{std::string(std::istreambuf_iterator<char>(in), {}), path};
         }
      }
      return std::nullopt;
   }

   /// The import name of a file on the command line; none when no import path leads to it.
   std::optional<std::string> importName(std::string const& file) const {
      fs::path const absolute = fs::absolute(file).lexically_normal();
      for (std::string const& directory : options_.importPaths) {
         fs::path const root = (fs::absolute(directory) / "").lexically_normal();
         std::string const relative = absolute.lexically_relative(root).generic_string();
         if (!relative.empty() && relative != "." && relative.compare(0, 2, "..") != 0) {
            return relative;
         }
      }
      return std::nullopt;
   }

 private:
   Options const& options_;
};

int usage(std::string const& problem) {
   std::cerr << "fenc: " << problem << "; 'fenc --help' tells the options\n";
   return 2;
}

/// Reads the command line. Returns an exit status when the run ends here.
std::optional<int> read(int count, char** values, Options& options) {
   for (int i = 1; i < count; ++i) {
      std::string const word = values[i];
      if (word == "--help" || word == "-h") {
         std::cout << help;
         return 0;
      }
      if (word == "--version") {
         std::cout << "fenc " FENC_VERSION "\n";
         return 0;
      }
      bool const takesValue =
         word == "--import-path" || word == "--output-dir" || word == "--depfile";
      if (takesValue) {
         if (i + 1 >= count || values[i + 1][0] == '\0') {
            return usage("the option " + word + " needs a value behind it");
         }
         std::string const value = values[++i];
         if (word == "--import-path") {
            options.importPaths.push_back(value);
         } else {
            (word == "--output-dir" ? options.outputDirectory : options.depfile) = value;
         }
      } else if (!word.empty() && word[0] == '-') {
         return usage("unknown option " + word);
      } else {
         options.files.push_back(word);
      }
   }
   if (options.files.empty()) {
      return usage("no schema was given");
   }
   if (options.importPaths.empty()) {
      options.importPaths.emplace_back(".");
   }
   return std::nullopt;
}

/// A name as a makefile wants it.
std::string escaped(std::string const& name) {
   std::string result;
   for (char const c : name) {
      if (c == ' ' || c == '#' || c == '\\') {
         result += '\\';
      } else if (c == '$') {
         result += '$';
      }
      result += c;
   }
   return result;
}

std::string dependencies(Options const& options, Fenc::CompileResult const& result) {
   std::string text;
   for (Fenc::OutputFile const& file : result.files) {
      text += escaped((fs::path(options.outputDirectory) / file.path).generic_string()) + ' ';
   }
   text += ':';
   for (std::string const& name : result.read) {
      text += " \\\n " + escaped(name);
   }
   return text + '\n';
}

int run(Options const& options) {
   FileSource source(options);
   std::vector<std::string> importNames;
   for (std::string const& file : options.files) {
      std::optional<std::string> const name = source.importName(file);
      if (!name) {
         return usage("the schema " + file + " lies below no import path");
      }
      importNames.push_back(*name);
   }
   Fenc::CompileResult const result = Fenc::compile(importNames, source);
   if (!result.ok) {
      std::cerr << result.errors;
      return 1;
   }
   std::string failure = Fenc::writeFiles(options.outputDirectory, result.files);
   if (failure.empty() && !options.depfile.empty()) {
      failure = Fenc::writeFiles(".", {{options.depfile, dependencies(options, result)}});
   }
   if (!failure.empty()) {
      std::cerr << "fenc: " << failure << '\n';
      return 1;
   }
   return 0;
}

} // namespace

int main(int count, char** values) {
   try {
      Options options;
      if (std::optional<int> const status = read(count, values, options)) {
         return *status;
      }
      return run(options);
   } catch (std::exception const& failure) {
      std::cerr << "fenc: " << failure.what() << '\n';
      return 1;
   }
}
