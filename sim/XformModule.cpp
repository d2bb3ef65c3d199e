// Field compression in the simulator: the upper layer's port ranges and IP prefixes per chip,
// their request ids, and the six transform reactors that program them.
#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <iostream>
#include <vector>

#include "norv/LogHandle.h"
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
   Norv::LogHandle::sinkIs([](const Norv::LogHandle& h, const std::string& message) {
      std::cout.flush();
      std::fflush(stdout);
      std::fprintf(stderr, "%%%s: %s\n", h.name().c_str(), message.c_str());
      std::fflush(stderr);
   });
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

const ModuleRegistration reg({"xform", 50, start, scenario});

} // namespace

} // namespace Sim
