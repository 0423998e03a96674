// Functions whose cost is bounded: the largest screens, an EDID, a frame, a filtered trace line.
#include <benchmark/benchmark.h>

#include <array>

#include "edidapi.h"
#include "mcuctrace.h"
#include "process/edid.h"
#include "proto/mosaicgeometry.h"
#include "proto/screentables.h"
#include "stub/mcucmessagestruct.h"

namespace {

using namespace TIRK_MCUC;

// All positions of all ports, encoded, as the calculation does before it writes anything.
void layOut(const MosaicRequest& request, std::array<uint8_t, kPositionTableSize>& table) {
  const MosaicGeometry geometry(request, {64, 64});
  std::array<CardPosition, kPortTableEntries> cards;
  const bool rowLines = linesAreRows(request.connectMode);
  for (unsigned port = 0; port < geometry.UsedPortNum && port < kDataPorts; ++port) {
    const uint32_t rows = rowLines ? geometry.lineCount(port) : request.rows;
    const uint32_t columns = rowLines ? request.columns : geometry.lineCount(port);
    const std::span<CardPosition> list(cards.data(), rows * columns);
    wirePort(request.connectMode, rows, columns, geometry.card, list);
    encodePortTable(list, MutableBytes(table).subspan(port * kPositionTablePortSize, kPositionTablePortSize));
  }
}

void BM_LargestMosaic(benchmark::State& state) {
  std::array<uint8_t, kPositionTableSize> table{};
  // 10 ports of 1024 cards.
  const MosaicRequest request{
      .rows = 80, .columns = 128, .cards = 1024, .connectMode = static_cast<uint8_t>(state.range(0))};
  for (auto _ : state) {
    layOut(request, table);
    benchmark::DoNotOptimize(table);
  }
}
BENCHMARK(BM_LargestMosaic)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_EdidForMode(benchmark::State& state) {
  edid_request_t request{};
  request.option = EDID_OPTION_DVI;
  Edid base{};
  ModifyEDID_API.generate(&request, base.data());
  Edid out{};
  for (auto _ : state) {
    benchmark::DoNotOptimize(ResT_calEDID_by_model_new(base.data(), out.data(), 3840, 1080, 5000));
  }
}
BENCHMARK(BM_EdidForMode)->Unit(benchmark::kMicrosecond);

void BM_EncodeReply(benchmark::State& state) {
  ThirdProtoMCUCMsg frame;
  frame.m_data.resize(static_cast<size_t>(state.range(0)));
  std::array<uint8_t, 70000> buffer;
  for (auto _ : state) benchmark::DoNotOptimize(frame.Encode(buffer.data(), 65536));
}
BENCHMARK(BM_EncodeReply)->Arg(48)->Arg(1024)->Arg(65516)->Unit(benchmark::kMicrosecond);

void BM_FilteredTraceLine(benchmark::State& state) {
  g_logLevel = 0;
  int evaluated = 0;
  for (auto _ : state) TRACE_INFO("never formatted " << ++evaluated);
  if (evaluated != 0) state.SkipWithError("a filtered line was evaluated");
}
BENCHMARK(BM_FilteredTraceLine)->Unit(benchmark::kMicrosecond);

}  // namespace
