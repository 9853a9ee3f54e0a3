/// protobuf: both messages are kept and used again, which is the fastest way to use it.
#include "WirePeers.h"

#include <WireChange.pb.h>

#include <benchmark/benchmark.h>

#include <cstdlib>

namespace BenchWire {

namespace {

template <class Message, bool isText>
void protobufReused(benchmark::State& state) {
   Message sent;
   Message received;
   std::uint32_t i = 0;
   for (auto _ : state) {
      ++i;
      sent.Clear();
      sent.set_entity(i);
      sent.set_attribute(static_cast<std::int32_t>(i & 31));
      if (isText) {
         sent.set_text(texts[i & 7]);
      } else {
         sent.set_number(i);
      }
      std::size_t const size = sent.ByteSizeLong();
      sent.SerializeWithCachedSizesToArray(buffer);
      benchmark::ClobberMemory();
      if (!received.ParseFromArray(buffer, static_cast<int>(size))) {
         std::abort();
      }
      Decoded decoded;
      decoded.entity = received.entity();
      decoded.attribute = static_cast<std::uint32_t>(received.attribute());
      if (isText) {
         decoded.text = received.text();
      } else {
         decoded.number = received.number();
      }
      benchmark::DoNotOptimize(decoded);
   }
}
BENCHMARK(protobufReused<BenchWireProto::Change, false>)->Name("ProtobufNumber");
BENCHMARK(protobufReused<BenchWireProto::Change, true>)->Name("ProtobufText");
BENCHMARK(protobufReused<BenchWireProto::PlainChange, false>)->Name("ProtobufPlainNumber");
BENCHMARK(protobufReused<BenchWireProto::PlainChange, true>)->Name("ProtobufPlainText");

} // namespace

} // namespace BenchWire
