#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "sim/Sim.h"
#include "sim/acl/AclCompiler.h"
#include "tests/acl/TestPackets.h"
#include "xdk/xpPacketWalk.h"

namespace {

class AclCounters : public ::testing::Test {
protected:
   void SetUp() override {
      run(R"(device add 2
device up 2
intf add Ethernet1 2
intf add Ethernet2 2
hwacl port Ethernet1 7
hwacl port Ethernet2 8
hwacl vif Ethernet1 30 900
hwacl vif Ethernet2 30 901
acl edge rule 10 permit count ip dst 10.0.0.0/8 proto tcp dport 80-90
acl edge rule 20 deny count ip proto udp
acl edge rule 30 permit ip proto 47
acl edge bind 2 intf Ethernet1 in
acl core rule 5 permit count ip src 192.168.0.0/16
acl core bind 2 vlan 30 in
)");
   }
   void run(const std::string& text) {
      std::ostringstream err;
      ASSERT_TRUE(sim.runText("counters.scn", text, err)) << err.str();
   }
   // The accumulated hits `show acl` gives the rule.
   uint64_t hits(const std::string& acl, uint32_t seq) {
      out.str("");
      run("show acl " + acl + "\n");
      const std::regex line("\n  rule " + std::to_string(seq) + " [^\n]*\\(hits ([0-9]+)\\)");
      std::smatch m;
      const std::string text = out.str();
      EXPECT_TRUE(std::regex_search(text, m, line)) << text;
      return m.empty() ? 0 : std::stoull(m[1]);
   }
   void walk(const xpAclPacket& p, int times, bool count = true) {
      for (int i = 0; i < times; ++i)
         xpAclWalkPacket(p, count);
   }
   xpAclPacket packet(const char* src, const char* dst, uint8_t proto, uint16_t dport) {
      return ipv4Packet(2, 7, 30, src, dst, proto, dport);
   }

   std::ostringstream out;
   Sim::Simulator sim{out};
};

} // namespace

// Packets walked with counting show on their winning rules after the next poll, and add up
// across polls; a walk without counting, an uncounted rule and a miss count nothing.
TEST_F(AclCounters, WalkedPacketsShowInTheirRulesAfterThePoll) {
   const auto web = packet("192.168.1.1", "10.0.0.1", 6, 85); // edge 10 and core 5
   const auto dns = packet("1.1.1.1", "10.0.0.1", 17, 53);    // edge 20
   const auto gre = packet("1.1.1.1", "10.0.0.1", 47, 0);     // edge 30, not counted
   const auto r = xpAclWalkPacket(web, false);
   ASSERT_EQ(r.winners.size(), 2u);
   walk(web, 7);
   walk(dns, 3);
   walk(gre, 4);
   walk(dns, 5, false);
   walk(packet("1.1.1.1", "10.0.0.1", 6, 91), 2); // no rule
   run("clock +1\n");
   EXPECT_EQ(hits("edge", 10), 7u);
   EXPECT_EQ(hits("edge", 20), 3u);
   EXPECT_EQ(hits("core", 5), 7u);

   walk(web, 4);
   run("clock +1\n");
   EXPECT_EQ(hits("edge", 10), 11u);
   EXPECT_EQ(hits("edge", 20), 3u);
   // The packet command counts as the walk does.
   run("packet 2 in Ethernet1 30 1.1.1.1 10.0.0.1 proto udp dport 53 times 6\nclock +1\n");
   EXPECT_EQ(hits("edge", 20), 9u);
}
