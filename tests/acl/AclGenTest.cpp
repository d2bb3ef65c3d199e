#include <gtest/gtest.h>

#include <set>

#include "tests/acl/AclGen.h"

using namespace Sim::Acl;

namespace {

uint8_t fieldsOf(const Rule& r) {
   return static_cast<uint8_t>(
       (r.src ? AclGen::kSrc : 0) | (r.dst ? AclGen::kDst : 0) |
       (r.protocol ? AclGen::kProto : 0) | (r.sport ? AclGen::kSport : 0) |
       (r.dport ? AclGen::kDport : 0) | (r.ttl ? AclGen::kTtl : 0) |
       (r.fragment ? AclGen::kFragment : 0) | (r.established ? AclGen::kEstablished : 0));
}

void expectPlaceable(const AclGen::Generator& g, uint64_t seed) {
   std::set<std::tuple<uint32_t, BindKind, std::string, uint16_t, bool>> slots;
   for (const auto& [name, acl] : g.acls()) {
      std::set<AclGen::Shape> shapes;
      for (const auto& [seq, r] : acl.rules) {
         shapes.insert({r.ipv6, fieldsOf(r)});
         // Ports only where TCP or UDP is named, established only with TCP.
         if (r.sport || r.dport) {
            EXPECT_TRUE(r.protocol == 6 || r.protocol == 17);
         }
         if (r.fragment) {
            EXPECT_FALSE(r.sport || r.dport || r.established);
         }
         if (r.ttl) {
            EXPECT_NE(*r.ttl, 0);
         }
         if (r.established) {
            EXPECT_EQ(r.protocol, 6);
         }
         for (const auto& p : {r.src, r.dst}) {
            if (p) {
               EXPECT_EQ(p->isV6(), r.ipv6);
            }
            if (p) {
               EXPECT_NE(p->len(), 0);
            }
         }
      }
      EXPECT_LE(shapes.size(), 6u) << "seed " << seed << " " << name;
      for (const auto& b : acl.bindings)
         EXPECT_TRUE(slots.insert({b.chip, b.kind, b.intf, b.vlan, b.egress}).second)
             << "seed " << seed << ": two ACLs on one place";
   }
}

} // namespace

// The generated ACLs stay within what one chip can place: at most six field sets per ACL (one
// stage each), one ACL per interface or VLAN and direction, through random edits too.
TEST(AclGen, AclsStayPlaceableThroughEdits) {
   for (uint64_t seed = 1; seed <= 20; ++seed) {
      AclGen::Generator g(seed, AclGen::Config{});
      expectPlaceable(g, seed);
      for (int i = 0; i < 200; ++i)
         ASSERT_FALSE(g.edit().empty());
      expectPlaceable(g, seed);
   }
}

// Every prefix and range of every rule is probed on both sides of each of its edges.
TEST(AclGen, ProbesStraddleEveryEdge) {
   AclGen::Generator g(7, AclGen::Config{});
   const auto places = g.places();
   const auto probes = probePackets(g.acls(), places, 7, 100);
   auto seen = [&](auto&& pred) { return std::any_of(probes.begin(), probes.end(), pred); };
   for (const auto& [name, acl] : g.acls()) {
      for (const auto& [seq, r] : acl.rules) {
         EXPECT_TRUE(seen([&](const xpAclPacket& p) { return ruleMatches(r, p); }))
             << name << " " << seq;
         for (const auto& prefix : {r.src, r.dst}) {
            if (!prefix || prefix->isV6()) continue;
            const bool src = prefix == r.src;
            const uint64_t first = prefix->v4Prefix().address;
            const uint64_t last = first + (uint64_t{1} << (32 - prefix->len())) - 1;
            auto at = [&](uint64_t a) {
               return seen([&](const xpAclPacket& p) {
                  return !p.ipv6 && (src ? p.sip : p.dip)[3] == static_cast<uint32_t>(a);
               });
            };
            EXPECT_TRUE(at(first) && at(last)) << prefix->text();
            if (first > 0) {
               EXPECT_TRUE(at(first - 1)) << prefix->text();
            }
            if (last < 0xffffffff) {
               EXPECT_TRUE(at(last + 1)) << prefix->text();
            }
         }
         for (const auto& range : {r.sport, r.dport}) {
            if (!range) continue;
            const bool src = range == r.sport;
            auto at = [&](int port) {
               return seen(
                   [&](const xpAclPacket& p) { return (src ? p.sport : p.dport) == port; });
            };
            EXPECT_TRUE(at(range->first) && at(range->last));
            if (range->first > 0) {
               EXPECT_TRUE(at(range->first - 1));
            }
            if (range->last < 65535) {
               EXPECT_TRUE(at(range->last + 1));
            }
         }
      }
   }
   for (const auto& p : probes) {
      const bool known = std::any_of(places.begin(), places.end(), [&](const ProbePlace& pl) {
         return pl.at.devId == p.devId && pl.at.port == p.port && pl.at.vlan == p.vlan &&
                pl.at.egress == p.egress && pl.at.egressVif == p.egressVif;
      });
      EXPECT_TRUE(known);
   }
}
