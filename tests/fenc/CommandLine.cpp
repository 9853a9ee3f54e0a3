// The program fenc as a build runs it: exit statuses, what it writes, and what it leaves alone.

#include "SchemaDirectory.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;
using FencTest::textOf;

class CommandLine : public testing::Test {
 protected:
   void SetUp() override {
      std::string pattern = (fs::temp_directory_path() / "fenc-test-XXXXXX").string();
      ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
      root_ = pattern;
      fs::create_directories(root_ / "in/part");
      write("in/part/Good.fen", "namespace Test;\nenum Color { red = 0; }\n");
      write("in/part/User.fen", "import \"part/Good.fen\";\nnamespace Test;\n"
                                "value Paint { color: Color; }\n");
      write("in/part/Bad.fen", "namespace Test;\nenum Color { red = 0; red = 1; }\n");
   }
   void TearDown() override { fs::remove_all(root_); }

   void write(std::string const& name, std::string const& text) {
      std::ofstream(root_ / name, std::ios::binary) << text;
   }
   /// Runs fenc in the directory and returns its exit status; output_ and errors_ hold what it
   /// said.
   int run(std::string const& arguments) {
      std::string const command = "cd '" + root_.string() +
                                  "' && '" GANTRY_BINARY_DIR "/fenc/fenc' " + arguments +
                                  " > out.txt 2> err.txt";
      int const status = std::system(command.c_str());
      output_ = textOf(root_ / "out.txt");
      errors_ = textOf(root_ / "err.txt");
      return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
   }

   fs::path root_;
   std::string output_;
   std::string errors_;
};

TEST_F(CommandLine, helpNamesEveryOption) {
   EXPECT_EQ(run("--help"), 0);
   for (char const* option : {"--import-path", "--output-dir", "--depfile", "--version"}) {
      EXPECT_NE(output_.find(option), std::string::npos) << option;
   }
   EXPECT_EQ(errors_, "");
}

TEST_F(CommandLine, writesBesideTheImportPathsLayout) {
   EXPECT_EQ(run("--import-path in --output-dir out in/part/Good.fen in/part/User.fen"), 0);
   EXPECT_EQ(errors_, "");
   for (char const* name : {"Good.fen.h", "Good.fen.cpp", "User.fen.h", "User.fen.cpp"}) {
      std::string const text = textOf(root_ / "out/part" / name);
      EXPECT_NE(text.find("part/" + std::string(name).substr(0, 8)), std::string::npos) << name;
      EXPECT_EQ(text.find(root_.string()), std::string::npos) << "an absolute path in " << name;
   }
   EXPECT_NE(textOf(root_ / "out/part/User.fen.h").find("<part/Good.fen.h>"), std::string::npos);
}

TEST_F(CommandLine, errorsWriteNothing) {
   EXPECT_EQ(run("--import-path in --output-dir out in/part/Good.fen in/part/Bad.fen"), 1);
   EXPECT_NE(errors_.find("in/part/Bad.fen:2:23: error: duplicate name"), std::string::npos)
      << errors_;
   EXPECT_FALSE(fs::exists(root_ / "out"));
}

TEST_F(CommandLine, leavesAnUnchangedFileAlone) {
   std::string const arguments = "--import-path in --output-dir out in/part/Good.fen";
   ASSERT_EQ(run(arguments), 0);
   fs::path const header = root_ / "out/part/Good.fen.h";
   auto const old = fs::last_write_time(header) - std::chrono::hours(1);
   fs::last_write_time(header, old);
   ASSERT_EQ(run(arguments), 0);
   EXPECT_EQ(fs::last_write_time(header), old);
   write("in/part/Good.fen", "namespace Test;\nenum Color { red = 1; }\n");
   ASSERT_EQ(run(arguments), 0);
   EXPECT_NE(fs::last_write_time(header), old);
   for (auto const& entry : fs::directory_iterator(root_ / "out/part")) {
      EXPECT_EQ(entry.path().string().find(".tmp"), std::string::npos) << entry.path();
   }
}

TEST_F(CommandLine, writesADependencyFile) {
   EXPECT_EQ(run("--import-path in --output-dir out --depfile out/User.d in/part/User.fen"), 0);
   EXPECT_EQ(textOf(root_ / "out/User.d"), "out/part/User.fen.h out/part/User.fen.cpp : \\\n"
                                           " in/part/User.fen \\\n in/part/Good.fen\n");
}

TEST_F(CommandLine, refusesWhatItCannotUnderstand) {
   for (char const* arguments :
        {"", "--unknown in/part/Good.fen", "--output-dir", "--import-path out in/part/Good.fen"}) {
      EXPECT_EQ(run(arguments), 2) << arguments;
      EXPECT_EQ(std::count(errors_.begin(), errors_.end(), '\n'), 1) << errors_;
   }
   EXPECT_EQ(run("--import-path in in/part/Missing.fen"), 1);
   EXPECT_NE(errors_.find("cannot read"), std::string::npos) << errors_;
}

TEST_F(CommandLine, saysWhenItCannotWrite) {
   write("taken", "a file where a directory should be");
   EXPECT_EQ(run("--import-path in --output-dir taken/below in/part/Good.fen"), 1);
   EXPECT_NE(errors_.find("fenc: cannot"), std::string::npos) << errors_;
}

} // namespace
