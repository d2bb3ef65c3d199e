// The differences between a chip and its cold start that the driver's own prescribed order of
// writes leaves behind, each recognised from the live agent's state exactly.
#include <optional>

#include "platform/OrimXform.h"
#include "sim/Sim.h"
#include "sim/Verify.h"
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

std::string entryText(const Plexo::IpGenPrefix& prefix, uint32_t label) {
   xpIpXformSlot slot;
   slot.valid = true;
   XpAcl::buildXformEntry(prefix, label, slot.entry);
   return xpChipSnapshot::ipXformText(slot);
}

} // namespace

std::string chipCause(Simulator& s, const xpChipDifference& d) {
   const bool src = d.table == "xpIpXformMgr.src";
   if (!src && d.table != "xpIpXformMgr.dst") return "";
   const uint32_t index = (d.live ? d.live : d.cold)->index;
   const auto owners = activeAt(s, src, d.device, index);
   // An activation rewrites the prefixes of its set and leaves the indexes it no longer uses
   // as they were.
   auto activeElsewhere = [&](const std::string& value) {
      for (const auto& o : activeAt(s, src, d.device, std::nullopt)) {
         if (entryText(o.prefix, o.label) == value) return true;
      }
      return false;
   };
   if (d.live && owners.empty() && (!d.cold || activeElsewhere(d.cold->value))) {
      return "the driver no longer uses the index (its prefix was dropped or moved), and the "
             "entry stays until the index is written again";
   }
   // An IPv4 activation first writes the catch-all at index 0, which the IPv6 reactor of the
   // direction may have given one of its prefixes: the cold start activates IPv6 after IPv4.
   const std::string catchAll = entryText(Plexo::IpGenPrefix(Plexo::Ip6Prefix{}), 0);
   if (index == 0 && d.live && d.cold && d.live->value == catchAll && owners.size() == 1 &&
       owners[0].prefix.isV6() && d.cold->value == entryText(owners[0].prefix, owners[0].label)) {
      return "an IPv4 activation wrote the catch-all over the IPv6 prefix at index 0";
   }
   return "";
}

std::string ackCause(Simulator& s, const std::string& sm, uint32_t chip) {
   const Orim::ChipId id(chip);
   const bool removed =
       sm.rfind("L4", 0) == 0
           ? !s.world().get<Orim::PortRangeConfig>(sm + ".config")->chipPortRangeConfig(id)
           : !s.world().get<Orim::IpGenPrefixConfig>(sm + ".config")->chipIpGenPrefixConfig(id);
   return removed ? "the chip's configuration was removed while its device was down, and the "
                    "acknowledgement stays"
                  : "";
}

} // namespace Sim
