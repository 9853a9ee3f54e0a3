/// Making files, and reading files that are no trace files or not whole ones.
#include "TraceTestSupport.h"

#include <cstring>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace RingScribe;
using TraceTest::fileBytes;
using TraceTest::fileBytesAre;
using TraceTest::textsOf;
using TraceTest::traceNumbered;

class TraceFiles : public TraceTest::Trace {
 protected:
   /// The error's text, or nothing when there is none.
   std::string makingFails(std::string const& file, std::size_t bytes = traceFileBytesMin) {
      try {
         traceFileFactory(file, bytes);
      } catch (TraceFileError const& error) {
         return error.what();
      }
      return "";
   }
};

/// The messages in `bytes`, or the error.
std::string readAll(std::string const& bytes) {
   try {
      TraceMemorySource const source(std::as_bytes(std::span(bytes)));
      TraceReader reader(source, "file");
      std::string result;
      reader.readNew([&](TraceMessage const& message) { result += message.text + "\n"; });
      return result;
   } catch (TraceReadError const& error) {
      return error.what();
   }
}

TEST_F(TraceFiles, HasItsSizeAndIsTheOwnersAlone) {
   for (std::size_t bytes : {traceFileBytesMin, std::size_t{100001}, std::size_t{1} << 20}) {
      mode_t const mask = umask(0277);
      traceTo(bytes);
      umask(mask);
      struct stat status {};
      ASSERT_EQ(stat(path().c_str(), &status), 0);
      EXPECT_EQ(status.st_size, static_cast<off_t>(bytes));
      EXPECT_EQ(status.st_mode & 07777, mode_t{0600});
      EXPECT_EQ(theTraceFile->bytes(), bytes);
      EXPECT_LT(theTraceFile->ringBytes(), bytes);
      theTraceFile = nullptr;
   }
}

TEST_F(TraceFiles, LeavesNothingElseBehind) {
   traceTo();
   fileBytesAre(path("foreign"), "precious");
   EXPECT_NE(makingFails(path("foreign")), "");
   EXPECT_NE(makingFails(path()), "");
   std::size_t files = 0;
   for (auto const& entry :
        std::filesystem::directory_iterator(std::filesystem::path(path()).parent_path())) {
      static_cast<void>(entry);
      ++files;
   }
   EXPECT_EQ(files, 2u);
}

TEST_F(TraceFiles, BadSizesAndPaths) {
   EXPECT_NE(makingFails(path(), 0).find("choose a size"), std::string::npos);
   EXPECT_NE(makingFails(path(), traceFileBytesMin - 1).find("choose a size"), std::string::npos);
   EXPECT_NE(makingFails(path(), traceFileBytesMax + 1).find("choose a size"), std::string::npos);
   EXPECT_NE(makingFails("").find("give the path"), std::string::npos);
   EXPECT_NE(makingFails(path("no/such/folder")).find("No such file"), std::string::npos);
   std::filesystem::create_directory(path("folder"));
   EXPECT_NE(makingFails(path("folder")), "");
   std::filesystem::create_symlink("nowhere", path("link"));
   EXPECT_NE(makingFails(path("link")).find("symbolic link"), std::string::npos);
   ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
   EXPECT_NE(makingFails(path("pipe")).find("something other than a file"), std::string::npos);
}

TEST_F(TraceFiles, ForeignFileIsNotReplaced) {
   fileBytesAre(path(), "somebody's work");
   EXPECT_NE(makingFails(path()).find("no trace file"), std::string::npos);
   EXPECT_EQ(fileBytes(path()), "somebody's work");
   fileBytesAre(path(), "");
   EXPECT_EQ(makingFails(path()), "");
}

TEST_F(TraceFiles, EarlierTraceFileIsReplacedAndItsReaderKeepsIt) {
   traceTo();
   traceNumbered(1);
   TraceFileSource const source(path());
   TraceReader reader(source, "old");
   theTraceFile = nullptr;
   traceTo();
   traceNumbered(2);
   EXPECT_TRUE(source.replaced());
   std::vector<std::string> texts;
   reader.readNew([&](TraceMessage const& message) { texts.push_back(message.text); });
   ASSERT_EQ(texts.size(), 1u);
   EXPECT_EQ(TraceTest::numberOf(texts[0]), 1u);
}

TEST_F(TraceFiles, SecondFileOfTheSamePathInOneProcessIsRefused) {
   traceTo();
   EXPECT_NE(makingFails(path()).find("process " + std::to_string(getpid())), std::string::npos);
}

TEST_F(TraceFiles, EveryTruncationIsOneClearLine) {
   traceTo(traceFileBytesMin);
   for (std::uint32_t i = 0; i < 500; ++i) {
      traceNumbered(i);
   }
   std::string const whole = fileBytes(path());
   ASSERT_EQ(whole.size(), traceFileBytesMin);
   for (std::size_t length = 0; length < whole.size(); ++length) {
      std::string const text = readAll(whole.substr(0, length));
      ASSERT_EQ(text.find('\n'), std::string::npos);
      char const* const expected =
         length < sizeof traceMagic ? "file: not a trace file" : "file: truncated trace file";
      ASSERT_EQ(text.rfind(expected, 0), 0u) << length << ": " << text;
   }
   EXPECT_NE(readAll(whole).find("number 499"), std::string::npos);
   EXPECT_EQ(readAll(whole + "x").rfind("file: damaged trace file", 0), 0u);
}

TEST_F(TraceFiles, ForeignBytes) {
   EXPECT_EQ(readAll("#!/bin/sh\n").rfind("file: not a trace file", 0), 0u);
   EXPECT_EQ(readAll(std::string(100'000, '\0')).rfind("file: not a trace file", 0), 0u);
   EXPECT_EQ(readAll(std::string(100'000, '\xff')).rfind("file: not a trace file", 0), 0u);
   EXPECT_THROW(TraceFileSource(path("missing")), TraceReadError);
   EXPECT_THROW(TraceFileSource("/dev/null"), TraceReadError);
   EXPECT_THROW(TraceFileSource("/"), TraceReadError);
}

TEST_F(TraceFiles, HeaderOfAnotherMachineOrVersion) {
   traceTo(traceFileBytesMin);
   std::string bytes = fileBytes(path());
   std::string version = bytes;
   version[offsetof(TraceHeader, version)] = 9;
   EXPECT_NE(readAll(version).find("version 9"), std::string::npos);
   std::swap(bytes[offsetof(TraceHeader, byteOrder)], bytes[offsetof(TraceHeader, byteOrder) + 3]);
   EXPECT_NE(readAll(bytes).find("byte order"), std::string::npos);
}

TEST_F(TraceFiles, EveryDamagedByteIsSurvived) {
   traceTo(traceFileBytesMin);
   for (std::uint32_t i = 0; i < 300; ++i) {
      traceNumbered(i);
   }
   std::string const whole = fileBytes(path());
   std::mt19937 random(5);
   for (unsigned round = 0; round < 20'000; ++round) {
      std::string bytes = whole;
      std::size_t const place = round < sizeof(TraceHeader) ? round : random() % bytes.size();
      bytes[place] = static_cast<char>(random());
      readAll(bytes);
   }
}

TEST_F(TraceFiles, DamagedMessageEndsTheWayBack) {
   traceTo(traceFileBytesMin);
   for (unsigned i = 0; i < 10; ++i) {
      RINGSCRIBE_TRACE(5, "message ", i);
   }
   std::string bytes = fileBytes(path());
   std::size_t const ring = traceHeaderBytes + 2048;
   // The fifth message loses its number; what stands behind it is still whole.
   bytes[ring + 4 * 24 + offsetof(TraceMsgHead, sequence)] ^= 0x55;
   EXPECT_EQ(readAll(bytes), "message 5\nmessage 6\nmessage 7\nmessage 8\nmessage 9\n");
   // When the newest makes no sense there is nothing to start from.
   bytes[ring + 9 * 24 + offsetof(TraceMsgHead, units)] = 0;
   EXPECT_EQ(readAll(bytes).rfind("file: damaged trace file", 0), 0u);
}

/// Writes a header field into a copy of a file.
template <class T>
void fieldIs(std::string& bytes, std::size_t offset, T value) {
   std::memcpy(bytes.data() + offset, &value, sizeof value);
}

TEST_F(TraceFiles, TicksBecomeTimeByTheAnchorsAroundThem) {
   traceTo(traceFileBytesMin);
   for (unsigned i = 0; i < 6; ++i) {
      RINGSCRIBE_TRACE(5, "at ", i);
   }
   std::string bytes = fileBytes(path());
   constexpr std::int64_t second = 1'000'000'000;
   std::int64_t const start = 1'000'000 * second;
   fieldIs(bytes, offsetof(TraceHeader, ticksPerSecond), std::uint64_t{1000});
   fieldIs(bytes, offsetof(TraceHeader, firstAnchor), TraceAnchor{1000, start});
   std::size_t const anchors = offsetof(TraceHeader, anchors);
   fieldIs(bytes, anchors, TraceAnchor{1000, start});
   // The counter runs a hair faster than was thought, then the clock is set back by a minute.
   fieldIs(bytes, anchors + 16, TraceAnchor{11'005, start + 10 * second});
   fieldIs(bytes, anchors + 32, TraceAnchor{21'005, start - 40 * second});
   fieldIs(bytes, offsetof(TraceHeader, anchorCount), std::uint64_t{3});
   std::uint64_t const ticks[] = {0, 1000, 6002, 11'005, 21'004, 22'005};
   for (std::size_t i = 0; i < 6; ++i) {
      fieldIs(bytes, traceHeaderBytes + 2048 + i * 24 + offsetof(TraceMsgHead, ticks), ticks[i]);
   }
   TraceMemorySource const source(std::as_bytes(std::span(bytes)));
   TraceReader reader(source, "file");
   std::vector<std::int64_t> times;
   reader.readNew(
      [&](TraceMessage const& message) { times.push_back(message.wallNanoseconds - start); });
   ASSERT_EQ(times.size(), 6u);
   EXPECT_NEAR(static_cast<double>(times[0]), -1.0 * second, 1e6);
   EXPECT_EQ(times[1], 0);
   EXPECT_NEAR(static_cast<double>(times[2]), 5002.0 / 10005.0 * 10 * second, 1e3);
   EXPECT_EQ(times[3], 10 * second);
   EXPECT_NEAR(static_cast<double>(times[4]), 19.999 * second, 1e6);
   EXPECT_NEAR(static_cast<double>(times[5]), -39.0 * second, 1e6);
}

} // namespace
