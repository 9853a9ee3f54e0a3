// Fuzzes the receiving side of one mount's log: any bytes, cut into frames as a connection would,
// must end in applied messages or in one ProtocolException, within the limits and without a leak.
// An input is a stream of frames; its first byte says whether the log is a target or a writable
// source.

#include <gantry/runtime/fen/NboAttrLogFlow.h>

// Entities of every kind that the tests have; they are no library of their own.
#include <tests/runtime/fen/HandWrittenEntity.cpp>
#include <tests/runtime/fen/NboAttrLogSample.cpp>

#include <algorithm>
#include <cstdlib>

namespace {

using Fen::NboAttrLog::Demuxer;

constexpr std::size_t treeLimit = 64 * 1024;
/// The budget counts what the entities hold; one more than the limit may have been begun.
constexpr std::size_t treeSlack = 4096;

struct Mount {
   explicit Mount(bool isSource) : directory(Fen::dirFactory("mounts")) {
      Demuxer::Options options;
      options.out = Fen::makePtr<Fen::Connection::Out>(std::size_t{64 * 1024});
      options.channel = 5;
      options.limits.tree = treeLimit;
      options.limits.depth = 8;
      options.writable = true;
      out = options.out;
      if (!isSource) {
         log = Demuxer::targetIs(options, directory, "copy", nullptr, nullptr);
         return;
      }
      log = Demuxer::sourceIs(options, nullptr);
      auto const chassis = Fen::makePtr<Sample::Chassis>("served");
      chassis->primaryIs(chassis->portIs("p", "k", "s"));
      chassis->allowedIs("a", true);
      directory->entityPtrIs(chassis);
      directory->entityPtrIs(Fen::makePtr<Sample::Panel>("panel"));
      log->rootIs(directory);
      flush();
   }
   ~Mount() { log->close(); }
   void flush() {
      log->flush(64 * 1024);
      out->sentIs(out->pending().size());
   }

   Fen::Ptr<Fen::Dir> directory;
   Fen::Ptr<Fen::Connection::Out> out;
   Fen::Ptr<Demuxer> log;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   static bool const typesAreMade = Sample::Chassis::_fwkType() != nullptr &&
                                    Sample::Port::_fwkType() != nullptr &&
                                    Sample::Panel::_fwkType() != nullptr;
   if (!typesAreMade || size < 1) {
      return 0;
   }
   Mount mount((data[0] & 1) != 0);
   std::size_t at = 1;
   while (size - at >= Fen::NboAttrLog::frameHeaderBytes && !mount.log->isClosed()) {
      std::size_t const wanted = Fen::loadBig32(data + at);
      auto const kind = static_cast<Fen::NboAttrLog::FrameKind>(data[at + 4]);
      at += Fen::NboAttrLog::frameHeaderBytes;
      std::size_t const length = std::min(
         wanted < Fen::NboAttrLog::frameKindBytes ? 0 : wanted - Fen::NboAttrLog::frameKindBytes,
         size - at);
      // Exactly as large as the payload, so that a sanitizer sees a read beyond it.
      std::unique_ptr<std::uint8_t[]> const payload(new std::uint8_t[length]);
      std::copy_n(data + at, length, payload.get());
      at += length;
      try {
         mount.log->receive(kind, payload.get(), length);
      } catch (Fen::NboAttrLog::ProtocolException const&) {
         break;
      }
      mount.flush();
      if (mount.log->budget().used() > treeLimit + treeSlack) {
         std::abort();
      }
   }
   return 0;
}
