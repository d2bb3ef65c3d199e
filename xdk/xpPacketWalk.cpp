#include "xdk/xpPacketWalk.h"

#include <algorithm>

#include "xdk/aaclL4PortMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpAcmBankMgr.h"
#include "xdk/xpAcmPl.h"
#include "xdk/xpEgressBdEvifMgr.h"
#include "xdk/xpIfPl.h"
#include "xdk/xpIpXformLpm.h"
#include "xdk/xpMgksMgr.h"
#include "xdk/xpPortConfigMgr.h"
#include "xdk/xpPortVlanIvifMgr.h"
#include "xdk/xpSdk.h"

namespace {

constexpr uint8_t kTcp = 6;
constexpr uint8_t kUdp = 17;
constexpr uint8_t kTcpAck = 0x10;
constexpr uint8_t kTcpRst = 0x04;
constexpr uint8_t kPktTypeV4 = 1;
constexpr uint8_t kPktTypeV6 = 4;
// Stage s is served by MG table s and key-select table s + 1, as the chip's default profile
// lays its LDEs out.
constexpr uint32_t kFirstMgksTable = 1;
// The ways whose places are hashed together.
constexpr uint32_t kMaxProbedAtOnce = 8;
// A packet counted on a hit is a minimum-size frame.
constexpr uint64_t kPacketBytes = 64;

// Data word 0: bit 0 permit, bit 1 log, bits 3-15 the counter index; word 1: the priority.
xpAclWalkHit hitOf(const xpAaclMgTableEntryData& d, uint32_t stage, uint32_t hwIndex,
                   uint8_t chipRuleListId) {
   return xpAclWalkHit{stage,
                       stage,
                       hwIndex,
                       chipRuleListId,
                       (d.word[0] & 1) != 0,
                       (d.word[0] & 2) != 0,
                       static_cast<uint16_t>(d.word[1] & 0x1fff),
                       static_cast<uint16_t>(d.word[0] >> 3)};
}

// The chip's tables, found once per generation of the model.
struct Tables {
   unsigned sdkGeneration = ~0u;
   xpPortConfigMgr* portConfig = nullptr;
   xpPortVlanIvifMgr* ivif = nullptr;
   xpEgressBdEvifMgr* evif = nullptr;
   aaclL4PortMgr* l4[2] = {};
   xpIpXformMgr* ipXform[2] = {};
   xpMgksMgr* mgks = nullptr;
   xpAaclMgTableMgr* mg = nullptr;
   xpAcmBankMgr* acm = nullptr;
   // The longest-prefix index of each device's source and destination transform table, with
   // the table generation it was built from.
   struct LpmCache {
      const xpIpXformMgr* mgr = nullptr;
      uint64_t generation = 0;
      xpIpXformLpm lpm;
   };
   std::array<std::array<LpmCache, 2>, XP_MAX_DEVICES> lpm;

   void refresh() {
      if (sdkGeneration == xpSdkGeneration()) [[likely]]
         return;
      sdkGeneration = xpSdkGeneration();
      auto* acl = xpAclPl::instance();
      auto* ifPl = xpIfPl::instance();
      portConfig = ifPl->getMgr<xpPortConfigMgr>(xpPrimitiveMgrBase<xpPortConfigMgr>::idAt(0));
      ivif = ifPl->getMgr<xpPortVlanIvifMgr>(xpPrimitiveMgrBase<xpPortVlanIvifMgr>::idAt(0));
      evif = ifPl->getMgr<xpEgressBdEvifMgr>(xpPrimitiveMgrBase<xpEgressBdEvifMgr>::idAt(0));
      for (size_t i = 0; i < 2; ++i) {
         l4[i] = acl->getMgr<aaclL4PortMgr>(
             xpPrimitiveMgrBase<aaclL4PortMgr>::idAt(aaclL4PortMgr::kSrcInstance + i));
         ipXform[i] = acl->getMgr<xpIpXformMgr>(
             xpPrimitiveMgrBase<xpIpXformMgr>::idAt(xpIpXformMgr::kSrcInstance + i));
      }
      mgks = acl->getMgr<xpMgksMgr>(xpPrimitiveMgrBase<xpMgksMgr>::idAt(0));
      mg = acl->getMgr<xpAaclMgTableMgr>(xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
      acm =
          xpAcmPl::instance()->getMgr<xpAcmBankMgr>(xpPrimitiveMgrBase<xpAcmBankMgr>::idAt(0));
      for (auto& dev : lpm)
         dev = {};
   }

   // The longest-prefix index of the device's table `which` (0 source, 1 destination), rebuilt
   // when the table changed since it was built.
   const xpIpXformLpm* lpmOf(uint8_t devId, size_t which) {
      const xpIpXformMgr* mgr = ipXform[which];
      if (!mgr || devId >= XP_MAX_DEVICES) return nullptr;
      LpmCache& c = lpm[devId][which];
      const uint64_t generation = mgr->generation(devId);
      if (c.mgr != mgr || c.generation != generation) {
         uint32_t size = 0;
         const xpIpXformSlot* slots = mgr->entriesOf(devId, size);
         c.lpm.build(slots, slots ? size : 0);
         c.mgr = mgr;
         c.generation = generation;
      }
      return &c.lpm;
   }
};

Tables& tables() {
   static Tables t;
   t.refresh();
   return t;
}

uint16_t portLabel(const aaclL4PortMgr* mgr, uint8_t devId, uint16_t port) {
   const aaclL4PortEntry* e = mgr ? mgr->entryAt(devId, port) : nullptr;
   return e ? e->getXformedL4Port() : 0;
}

void findLabels(Tables& t, const xpAclPacket& pkt, xpAclWalkLabels& l) {
   if (const xpIpXformLpm* lpm = t.lpmOf(pkt.devId, 0)) {
      const auto m = lpm->lookup(pkt.ipv6, pkt.sip);
      l.sipFound = m.found;
      l.sipIndex = m.index;
      l.sipLen = m.prefixLen;
      l.sip = static_cast<uint16_t>(m.label);
   }
   if (const xpIpXformLpm* lpm = t.lpmOf(pkt.devId, 1)) {
      const auto m = lpm->lookup(pkt.ipv6, pkt.dip);
      l.dipFound = m.found;
      l.dipIndex = m.index;
      l.dipLen = m.prefixLen;
      l.dip = static_cast<uint16_t>(m.label);
   }
   l.portsLooked = (pkt.protocol == kTcp || pkt.protocol == kUdp) && !pkt.fragment;
   if (l.portsLooked) {
      l.sport = portLabel(t.l4[0], pkt.devId, pkt.sport);
      l.dport = portLabel(t.l4[1], pkt.devId, pkt.dport);
   }
   l.established = pkt.protocol == kTcp && (pkt.tcpFlags & (kTcpAck | kTcpRst)) != 0;
}

// The data of the entry with `key` in (copy 0 of) a hashed table of the device, or nullptr.
template <class Mgr, class Key>
const typename Mgr::Data* findHashed(const Mgr* mgr, uint8_t dev, const Key& key,
                                     uint32_t& index) {
   if (!mgr || mgr->tables(dev).empty()) return nullptr;
   const auto& table = mgr->tables(dev)[0];
   return table.lookup(key, index) == XP_NO_ERR ? &table.at(index)->value : nullptr;
}

// The lookups the packet's entries give (at most two: a port and a routed one).
void findLookups(Tables& t, const xpAclPacket& pkt, xpAclWalkResult& r) {
   const uint8_t dev = pkt.devId;
   auto add = [&](xpAclLookupKind kind, uint32_t index, uint8_t aclId, bool v4, bool v6) {
      xpAclWalkLookup& l = r.lookups[r.numLookups++];
      l.kind = kind;
      l.tableIndex = index;
      l.aclId = aclId;
      l.v4En = v4;
      l.v6En = v6;
   };
   if (!pkt.egress) {
      r.deviceKnown = t.portConfig && t.portConfig->entryAt(dev, 0);
      // A port beyond the table has no entry, so no lookup.
      const xpPortConfigEntry* port =
          r.deviceKnown ? t.portConfig->entryAt(dev, pkt.port) : nullptr;
      if (!port) return;
      add(xpAclLookupKind::ingressPacl, pkt.port, port->PAclId, port->aclEnBits & 1,
          port->aclEnBits & 2);
      uint32_t index = 0;
      const auto* d =
          findHashed(t.ivif, dev, xpPortVlanIvifKey{uint16_t(pkt.port), pkt.vlan}, index);
      if (d) {
         add(xpAclLookupKind::ingressRacl, index, d->routeAclId, d->routeAclEn & 1,
             d->routeAclEn & 2);
      }
      return;
   }
   r.deviceKnown = t.evif && !t.evif->tables(dev).empty();
   uint32_t index = 0;
   const auto* d =
       findHashed(t.evif, dev, xpEgressBdEvifKey{uint16_t(pkt.egressVif), pkt.vlan}, index);
   if (!d) return;
   add(xpAclLookupKind::egressPacl, index, d->paclId(), d->paclIdEnV4(), d->paclIdEnV6());
   add(xpAclLookupKind::egressRacl, index, d->raclId(), d->raclIdEnV4(), d->raclIdEnV6());
}

// The key-select match of a lookup: bits 2-9 of the first 16-bit word (low byte first) the
// hardware ACL index, 10-13 the packet type, 14 the ACL type, 15 the direction.
xpMgksEntry mgksMatch(const xpAclWalkLookup& l) {
   const uint16_t w = static_cast<uint16_t>(l.aclId << 2 | (l.pktType & 0xf) << 10 |
                                            (l.aclType & 1) << 14 | (l.direction & 1) << 15);
   xpMgksEntry m;
   m.bytes[0] = static_cast<uint8_t>(w);
   m.bytes[1] = static_cast<uint8_t>(w >> 8);
   return m;
}

// The MG key of the packet under the stage's key-select entry `e`.
void buildKey(const xpAclPacket& pkt, const xpAclWalkLabels& labels, const xpMgksEntry& e,
              xpAclWalkStage& s) {
   const uint8_t* b = e.bytes;
   s.sipEn = b[4] >> 7 & 1;
   s.dipEn = b[5] & 1;
   s.sportEn = b[5] >> 1 & 1;
   s.dportEn = b[5] >> 2 & 1;
   s.ptEn = b[5] >> 3 & 1;
   s.fragEn = b[5] >> 5 & 1;
   s.ttlEn = b[5] >> 6 & 1;
   s.tcpFlagsEn = b[6] >> 1 & 1;
   // The result word (bytes 6-7, bits 2-9 the MG-table ACL id, 10-15 its types) is laid out as
   // the MG key's last two bytes.
   const uint16_t result = static_cast<uint16_t>(b[6] | b[7] << 8);
   const uint8_t list = static_cast<uint8_t>(result >> 2);
   s.chipRuleListId = list;
   const uint16_t sport = s.sportEn ? labels.sport : 0; // 0 unless the ports were looked up
   const uint16_t dport = s.dportEn ? labels.dport : 0;
   const uint16_t sip = s.sipEn ? labels.sip : 0;
   const uint16_t dip = s.dipEn ? labels.dip : 0;
   uint8_t* k = s.key.bytes;
   s.key = xpAaclMgTableEntryKey{};
   k[2] = static_cast<uint8_t>((s.fragEn && !pkt.fragment) << 1 |
                               (s.tcpFlagsEn && labels.established) << 2);
   k[3] = s.ttlEn ? static_cast<uint8_t>(pkt.ttl - 1) : list;
   k[4] = list;
   k[5] = s.ptEn ? pkt.protocol : list;
   k[6] = static_cast<uint8_t>(sport);
   k[7] = static_cast<uint8_t>(sport >> 8);
   k[8] = static_cast<uint8_t>(dport);
   k[9] = static_cast<uint8_t>(dport >> 8);
   k[10] = static_cast<uint8_t>(sip);
   k[11] = static_cast<uint8_t>(sip >> 8);
   k[12] = static_cast<uint8_t>(dip);
   k[13] = static_cast<uint8_t>(dip >> 8);
   k[16] = static_cast<uint8_t>(result >> 8 & 0xfc);
   k[17] = list;
}

void probe(Tables& t, uint8_t dev, xpAclWalkStage& s) {
   const uint32_t ways = t.mg->waysOf(dev);
   s.ways = ways;
   uint32_t place[kMaxProbedAtOnce];
   for (uint32_t way = 0; way < ways; ++way) {
      if (way % kMaxProbedAtOnce == 0)
         t.mg->wayIndexesOf(dev, s.key, way, std::min(ways - way, kMaxProbedAtOnce), place);
      const uint32_t hwIndex = place[way % kMaxProbedAtOnce];
      const xpAaclMgTableEntry* e = t.mg->validEntry(dev, s.mgTableId, hwIndex);
      const bool hit = e && e->key == s.key;
      if (way < xpAclWalkStage::kMaxRecordedWays)
         s.probes[way] = {way, hwIndex, e != nullptr, hit};
      if (hit && !s.hit) {
         s.hit = true;
         s.entry = hitOf(e->data, s.stage, hwIndex, s.chipRuleListId);
      }
   }
}

void walkLookup(Tables& t, const xpAclPacket& pkt, const xpAclWalkLabels& labels,
                xpAclWalkLookup& l) {
   const xpMgksEntry match = mgksMatch(l);
   for (uint32_t stage = 0; stage < xpAclWalkLookup::kStages; ++stage) {
      // Only what every reader looks at is reset: the rest is read when `selected` says so.
      xpAclWalkStage& s = l.stages[l.numStages++];
      s.selected = false;
      s.hit = false;
      s.ways = 0;
      s.stage = stage;
      s.mgTableId = stage;
      s.mgksTableId = stage + kFirstMgksTable;
      const xpMgksEntry* e =
          t.mgks ? t.mgks->findEntry(pkt.devId, s.mgksTableId, match, s.mgksIndex) : nullptr;
      if (!e) continue;
      s.selected = true;
      buildKey(pkt, labels, *e, s);
      if (t.mg) probe(t, pkt.devId, s);
      if (s.hit && (!l.hit || s.entry.hwPriority < l.winner.hwPriority)) {
         l.hit = true;
         l.winner = s.entry;
      }
   }
}

} // namespace

const char* xpAclLookupKindName(xpAclLookupKind kind) {
   switch (kind) {
   case xpAclLookupKind::ingressPacl:
      return "ingress PACL";
   case xpAclLookupKind::ingressRacl:
      return "ingress RACL";
   case xpAclLookupKind::egressPacl:
      return "egress PACL";
   case xpAclLookupKind::egressRacl:
      return "egress RACL";
   }
   return "?";
}

void xpAclWalkPacket(const xpAclPacket& pkt, bool countHit, xpAclWalkResult& r) {
   Tables& t = tables();
   r.permit = true;
   r.blocked = false;
   r.winners.clear();
   r.deviceKnown = false;
   r.labels = xpAclWalkLabels{};
   r.numLookups = 0;
   findLookups(t, pkt, r);
   if (r.numLookups == 0) return;
   findLabels(t, pkt, r.labels);
   for (uint32_t i = 0; i < r.numLookups; ++i) {
      xpAclWalkLookup& l = r.lookups[i];
      l.applies = pkt.ipv6 ? l.v6En : l.v4En;
      l.blocked = l.applies && l.aclId == 0;
      l.pktType = pkt.ipv6 ? kPktTypeV6 : kPktTypeV4;
      l.aclType =
          l.kind == xpAclLookupKind::ingressRacl || l.kind == xpAclLookupKind::egressRacl;
      l.direction = pkt.egress;
      l.numStages = 0;
      l.hit = false;
      if (!l.applies) continue;
      if (l.blocked) {
         r.blocked = true;
         r.permit = false;
         continue;
      }
      walkLookup(t, pkt, r.labels, l);
      if (!l.hit) continue;
      r.winners.push_back(l.winner);
      if (!l.winner.permit) r.permit = false;
      if (countHit && l.winner.counterIndex != 0 &&
          l.winner.counterIndex < xpAcmBankMgr::kNumCounters && t.acm) {
         t.acm->countPackets(pkt.devId, l.winner.counterIndex, 1, kPacketBytes);
      }
   }
}

xpAclWalkResult xpAclWalkPacket(const xpAclPacket& pkt, bool countHit) {
   xpAclWalkResult r;
   xpAclWalkPacket(pkt, countHit, r);
   return r;
}
