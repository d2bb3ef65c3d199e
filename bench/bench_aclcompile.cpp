#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "bench/FastestRounds.h"
#include "sim/Sim.h"
#include "sim/acl/AclCompiler.h"
#include "xdk/aaclL4PortMgr.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpIpXformMgr.h"
#include "xdk/xpLogMgr.h"

// What the simulator's ACL layer costs: a 1,000-rule ACL written and bound (rules read from
// text, compiled into labels, rule lists, mask groups and placed entries, and published through
// the driver), against the bare chip-model writes of every entry the chip ends up holding for
// it (MG-table entries, IP transform entries, labelled L4 ports). Both run in alternation on
// the same device; the target is a ratio of at most 10.

namespace {

constexpr uint32_t kRules = 1000;
constexpr uint32_t kMgTables = 6;
constexpr xpsDevice_t kDev = 0;

// Each rule its own source and destination /24 and destination port: one entry per rule.
std::string aclText() {
   std::string text;
   for (uint32_t i = 0; i < kRules; ++i) {
      text += "acl big rule " + std::to_string(10 * (i + 1)) + (i % 3 ? " permit" : " deny") +
              " count ip src 10." + std::to_string(i / 256) + "." + std::to_string(i % 256) +
              ".0/24 dst 172.16." + std::to_string(i % 200) + ".0/24 proto tcp dport " +
              std::to_string(1000 + i) + "\n";
   }
   return text;
}
const char* const kBind = "acl big bind 0 intf Ethernet1 in\n";

// Every entry the chip holds, to be written again as they are.
struct ChipEntries {
   std::vector<std::pair<uint32_t, std::pair<uint32_t, xpAaclMgTableEntry>>> mg;
   std::vector<std::pair<xpIpXformMgr*, std::pair<uint32_t, xpIpXformEntry>>> xform;
   std::vector<std::pair<aaclL4PortMgr*, std::pair<uint32_t, aaclL4PortEntry>>> ports;
   size_t size() const { return mg.size() + xform.size() + ports.size(); }
};

ChipEntries readChip() {
   ChipEntries c;
   auto* pl = xpAclPl::instance();
   auto* mg = pl->getMgr<xpAaclMgTableMgr>(xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
   uint32_t size = 0;
   for (uint32_t table = 0; table < kMgTables; ++table) {
      mg->getNumOfEntry(kDev, table, size);
      for (uint32_t i = 0; i < size; ++i) {
         if (const auto* e = mg->validEntry(kDev, table, i)) c.mg.push_back({table, {i, *e}});
      }
   }
   for (size_t inst : {xpIpXformMgr::kSrcInstance, xpIpXformMgr::kDstInstance}) {
      auto* x = pl->getMgr<xpIpXformMgr>(xpPrimitiveMgrBase<xpIpXformMgr>::idAt(inst));
      x->getNumOfEntry(kDev, size);
      for (uint32_t i = 0; i < size; ++i) {
         xpIpXformEntry e;
         bool valid = false;
         if (x->readEntry(kDev, i, &e, valid, 0) == XP_NO_ERR && valid)
            c.xform.push_back({x, {i, e}});
      }
   }
   for (size_t inst : {aaclL4PortMgr::kSrcInstance, aaclL4PortMgr::kDstInstance}) {
      auto* p = pl->getMgr<aaclL4PortMgr>(xpPrimitiveMgrBase<aaclL4PortMgr>::idAt(inst));
      p->getNumOfEntry(kDev, size);
      for (uint32_t i = 0; i < size; ++i) {
         aaclL4PortEntry e;
         if (p->readEntry(kDev, i, &e) == XP_NO_ERR && e.getXformedL4Port())
            c.ports.push_back({p, {i, e}});
      }
   }
   return c;
}

void writeChip(const ChipEntries& c) {
   auto* mg = xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
       xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
   for (const auto& [table, at] : c.mg)
      mg->writeKeyAndControlData(kDev, table, at.first, &at.second);
   for (const auto& [mgr, at] : c.xform)
      mgr->writeEntry(kDev, at.first, &at.second);
   for (const auto& [mgr, at] : c.ports)
      mgr->writeEntry(kDev, at.first, &at.second);
}

const std::string kSetup = "device add 0\ndevice up 0\nintf add Ethernet1 0\n"
                           "hwacl port Ethernet1 1\n";

// What the ACL layer publishes for the bound ACL, compiled once in an agent of its own.
Sim::Acl::ChipPlan compiledPlan(const std::string& rules) {
   std::ostringstream out, err;
   Sim::Simulator sim(out);
   if (!sim.runText("setup", kSetup + rules + kBind, err)) {
      std::fputs(err.str().c_str(), stderr);
      std::abort();
   }
   return Sim::Acl::aclStore(sim).published.at(kDev);
}

// Arg 0: the rules are read from text in the round, then bound; arg 1: the rules are written
// beforehand and the round binds them (compiling and programming alone); arg 2: the round
// publishes the compiled state of arg 1 (programming alone: the publisher, the framework's
// notifications and the driver's reactions, without the compiler).
void BM_AclCompileVsChipWrites(benchmark::State& state) {
   xpLogMgr::instance()->setSink(nullptr);
   const int mode = static_cast<int>(state.range(0));
   const std::string rules = aclText();
   const std::string acl = mode == 1 ? std::string(kBind) : rules + kBind;
   const Sim::Acl::ChipPlan plan = mode == 2 ? compiledPlan(rules) : Sim::Acl::ChipPlan{};
   FastestRounds rounds;
   size_t written = 0;
   for (auto _ : state) {
      // A fresh agent and device each round, so that every round compiles from nothing.
      state.PauseTiming();
      std::ostringstream out, err;
      auto sim = std::make_unique<Sim::Simulator>(out);
      if (!sim->runText("setup", kSetup + (mode == 1 ? rules : std::string()), err)) {
         state.SkipWithError(err.str().c_str());
         return;
      }
      state.ResumeTiming();
      rounds.timeCpu(FastestRounds::kCase, [&] {
         if (mode == 2) {
            Sim::Acl::publishChip(*sim, kDev, Sim::Acl::ChipPlan{}, plan);
         } else if (!sim->runText("acl", acl, err)) {
            std::abort();
         }
      });
      state.PauseTiming();
      const ChipEntries chip = readChip();
      written = chip.size();
      if (chip.mg.size() != kRules) {
         state.SkipWithError("not one MG entry per rule");
         return;
      }
      state.ResumeTiming();
      rounds.timeCpu(FastestRounds::kBaseline, [&] { writeChip(chip); });
      state.PauseTiming();
      sim.reset();
      state.ResumeTiming();
   }
   state.counters["entries"] = static_cast<double>(written);
   rounds.report(state, "acl", "chipWrites", kRules);
}
BENCHMARK(BM_AclCompileVsChipWrites)
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(3.0);

} // namespace
