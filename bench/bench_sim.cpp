#include <benchmark/benchmark.h>

#include <ctime>
#include <sstream>
#include <string>

#include "bench/FastestRounds.h"
#include "platform/OrimXform.h"
#include "sim/Sim.h"
#include "xdk/xpLogMgr.h"

// The simulator's cost of loading a table against the driver's own cost of programming it:
// 65,536 one-port ranges for one chip, each with its own label, read by the simulator from
// scenario text (parsed, checked, published), against the same ranges published straight into
// the chip's configuration entity that the simulator feeds. Both start from the chip's
// configuration present but empty and a zeroed table, and drive the same reactor and chip
// table, in alternation; the target is a ratio of at most 3.

namespace {

constexpr uint32_t kRanges = 65536;

uint16_t labelOf(uint32_t port) {
   return static_cast<uint16_t>(port % 65535 + 1);
}

void BM_SimLoadRangesVsDriver(benchmark::State& state) {
   xpLogMgr::instance()->setSink(nullptr);
   std::ostringstream out, err;
   Sim::Simulator sim(out);
   if (!sim.runText("setup", "device add 0\ndevice up 0\n", err)) {
      state.SkipWithError(err.str().c_str());
      return;
   }
   std::string scenario;
   for (uint32_t port = 0; port < kRanges; ++port) {
      scenario += "l4 range src 0 " + std::to_string(port) + " " + std::to_string(port) + " " +
                  std::to_string(labelOf(port)) + "\n";
   }
   auto config = sim.world().get<Orim::PortRangeConfig>("L4SrcPortXformSm.config");
   const Orim::ChipId chip(0);
   // Removing the chip's ranges clears the ports they labelled; the empty configuration put
   // back has the driver sweep the table once, outside the rounds: each round then costs its
   // ranges only.
   auto reset = [&] {
      config->chipPortRangeConfigDel(chip);
      config->chipPortRangeConfigIs(chip);
   };
   auto clear = [&] {
      state.PauseTiming();
      reset();
      state.ResumeTiming();
   };
   reset();
   FastestRounds rounds;
   for (auto _ : state) {
      rounds.timeCpu(FastestRounds::kCase, [&] {
         if (!sim.runText("load", scenario, err)) state.SkipWithError(err.str().c_str());
      });
      if (config->chipPortRangeConfig(chip)->activeXformCount() != kRanges) {
         state.SkipWithError("the simulator did not load every range");
      }
      clear();
      rounds.timeCpu(FastestRounds::kBaseline, [&] {
         auto ranges = config->chipPortRangeConfig(chip);
         for (uint32_t port = 0; port < kRanges; ++port) {
            const auto p = static_cast<uint16_t>(port);
            ranges->activeXformIs(Orim::L4PortRange{p, p},
                                  Orim::XformedPortRange{labelOf(port)});
         }
      });
      clear();
   }
   rounds.report(state, "sim", "driver", kRanges);
}
BENCHMARK(BM_SimLoadRangesVsDriver)->Unit(benchmark::kMillisecond)->MinTime(2.0);

} // namespace
