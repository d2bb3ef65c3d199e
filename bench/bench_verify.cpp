#include <benchmark/benchmark.h>

#include <sstream>
#include <string>

#include "bench/FastestRounds.h"
#include "sim/ConfigDump.h"
#include "sim/Sim.h"
#include "sim/Verify.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpSdk.h"

// What verify costs against the cold start it plays: on a configuration of two chips (port
// ranges, prefixes of both families, a few hundred rules, keys, mask groups and bindings),
// verify as the command runs it (the configuration dumped, both chips read, a second agent on
// a fresh model playing the cold start, the comparison), against the cold start alone (the
// same dump played into a second agent on a fresh model, with the live model set aside and
// back), in alternation.

namespace {

std::string configuration() {
   std::string s = "device add 0\ndevice add 1\ndevice up 0\ndevice up 1\n";
   for (int chip = 0; chip < 2; ++chip) {
      const std::string c = std::to_string(chip);
      for (int i = 1; i <= 8; ++i) {
         s += "intf add Ethernet" + std::to_string(10 * chip + i) + " " + c + "\n";
         s += "hwacl port Ethernet" + std::to_string(10 * chip + i) + " " + std::to_string(i) +
              "\n";
         s += "hwacl vif Ethernet" + std::to_string(10 * chip + i) + " 10 " +
              std::to_string(100 * chip + i) + "\n";
      }
      for (int r = 0; r < 100; ++r) {
         s += "l4 range dst " + c + " " + std::to_string(100 * r) + " " +
              std::to_string(100 * r + 9) + " " + std::to_string(r + 1) + "\n";
      }
      s += "l4 request dst " + c + " 1\n";
      for (int p = 0; p < 50; ++p) {
         s += "prefix attempt src4 " + c + " 10." + std::to_string(p) + ".0.0/16 " +
              std::to_string(p + 1) + "\n";
         s += "prefix attempt src6 " + c + " 2001:db8:" + std::to_string(p) + "::/48 " +
              std::to_string(p + 100) + "\n";
      }
      s += "prefix request attempted src4 " + c + " 1\nprefix request attempted src6 " + c +
           " 1\nprefix activate src4 " + c + " 2\nprefix activate src6 " + c + " 2\n";
      s += "rulelist key " + c + " 5 6 1 in 20\nrulelist key " + c + " 6 6 3 out 21\n";
      s += "rulelist mg " + c + " 20 1 16 0\nrulelist mg " + c + " 21 2 8 0\n";
      for (int r = 0; r < 300; ++r) {
         s += "rule place " + c + " 2 20 " + std::to_string(r) +
              " 16 3 1 sip=" + std::to_string(r % 50 + 1) +
              " dport=" + std::to_string(r % 100 + 1) + (r % 3 ? " count=on" : "") +
              " prio=" + std::to_string(r) + "\n";
      }
      s += "hwacl bind " + c + " Ethernet" + std::to_string(10 * chip + 1) + " 5\n";
      s += "hwacl vlan-bind " + c + " 10 6\n";
   }
   return s;
}

void BM_VerifyVsColdStart(benchmark::State& state) {
   xpLogMgr::instance()->setSink(nullptr);
   std::ostringstream out, err;
   Sim::Simulator sim(out);
   if (!sim.runText("setup", configuration(), err)) {
      state.SkipWithError(err.str().c_str());
      return;
   }
   const std::string dump = Sim::dumpConfig(sim, false);
   FastestRounds rounds;
   for (auto _ : state) {
      rounds.time(FastestRounds::kCase, [&] {
         const Sim::VerifyResult r = Sim::verifyColdStart(sim);
         if (!r.coldError.empty() || !r.differences.empty())
            state.SkipWithError("verify found differences");
      });
      rounds.time(FastestRounds::kBaseline, [&] {
         xpSdkState live = xpSdkDetach();
         {
            std::ostringstream coldOut, coldErr;
            Sim::Simulator cold(coldOut, Sim::Simulator::Secondary{});
            if (!cold.runText("cold", dump, coldErr))
               state.SkipWithError(coldErr.str().c_str());
         }
         xpSdkAttach(std::move(live));
      });
   }
   rounds.report(state, "verify", "coldStart", 1);
}
BENCHMARK(BM_VerifyVsColdStart)->Iterations(20)->Unit(benchmark::kMillisecond);

} // namespace
