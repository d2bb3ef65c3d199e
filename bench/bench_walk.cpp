#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bench/FastestRounds.h"
#include "tests/walk/WalkChip.h"

// The packet walk classifying packets on a realistic table set (a port and a routed ACL, IPv4
// and IPv6, 400 rules over six stages, 800 prefixes, 300 port ranges), against a bare lookup
// of the same entries in hash maps and arrays (target: at least 1,000,000 packets per second).

namespace {

using namespace WalkTest;

constexpr uint32_t kPackets = 4096;
constexpr uint32_t kRulesPerList = 100;
constexpr uint16_t kVlan = 10;
constexpr uint32_t kPort = 1;

struct Prefix {
   bool v6;
   std::array<uint32_t, 4> address; // as a packet carries it
   uint8_t len;
   uint16_t label;
};

// A rule list: the key that selects it and the stages and mask groups it has.
struct List {
   uint8_t hwIndex;
   TableType type;
   uint8_t id;
   std::array<uint32_t, 3> stages;
};

std::string text(const Prefix& p) {
   char buf[80];
   const auto& a = p.address;
   if (p.v6) {
      std::snprintf(buf, sizeof buf, "%x:%x:%x:%x:%x:%x:%x:%x/%u", a[0] >> 16, a[0] & 0xffff,
                    a[1] >> 16, a[1] & 0xffff, a[2] >> 16, a[2] & 0xffff, a[3] >> 16,
                    a[3] & 0xffff, p.len);
   } else {
      std::snprintf(buf, sizeof buf, "%u.%u.%u.%u/%u", a[3] >> 24, a[3] >> 16 & 0xff,
                    a[3] >> 8 & 0xff, a[3] & 0xff, p.len);
   }
   return buf;
}

std::array<uint32_t, 4> masked(std::array<uint32_t, 4> a, bool v6, unsigned len) {
   const unsigned width = v6 ? 128 : 32;
   for (unsigned bit = len; bit < width; ++bit) {
      const unsigned word = v6 ? bit / 32 : 3;
      a[word] &= ~(1u << (31 - bit % 32));
   }
   return a;
}

Orim::MaskGroupDescriptor groupOf(TableType type, int kind) {
   Orim::MaskGroupDescriptor mg;
   mg.aclTypeIs(type);
   mg.srcIpMaskLengthIs(kind != 2 ? 16 : 0);
   mg.dstIpMaskLengthIs(kind != 1 ? 16 : 0);
   mg.dstPortIs(kind != 0);
   mg.srcPortIs(kind == 2);
   mg.ipProtoIs(kind != 0);
   return mg;
}

// The tables and packets, built once.
struct Scene {
   WalkChip chip;
   std::vector<Prefix> prefixes[2]; // source, destination
   std::vector<uint16_t> portLabels[2];
   std::vector<std::pair<uint16_t, uint16_t>> ranges[2]; // by label - 1
   std::vector<std::pair<bool, TestRule>> written;       // IPv6?, the rule
   std::vector<xpAclPacket> packets;
   uint32_t rules = 0;

   void build() {
      std::mt19937 gen(11);
      auto rng = [&] { return static_cast<uint32_t>(gen()); };
      chip.start();
      for (size_t which = 0; which < 2; ++which) {
         uint32_t slot = 1;
         uint16_t label = static_cast<uint16_t>(1 + which * 1000);
         // 300 IPv4 prefixes in 20 blocks, nested; 100 IPv6 ones.
         for (int i = 0; i < 400; ++i) {
            Prefix p{};
            p.v6 = i >= 300;
            const uint32_t block = rng() % 20;
            if (p.v6) {
               p.address = {0x20010db8, block << 16 | (rng() & 0xff), rng(), rng()};
               p.len = static_cast<uint8_t>(std::array{40, 48, 56, 64, 128}[rng() % 5]);
            } else {
               p.address = {0, 0, 0, (10 + block) << 24 | (rng() & 0xffffff)};
               p.len = static_cast<uint8_t>(std::array{8, 16, 20, 24, 32}[rng() % 5]);
            }
            p.address = masked(p.address, p.v6, p.len);
            p.label = label++;
            chip.prefix(which, slot++, text(p), p.label);
            prefixes[which].push_back(p);
         }
         // 150 ranges of the ports, each a label.
         portLabels[which].assign(65536, 0);
         for (uint32_t r = 0, port = 0; r < 150; ++r) {
            const uint32_t len = 1 + rng() % 800;
            ranges[which].emplace_back(port, std::min<uint32_t>(port + len, 65536) - 1);
            for (uint32_t q = port; q < port + len && q < 65536; ++q) {
               portLabels[which][q] = static_cast<uint16_t>(r + 1);
               chip.portLabel(which, static_cast<uint16_t>(q), static_cast<uint16_t>(r + 1));
            }
            port += len + rng() % 100;
         }
      }
      chip.bindPort(kPort, 5, true, true);
      chip.bindPortVlan(kPort, kVlan, 6, true, true);
      const List lists[] = {{5, paclV4, 10, {0, 1, 2}},
                            {5, paclV6, 11, {3, 4, 5}},
                            {6, raclV4, 12, {0, 2, 4}},
                            {6, raclV6, 13, {1, 3, 5}}};
      uint16_t counter = 1;
      for (const List& l : lists) {
         for (int kind = 0; kind < 3; ++kind)
            chip.keySelect(l.stages[kind], l.hwIndex, l.type, false, l.id,
                           groupOf(l.type, kind));
         const bool v6 = l.type == paclV6 || l.type == raclV6;
         for (uint32_t i = 0; i < kRulesPerList; ++i) {
            const int kind = static_cast<int>(rng() % 3);
            TestRule r;
            r.stage = l.stages[kind];
            r.list = l.id;
            r.mg = groupOf(l.type, kind);
            r.pd.srcIpLabelIs(r.mg.srcIpMaskLength() ? pick(rng, 0, v6).label : 0);
            r.pd.dstIpLabelIs(r.mg.dstIpMaskLength() ? pick(rng, 1, v6).label : 0);
            r.pd.dstPortLabelIs(r.mg.dstPort() ? 1 + rng() % 150 : 0);
            r.pd.srcPortLabelIs(r.mg.srcPort() ? 1 + rng() % 150 : 0);
            r.pd.protocolIs(r.mg.ipProto() ? (rng() % 2 ? 6 : 17) : 0);
            r.permit = rng() % 2;
            r.hwPriority = static_cast<uint16_t>(rules + 1);
            r.counter = counter++;
            // The first way with room where the key hashes.
            auto* mg = chip.aclMgr<xpAaclMgTableMgr>();
            for (r.way = 0; r.way < 4; ++r.way) {
               if (!mg->validEntry(kDev, r.stage, chip.indexOf(r))) break;
            }
            if (r.way == 4) continue;
            chip.write(r);
            written.emplace_back(v6, r);
            ++rules;
         }
      }
      // Packets inside the prefixes and ranges, of both families; a fifth of them come in on a
      // VLAN with no routed lookup. Every other one is made for a rule: the labels and protocol
      // it matches (a longer prefix inside the rule's may still take it).
      for (uint32_t i = 0; i < kPackets; ++i) {
         const bool v6 = rng() % 4 == 0;
         xpAclPacket p;
         if (i % 2) {
            const auto& [ruleV6, r] = written[rng() % written.size()];
            p.devId = kDev;
            p.port = kPort;
            p.vlan = kVlan;
            p.ipv6 = ruleV6;
            p.sip = inside(rng, labelled(rng, 0, ruleV6, r.pd.srcIpLabel()));
            p.dip = inside(rng, labelled(rng, 1, ruleV6, r.pd.dstIpLabel()));
            p.protocol = r.pd.protocol() ? r.pd.protocol() : 6;
            p.sport = inRange(rng, 0, r.pd.srcPortLabel());
            p.dport = inRange(rng, 1, r.pd.dstPortLabel());
            packets.push_back(p);
            continue;
         }
         p.devId = kDev;
         p.port = kPort;
         p.vlan = rng() % 5 == 0 ? kVlan + 1 : kVlan;
         p.ipv6 = v6;
         p.sip = inside(rng, pick(rng, 0, v6));
         p.dip = inside(rng, pick(rng, 1, v6));
         p.protocol = std::array<uint8_t, 4>{6, 17, 6, 1}[rng() % 4];
         p.sport = static_cast<uint16_t>(rng() % 40000);
         p.dport = static_cast<uint16_t>(rng() % 40000);
         p.ttl = static_cast<uint8_t>(1 + rng() % 255);
         packets.push_back(p);
      }
   }

   template <class Rng>
   const Prefix& pick(Rng& rng, size_t which, bool v6) {
      const auto& all = prefixes[which];
      for (;;) {
         const Prefix& p = all[rng() % all.size()];
         if (p.v6 == v6) return p;
      }
   }
   // The prefix of that label, or any of the family for label 0.
   template <class Rng>
   const Prefix& labelled(Rng& rng, size_t which, bool v6, uint32_t label) {
      for (const Prefix& p : prefixes[which]) {
         if (label && p.label == label) return p;
      }
      return pick(rng, which, v6);
   }
   template <class Rng>
   uint16_t inRange(Rng& rng, size_t which, uint32_t label) {
      if (label == 0) return static_cast<uint16_t>(rng() % 40000);
      const auto [lo, hi] = ranges[which][label - 1];
      return static_cast<uint16_t>(lo + rng() % (hi - lo + 1));
   }
   template <class Rng>
   static std::array<uint32_t, 4> inside(Rng& rng, const Prefix& p) {
      std::array<uint32_t, 4> host{rng(), rng(), rng(), rng()};
      if (!p.v6) host = {0, 0, 0, rng()};
      std::array<uint32_t, 4> a = p.address;
      const auto net = masked(host, p.v6, p.len);
      for (size_t w = 0; w < 4; ++w)
         a[w] |= host[w] & ~net[w];
      return a;
   }
};

// The same entries in plain hash maps and arrays, looked up with no walk around them: the
// labels of each packet's addresses already resolved, and per lookup and stage one map lookup
// of the key-select entry and one of the MG key.
struct Bare {
   struct Select {
      uint8_t list;
      xpMgksEntry entry;
   };
   struct KeyHash {
      size_t operator()(const xpAaclMgTableEntryKey& k) const {
         return std::hash<std::string_view>()(
             std::string_view(reinterpret_cast<const char*>(k.bytes), sizeof k.bytes));
      }
   };
   std::vector<xpPortConfigEntry> ports;
   std::unordered_map<uint32_t, xpPortVlanIvifData> ivif;
   std::unordered_map<uint64_t, Select> selects; // (match word, stage)
   std::array<std::unordered_map<xpAaclMgTableEntryKey, xpAaclMgTableEntryData, KeyHash>, 6> mg;
   std::vector<std::array<uint16_t, 2>> ipLabels; // per packet: source, destination
   const std::vector<uint16_t>* portLabels[2];

   void build(Scene& s) {
      auto* portMgr = s.chip.ifMgr<xpPortConfigMgr>();
      for (uint32_t port = 0; port < 16; ++port)
         ports.push_back(*portMgr->entryAt(kDev, port));
      s.chip.ifMgr<xpPortVlanIvifMgr>()->tables(kDev)[0].forEachValid(
          [&](uint32_t, const xpPortVlanIvifKey& k, const xpPortVlanIvifData& d) {
             ivif[uint32_t{k.port} << 16 | k.vlanId] = d;
          });
      auto* mgks = s.chip.aclMgr<xpMgksMgr>();
      auto* mgMgr = s.chip.aclMgr<xpAaclMgTableMgr>();
      for (uint32_t stage = 0; stage < 6; ++stage) {
         for (uint32_t i = 0; i < 1024; ++i) {
            if (const xpMgksEntry* e = mgks->validEntry(kDev, stage + 1, i)) {
               const uint64_t match = e->bytes[0] | e->bytes[1] << 8;
               selects[match << 8 | stage] =
                   Select{static_cast<uint8_t>(e->bytes[6] >> 2 | e->bytes[7] << 6), *e};
            }
         }
         for (uint32_t i = 0; i < 4 * 8192; ++i) {
            if (const xpAaclMgTableEntry* e = mgMgr->validEntry(kDev, stage, i))
               mg[stage][e->key] = e->data;
         }
      }
      // The packets' address labels, from the walk's own answer: the bare side only looks
      // them up.
      for (const xpAclPacket& p : s.packets) {
         const auto r = xpAclWalkPacket(p, false);
         ipLabels.push_back({r.labels.sip, r.labels.dip});
      }
      portLabels[0] = &s.portLabels[0];
      portLabels[1] = &s.portLabels[1];
   }

   // The verdict of packet i.
   bool classify(const xpAclPacket& p, uint32_t i) const {
      const xpPortConfigEntry& port = ports[p.port];
      struct Lookup {
         uint8_t aclId;
         bool en;
         uint8_t aclType;
      } lookups[2] = {{port.PAclId, (port.aclEnBits >> p.ipv6 & 1) != 0, 0}, {0, false, 1}};
      const auto it = ivif.find(p.port << 16 | p.vlan);
      if (it != ivif.end()) {
         lookups[1] = {it->second.routeAclId, (it->second.routeAclEn >> p.ipv6 & 1) != 0, 1};
      }
      const bool ports = (p.protocol == 6 || p.protocol == 17) && !p.fragment;
      const uint16_t sport = ports ? (*portLabels[0])[p.sport] : 0;
      const uint16_t dport = ports ? (*portLabels[1])[p.dport] : 0;
      bool permit = true;
      for (const Lookup& l : lookups) {
         if (!l.en) continue;
         if (l.aclId == 0) return false;
         const uint64_t match = uint64_t{l.aclId} << 2 | uint64_t{p.ipv6 ? 4u : 1u} << 10 |
                                uint64_t{l.aclType} << 14;
         uint32_t best = UINT32_MAX;
         bool bestPermit = true;
         for (uint32_t stage = 0; stage < 6; ++stage) {
            const auto sel = selects.find(match << 8 | stage);
            if (sel == selects.end()) continue;
            const uint8_t* b = sel->second.entry.bytes;
            const uint8_t list = sel->second.list;
            xpAaclMgTableEntryKey k;
            k.bytes[3] = list;
            k.bytes[4] = list;
            k.bytes[5] = b[5] & 8 ? p.protocol : list;
            const uint16_t f[4] = {static_cast<uint16_t>(b[5] & 2 ? sport : 0),
                                   static_cast<uint16_t>(b[5] & 4 ? dport : 0),
                                   static_cast<uint16_t>(b[4] & 0x80 ? ipLabels[i][0] : 0),
                                   static_cast<uint16_t>(b[5] & 1 ? ipLabels[i][1] : 0)};
            std::memcpy(k.bytes + 6, f, sizeof f);
            k.bytes[16] = b[7] & 0xfc;
            k.bytes[17] = list;
            const auto hit = mg[stage].find(k);
            if (hit != mg[stage].end() && (hit->second.word[1] & 0x1fff) < best) {
               best = hit->second.word[1] & 0x1fff;
               bestPermit = hit->second.word[0] & 1;
            }
         }
         if (!bestPermit) permit = false;
      }
      return permit;
   }
};

void BM_PacketWalk(benchmark::State& state) {
   Scene scene;
   scene.build();
   Bare bare;
   bare.build(scene);
   // Both sides must give every packet the same verdict, or they do not do the same work.
   uint32_t hits = 0;
   for (uint32_t i = 0; i < kPackets; ++i) {
      const auto r = xpAclWalkPacket(scene.packets[i], false);
      hits += !r.winners.empty();
      if (r.permit != bare.classify(scene.packets[i], i)) {
         state.SkipWithError("the bare lookup and the walk disagree");
         return;
      }
   }
   FastestRounds rounds;
   for (auto _ : state) {
      rounds.time(FastestRounds::kCase, [&] {
         for (const xpAclPacket& p : scene.packets)
            benchmark::DoNotOptimize(xpAclWalkPacket(p, false).permit);
      });
      rounds.time(FastestRounds::kBaseline, [&] {
         for (uint32_t i = 0; i < kPackets; ++i)
            benchmark::DoNotOptimize(bare.classify(scene.packets[i], i));
      });
   }
   rounds.report(state, "walk", "bareLookup", kPackets);
   state.counters["walk_packets_per_s"] = 1e9 / state.counters["walk_ns"];
   state.counters["rules"] = scene.rules;
   state.counters["packets_hitting"] = hits;
   scene.chip.stop();
}
BENCHMARK(BM_PacketWalk)->Iterations(200)->Unit(benchmark::kMillisecond);

} // namespace
