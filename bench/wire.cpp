// The attribute log: one change encoded and decoded, beside a plain big-endian store of the same
// fields and the peers that are installed, and the same with dispatch from a setter and into a live
// entity.

#include "Ratios.h"
#include "peers/WirePeers.h"

#include <gantry/runtime/fen/NboAttrLogFlow.h>
#include <gantry/runtime/fen/NboAttrLogForm.h>

// The entity of the tests; it is no library of its own.
#include <tests/runtime/fen/HandWrittenEntity.cpp>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using Fen::NboAttrLog::Demuxer;
using Sample::Port;

using BenchWire::buffer;
using BenchWire::Decoded;

std::array<Fen::String8, 8> textsMade() {
   std::array<Fen::String8, 8> made;
   std::copy(BenchWire::texts.begin(), BenchWire::texts.end(), made.begin());
   return made;
}
std::array<Fen::String8, 8> const texts = textsMade();

// ---- the floor: length, type, entity, attribute and value, stored and read with bounds checks

[[gnu::noinline]] std::size_t floorNumber(std::uint8_t* at, std::uint64_t entity,
                                          std::uint32_t attribute, std::uint32_t value) {
   Fen::storeBig16(at, 20);
   Fen::storeBig16(at + 2, 1);
   Fen::storeBig64(at + 4, entity);
   Fen::storeBig32(at + 12, attribute);
   Fen::storeBig32(at + 16, value);
   return 20;
}
[[gnu::noinline]] std::size_t floorText(std::uint8_t* at, std::uint64_t entity,
                                        std::uint32_t attribute, std::string_view text) {
   auto const length = static_cast<std::uint16_t>(18 + text.size());
   Fen::storeBig16(at, length);
   Fen::storeBig16(at + 2, 2);
   Fen::storeBig64(at + 4, entity);
   Fen::storeBig32(at + 12, attribute);
   Fen::storeBig16(at + 16, static_cast<std::uint16_t>(text.size()));
   std::memcpy(at + 18, text.data(), text.size());
   return length;
}
[[gnu::noinline]] bool floorDecode(std::uint8_t const* at, std::size_t size, Decoded& decoded) {
   if (size < 16 || Fen::loadBig16(at) > size) {
      return false;
   }
   std::uint16_t const length = Fen::loadBig16(at);
   decoded.entity = Fen::loadBig64(at + 4);
   decoded.attribute = Fen::loadBig32(at + 12);
   switch (Fen::loadBig16(at + 2)) {
   case 1:
      if (length != 20) {
         return false;
      }
      decoded.number = Fen::loadBig32(at + 16);
      return true;
   case 2: {
      if (length < 18) {
         return false;
      }
      std::uint16_t const characters = Fen::loadBig16(at + 16);
      if (18u + characters != length) {
         return false;
      }
      decoded.text = {reinterpret_cast<char const*>(at + 18), characters};
      return true;
   }
   default:
      return false;
   }
}

template <bool text>
void floorBigEndian(benchmark::State& state) {
   std::uint32_t i = 0;
   for (auto _ : state) {
      ++i;
      std::size_t const size = text ? floorText(buffer, i, i & 31, texts[i & 7].view())
                                    : floorNumber(buffer, i, i & 31, i);
      benchmark::ClobberMemory();
      Decoded decoded;
      if (!floorDecode(buffer, size, decoded)) {
         std::abort();
      }
      benchmark::DoNotOptimize(decoded);
   }
}
BENCHMARK(floorBigEndian<false>)->Name("FloorNumber");
BENCHMARK(floorBigEndian<true>)->Name("FloorText");

// ---- the log's primitives

template <bool text>
void logEncodedAndDecoded(benchmark::State& state) {
   auto const bytes = Fen::makePtr<Fen::Connection::Out>();
   auto const out = Fen::makePtr<Fen::NboAttrLog::Out>(bytes, 5u, nullptr);
   auto const in = Fen::makePtr<Fen::NboAttrLog::In>();
   std::uint32_t i = 0;
   for (auto _ : state) {
      ++i;
      Fen::EntityId const entity{i, 0};
      auto const attribute = static_cast<std::int32_t>(i & 31);
      if (text) {
         Fen::NboAttrLog::changePut(*out, entity, attribute, texts[i & 7].view());
      } else {
         Fen::NboAttrLog::changePut(*out, entity, attribute, i);
      }
      benchmark::ClobberMemory();
      auto const pending = bytes->pending();
      auto* const at = const_cast<std::uint8_t*>(pending.data());
      std::size_t const length = Fen::loadBig32(at) + 4;
      if (length > pending.size() ||
          at[4] != static_cast<std::uint8_t>(Fen::NboAttrLog::FrameKind::message)) {
         std::abort();
      }
      in->bytesAre(at + Fen::NboAttrLog::frameHeaderBytes,
                   length - Fen::NboAttrLog::frameHeaderBytes);
      Decoded decoded;
      // Read in the widths that were written, as the floor is: a wider read would wait for the
      // stores of a moment ago.
      Fen::NboAttrLog::MsgHeader const read = in->nextHeader();
      decoded.entity = read.entityId.number();
      decoded.attribute = static_cast<std::uint32_t>(read.attributeId);
      in->nextU8();
      if (text) {
         decoded.text = in->nextText();
      } else {
         decoded.number = in->nextU32();
      }
      benchmark::DoNotOptimize(decoded);
      bytes->sentIs(length);
   }
}
BENCHMARK(logEncodedAndDecoded<false>)->Name("LogNumber");
BENCHMARK(logEncodedAndDecoded<true>)->Name("LogText");

// ---- from a setter to bytes, and from bytes into a live entity

struct Mounted {
   Mounted() : root(Fen::makePtr<Port>("p", "k", "s")), directory(Fen::dirFactory("mounts")) {
      Demuxer::Options options;
      options.channel = 5;
      options.out = sourceBytes;
      source = Demuxer::sourceIs(options, nullptr);
      options.out = targetBytes;
      target = Demuxer::targetIs(options, directory, "copy", nullptr, nullptr);
      source->rootIs(root);
      source->flush(1 << 20);
      deliver();
      copy = Fen::ptrCast<Port>(directory->entityPtr("copy"));
   }
   ~Mounted() {
      source->close();
      target->close();
   }
   void deliver() {
      auto const pending = sourceBytes->pending();
      auto* at = const_cast<std::uint8_t*>(pending.data());
      for (std::uint8_t* const end = at + pending.size(); at != end;) {
         std::size_t const length = Fen::loadBig32(at) + 4;
         target->receive(static_cast<Fen::NboAttrLog::FrameKind>(at[4]), at + 8, length - 8);
         at += length;
      }
      sourceBytes->sentIs(pending.size());
   }

   Fen::Ptr<Port> root;
   Fen::Ptr<Fen::Dir> directory;
   Fen::Ptr<Fen::Connection::Out> sourceBytes = Fen::makePtr<Fen::Connection::Out>();
   Fen::Ptr<Fen::Connection::Out> targetBytes = Fen::makePtr<Fen::Connection::Out>();
   Fen::Ptr<Demuxer> source;
   Fen::Ptr<Demuxer> target;
   Fen::Ptr<Port> copy;
};

template <bool text>
void setterToBytes(benchmark::State& state) {
   Mounted mounted;
   std::uint32_t i = 0;
   for (auto _ : state) {
      ++i;
      if (text) {
         mounted.root->labelIs(texts[i & 7]);
      } else {
         mounted.root->speedIs(i);
      }
      mounted.sourceBytes->sentIs(mounted.sourceBytes->pending().size());
   }
}
BENCHMARK(setterToBytes<false>)->Name("SetterNumber");
BENCHMARK(setterToBytes<true>)->Name("SetterText");

template <bool text>
void bytesToEntity(benchmark::State& state) {
   Mounted mounted;
   std::array<std::vector<std::uint8_t>, 8> messages;
   for (std::uint32_t i = 0; i < messages.size(); ++i) {
      if (text) {
         mounted.root->labelIs(texts[i]);
      } else {
         mounted.root->speedIs(i + 1);
      }
      auto const pending = mounted.sourceBytes->pending();
      messages[i].assign(pending.begin() + 8, pending.end());
      mounted.sourceBytes->sentIs(pending.size());
   }
   std::uint32_t i = 0;
   for (auto _ : state) {
      auto& message = messages[++i & 7];
      mounted.target->receive(Fen::NboAttrLog::FrameKind::message, message.data(), message.size());
   }
}
BENCHMARK(bytesToEntity<false>)->Name("EntityNumber");
BENCHMARK(bytesToEntity<true>)->Name("EntityText");

} // namespace

int main(int argc, char** argv) {
   std::vector<Bench::Ratio> ratios;
   for (std::string const value : {"Number", "Text"}) {
      auto const ratio = [&](std::string const& to, double goal) {
         ratios.push_back({value + " / " + to, "Log" + value, to + value, goal});
      };
      ratio("Floor", 2);
      ratio("FlatBuffers", 0.2);
      ratio("Protobuf", 0.2);
      ratio("ProtobufPlain", 0.2);
      ratios.push_back({value + ", setter to bytes", "Setter" + value, "", 30});
      ratios.push_back({value + ", bytes to entity", "Entity" + value, "", 30});
   }
   return Bench::runWithRatios(argc, argv, ratios);
}
