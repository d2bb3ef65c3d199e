// The differences between a chip and its cold start that the driver's own prescribed order of
// writes leaves behind, each recognised from the live agent's state exactly.
#include <algorithm>
#include <optional>

#include "platform/OrimDataFlow.h"
#include "platform/OrimXform.h"
#include "sim/Sim.h"
#include "sim/Verify.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"
#include "xpacl/stage/XpAclOrimStageMgrSm.h"
#include "xpacl/xform/XpAclPrefixXformSm.h"

namespace Sim {

namespace {

struct Owner {
   Plexo::IpGenPrefix prefix;
   uint32_t label;
};

// The prefixes of the direction's IPv4 and IPv6 reactors that the driver has active at the
// index of the chip.
// (every index when `index` is empty).
std::vector<Owner> activeAt(Simulator& s, bool src, uint32_t chip,
                            std::optional<uint32_t> index) {
   std::vector<Owner> owners;
   for (const char* name : src ? std::array{"SrcV4PrefixXformSm", "SrcV6PrefixXformSm"}
                               : std::array{"DstV4PrefixXformSm", "DstV6PrefixXformSm"}) {
      auto sm = s.world().get<XpAcl::PrefixXformSm>(name);
      auto chipSm = sm ? sm->chipPrefixConfig(Orim::ChipId(chip)) : nullptr;
      if (!chipSm) continue;
      const auto& active = chipSm->chipPrefixConfig()->activeXformColl();
      for (auto it = chipSm->activeAllocColl().begin(); it; ++it) {
         if (index && it.value() != *index) continue;
         const auto label = active.find(it.key());
         owners.push_back({it.key(), label ? label->xformed : 0});
      }
   }
   return owners;
}

// Whether a transform reactor of the direction has a request on the chip that it has not
// acknowledged.
bool requestNotTakenUp(Simulator& s, const std::string& sm, uint32_t chip) {
   auto config = s.world().get<Orim::IpGenPrefixConfig>(sm + ".config");
   auto status = s.world().get<Orim::ResourceStatus>(sm + ".status");
   auto chipConfig = config ? config->chipIpGenPrefixConfig(Orim::ChipId(chip)) : nullptr;
   if (!chipConfig || !status || chipConfig->attemptedRequestId() == 0) return false;
   const auto* ack = status->resourceChipStatusColl().find(Orim::ChipId(chip));
   return !ack || ack->requestId != chipConfig->attemptedRequestId();
}
bool directionNotTakenUp(Simulator& s, bool src, uint32_t chip) {
   return requestNotTakenUp(s, src ? "SrcV4PrefixXformSm" : "DstV4PrefixXformSm", chip) ||
          requestNotTakenUp(s, src ? "SrcV6PrefixXformSm" : "DstV6PrefixXformSm", chip);
}
constexpr const char* kNotTakenUp =
    "a prefix request came while the device was down, and the driver takes up a request only "
    "when its id changes with the device up: the table holds the set of the last request it "
    "processed";

std::vector<VerifyCauseFinder>& finders() {
   static std::vector<VerifyCauseFinder> f;
   return f;
}

std::string entryText(const Plexo::IpGenPrefix& prefix, uint32_t label) {
   xpIpXformSlot slot;
   slot.valid = true;
   XpAcl::buildXformEntry(prefix, label, slot.entry);
   return xpChipSnapshot::ipXformText(slot);
}

} // namespace

VerifyCauseRegistration::VerifyCauseRegistration(VerifyCauseFinder f) {
   finders().push_back(f);
}

// The indexes of the device's table that hold the value.
std::vector<uint32_t> holding(const xpChipSnapshot& snap, const xpChipDifference& d,
                              const std::string& value) {
   std::vector<uint32_t> at;
   const auto dev = snap.devices().find(d.device);
   if (dev == snap.devices().end()) return at;
   for (const auto& table : dev->second) {
      if (table.name != d.table) continue;
      for (const auto& [k, row] : table.rows) {
         if (row.value == value) at.push_back(row.index);
      }
   }
   return at;
}

// The rule the live agent placed at the MG-table index of the chip, if any.
std::optional<Orim::PerStageTableEntry> ruleAtIndex(Simulator& s, uint32_t chip,
                                                    uint32_t mgTable, uint32_t index) {
   auto stages = s.world()
                     .get<XpAcl::AaclStageStatus>("aaclStageStatus")
                     ->aaclChipStageStatus(Orim::ChipId(chip));
   auto flow = s.world()
                   .get<Orim::DataFlowConfig>("dataFlowConfig")
                   ->chipDataFlowConfig(Orim::ChipId(chip));
   const auto* mg = xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
       xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
   const uint32_t perWay = mg ? mg->entriesPerWayOf(static_cast<xpsDevice_t>(chip)) : 0;
   if (!stages || !flow || perWay == 0) return std::nullopt;
   for (auto it = stages->aaclStageDescriptorColl().begin(); it; ++it) {
      if (it.value()->ldeMgTableLookupDesc().mgTableId().value() != mgTable) continue;
      auto table = flow->stageHashTable(it.key());
      const Orim::PerStageHashTableKey pos(index / perWay, index % perWay);
      if (table && table->tableColl().contains(pos)) return *table->tableColl().find(pos);
   }
   return std::nullopt;
}

// A counted rule without a counter on the chip, where the cold start gave it one: the driver
// puts index 0 (no counter) on the free stack when it removes an entry without a counter, and
// hands it out next (and a second such removal takes the rule's counter record with it).
std::string counterCause(Simulator& s, const xpChipDifference& d) {
   if (!d.live || !d.cold || d.table.rfind("xpAaclMgTableMgr.", 0) != 0) return "";
   std::string live = d.live->what();
   const std::string none = " counter none ";
   const size_t at = live.find(none);
   if (at == std::string::npos ||
       live.replace(at, none.size(), " counter some ") != d.cold->what())
      return "";
   const uint32_t table = static_cast<uint32_t>(std::stoul(d.table.substr(17)));
   const auto rule = ruleAtIndex(s, d.device, table, d.live->index);
   if (!rule || !rule->counting()) return "";
   return "the counted rule was handed counter 0 (none), which the driver puts back on the "
          "free counters when it removes an entry without a counter";
}

bool ruleAt(Simulator& s, uint32_t chip, uint32_t mgTable, uint32_t index) {
   return ruleAtIndex(s, chip, mgTable, index).has_value();
}

// What the driver's own order of writes leaves, or "".
std::string driverCause(Simulator& s, const xpChipDifference& d, const xpChipSnapshot& live,
                        const xpChipSnapshot& cold) {
   if (std::string c = counterCause(s, d); !c.empty()) return c;
   const bool src = d.table == "xpIpXformMgr.src";
   if (!src && d.table != "xpIpXformMgr.dst") return "";
   if (directionNotTakenUp(s, src, d.device)) return kNotTakenUp;
   const uint32_t index = (d.live ? d.live : d.cold)->index;
   const auto owners = activeAt(s, src, d.device, index);
   // An activation rewrites the prefixes of its set and leaves the indexes it no longer uses
   // as they were: the live table holds a value more often than the cold one, and as many of
   // its places as the surplus are indexes the driver no longer uses.
   // Every value of the difference that one side holds more often than the other is held
   // more often live, at as many indexes as the surplus that the driver no longer uses.
   auto staleSurplus = [&](const std::string& value) {
      const auto places = holding(live, d, value);
      const size_t coldCount = holding(cold, d, value).size();
      if (places.size() == coldCount) return true; // placed elsewhere: balanced
      if (places.size() < coldCount) return false;
      size_t unused = 0;
      for (uint32_t i : places)
         unused += activeAt(s, src, d.device, i).empty();
      return unused >= places.size() - coldCount;
   };
   if (d.live && staleSurplus(d.live->value) && (!d.cold || staleSurplus(d.cold->value))) {
      return "the driver no longer uses an index of this entry (its prefix was dropped or "
             "moved), and the entry stays until the index is written again";
   }
   // An IPv4 activation first writes the catch-all at index 0, which the IPv6 reactor of the
   // direction may have given one of its prefixes: the cold start activates IPv6 after IPv4.
   const std::string catchAll = entryText(Plexo::IpGenPrefix(Plexo::Ip6Prefix{}), 0);
   if (index == 0 && d.live && d.cold && d.live->value == catchAll && owners.size() == 1 &&
       owners[0].prefix.isV6() &&
       d.cold->value == entryText(owners[0].prefix, owners[0].label)) {
      return "an IPv4 activation wrote the catch-all over the IPv6 prefix at index 0";
   }
   return "";
}

std::string chipCause(Simulator& s, const xpChipDifference& d, const xpChipSnapshot& live,
                      const xpChipSnapshot& cold) {
   if (std::string c = driverCause(s, d, live, cold); !c.empty()) return c;
   for (const auto& f : finders()) {
      if (std::string c = f.chip ? f.chip(s, d) : ""; !c.empty()) return c;
   }
   return "";
}

std::string ackCause(Simulator& s, const std::string& sm, uint32_t chip, bool live) {
   if (sm.rfind("L4", 0) != 0 && requestNotTakenUp(s, sm, chip)) return kNotTakenUp;
   if (!live) return "";
   const Orim::ChipId id(chip);
   const bool removed =
       sm.rfind("L4", 0) == 0
           ? !s.world().get<Orim::PortRangeConfig>(sm + ".config")->chipPortRangeConfig(id)
           : !s.world().get<Orim::IpGenPrefixConfig>(sm + ".config")->chipIpGenPrefixConfig(id);
   if (removed) {
      return "the chip's configuration was removed while its device was down, and the "
             "acknowledgement stays";
   }
   for (const auto& f : finders()) {
      if (std::string c = f.ack ? f.ack(s, sm, chip) : ""; !c.empty()) return c;
   }
   return "";
}

} // namespace Sim
