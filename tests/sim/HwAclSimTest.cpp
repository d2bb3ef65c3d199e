// Hardware ACL commands in the simulator: what the driver would abort on is a scenario error.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "sim/Sim.h"

namespace {

std::string firstError(const std::string& text) {
   std::ostringstream out, err;
   Sim::Simulator sim(out);
   const bool ok = sim.runText("t.scn", text, err);
   return ok ? "" : err.str();
}

TEST(HwAclSim, BadInputIsAScenarioErrorNotAnAbort) {
   const std::string setUp = "device add 0\ndevice up 0\nintf add Ethernet1 0\n";
   const std::vector<std::pair<std::string, std::string>> cases = {
       {"hwacl bind 0 Ethernet1 0\n",
        "t.scn:4: bad hardware ACL index '0': indexes are 1 to 255\n"},
       {"hwacl vlan-bind 0 4095 3\n", "t.scn:4: bad VLAN '4095': larger than 4094\n"},
       {"hwacl vlan-bind 0 0 3\n", "t.scn:4: bad VLAN '0': VLANs are 1 to 4094\n"},
       {"hwacl key 0 3 in 5 on\n", "t.scn:4: bad table type '5': larger than 4\n"},
       {"hwacl key 0 3 in 0 on\n",
        "t.scn:4: bad table type '0': 1 PACL v4, 2 RACL v4, 3 PACL v6, 4 RACL v6\n"},
       {"hwacl key 0 3 up 1 on\n", "t.scn:4: bad direction 'up': expected in or out\n"},
       {"hwacl control 0 off\n",
        "t.scn:4: bad global ACL control 'off': expected normal, block-all or bypass-all\n"},
       {"hwacl vif Port-Channel3 10 5\n",
        "t.scn:4: Port-Channel3 has no member to carry its VIF (use 'lag add')\n"},
       {"hwacl vif Vlan10 10 5\n",
        "t.scn:4: a VIF belongs to a port or a port-channel, not a VLAN\n"},
       {"hwacl block Vlan4095 on\n",
        "t.scn:4: bad interface 'Vlan4095': expected EthernetN, Port-ChannelN or VlanN\n"},
       {"hwacl port Ethernet9 3\n",
        "t.scn:4: interface Ethernet9 is on no device (use 'intf add')\n"},
       {"show hwacl 0\n", "t.scn:4: chip 0 has no hardware ACL configuration\n"},
       {"show ivif 5\n", "t.scn:4: unknown chip 5: no such device (use 'device add')\n"},
       {"lag add Ethernet1 Port-Channel2\nbatch\nhwacl vif Port-Channel2 10 5\n",
        "t.scn:6: a port-channel's VIF cannot change inside a batch\n"},
   };
   for (const auto& [line, want] : cases)
      EXPECT_EQ(firstError(setUp + line), want) << line;
}

TEST(HwAclSim, ARemovedDeviceIsNotWrittenUntilItIsBack) {
   std::ostringstream out, err;
   Sim::Simulator sim(out);
   ASSERT_TRUE(
       sim.runText("t.scn",
                   "device add 0\ndevice up 0\nintf add Ethernet1 0\n"
                   "hwacl port Ethernet1 7\nhwacl key 0 3 in 3 on\n"
                   "hwacl bind 0 Ethernet1 3\ndevice remove 0\nhwacl block Ethernet1 on\n"
                   "lag add Ethernet1 Port-Channel1\ndevice add 0\n"
                   "hwacl block Ethernet1 off\nshow port-acl 0\n",
                   err))
       << err.str();
   EXPECT_EQ(out.str(),
             "port ACL entries of chip 0\n  port 7 PAclId 3 v4 off v6 on\n  1 set\n");
}

TEST(HwAclSim, ABindingReachesThePortTable) {
   std::ostringstream out, err;
   Sim::Simulator sim(out);
   ASSERT_TRUE(sim.runText("t.scn",
                           "device add 0\ndevice up 0\nintf add Ethernet1 0\n"
                           "hwacl port Ethernet1 7\nhwacl key 0 3 in 3 on\n"
                           "hwacl bind 0 Ethernet1 3\nshow port-acl 0\n",
                           err))
       << err.str();
   EXPECT_EQ(out.str(),
             "port ACL entries of chip 0\n  port 7 PAclId 3 v4 off v6 on\n  1 set\n");
}

} // namespace
