#pragma once

// The chip's classification of a packet by its ACL tables, read from the chip model alone:
// the lookups its port, port-VLAN and egress entries give, the labels of its addresses and
// ports, per lookup and stage the key-select entry and the probe of each way of the stage's
// MG table, the best hit of each lookup and the verdict. The lookup model is written down in
// xdk/PacketWalk.md.
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpPacket.h"

#include <array>
#include <cstdint>
#include <vector>

// An MG-table entry a lookup hit.
struct xpAclWalkHit {
   uint32_t stage = 0;
   uint32_t mgTableId = 0;
   uint32_t hwIndex = 0; // way × entries per way + hash index
   uint8_t chipRuleListId = 0;
   bool permit = false;
   bool log = false;
   uint16_t hwPriority = 0;   // smaller wins
   uint16_t counterIndex = 0; // 0: not counted
};

enum class xpAclLookupKind : uint8_t { ingressPacl, ingressRacl, egressPacl, egressRacl };
const char* xpAclLookupKindName(xpAclLookupKind kind); // "ingress PACL", ...

// One way of a stage's MG table, probed at the place the key hashes to.
struct xpAclWalkProbe {
   uint32_t way = 0;
   uint32_t hwIndex = 0;
   bool occupied = false; // an entry is there
   bool hit = false;      // and its key is the key built
};

// One stage of one lookup.
struct xpAclWalkStage {
   static constexpr uint32_t kMaxRecordedWays = 8;

   uint32_t stage = 0;
   uint32_t mgksTableId = 0;
   uint32_t mgTableId = 0;
   bool selected = false; // a key-select entry matched the lookup; nothing below otherwise
   uint32_t mgksIndex = 0;
   uint8_t chipRuleListId = 0;
   // The key fields the key-select entry enables.
   bool sipEn = false, dipEn = false, sportEn = false, dportEn = false, ptEn = false,
        fragEn = false, ttlEn = false, tcpFlagsEn = false;
   xpAaclMgTableEntryKey key; // the MG key built
   uint32_t ways = 0;         // ways probed; the first kMaxRecordedWays are recorded
   std::array<xpAclWalkProbe, kMaxRecordedWays> probes{};
   bool hit = false;
   xpAclWalkHit entry; // when hit
};

// One ACL lookup of the packet, from the entry that gave it.
struct xpAclWalkLookup {
   static constexpr uint32_t kStages = 6;

   xpAclLookupKind kind = xpAclLookupKind::ingressPacl;
   uint32_t tableIndex = 0; // the entry's index: the port for the port table
   uint8_t aclId = 0;       // hardware ACL index
   bool v4En = false;
   bool v6En = false;
   bool applies = false; // the enable of the packet's family is set
   bool blocked = false; // applies with ACL id 0: deny, no MG lookup
   uint8_t pktType = 0;  // 1 IPv4, 4 IPv6
   uint8_t aclType = 0;  // 0 PACL, 1 RACL
   uint8_t direction = 0;
   uint32_t numStages = 0; // stages walked (all of them when it applies and is not blocked)
   std::array<xpAclWalkStage, kStages> stages{};
   bool hit = false;
   xpAclWalkHit winner; // when hit
};

// The labels of the packet's fields, as the transform tables give them.
struct xpAclWalkLabels {
   bool sipFound = false, dipFound = false;
   uint32_t sipIndex = 0, dipIndex = 0; // the transform entries that matched
   uint8_t sipLen = 0, dipLen = 0;      // and their prefix lengths
   uint16_t sip = 0, dip = 0;           // 0 when nothing matched
   bool portsLooked = false; // TCP or UDP and not a fragment: the port tables are read
   uint16_t sport = 0, dport = 0;
   bool established = false; // TCP with ACK or RST
};

struct xpAclWalkResult {
   bool permit = true;
   bool blocked = false;
   std::vector<xpAclWalkHit> winners; // one per lookup that hit, in lookup order
   bool deviceKnown = false;          // the packet's device is in the chip model
   xpAclWalkLabels labels;
   uint32_t numLookups = 0;
   std::array<xpAclWalkLookup, 2> lookups{};
};

// Classifies the packet; with `countHit` the winner of each lookup counts one packet on its
// counter (when it has one).
xpAclWalkResult xpAclWalkPacket(const xpAclPacket& pkt, bool countHit);
// The same, into `out`, whose storage is reused.
void xpAclWalkPacket(const xpAclPacket& pkt, bool countHit, xpAclWalkResult& out);
