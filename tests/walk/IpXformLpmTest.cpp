#include <gtest/gtest.h>

#include <bit>
#include <random>
#include <vector>

#include "tests/walk/WalkChip.h"
#include "xdk/xpIpXformLpm.h"

namespace WalkTest {
namespace {

uint32_t toNet(uint32_t v) {
   return std::endian::native == std::endian::little ? __builtin_bswap32(v) : v;
}

// The longest match by looking at every slot: the model the index must agree with.
xpIpXformLpm::Match bruteForce(const std::vector<xpIpXformSlot>& slots, bool ipv6,
                               const std::array<uint32_t, 4>& a) {
   xpIpXformLpm::Match best;
   for (uint32_t i = 0; i < slots.size(); ++i) {
      const auto& s = slots[i];
      if (!s.valid || s.entry.ipType != (ipv6 ? 4 : 3)) continue;
      const unsigned len = s.entry.prefixLen;
      bool in = true;
      for (unsigned bit = 0; bit < len && in; ++bit) {
         const unsigned word = ipv6 ? bit / 32 : 3;
         const unsigned inWord = bit % 32;
         const uint32_t mine = toNet(s.entry.ipAddr[ipv6 ? bit / 32 : 0]);
         in = ((mine ^ a[word]) >> (31 - inWord) & 1) == 0;
      }
      if (in && (!best.found || len > best.prefixLen)) {
         best = {true, i, s.entry.xformedIp, static_cast<uint8_t>(len)};
      }
   }
   return best;
}

// Random nested and overlapping prefixes of both families in one table, with duplicates,
// invalid slots and foreign types, probed at random addresses and at every prefix's edges.
TEST(IpXformLpm, AgreesWithAScanOfEverySlot) {
   std::mt19937 gen(7);
   auto rng = [&] { return static_cast<uint32_t>(gen()); };
   int matched = 0;
   for (int round = 0; round < 40; ++round) {
      std::vector<xpIpXformSlot> slots(200);
      std::vector<std::array<uint32_t, 4>> probes;
      const uint32_t bases[] = {0x0a000000, 0x0a010000, 0xc0a80000, 0xffffffff, 0};
      for (uint32_t i = 0; i < slots.size(); ++i) {
         auto& s = slots[i];
         s.valid = rng() % 8 != 0;
         const bool v6 = rng() % 2;
         s.entry.ipType = rng() % 20 == 0 ? 5 : v6 ? 4 : 3;
         s.entry.xformedIp = rng() % 1000;
         s.entry.prefixLen = static_cast<uint8_t>(rng() % (v6 ? 129 : 33));
         std::array<uint32_t, 4> a{};
         for (auto& w : a)
            w = bases[rng() % 5] ^ (rng() % 4 == 0 ? rng() : rng() % 256);
         if (v6) {
            for (int w = 0; w < 4; ++w)
               s.entry.ipAddr[w] = toNet(a[w]);
         } else {
            s.entry.ipAddr[0] = toNet(a[3]);
         }
         if (i > 0 && rng() % 10 == 0) s.entry = slots[i - 1].entry; // a duplicate prefix
         // Probes at the prefix's first and last address and just outside them.
         for (uint32_t edge : {0u, 1u}) {
            auto p = a;
            const unsigned width = v6 ? 128 : 32;
            for (unsigned bit = s.entry.prefixLen; bit < width; ++bit) {
               const unsigned word = v6 ? bit / 32 : 3;
               const uint32_t m = 1u << (31 - bit % 32);
               p[word] = edge ? p[word] | m : p[word] & ~m;
            }
            probes.push_back(p);
            auto out = p;
            out[3] += edge ? 1 : -1;
            probes.push_back(out);
         }
      }
      for (int i = 0; i < 200; ++i)
         probes.push_back({rng(), rng(), rng(), bases[rng() % 5] ^ (rng() % 512)});
      xpIpXformLpm lpm;
      lpm.build(slots.data(), static_cast<uint32_t>(slots.size()));
      for (const auto& p : probes) {
         for (bool v6 : {false, true}) {
            const auto want = bruteForce(slots, v6, p);
            const auto got = lpm.lookup(v6, p);
            ASSERT_EQ(got.found, want.found) << round;
            if (!want.found) continue;
            ++matched;
            // Equal prefixes in several slots: the lowest slot.
            ASSERT_EQ(got.index, want.index) << round;
            ASSERT_EQ(got.label, want.label);
            ASSERT_EQ(got.prefixLen, want.prefixLen);
         }
      }
   }
   EXPECT_GT(matched, 10000); // most probes fall in some prefix
}

class LpmFollowsTable : public ::testing::Test, public WalkChip {
protected:
   void SetUp() override { start(); }
   void TearDown() override { stop(); }
   uint16_t sipLabel(const std::string& address) {
      bindPort(7, 1, true, true);
      return xpAclWalkPacket(packet(address, address), false).labels.sip;
   }
};

// The walk's index is rebuilt when the table changes: a new label, a removed slot, a device
// that went away and came back empty.
TEST_F(LpmFollowsTable, ChangesOfTheTableAreSeen) {
   prefix(0, 4, "10.0.0.0/8", 11);
   prefix(0, 5, "2001:db8::/32", 12);
   EXPECT_EQ(sipLabel("10.1.1.1"), 11);
   EXPECT_EQ(sipLabel("2001:db8::7"), 12);
   prefix(0, 4, "10.0.0.0/8", 21);
   EXPECT_EQ(sipLabel("10.1.1.1"), 21);
   prefix(0, 6, "10.1.0.0/16", 22);
   EXPECT_EQ(sipLabel("10.1.1.1"), 22);
   EXPECT_EQ(sipLabel("10.2.1.1"), 21);
   ok(aclMgr<xpIpXformMgr>(1)->removeEntry(kDev, 6), "removeEntry");
   EXPECT_EQ(sipLabel("10.1.1.1"), 21);
   // The catch-all IPv6 entry the driver keeps at index 0 gives label 0 like no match.
   prefix(0, 0, "::/0", 0);
   EXPECT_EQ(sipLabel("3000::1"), 0);
   ok(xpDeviceMgr::instance()->removeDevice(kDev), "removeDevice");
   ok(xpDeviceMgr::instance()->addDevice(kDev), "addDevice");
   EXPECT_EQ(sipLabel("10.1.1.1"), 0);
}

} // namespace
} // namespace WalkTest
