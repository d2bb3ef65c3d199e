// The compiler's pure parts against brute force: which labels a packet can carry, which ranges
// and prefixes a rule expands to, and how priorities move when rules come and go.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

#include "sim/acl/AclLabels.h"
#include "sim/acl/AclParse.h"

using namespace Sim::Acl;
using Plexo::IpGenPrefix;

namespace {

// Ports 0..65535: which of the ranges each one is in, as a bit set.
std::vector<uint32_t> membership(const std::vector<PortRange>& ranges) {
   std::vector<uint32_t> m(65536, 0);
   for (size_t i = 0; i < ranges.size(); ++i) {
      for (uint32_t p = ranges[i].first; p <= ranges[i].last; ++p)
         m[p] |= 1u << i;
   }
   return m;
}

PortRange randomRange(std::mt19937& rng) {
   // Mostly small, clustered ranges so that they meet and overlap; sometimes the edges.
   std::uniform_int_distribution<int> pick(0, 9);
   const int kind = pick(rng);
   if (kind == 0) return {0, static_cast<uint16_t>(rng() % 50)};
   if (kind == 1) return {static_cast<uint16_t>(65535 - rng() % 50), 65535};
   const auto a = static_cast<uint16_t>(rng() % 120), b = static_cast<uint16_t>(rng() % 120);
   return {std::min(a, b), std::max(a, b)};
}

} // namespace

TEST(AclPortIntervals, SplitRangesAreDisjointUniformAndExpandEachRangeExactly) {
   std::mt19937 rng(7);
   for (int trial = 0; trial < 60; ++trial) {
      std::set<PortRange> set;
      const int n = 1 + static_cast<int>(rng() % 10);
      for (int i = 0; i < n; ++i)
         set.insert(randomRange(rng));
      const std::vector<PortRange> ranges(set.begin(), set.end());
      const auto m = membership(ranges);
      const auto intervals = elementaryIntervals(set);
      // In any order and with repeats, the same cuts.
      auto shuffled = ranges;
      shuffled.insert(shuffled.end(), ranges.begin(), ranges.begin() + ranges.size() / 2);
      std::shuffle(shuffled.begin(), shuffled.end(), rng);
      ASSERT_EQ(elementaryIntervals(shuffled), intervals);
      // Each port: in no range and in no interval, or in exactly one interval.
      std::vector<int> owner(65536, -1);
      std::map<PortRange, uint32_t> labels;
      for (size_t i = 0; i < intervals.size(); ++i) {
         const auto& iv = intervals[i];
         ASSERT_LE(iv.first, iv.last);
         if (i > 0) {
            ASSERT_LT(intervals[i - 1].last, iv.first);
            // Minimal: neighbours that touch differ in the ranges they belong to.
            if (intervals[i - 1].last + 1 == iv.first) {
               EXPECT_NE(m[iv.first - 1], m[iv.first]);
            }
         }
         labels[iv] = static_cast<uint32_t>(i + 1);
         for (uint32_t p = iv.first; p <= iv.last; ++p) {
            owner[p] = static_cast<int>(i);
            ASSERT_EQ(m[p], m[iv.first]) << "interval " << iv.first << "-" << iv.last;
         }
      }
      for (uint32_t p = 0; p < 65536; ++p)
         ASSERT_EQ(m[p] != 0, owner[p] >= 0) << "port " << p;
      // A range expands to the labels its ports carry, no more.
      for (const auto& r : ranges) {
         std::set<uint32_t> carried;
         for (uint32_t p = r.first; p <= r.last; ++p)
            carried.insert(static_cast<uint32_t>(owner[p] + 1));
         const auto got = portLabels(r, labels);
         EXPECT_EQ(std::set<uint32_t>(got.begin(), got.end()), carried);
         EXPECT_EQ(got.size(), carried.size());
         std::vector<uint32_t> flat{7};
         portLabels(r, FlatIntervals(labels), flat);
         ASSERT_FALSE(flat.empty());
         EXPECT_EQ(std::vector<uint32_t>(flat.begin() + 1, flat.end()), got);
      }
   }
}

namespace {

IpGenPrefix v4(uint32_t address, uint8_t len) {
   const uint32_t mask = len ? ~uint32_t{0} << (32 - len) : 0;
   return IpGenPrefix(Plexo::Ip4Prefix{address & mask, len});
}

bool inside(const IpGenPrefix& p, uint32_t address) {
   const uint32_t mask = p.len() ? ~uint32_t{0} << (32 - p.len()) : 0;
   return (address & mask) == p.v4Prefix().address;
}

// The label of the longest prefix of the table that holds the address; 0 when none does.
uint32_t lookup(const std::map<IpGenPrefix, uint32_t>& table, uint32_t address) {
   uint32_t label = 0;
   int best = -1;
   for (const auto& [p, l] : table) {
      if (p.isV4() && p.len() > best && inside(p, address)) {
         best = p.len();
         label = l;
      }
   }
   return label;
}

} // namespace

// A rule on prefix P matches a packet exactly when the label the packet carries (its longest
// match in the table) is among P's expansion; with prefixes that no rule uses any more kept in
// the table as ghosts, the same holds.
TEST(AclPrefixLabels, ExpansionMatchesExactlyThePacketsInsideThePrefix) {
   std::mt19937 rng(11);
   for (int trial = 0; trial < 80; ++trial) {
      // Addresses share their leading bits so that prefixes nest.
      const auto randomPrefix = [&] {
         const uint32_t a = 0x0a000000u | (rng() & 0x00ff0f0fu);
         return v4(a, static_cast<uint8_t>(8 + rng() % 25));
      };
      std::set<IpGenPrefix> live, dropped;
      for (int i = 0, n = 1 + static_cast<int>(rng() % 12); i < n; ++i)
         live.insert(randomPrefix());
      for (int i = 0, n = static_cast<int>(rng() % 6); i < n; ++i) {
         const auto p = randomPrefix();
         if (!live.count(p)) dropped.insert(p);
      }
      const auto labels = *stableLabels(live, {}, {}, 0xfffe);
      auto table = labels;
      for (const auto& g : dropped)
         table[g] = ghostLabel(g, labels, 0xffff);
      std::vector<uint32_t> probes;
      for (const auto* set : {&live, &dropped}) {
         for (const auto& p : *set) {
            const uint32_t a = p.v4Prefix().address;
            const uint32_t host = p.len() == 32 ? 0 : ~uint32_t{0} >> p.len();
            for (uint32_t x :
                 {a, a | host, a - 1, (a | host) + 1, a | (uint32_t(rng()) & host)})
               probes.push_back(x);
         }
      }
      for (int i = 0; i < 200; ++i)
         probes.push_back(0x0a000000u | (rng() & 0x00ff0f0fu));
      for (const auto& p : live) {
         const auto expansion = prefixLabels(p, table);
         const std::set<uint32_t> set(expansion.begin(), expansion.end());
         for (uint32_t a : probes) {
            ASSERT_EQ(inside(p, a), set.count(lookup(table, a)) > 0)
                << "prefix " << p.text() << " address " << std::hex << a;
         }
      }
   }
}

// The compiler's flattened tables and one-walk ghost labels against the ordered maps, over
// both families, nested prefixes and prefixes outside the table.
TEST(AclPrefixLabels, FlatTablesAndGhostWalkAgreeWithTheMaps) {
   std::mt19937 rng(5);
   const auto randomPrefix = [&]() -> IpGenPrefix {
      if (rng() % 3) return v4(0x0a000000u | (rng() & 0x00f30f0fu), 4 + rng() % 29);
      Plexo::Ip6Prefix p;
      const auto bits = [&](uint32_t mask) { return static_cast<uint32_t>(rng()) & mask; };
      p.address = {0x20010db8u, bits(0x1u), bits(0x80000001u), bits(0x80000001u)};
      // Addresses and lengths mostly at a word's edge, where masks change.
      constexpr std::array<uint8_t, 10> edges{0, 32, 63, 64, 65, 96, 97, 127, 128, 128};
      p.len = rng() % 2 ? edges[rng() % edges.size()] : static_cast<uint8_t>(rng() % 129);
      return IpGenPrefix(p);
   };
   for (int trial = 0; trial < 200; ++trial) {
      std::vector<IpGenPrefix> written;
      for (int i = 0, n = static_cast<int>(rng() % 40); i < n; ++i)
         written.push_back(randomPrefix());
      if (trial % 2) { // all IPv4, with repeats
         std::erase_if(written, [](const IpGenPrefix& p) { return !p.isV4(); });
         written.insert(written.end(), written.begin(), written.begin() + written.size() / 3);
      }
      const std::set<IpGenPrefix> live(written.begin(), written.end());
      ASSERT_EQ(sortedUnique(written), std::vector<IpGenPrefix>(live.begin(), live.end()));
      std::set<IpGenPrefix> dropped;
      for (int i = 0, n = static_cast<int>(rng() % 10); i < n; ++i) {
         const auto p = randomPrefix();
         if (!live.count(p)) dropped.insert(p);
      }
      const auto labels = *stableLabels(live, {}, {}, 0xfffe);
      const std::vector<IpGenPrefix> ghosts(dropped.begin(), dropped.end());
      const auto walked = ghostLabels(ghosts, labels, 0xffff);
      ASSERT_EQ(walked.size(), ghosts.size());
      auto table = labels;
      for (size_t i = 0; i < ghosts.size(); ++i) {
         ASSERT_EQ(walked[i], ghostLabel(ghosts[i], labels, 0xffff)) << ghosts[i].text();
         table[ghosts[i]] = walked[i];
      }
      const FlatPrefixes flat(table);
      for (const auto* set : {&live, &std::as_const(dropped)}) {
         for (const auto& p : *set) {
            for (const IpGenPrefix& q : {p, randomPrefix()}) {
               std::vector<uint32_t> got;
               prefixLabels(q, flat, got);
               ASSERT_EQ(got, prefixLabels(q, table)) << q.text();
            }
         }
      }
   }
}

TEST(AclPrefixLabels, ContainmentAcrossFamiliesAndIpv6Words) {
   const auto p = [](const char* t) { return *IpGenPrefix::fromText(t); };
   EXPECT_TRUE(prefixContains(p("2001:db8::/32"), p("2001:db8:1::/48")));
   EXPECT_TRUE(prefixContains(p("2001:db8::/32"), p("2001:db8::/32")));
   EXPECT_FALSE(prefixContains(p("2001:db8::/32"), p("2001:db9::/48")));
   EXPECT_FALSE(prefixContains(p("2001:db8::/48"), p("2001:db8::/32")));
   EXPECT_TRUE(prefixContains(p("2001:db8:0:0:1::/80"), p("2001:db8::1:0:0:5/128")));
   EXPECT_FALSE(prefixContains(p("2001:db8:0:0:1::/80"), p("2001:db8::2:0:0:5/128")));
   EXPECT_FALSE(prefixContains(p("10.0.0.0/8"), p("a00::/16")));
   EXPECT_TRUE(prefixContains(p("0.0.0.0/0"), p("192.168.1.0/24")));
}

TEST(AclLabelsAlloc, KeptLabelsStayNewOnesAvoidTheOldAndRunOut) {
   const std::map<int, uint32_t> before{{1, 3}, {2, 1}};
   const auto got = stableLabels<int>({1, 3, 4}, before, {1, 3}, 10);
   ASSERT_TRUE(got);
   EXPECT_EQ(got->at(1), 3u);
   EXPECT_EQ(got->at(3), 2u); // 1 was key 2's: not reused while it may still be in use
   EXPECT_EQ(got->at(4), 4u);
   EXPECT_FALSE(stableLabels<int>({1, 2, 3}, {}, {2}, 3));
   EXPECT_TRUE(stableLabels<int>({1, 2}, {}, {2}, 3));
}

namespace {

void expectDescending(const std::vector<uint32_t>& order,
                      const std::map<uint32_t, uint32_t>& prio, uint32_t max) {
   ASSERT_EQ(prio.size(), order.size());
   uint32_t above = max + 1;
   for (uint32_t seq : order) {
      ASSERT_LT(prio.at(seq), above) << "rule " << seq;
      ASSERT_GE(prio.at(seq), 1u);
      above = prio.at(seq);
   }
}

} // namespace

// Random edits: priorities always descend along the order, and unless everything is renumbered
// a rule that stays keeps its priority, so an edit rewrites only the rules it touched.
TEST(AclPriorities, EditsKeepTheOrderAndMoveOnlyWhatChanged) {
   for (uint32_t max : {8191u, 40u}) {
      std::mt19937 rng(max);
      std::set<uint32_t> seqs;
      std::map<uint32_t, uint32_t> prio;
      int renumbered = 0;
      for (int step = 0; step < 400; ++step) {
         if (seqs.size() < 30 && (seqs.empty() || rng() % 3)) {
            seqs.insert(static_cast<uint32_t>(rng() % 1000));
         } else {
            seqs.erase(std::next(seqs.begin(), static_cast<long>(rng() % seqs.size())));
         }
         const std::vector<uint32_t> order(seqs.begin(), seqs.end());
         const auto next = assignPriorities(order, prio, max);
         expectDescending(order, next, max);
         size_t moved = 0;
         for (const auto& [seq, p] : next)
            moved += prio.count(seq) && prio.at(seq) != p;
         if (moved) ++renumbered;
         prio = next;
      }
      // A narrow field needs renumbering now and then; a wide one seldom.
      if (max == 8191u) {
         EXPECT_LE(renumbered, 2);
      } else {
         EXPECT_GT(renumbered, 5);
      }
   }
}

TEST(AclPriorities, RulesAppendedOneByOneKeepTheirPriorities) {
   std::map<uint32_t, uint32_t> prio;
   std::vector<uint32_t> order;
   for (uint32_t seq = 10; seq <= 3000; seq += 10) {
      order.push_back(seq);
      const auto next = assignPriorities(order, prio, 8191);
      expectDescending(order, next, 8191);
      for (const auto& [s, p] : prio)
         ASSERT_EQ(next.at(s), p) << "rule " << s << " moved when " << seq << " was added";
      prio = next;
   }
}

TEST(AclRuleText, ReadsWhatItWritesAndNamesWhatIsWrong) {
   const auto parse = [](const std::string& text) {
      std::vector<std::string> words;
      std::istringstream in(text);
      for (std::string w; in >> w;)
         words.push_back(w);
      return parseRule(Sim::Args(words), 0);
   };
   for (const char* text :
        {"permit ip",
         "deny count log ip src 10.0.0.0/8 dst 10.1.2.3/32 proto tcp sport 1-2 "
         "dport 80 ttl 9 established",
         "permit ipv6 src 2001:db8::/32 proto icmp", "deny ip proto 47 fragment",
         "permit count ipv6 dst 2001:db8:1::/48 proto udp dport 53"}) {
      EXPECT_EQ(ruleText(parse(text)), text);
   }
   EXPECT_FALSE(parse("permit ip src 0.0.0.0/0").src) << "/0 is any address";
   EXPECT_EQ(*parse("deny ip proto icmp").protocol, 1);
   EXPECT_EQ(*parse("deny ipv6 proto icmp").protocol, 58);
   const std::pair<const char*, const char*> bad[] = {
       {"allow ip", "bad action 'allow': expected permit or deny"},
       {"permit ipx", "bad address family 'ipx': expected ip or ipv6"},
       {"permit ip src 10.0.0.1/8",
        "bad prefix '10.0.0.1/8': bits set beyond the length (did you mean 10.0.0.0/8?)"},
       {"permit ip src 10.0.0/8",
        "bad prefix '10.0.0/8': expected a.b.c.d/n or an IPv6 prefix"},
       {"permit ip dst 2001:db8::/32", "prefix '2001:db8::/32' is not IPv4 as the rule is"},
       {"permit ipv6 src ::a01:200/120",
        "prefix '::a01:200/120' is not supported: the chip cannot match IPv6 addresses whose "
        "most significant 96 bits are zero"},
       {"permit ip dport 80", "a port range needs proto tcp or udp"},
       {"permit ip proto icmp sport 1", "a port range needs proto tcp or udp"},
       {"permit ip proto udp established", "established needs proto tcp"},
       {"permit ip proto tcp fragment dport 3",
        "fragment matches non-first fragments, which carry no L4 header: it cannot go with "
        "ports or established"},
       {"permit ip proto tcp dport 90-80",
        "bad port range '90-80': expected P or P-Q with P <= Q <= 65535"},
       {"permit ip proto tcp dport 70000",
        "bad port range '70000': expected P or P-Q with P <= Q <= 65535"},
       {"permit ip proto gre", "bad protocol 'gre': expected a number, tcp, udp or icmp"},
       {"permit ip ttl 0", "bad ttl 0: a TTL rule matches TTL 1 or more"},
       {"permit ip src 10.0.0.0/8 src 11.0.0.0/8", "'src' is given twice"},
       {"permit ip via Ethernet1",
        "unknown word 'via': expected src, dst, proto, sport, dport, ttl, fragment or "
        "established"},
   };
   for (const auto& [text, message] : bad) {
      try {
         parse(text);
         ADD_FAILURE() << "accepted: " << text;
      } catch (const Sim::Error& e) {
         EXPECT_EQ(std::string(e.what()), message) << text;
      }
   }
}
