// The attribute log: one change encoded and decoded, and the same with dispatch from a setter and
// into a live entity, beside a plain big-endian store of the same fields.

#include <gantry/runtime/fen/NboAttrLogFlow.h>

// The entity of the tests; it is no library of its own.
#include <tests/runtime/fen/HandWrittenEntity.cpp>

#include <benchmark/benchmark.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Fen::NboAttrLog::Demuxer;
using Sample::Port;

/// Texts as they occur in attributes of interfaces.
std::array<Fen::String8, 8> const texts = {
   "Ethernet48/1-desc-aa", "Ethernet48/2-desc-bb", "Ethernet48/3-desc-cc", "Ethernet48/4-desc-dd",
   "Ethernet48/5-desc-ee", "Ethernet48/6-desc-ff", "Ethernet48/7-desc-gg", "Ethernet48/8-desc-hh"};

// ---- the floor: length, type, entity, attribute and value, stored and read with bounds checks

alignas(16) std::uint8_t buffer[512];

struct Decoded {
   std::uint64_t entity = 0;
   std::uint32_t attribute = 0;
   std::uint32_t number = 0;
   std::string_view text;
};

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

void floorBigEndian(benchmark::State& state) {
   bool const text = state.range(0) != 0;
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
BENCHMARK(floorBigEndian)->ArgName("text")->Arg(0)->Arg(1);

// ---- the log's primitives

void logEncodedAndDecoded(benchmark::State& state) {
   bool const text = state.range(0) != 0;
   auto const bytes = Fen::makePtr<Fen::Connection::Out>();
   auto const out = Fen::makePtr<Fen::NboAttrLog::Out>(bytes, 5u, nullptr);
   auto const in = Fen::makePtr<Fen::NboAttrLog::In>();
   std::uint32_t i = 0;
   for (auto _ : state) {
      ++i;
      Fen::NboAttrLog::MsgHeader header;
      header.entityId = {i, 0};
      header.attributeId = static_cast<std::int32_t>(i & 31);
      out->nextHeaderIs(header);
      out->transactTokenIs(Fen::Connection::Out::TransactToken::open);
      if (text) {
         *out << texts[i & 7];
      } else {
         *out << i;
      }
      out->transactTokenIs(Fen::Connection::Out::TransactToken::close);
      out->messageEnd();
      benchmark::ClobberMemory();
      auto const pending = bytes->pending();
      in->bytesAre(const_cast<std::uint8_t*>(pending.data()), pending.size());
      Decoded decoded;
      in->nextU64();
      decoded.entity = in->nextU64();
      decoded.attribute = in->nextU32();
      in->nextU8();
      in->nextU64();
      in->nextU8();
      in->nextU8();
      if (text) {
         decoded.text = in->nextText();
      } else {
         decoded.number = in->nextU32();
      }
      benchmark::DoNotOptimize(decoded);
      bytes->sentIs(pending.size());
   }
}
BENCHMARK(logEncodedAndDecoded)->ArgName("text")->Arg(0)->Arg(1);

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

void setterToBytes(benchmark::State& state) {
   bool const text = state.range(0) != 0;
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
BENCHMARK(setterToBytes)->ArgName("text")->Arg(0)->Arg(1);

void bytesToEntity(benchmark::State& state) {
   bool const text = state.range(0) != 0;
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
BENCHMARK(bytesToEntity)->ArgName("text")->Arg(0)->Arg(1);

} // namespace
