/// FlatBuffers: the builder is kept, and what arrives is verified before it is read, as bytes of a
/// stranger must be. The copy stands for the way into a send buffer.
#include "WirePeers.h"

#include <WireChange_generated.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>

namespace BenchWire {

namespace {

template <bool isText>
void flatBuffersVerified(benchmark::State& state) {
   flatbuffers::FlatBufferBuilder builder(512);
   std::uint32_t i = 0;
   for (auto _ : state) {
      ++i;
      builder.Clear();
      flatbuffers::Offset<flatbuffers::String> text = 0;
      if (isText) {
         text = builder.CreateString(texts[i & 7]);
      }
      builder.Finish(BenchWireFlat::CreateChange(builder, i, static_cast<std::int32_t>(i & 31),
                                                 isText ? 0 : i, text));
      std::size_t const size = builder.GetSize();
      std::memcpy(buffer, builder.GetBufferPointer(), size);
      benchmark::ClobberMemory();
      flatbuffers::Verifier verifier(buffer, size);
      if (!BenchWireFlat::VerifyChangeBuffer(verifier)) {
         std::abort();
      }
      BenchWireFlat::Change const* const change = BenchWireFlat::GetChange(buffer);
      Decoded decoded;
      decoded.entity = change->entity();
      decoded.attribute = static_cast<std::uint32_t>(change->attribute());
      if (flatbuffers::String const* const read = change->text()) {
         decoded.text = {read->c_str(), read->size()};
      } else {
         decoded.number = change->number();
      }
      benchmark::DoNotOptimize(decoded);
   }
}
BENCHMARK(flatBuffersVerified<false>)->Name("FlatBuffersNumber");
BENCHMARK(flatBuffersVerified<true>)->Name("FlatBuffersText");

} // namespace

} // namespace BenchWire
