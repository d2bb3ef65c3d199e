#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/sim/SimPlay.h"

namespace {

// A chip with two ports on two chips, one with a VIF on VLAN 10.
const std::string kSetup =
    "device add 0\ndevice add 1\nintf add Ethernet4 0\n"
    "intf add Ethernet6 1\nintf add Ethernet7 0\nhwacl port Ethernet4 4\n"
    "hwacl port Ethernet6 6\nhwacl vif Ethernet4 10 504\n";

// Bad packets stop the scenario at their line with a message, never a crash.
TEST(SimPacket, BadInputIsReportedAtItsLine) {
   const std::pair<const char*, const char*> cases[] = {
       {"packet 9 in Ethernet4 10 1.1.1.1 2.2.2.2", "unknown chip 9: no such device"},
       {"packet 0 up Ethernet4 10 1.1.1.1 2.2.2.2", "bad direction 'up': in or out"},
       {"packet 0 in Port-Channel3 10 1.1.1.1 2.2.2.2", "a packet crosses a port"},
       {"packet 0 in Vlan10 10 1.1.1.1 2.2.2.2", "a packet crosses a port"},
       {"packet 0 in Ethernet7 10 1.1.1.1 2.2.2.2", "Ethernet7 has no chip port number"},
       {"packet 0 in Ethernet6 10 1.1.1.1 2.2.2.2", "Ethernet6 is on chip 1, not chip 0"},
       {"packet 0 out Ethernet4 11 1.1.1.1 2.2.2.2", "Ethernet4 has no VIF on VLAN 11"},
       {"packet 0 in Ethernet4 0 1.1.1.1 2.2.2.2", "bad VLAN '0'"},
       {"packet 0 in Ethernet4 10 1.1.1.1 ::2", "of different IP versions"},
       {"packet 0 in Ethernet4 10 1.1.1.0/24 2.2.2.2", "bad source address '1.1.1.0/24'"},
       {"packet 0 in Ethernet4 10 1.1.1.1 2.2.2", "bad destination address '2.2.2'"},
       {"packet 0 in Ethernet4 10 1.1.1.1 2.2.2.2 proto gre", "bad protocol 'gre'"},
       {"packet 0 in Ethernet4 10 1.1.1.1 2.2.2.2 proto 256", "protocol"},
       {"packet 0 in Ethernet4 10 1.1.1.1 2.2.2.2 sport", "'sport' needs a value"},
       {"packet 0 in Ethernet4 10 1.1.1.1 2.2.2.2 dport 65536", "destination port"},
       {"packet 0 in Ethernet4 10 1.1.1.1 2.2.2.2 times 0", "bad times '0'"},
       {"packet 0 in Ethernet4 10 1.1.1.1 2.2.2.2 syn", "unknown packet option 'syn'"},
       {"packet 0 in Ethernet4", "VLAN"},
   };
   for (const auto& [line, message] : cases) {
      const Outcome r = play(kSetup + line + "\n");
      EXPECT_FALSE(r.ok) << line;
      EXPECT_EQ(r.err.rfind("t.scn:9: ", 0), 0u) << line << "\n" << r.err;
      EXPECT_NE(r.err.find(message), std::string::npos) << line << "\n" << r.err;
   }
}

// A packet with no binding anywhere is walked and permitted; `times` counts every walk.
TEST(SimPacket, UnboundPortIsPermittedAndTimesIsShown) {
   const Outcome r = play(kSetup + "packet 0 in Ethernet4 10 1.1.1.1 2.2.2.2 proto tcp flags "
                                   "16 times 3\n");
   ASSERT_TRUE(r.ok) << r.err;
   EXPECT_NE(r.out.find("proto 6 sport 0 dport 0 ttl 64 flags 16, 3 times"), std::string::npos)
       << r.out;
   EXPECT_NE(r.out.find("ingress PACL: no lookup, the IPv4 enable is off"), std::string::npos);
   EXPECT_NE(r.out.find("verdict: permit (no rule hit)"), std::string::npos);
}

// A port-channel member leaves through the port-channel's VIF, not its own.
TEST(SimPacket, LagMemberLeavesThroughThePortChannelsVif) {
   const Outcome r = play(kSetup + "lag add Ethernet4 Port-Channel20\n"
                                   "hwacl vif Port-Channel20 10 520\n"
                                   "packet 0 out Ethernet4 10 1.1.1.1 2.2.2.2\n"
                                   "lag remove Ethernet4\n"
                                   "packet 0 out Ethernet4 10 1.1.1.1 2.2.2.2\n");
   ASSERT_TRUE(r.ok) << r.err;
   const size_t first = r.out.find("egress VIF 520 vlan 10: no BD-EVIF entry, no lookup");
   EXPECT_NE(first, std::string::npos) << r.out;
   EXPECT_NE(r.out.find("egress VIF 504 vlan 10", first), std::string::npos) << r.out;
}

} // namespace
