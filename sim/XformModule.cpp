// Field compression in the simulator: the upper layer's port ranges and IP prefixes per chip,
// their request ids, and the six transform reactors that program them.
#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "norv/LogHandle.h"
#include "sim/ConfigDump.h"
#include "sim/PortRangeFit.h"
#include "sim/Sim.h"
#include "sim/SimArgs.h"
#include "xdk/xpDeviceMgr.h"
#include "xpacl/xform/XpAclL4PortXformSm.h"
#include "xpacl/xform/XpAclPrefixXformSm.h"

namespace Sim {

namespace {

constexpr uint64_t kMaxChip = 63;

// Short instance names of the scenario, and the agent's names of the reactors.
struct Instance {
   const char* shortName;
   const char* smName;
};
constexpr Instance kL4Instances[] = {{"src", "L4SrcPortXformSm"}, {"dst", "L4DstPortXformSm"}};
constexpr Instance kPrefixInstances[] = {{"src4", "SrcV4PrefixXformSm"},
                                         {"dst4", "DstV4PrefixXformSm"},
                                         {"src6", "SrcV6PrefixXformSm"},
                                         {"dst6", "DstV6PrefixXformSm"}};

// Every instance gets a ResourceStatus of its own, as the upper layer reads one per request
// stream: acknowledgements are kept per chip, so two reactors writing into one status would
// overwrite each other's answers for the same chip.
std::string configKey(const std::string& smName) {
   return smName + ".config";
}
std::string statusKey(const std::string& smName) {
   return smName + ".status";
}

template <size_t N>
const Instance& instanceArg(const Args& a, size_t i, const Instance (&all)[N]) {
   const std::string& w = a.word(i, "instance");
   for (const auto& inst : all) {
      if (w == inst.shortName) return inst;
   }
   std::string known;
   for (const auto& inst : all)
      known += std::string(known.empty() ? "" : ", ") + inst.shortName;
   throw Error("unknown instance '" + w + "': expected one of " + known);
}

Orim::ChipId chipArg(const Args& a, size_t i) {
   return Orim::ChipId(static_cast<uint32_t>(a.number(i, "chip id", kMaxChip)));
}

XpXdk::XpDeviceId deviceArg(const Args& a, size_t i) {
   const auto dev = static_cast<xpsDevice_t>(a.number(i, "device id", kMaxChip));
   if (!xpDeviceMgr::instance()->isAdded(dev)) {
      throw Error("device " + std::to_string(dev) + " is not added (use 'device add')");
   }
   return XpXdk::XpDeviceId(dev);
}

Plexo::IpGenPrefix prefixArg(const Args& a, size_t i, bool v4) {
   const std::string& w = a.word(i, "prefix");
   const auto p = prefixText(w);
   if (p.isV4() != v4) {
      throw Error("prefix '" + w + "' is not " + (v4 ? "IPv4" : "IPv6") +
                  " as the instance is");
   }
   return p;
}

// A dump written to a file descriptor, copied into the simulator's output in order.
template <class F>
void captureFd(Simulator& s, F&& dump) {
   std::FILE* f = std::tmpfile();
   if (!f) throw Error("cannot create a temporary file for the dump");
   dump(fileno(f));
   std::rewind(f);
   char buf[4096];
   for (size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;)
      s.out().write(buf, n);
   std::fclose(f);
}

// --- L4 port ranges

// The port-range configuration of each L4 instance, in the order of kL4Instances; resolved once
// at start, as a table load runs these commands once per range. The world holds them; the
// batch learns which chips the commands change.
struct L4Configs {
   std::array<Orim::PortRangeConfig*, std::size(kL4Instances)> cfg;
   SimBatch* batch;
};

Orim::PortRangeConfig& l4Config(const L4Configs& cfgs, const Instance& inst) {
   return *cfgs.cfg[&inst - kL4Instances];
}

Norv::Ptr<Orim::ChipPortRangeConfig> chipRanges(const L4Configs& cfgs, const Instance& inst,
                                                Orim::ChipId chip, bool create) {
   cfgs.batch->touch(SimBatch::chipKey(chip.value()));
   Orim::PortRangeConfig* cfg = &l4Config(cfgs, inst);
   auto chipCfg = cfg->chipPortRangeConfig(chip);
   if (!chipCfg && create) chipCfg = cfg->chipPortRangeConfigIs(chip);
   if (!chipCfg)
      throw Error("chip " + chip.text() + " has no port ranges in " + inst.shortName);
   return chipCfg;
}

void checkRangeFits(const Orim::ChipPortRangeConfig& cfg, const Orim::L4PortRange& r) {
   const auto o = portRangeConflict(cfg.activeXformColl(), r);
   if (!o) return;
   throw Error(
       "range " + std::to_string(r.rangeStart) + "-" + std::to_string(r.rangeEnd) +
       (o->rangeStart == r.rangeStart ? " shares its start with range " : " overlaps range ") +
       std::to_string(o->rangeStart) + "-" + std::to_string(o->rangeEnd));
}

Orim::L4PortRange rangeArgs(const Args& a, size_t i) {
   return Orim::L4PortRange{static_cast<uint16_t>(a.number(i, "range start", 65535)),
                            static_cast<uint16_t>(a.number(i + 1, "range end", 65535))};
}

void l4Range(const L4Configs& cfgs, const Args& a) {
   const auto& inst = instanceArg(a, 0, kL4Instances);
   const auto chip = chipArg(a, 1);
   const auto range = rangeArgs(a, 2);
   const auto label = static_cast<uint16_t>(a.number(4, "label", 65535));
   a.atMost(5);
   auto cfg = chipRanges(cfgs, inst, chip, true);
   checkRangeFits(*cfg, range);
   cfg->activeXformIs(range, Orim::XformedPortRange{label});
}

void l4Remove(const L4Configs& cfgs, const Args& a) {
   const auto& inst = instanceArg(a, 0, kL4Instances);
   const auto chip = chipArg(a, 1);
   const auto range = rangeArgs(a, 2);
   a.atMost(4);
   auto cfg = chipRanges(cfgs, inst, chip, false);
   if (!cfg->activeXformColl().contains(range)) {
      throw Error("chip " + chip.text() + " has no range " + std::to_string(range.rangeStart) +
                  "-" + std::to_string(range.rangeEnd));
   }
   cfg->activeXformDel(range);
}

void l4Request(const L4Configs& cfgs, const Args& a) {
   const auto& inst = instanceArg(a, 0, kL4Instances);
   const auto chip = chipArg(a, 1);
   const double id = a.real(2, "request id");
   a.atMost(3);
   chipRanges(cfgs, inst, chip, false)->attemptedRequestIdIs(id);
}

void l4ChipRemove(const L4Configs& cfgs, const Args& a) {
   const auto& inst = instanceArg(a, 0, kL4Instances);
   const auto chip = chipArg(a, 1);
   a.atMost(2);
   chipRanges(cfgs, inst, chip, false);
   l4Config(cfgs, inst).chipPortRangeConfigDel(chip);
}

// A command of the L4 instances, given their configurations.
std::function<void(Simulator&, const Args&)>
withL4(const L4Configs& cfgs, void (*run)(const L4Configs&, const Args&)) {
   return [cfgs, run](Simulator&, const Args& a) { run(cfgs, a); };
}

void showL4(Simulator& s, const Args& a) {
   const auto& inst = instanceArg(a, 0, kL4Instances);
   const auto dev = deviceArg(a, 1);
   a.atMost(2);
   auto sm = s.world().get<XpAcl::L4PortXformSm>(inst.smName);
   captureFd(s, [&](int fd) { sm->doShowTblEntries(fd, dev); });
}

// --- IP prefixes

bool isV4Instance(const Instance& inst) {
   return std::string(inst.shortName).back() == '4';
}

std::string batchKey(const Instance& inst, Orim::ChipId chip) {
   return std::string("prefix ") + inst.shortName + " " + std::to_string(chip.value());
}

Norv::Ptr<Orim::ChipIpGenPrefixConfig> chipPrefixes(Simulator& s, const Instance& inst,
                                                    Orim::ChipId chip, bool create) {
   s.world().batch.touch(SimBatch::chipKey(chip.value()));
   auto cfg = s.world().get<Orim::IpGenPrefixConfig>(configKey(inst.smName));
   auto chipCfg = cfg->chipIpGenPrefixConfig(chip);
   if (!chipCfg && create) chipCfg = cfg->chipIpGenPrefixConfigIs(chip);
   if (!chipCfg) throw Error("chip " + chip.text() + " has no prefixes in " + inst.shortName);
   return chipCfg;
}

bool attemptedSet(const Args& a, size_t i) {
   const std::string& w = a.word(i, "set (attempted or active)");
   if (w != "attempted" && w != "active") {
      throw Error("bad set '" + w + "': expected attempted or active");
   }
   return w == "attempted";
}

void prefixAttempt(Simulator& s, const Args& a) {
   const auto& inst = instanceArg(a, 0, kPrefixInstances);
   const auto chip = chipArg(a, 1);
   const auto prefix = prefixArg(a, 2, isV4Instance(inst));
   const auto label = static_cast<uint32_t>(a.number(3, "label", 0xffffffffu));
   a.atMost(4);
   // The chip has no IPv4 entry with label 0: unlabelled addresses fall to the catch-all.
   if (prefix.isV4() && !prefix.isDefaultRoutePrefix() && label == 0) {
      throw Error("an IPv4 prefix needs a label other than 0");
   }
   chipPrefixes(s, inst, chip, true)->attemptedXformIs(prefix, Orim::XformedIpPrefix{label});
   s.world().batch.touch(batchKey(inst, chip));
}

void prefixDrop(Simulator& s, const Args& a) {
   const auto& inst = instanceArg(a, 0, kPrefixInstances);
   const auto chip = chipArg(a, 1);
   const auto prefix = prefixArg(a, 2, isV4Instance(inst));
   a.atMost(3);
   auto cfg = chipPrefixes(s, inst, chip, false);
   if (!cfg->attemptedXformColl().contains(prefix)) {
      throw Error("chip " + chip.text() + " has no attempted prefix " + prefix.text());
   }
   cfg->attemptedXformDel(prefix);
   s.world().batch.touch(batchKey(inst, chip));
}

// The driver writes only prefixes that an attempted request placed; activating anything else
// is a broken protocol, which it does not survive.
template <class PrefixSet>
void checkAllocated(Simulator& s, const Instance& inst, Orim::ChipId chip,
                    const PrefixSet& set) {
   auto& w = s.world();
   if (w.batch.changed(batchKey(inst, chip)) ||
       w.batch.changed(SimBatch::deviceKey(chip.value()))) {
      throw Error("every active prefix needs an index from the driver, and the driver has not "
                  "yet heard of this batch's changes to " +
                  std::string(inst.shortName) + " on chip " + chip.text() +
                  " (close the batch first)");
   }
   auto sm = w.get<XpAcl::PrefixXformSm>(inst.smName);
   auto chipSm = sm->chipPrefixConfig(chip);
   if (!sm->initialized() || !chipSm || !chipSm->initialized()) return;
   for (auto it = set.begin(); it; ++it) {
      const auto& p = it.key();
      if (p.isV4() && p.isDefaultRoutePrefix()) continue;
      if (!chipSm->attemptedAllocColl().contains(p)) {
         throw Error("prefix " + p.text() + " has no index: raise an attempted request that " +
                     "succeeds first");
      }
   }
}

void prefixActivate(Simulator& s, const Args& a) {
   const auto& inst = instanceArg(a, 0, kPrefixInstances);
   const auto chip = chipArg(a, 1);
   const double id = a.real(2, "request id");
   a.atMost(3);
   auto cfg = chipPrefixes(s, inst, chip, false);
   checkAllocated(s, inst, chip, cfg->attemptedXformColl());
   cfg->activeXformDelAll();
   for (auto it = cfg->attemptedXformColl().begin(); it; ++it) {
      cfg->activeXformIs(it.key(), it.value());
   }
   cfg->activeRequestIdIs(id);
}

void prefixRequest(Simulator& s, const Args& a) {
   const bool attempted = attemptedSet(a, 0);
   const auto& inst = instanceArg(a, 1, kPrefixInstances);
   const auto chip = chipArg(a, 2);
   const double id = a.real(3, "request id");
   a.atMost(4);
   auto cfg = chipPrefixes(s, inst, chip, false);
   if (attempted) {
      cfg->attemptedRequestIdIs(id);
      s.world().batch.touch(batchKey(inst, chip));
   } else {
      checkAllocated(s, inst, chip, cfg->activeXformColl());
      cfg->activeRequestIdIs(id);
   }
}

void prefixChipRemove(Simulator& s, const Args& a) {
   const auto& inst = instanceArg(a, 0, kPrefixInstances);
   const auto chip = chipArg(a, 1);
   a.atMost(2);
   chipPrefixes(s, inst, chip, false);
   s.world().batch.touch(batchKey(inst, chip));
   s.world()
       .get<Orim::IpGenPrefixConfig>(configKey(inst.smName))
       ->chipIpGenPrefixConfigDel(chip);
}

void showPrefix(Simulator& s, const Args& a) {
   const auto& inst = instanceArg(a, 0, kPrefixInstances);
   const auto dev = deviceArg(a, 1);
   a.atMost(2);
   auto sm = s.world().get<XpAcl::PrefixXformSm>(inst.smName);
   captureFd(s, [&](int fd) { sm->doShowTblEntries(fd, dev); });
}

void showStatus(Simulator& s, const Args& a) {
   const std::string& w = a.word(0, "instance");
   a.atMost(1);
   const Instance* inst = nullptr;
   for (const auto& i : kL4Instances)
      inst = w == i.shortName ? &i : inst;
   for (const auto& i : kPrefixInstances)
      inst = w == i.shortName ? &i : inst;
   if (!inst)
      throw Error("unknown instance '" + w + "': expected src, dst, src4, dst4, src6 or dst6");
   auto status = s.world().get<Orim::ResourceStatus>(statusKey(inst->smName));
   std::vector<std::pair<uint32_t, Orim::XformStatus>> rows;
   for (auto it = status->resourceChipStatusColl().begin(); it; ++it) {
      rows.emplace_back(it.key().value(), it.value());
   }
   std::sort(rows.begin(), rows.end(),
             [](const auto& x, const auto& y) { return x.first < y.first; });
   s.out() << "resourceChipStatus of " << inst->smName << "\n";
   for (const auto& [chip, st] : rows) {
      s.out() << "  chip " << chip << " requestId " << Norv::text(st.requestId) << " success "
              << Norv::text(st.success) << "\n";
   }
}

void start(Simulator& s) {
   // System messages go to stderr as usual, after what the scenario printed so far, so that a
   // merged transcript keeps its order.
   if (!s.secondary()) {
      Norv::LogHandle::sinkIs([](const Norv::LogHandle& h, const std::string& message) {
         std::cout.flush();
         std::fflush(stdout);
         std::fprintf(stderr, "%%%s: %s\n", h.name().c_str(), message.c_str());
         std::fflush(stderr);
      });
   }
   auto& w = s.world();
   L4Configs l4Cfgs{{}, &w.batch};
   for (const auto& inst : kL4Instances) {
      auto cfg = w.hold(configKey(inst.smName), Orim::portRangeConfigFactory(inst.smName));
      l4Cfgs.cfg[&inst - kL4Instances] = cfg.ptr();
      auto status = w.hold(statusKey(inst.smName), Orim::resourceStatusFactory(inst.smName));
      w.hold(inst.smName, XpAcl::l4PortXformSmFactory(inst.smName, w.devices, cfg, status))
          ->initializedIs(true);
   }
   // The IPv4 and IPv6 reactors of a direction share its table, hence its index bitmaps.
   auto srcInfo = w.hold("SrcPrefixXformChipInfo", XpAcl::prefixXformChipInfoFactory());
   auto dstInfo = w.hold("DstPrefixXformChipInfo", XpAcl::prefixXformChipInfoFactory());
   for (const auto& inst : kPrefixInstances) {
      auto cfg = w.hold(configKey(inst.smName), Orim::ipGenPrefixConfigFactory(inst.smName));
      auto status = w.hold(statusKey(inst.smName), Orim::resourceStatusFactory(inst.smName));
      auto info = inst.shortName[0] == 's' ? srcInfo : dstInfo;
      w.hold(inst.smName,
             XpAcl::prefixXformSmFactory(inst.smName, w.devices, cfg, status, info))
          ->initializedIs(true);
   }

   s.addCommand({"l4", "range", "INST CHIP START END LABEL",
                 "give ports START..END of the chip a label (INST: src or dst)",
                 withL4(l4Cfgs, l4Range)});
   s.addCommand({"l4", "remove", "INST CHIP START END", "remove a port range",
                 withL4(l4Cfgs, l4Remove)});
   s.addCommand({"l4", "request", "INST CHIP ID", "raise the chip's attempted request id",
                 withL4(l4Cfgs, l4Request)});
   s.addCommand({"l4", "chip-remove", "INST CHIP", "remove the chip's port ranges",
                 withL4(l4Cfgs, l4ChipRemove)});
   s.addCommand({"prefix", "attempt", "INST CHIP PREFIX LABEL",
                 "add a prefix to the attempted set (INST: src4, dst4, src6, dst6)",
                 prefixAttempt});
   s.addCommand({"prefix", "drop", "INST CHIP PREFIX", "take a prefix out of the attempted set",
                 prefixDrop});
   s.addCommand({"prefix", "request", "attempted|active INST CHIP ID",
                 "raise the chip's attempted or active request id", prefixRequest});
   s.addCommand({"prefix", "activate", "INST CHIP ID",
                 "make the attempted set the active one and raise the active request id",
                 prefixActivate});
   s.addCommand(
       {"prefix", "chip-remove", "INST CHIP", "remove the chip's prefixes", prefixChipRemove});
   s.addCommand(
       {"show", "l4", "INST DEV", "the device's L4 port table (labelled ports)", showL4});
   s.addCommand({"show", "prefix", "INST DEV",
                 "the device's IP transform table (valid entries)", showPrefix});
   s.addCommand(
       {"show", "status", "INST", "the acknowledgements of a transform instance", showStatus});
}

const char* const scenario =
    R"(# Field compression: port ranges and prefixes programmed, acknowledged, changed, removed.
echo == xform: L4 port ranges and IP prefixes
echo -- source ports 80 and 1000-1003 get labels 1 and 2, request 1 acknowledged
l4 range src 0 80 80 1
l4 range src 0 1000 1003 2
l4 request src 0 1
show l4 src 0
show status src
echo -- label of 1000-1003 changes to 5, port 80 goes, 65534-65535 come with label 3
l4 range src 0 1000 1003 5
l4 remove src 0 80 80
l4 range src 0 65534 65535 3
l4 request src 0 2
show l4 src 0
echo -- a prefix set is attempted (indexes only), acknowledged, then activated (written)
prefix attempt src4 0 10.0.0.0/8 7
prefix attempt src4 0 192.168.1.0/24 9
prefix attempt src6 0 2001:db8::/32 12
prefix request attempted src4 0 1
prefix request attempted src6 0 1
show status src4
prefix activate src4 0 2
prefix activate src6 0 2
show prefix src4 0
echo -- 10.0.0.0/8 is replaced by 172.16.0.0/12 in a second request
prefix drop src4 0 10.0.0.0/8
prefix attempt src4 0 172.16.0.0/12 11
prefix request attempted src4 0 3
prefix request attempted src6 0 3
prefix activate src4 0 4
prefix activate src6 0 4
show prefix src4 0
show status src4
echo -- the chip's configuration is removed: its entries and acknowledgements go
l4 chip-remove src 0
prefix chip-remove src4 0
prefix chip-remove src6 0
show l4 src 0
show prefix src4 0
show status src
show status src4
)";

// --- The configuration as commands

std::string number(double v) {
   return Norv::text(v);
}

template <class Coll>
std::vector<uint32_t> chipsOf(const Coll& c) {
   std::vector<uint32_t> chips;
   for (auto it = c.begin(); it; ++it)
      chips.push_back(it.key().value());
   std::sort(chips.begin(), chips.end());
   return chips;
}

void dumpL4(Simulator& s, ConfigDump& d) {
   for (const auto& inst : kL4Instances) {
      const std::string chipCmd = std::string(" ") + inst.shortName + " ";
      auto cfg = s.world().get<Orim::PortRangeConfig>(configKey(inst.smName));
      for (uint32_t chip : chipsOf(cfg->chipPortRangeConfigColl())) {
         auto c = cfg->chipPortRangeConfig(Orim::ChipId(chip));
         const std::string at = chipCmd + std::to_string(chip) + " ";
         size_t ranges = 0, claimed = 0;
         for (auto it = c->activeXformColl().begin(); it; ++it) {
            ++ranges;
            const auto& r = it.key();
            if (d.claimed(ClaimKey::l4Range(inst.shortName, chip, r.rangeStart, r.rangeEnd))) {
               ++claimed;
               continue;
            }
            d.line("l4 range" + at + std::to_string(r.rangeStart) + " " +
                   std::to_string(r.rangeEnd) + " " + std::to_string(it.value().xformed));
         }
         const double id = c->attemptedRequestId();
         if (id == 0 || (claimed && claimed == ranges)) continue;
         // A configuration left without ranges is made by adding one and taking it away.
         if (ranges == 0) {
            d.line("l4 range" + at + "0 0 1");
            d.line("l4 remove" + at + "0 0");
         }
         d.line("l4 request" + at + number(id));
      }
   }
}

// The two-phase protocol of a direction, v4 before v6 in each step as the upper layer does:
// the active sets are attempted and activated, then the attempted sets are attempted under
// the request id the live agent last raised.
void dumpPrefixDirection(Simulator& s, ConfigDump& d, const Instance* inst /* v4, v6 */) {
   struct Side {
      const Instance* inst;
      Norv::Ptr<Orim::ChipIpGenPrefixConfig> c;
      std::map<std::string, std::string> attempted, active; // prefix text -> label
      double finalId = 0, stepId = 0;
   };
   std::set<uint32_t> chips;
   for (int f = 0; f < 2; ++f) {
      auto cfg = s.world().get<Orim::IpGenPrefixConfig>(configKey(inst[f].smName));
      for (uint32_t chip : chipsOf(cfg->chipIpGenPrefixConfigColl()))
         chips.insert(chip);
   }
   for (uint32_t chip : chips) {
      std::array<Side, 2> sides;
      for (int f = 0; f < 2; ++f) {
         Side& side = sides[f];
         side.inst = &inst[f];
         auto cfg = s.world().get<Orim::IpGenPrefixConfig>(configKey(inst[f].smName));
         if (d.claimed(ClaimKey::prefixes(inst[f].shortName, chip))) continue;
         side.c = cfg->chipIpGenPrefixConfig(Orim::ChipId(chip));
         if (!side.c) continue;
         for (auto it = side.c->attemptedXformColl().begin(); it; ++it)
            side.attempted[it.key().text()] = std::to_string(it.value().xformed);
         for (auto it = side.c->activeXformColl().begin(); it; ++it)
            side.active[it.key().text()] = std::to_string(it.value().xformed);
         side.finalId = side.c->attemptedRequestId();
         // The active set needs indexes of its own request when the attempted one differs.
         side.stepId = side.attempted == side.active && side.finalId != 0 ? side.finalId
                                                                          : side.finalId + 0.5;
      }
      auto where = [&](const Side& side) {
         return std::string(" ") + side.inst->shortName + " " + std::to_string(chip) + " ";
      };
      auto activated = [](const Side& side) {
         return side.c && side.c->activeRequestId() != 0;
      };
      // A configuration without prefixes is made by attempting the default route (which the
      // driver never places) and dropping it.
      auto made = [&](const Side& side, const std::map<std::string, std::string>& set) {
         if (!set.empty()) return;
         const std::string any = side.inst == &inst[0] ? "0.0.0.0/0" : "::/0";
         d.line("prefix attempt" + where(side) + any + " 0");
         d.line("prefix drop" + where(side) + any);
      };
      for (const Side& side : sides) {
         if (!activated(side)) continue;
         made(side, side.active);
         for (const auto& [p, l] : side.active)
            d.line("prefix attempt" + where(side) + p + " " + l);
      }
      for (const Side& side : sides) {
         if (activated(side))
            d.line("prefix request attempted" + where(side) + number(side.stepId));
      }
      for (const Side& side : sides) {
         if (activated(side))
            d.line("prefix activate" + where(side) + number(side.c->activeRequestId()));
      }
      for (const Side& side : sides) {
         if (!side.c) continue;
         const bool stepped = activated(side);
         if (stepped && side.stepId == side.finalId) continue;
         for (const auto& [p, l] : side.active) {
            if (stepped && !side.attempted.count(p)) d.line("prefix drop" + where(side) + p);
         }
         if (!stepped) made(side, side.attempted);
         for (const auto& [p, l] : side.attempted) {
            const auto was = side.active.find(p);
            if (!stepped || was == side.active.end() || was->second != l)
               d.line("prefix attempt" + where(side) + p + " " + l);
         }
         if (stepped || side.finalId != 0)
            d.line("prefix request attempted" + where(side) + number(side.finalId));
      }
   }
}

void dump(Simulator& s, ConfigDump& d) {
   dumpL4(s, d);
   const Instance src[2] = {kPrefixInstances[0], kPrefixInstances[2]};
   const Instance dst[2] = {kPrefixInstances[1], kPrefixInstances[3]};
   dumpPrefixDirection(s, d, src);
   dumpPrefixDirection(s, d, dst);
}

const ModuleRegistration reg({"xform", 50, start, scenario});
const ConfigDumperRegistration dumper({"xform", 50, nullptr, dump});

} // namespace

} // namespace Sim
