#include "xdk/xpChipSnapshot.h"

#include <cstdio>
#include <cstring>
#include <set>

#include "xdk/aaclL4PortMgr.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpEgressBdEvifMgr.h"
#include "xdk/xpIfPl.h"
#include "xdk/xpMgksMgr.h"
#include "xdk/xpPortConfigMgr.h"
#include "xdk/xpPortVlanIvifMgr.h"

namespace {

using Row = xpChipSnapshot::Row;
using Table = xpChipSnapshot::Table;
using Placement = xpChipSnapshot::Placement;

std::string hex(const uint8_t* bytes, size_t n) {
   std::string out;
   char buf[4];
   for (size_t i = 0; i < n; ++i) {
      std::snprintf(buf, sizeof buf, "%02x", bytes[i]);
      out += buf;
   }
   return out;
}

const char* onOff(bool on) {
   return on ? "on" : "off";
}

Row indexed(uint32_t index, std::string value) {
   return Row{"index " + std::to_string(index), index, std::move(value)};
}

template <class Mgr>
Mgr* mgrOf(xpPlBase* layer, size_t instance) {
   return layer->getMgr<Mgr>(xpPrimitiveMgrBase<Mgr>::idAt(instance));
}

// A table addressed by index: the entries away from the reset state.
template <class Mgr, class Format>
void addIndexed(xpChipSnapshot::Device& dev, xpsDevice_t devId, const Mgr* mgr,
                std::string name, Format&& format,
                xpChipSnapshot::Placement placement = xpChipSnapshot::Placement::indexed) {
   if (!mgr) return;
   Table t{std::move(name), placement, {}};
   const typename std::remove_cvref_t<decltype(*mgr->entryAt(0, 0))> reset{};
   for (uint32_t i = 0;; ++i) {
      const auto* e = mgr->entryAt(devId, i);
      if (!e) break;
      if (!(*e == reset)) t.rows.emplace(i, indexed(i, format(*e)));
   }
   dev.push_back(std::move(t));
}

std::string l4Text(const aaclL4PortEntry& e) {
   const auto b = e.bytes();
   std::array<uint8_t, aaclL4PortEntry::kBytes> rest = b;
   rest[aaclL4PortEntry::kLabelByte] = rest[aaclL4PortEntry::kLabelByte + 1] = 0;
   const bool other = rest != std::array<uint8_t, aaclL4PortEntry::kBytes>{};
   return "label " + std::to_string(e.getXformedL4Port()) +
          (other ? " bytes " + hex(b.data(), b.size()) : "");
}

std::string portConfigText(const xpPortConfigEntry& e) {
   return "PAclId " + std::to_string(e.PAclId) + " v4 " + onOff(e.aclEnBits & 1) + " v6 " +
          onOff(e.aclEnBits & 2) +
          ((e.aclEnBits & ~3) ? " bits " + std::to_string(e.aclEnBits) : "");
}

// Word 0 of the data: the verdict (bit 0), logging (bit 1) and the counter (from bit 3, 0 for
// none); word 1 the priority.
std::string mgText(const xpAaclMgTableEntry& e, bool withCounter) {
   const uint16_t w = e.data.word[0];
   const uint32_t counter = w >> 3;
   std::string counted = counter == 0 ? "none" : withCounter ? std::to_string(counter) : "some";
   return "key " + hex(e.key.bytes, xpAaclMgTableEntryKey::kBytes) + " " +
          (w & 1 ? "permit" : "deny") + " log " + onOff(w & 2) + ((w & 4) ? " bit2" : "") +
          " counter " + counted + " prio " + std::to_string(e.data.word[1]);
}

} // namespace

std::string xpChipSnapshot::ipXformText(const xpIpXformSlot& slot) {
   if (slot == xpIpXformSlot{}) return "";
   const xpIpXformEntry& e = slot.entry;
   uint8_t b[16];
   std::memcpy(b, e.ipAddr.data(), sizeof b);
   std::string addr;
   char buf[8];
   if (e.ipType == xpIpXformEntry::kIpv4Type) {
      for (int i = 0; i < 4; ++i)
         addr += (i ? "." : "") + std::to_string(b[i]);
   } else {
      for (int i = 0; i < 8; ++i) {
         std::snprintf(buf, sizeof buf, "%x", b[2 * i] << 8 | b[2 * i + 1]);
         addr += (i ? ":" : "") + std::string(buf);
      }
   }
   const char* family = e.ipType == xpIpXformEntry::kIpv4Type   ? "v4 "
                        : e.ipType == xpIpXformEntry::kIpv6Type ? "v6 "
                                                                : "type ?";
   return std::string(slot.valid ? "" : "invalid ") + family + addr + "/" +
          std::to_string(e.prefixLen) + " label " + std::to_string(e.xformedIp);
}

xpChipSnapshot xpChipSnapshot::take() {
   xpChipSnapshot snap;
   xpPlBase* acl = xpAclPl::instance();
   xpPlBase* intf = xpIfPl::instance();
   for (xpsDevice_t devId : xpDeviceMgr::instance()->devices()) {
      Device& dev = snap.devices_[devId];
      addIndexed(dev, devId, mgrOf<aaclL4PortMgr>(acl, aaclL4PortMgr::kSrcInstance),
                 "aaclL4PortMgr.src", l4Text);
      addIndexed(dev, devId, mgrOf<aaclL4PortMgr>(acl, aaclL4PortMgr::kDstInstance),
                 "aaclL4PortMgr.dst", l4Text);
      addIndexed(dev, devId, mgrOf<xpIpXformMgr>(acl, xpIpXformMgr::kSrcInstance),
                 "xpIpXformMgr.src", ipXformText, Placement::allocated);
      addIndexed(dev, devId, mgrOf<xpIpXformMgr>(acl, xpIpXformMgr::kDstInstance),
                 "xpIpXformMgr.dst", ipXformText, Placement::allocated);
      if (const auto* mg = mgrOf<xpAaclMgTableMgr>(acl, 0)) {
         const uint32_t perWay = mg->entriesPerWayOf(devId);
         for (uint32_t t = 0; t < xpAaclMgTableMgr::kNumMgTables; ++t) {
            Table table{"xpAaclMgTableMgr." + std::to_string(t), Placement::indexed, {}};
            mg->forEachValid(devId, t, [&](uint32_t i, const xpAaclMgTableEntry& e) {
               Row r = indexed(i, mgText(e, true));
               r.content = mgText(e, false);
               r.key += " (way " + std::to_string(i / perWay) + " hash " +
                        std::to_string(i % perWay) + ")";
               table.rows.emplace(i, std::move(r));
            });
            dev.push_back(std::move(table));
         }
      }
      if (const auto* mgks = mgrOf<xpMgksMgr>(acl, 0)) {
         for (uint32_t t = 0; t < xpMgksMgr::kNumMgksTables; ++t) {
            Table table{"xpMgksMgr." + std::to_string(t), Placement::hashed, {}};
            mgks->forEachValid(devId, t, [&](uint32_t i, const xpMgksEntry& e) {
               uint32_t match = 0;
               std::memcpy(&match, e.bytes, xpMgksEntry::kMatchBytes);
               table.rows.emplace(
                   match, Row{"match " + hex(e.bytes, xpMgksEntry::kMatchBytes), i,
                              "result " + hex(e.bytes + xpMgksEntry::kMatchBytes,
                                              xpMgksEntry::kBytes - xpMgksEntry::kMatchBytes)});
            });
            dev.push_back(std::move(table));
         }
      }
      addIndexed(dev, devId, mgrOf<xpPortConfigMgr>(intf, 0), "xpPortConfigMgr",
                 portConfigText);
      if (const auto* ivif = mgrOf<xpPortVlanIvifMgr>(intf, 0)) {
         Table table{"xpPortVlanIvifMgr", Placement::hashed, {}};
         const auto& copies = ivif->tables(devId);
         for (uint32_t c = 0; c < copies.size(); ++c) {
            copies[c].forEachValid(
                [&](uint32_t i, const xpPortVlanIvifKey& k, const xpPortVlanIvifData& d) {
                   table.rows.emplace(
                       uint64_t{c} << 32 | uint32_t{k.port} << 16 | k.vlanId,
                       Row{"copy " + std::to_string(c) + " port " + std::to_string(k.port) +
                               " vlan " + std::to_string(k.vlanId),
                           i,
                           "routeAclId " + std::to_string(d.routeAclId) + " v4 " +
                               onOff(d.routeAclEn & 1) + " v6 " + onOff(d.routeAclEn & 2)});
                });
         }
         dev.push_back(std::move(table));
      }
      if (const auto* evif = mgrOf<xpEgressBdEvifMgr>(intf, 0)) {
         Table table{"xpEgressBdEvifMgr", Placement::hashed, {}};
         for (const auto& copy : evif->tables(devId)) {
            copy.forEachValid([&](uint32_t i, const xpEgressBdEvifKey& k,
                                  const xpEgressBdEvifData& d) {
               table.rows.emplace(
                   uint32_t{k.vif} << 16 | k.vlanId,
                   Row{"vif " + std::to_string(k.vif) + " vlan " + std::to_string(k.vlanId), i,
                       "paclId " + std::to_string(d.paclId()) + " v4 " + onOff(d.paclIdEnV4()) +
                           " v6 " + onOff(d.paclIdEnV6()) + " raclId " +
                           std::to_string(d.raclId()) + " v4 " + onOff(d.raclIdEnV4()) +
                           " v6 " + onOff(d.raclIdEnV6())});
            });
         }
         dev.push_back(std::move(table));
      }
   }
   return snap;
}

std::string xpChipDifference::text() const {
   std::string out = "device " + std::to_string(device);
   if (table.empty()) {
      return out + ": live " + (live ? "present" : "absent") + ", cold " +
             (cold ? "present" : "absent");
   }
   out += " " + table + " " + key + ": ";
   // A hashed entry names where it sits, which may differ between the sides.
   auto side = [&](const char* name, const std::optional<xpChipSnapshot::Row>& r) {
      if (!r) return std::string(name) + " empty";
      const bool showIndex = r->key.rfind("index ", 0) != 0;
      return std::string(name) + " " + r->value +
             (showIndex ? " (index " + std::to_string(r->index) + ")" : "");
   };
   return out + side("live", live) + ", " + side("cold", cold);
}

xpChipComparison xpCompareChips(const xpChipSnapshot& live, const xpChipSnapshot& cold) {
   xpChipComparison result;
   std::set<xpsDevice_t> devices;
   for (const auto& [id, d] : live.devices())
      devices.insert(id);
   for (const auto& [id, d] : cold.devices())
      devices.insert(id);
   const xpChipSnapshot::Row present{};
   for (xpsDevice_t id : devices) {
      const auto l = live.devices().find(id);
      const auto c = cold.devices().find(id);
      if (l == live.devices().end() || c == cold.devices().end()) {
         xpChipDifference d;
         d.device = id;
         if (l != live.devices().end()) d.live = present;
         if (c != cold.devices().end()) d.cold = present;
         result.differences.push_back(std::move(d));
         continue;
      }
      // Both sides list the same tables in the same order: the model is the same code.
      for (size_t t = 0; t < l->second.size() && t < c->second.size(); ++t) {
         const Table& lt = l->second[t];
         const Table& ct = c->second[t];
         // In a table the driver allocates, a value held as often on both sides is placed by
         // history wherever it sits.
         std::map<std::string, int> balance;
         if (lt.placement == Placement::allocated) {
            for (const auto& [k, r] : lt.rows)
               ++balance[r.what()];
            for (const auto& [k, r] : ct.rows)
               --balance[r.what()];
         }
         auto placed = [&](const Row* r) {
            return !r || (lt.placement == Placement::allocated && balance[r->what()] == 0);
         };
         std::set<uint64_t> keys;
         for (const auto& [k, r] : lt.rows)
            keys.insert(k);
         for (const auto& [k, r] : ct.rows)
            keys.insert(k);
         for (uint64_t k : keys) {
            const auto lr = lt.rows.find(k);
            const auto cr = ct.rows.find(k);
            const Row* lrow = lr != lt.rows.end() ? &lr->second : nullptr;
            const Row* crow = cr != ct.rows.end() ? &cr->second : nullptr;
            if (lrow && crow && lrow->what() == crow->what()) {
               if (!(*lrow == *crow)) ++result.movedOnly;
               continue;
            }
            if (placed(lrow) && placed(crow)) {
               if (lrow) ++result.movedOnly;
               continue;
            }
            xpChipDifference d;
            d.device = id;
            d.table = lt.name;
            d.key = (lrow ? lrow : crow)->key;
            if (lrow) d.live = *lrow;
            if (crow) d.cold = *crow;
            result.differences.push_back(std::move(d));
         }
      }
   }
   return result;
}
