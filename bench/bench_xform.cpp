#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <vector>

#include "bench/FastestRounds.h"
#include "platform/OrimXform.h"
#include "platform/Quill.h"
#include "xdk/aaclL4PortMgr.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpSdkInit.h"
#include "xpacl/xform/XpAclL4PortXformSm.h"
#include "xpacl/xform/XpAclPrefixXformSm.h"

// Field compression costs, each next to its baseline in the same run:
// - programming one 65,536-port range on a zeroed table against a bare read-compare-write
//   loop over an array of the same entries, run in alternation (the target is a ratio of at
//   most 8);
// - the cost per allocation of Quill::Bitmap::findClearBitInRange while a map fills lowest
//   first, from 1,024 to 65,536 bits, against a bit-by-bit scan (the target is flat, within
//   2x, where the scan grows with the map);
// - an attempted phase per prefix, from 1,024 prefixes in a 1,024-entry table to 16,384 in a
//   16,384-entry one (the target is flat as well).

namespace {

constexpr uint32_t kPorts = 65536;

// A device whose tables have the given sizes, up and known to the driver.
Norv::Ptr<XpXdk::XpDeviceIdColl> oneDevice(const xpDeviceProfile& profile) {
   xpSdkInit();
   xpLogMgr::instance()->setSink(nullptr);
   xpDeviceMgr::instance()->addDevice(0, profile);
   auto devices = XpXdk::xpDeviceIdCollFactory();
   devices->deviceIdIs(XpXdk::XpDeviceId(0), true);
   return devices;
}

// The baseline: the chip's 8-byte records in a bare array, the label in bytes 5 and 6, low byte
// first. Plain bytes, which the compiler handles best of the forms tried (words with masks, the
// entry class).
[[gnu::noinline]] void bareReadCompareWrite(std::vector<std::array<uint8_t, 8>>& table,
                                            uint16_t label) {
   for (uint32_t i = 0; i < kPorts; ++i) {
      std::array<uint8_t, 8> entry = table[i];
      if ((entry[5] | entry[6] << 8) == label) continue;
      entry[5] = static_cast<uint8_t>(label);
      entry[6] = static_cast<uint8_t>(label >> 8);
      table[i] = entry;
   }
   benchmark::ClobberMemory();
}

// One 65,536-port range programmed on a zeroed table, and the bare loop over as many entries
// with every entry differing, in alternation; reported per port.
void BM_L4ProgramFullRange(benchmark::State& state) {
   auto devices = oneDevice(xpDeviceProfile{});
   auto config = Orim::portRangeConfigFactory("config");
   auto chip = config->chipPortRangeConfigIs(Orim::ChipId(0));
   auto sm = XpAcl::l4PortXformSmFactory("L4SrcPortXformSm", devices, config,
                                         Orim::resourceStatusFactory("status"));
   sm->initializedIs(true);
   const Orim::L4PortRange all{0, 65535};
   std::vector<std::array<uint8_t, 8>> table(kPorts);
   uint16_t label = 1;
   FastestRounds rounds;
   for (auto _ : state) {
      rounds.time(FastestRounds::kBaseline, [&] { bareReadCompareWrite(table, label); });
      label ^= 3; // every entry differs again next time
      rounds.time(FastestRounds::kCase,
                  [&] { chip->activeXformIs(all, Orim::XformedPortRange{7}); });
      state.PauseTiming();
      chip->activeXformDel(all); // back to a zeroed table
      state.ResumeTiming();
   }
   rounds.report(state, "program", "bare", kPorts);
   sm = nullptr;
}
BENCHMARK(BM_L4ProgramFullRange)->Unit(benchmark::kMicrosecond)->MinTime(1.0);

// Fills a map of range(0) bits, lowest free index first; the time per allocation is the figure.
void BM_BitmapFillLowestFirst(benchmark::State& state) {
   const auto bits = static_cast<uint32_t>(state.range(0));
   for (auto _ : state) {
      Quill::Bitmap map(bits);
      for (uint32_t i = 0; i < bits; ++i) {
         const uint32_t index = map.findClearBitInRange(0, bits, 0);
         map.setBit(index);
      }
      benchmark::DoNotOptimize(map.count());
   }
   state.SetItemsProcessed(state.iterations() * bits);
}
BENCHMARK(BM_BitmapFillLowestFirst)->RangeMultiplier(4)->Range(1024, 65536);

// The baseline: a scan that tests bit after bit from the bottom.
void BM_BitByBitScanFill(benchmark::State& state) {
   const auto bits = static_cast<uint32_t>(state.range(0));
   for (auto _ : state) {
      std::vector<uint64_t> words((bits + 63) / 64, 0);
      for (uint32_t i = 0; i < bits; ++i) {
         uint32_t index = 0;
         while ((words[index / 64] >> (index % 64)) & 1)
            ++index;
         words[index / 64] |= uint64_t{1} << (index % 64);
      }
      benchmark::DoNotOptimize(words.data());
   }
   state.SetItemsProcessed(state.iterations() * bits);
}
BENCHMARK(BM_BitByBitScanFill)->RangeMultiplier(4)->Range(1024, 16384);

// One attempted request of range(0) prefixes in a table of as many entries.
void BM_PrefixAttemptedPhase(benchmark::State& state) {
   const auto n = static_cast<uint32_t>(state.range(0));
   xpDeviceProfile profile;
   profile.ipXformEntries = n;
   auto devices = oneDevice(profile);
   auto config = Orim::ipGenPrefixConfigFactory("config");
   auto chip = config->chipIpGenPrefixConfigIs(Orim::ChipId(0));
   for (uint32_t i = 0; i < n; ++i) {
      chip->attemptedXformIs(Plexo::IpGenPrefix(Plexo::Ip4Prefix{0x0a000000u + (i << 8), 24}),
                             Orim::XformedIpPrefix{i + 1});
   }
   auto status = Orim::resourceStatusFactory("status");
   auto sm = XpAcl::prefixXformSmFactory("SrcV4PrefixXformSm", devices, config, status,
                                         XpAcl::prefixXformChipInfoFactory());
   sm->initializedIs(true);
   double id = 0;
   for (auto _ : state)
      chip->attemptedRequestIdIs(++id);
   if (!status->resourceChipStatus(Orim::ChipId(0)).success) state.SkipWithError("no fit");
   state.SetItemsProcessed(state.iterations() * n);
   sm = nullptr;
}
BENCHMARK(BM_PrefixAttemptedPhase)->RangeMultiplier(4)->Range(1024, 16384);

} // namespace
