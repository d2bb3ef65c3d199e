// Port-VLAN keys and VIF status: text forms, VLAN checks, distinct hashes, default controls.
#include <gtest/gtest.h>

#include <set>

#include "norv/Errors.h"
#include "platform/OrimBinding.h"
#include "platform/XpSystem.h"
#include "platform/XpVif.h"

namespace {

TEST(XpLibKeys, TextAndVlanCheck) {
   const XpLib::PortAndVlanId pair(Plexo::IntfId::ethernet(3), 10);
   EXPECT_EQ(pair.text(),
             "Value('XpLib::PortAndVlanId', ** {'intfId': Ethernet3, 'vlanId': 10})");
   EXPECT_EQ(pair.vlan(), Bridging::VlanId(10));
   // A VLAN number is carried as published and checked where it is used as a VLAN.
   const XpLib::PortAndVlanId bad(Plexo::IntfId::ethernet(3), 4095);
   EXPECT_THROW(bad.vlan(), Norv::RangeError);
   EXPECT_EQ(XpLib::PortVlanIvifTableKey(500, 20).text(),
             "Value('XpLib::PortVlanIvifTableKey', ** {'vif': 500, 'vlanId': 20})");
}

TEST(XpLibKeys, HashesOfDistinctKeysDiffer) {
   std::set<size_t> pairs, keys;
   for (uint32_t port = 1; port <= 64; ++port) {
      for (uint16_t vlan = 1; vlan <= 4094; vlan += 7) {
         pairs.insert(XpLib::PortAndVlanId(Plexo::IntfId::ethernet(port), vlan).hash());
         pairs.insert(XpLib::PortAndVlanId(Plexo::IntfId::portChannel(port), vlan).hash());
         keys.insert(XpLib::PortVlanIvifTableKey(static_cast<uint16_t>(port), vlan).hash());
      }
   }
   EXPECT_EQ(pairs.size(), 2u * 64 * 585);
   EXPECT_EQ(keys.size(), 64u * 585);
}

TEST(XpVifStatus, DefaultsAndNames) {
   auto system = XpSystem::systemStatusFactory("s");
   EXPECT_EQ(system->numTableCopies(), 1u);
   auto status = XpVif::portVlanVifStatusFactory("3");
   EXPECT_EQ(status->name(), "3");
   const XpLib::PortAndVlanId pair(Plexo::IntfId::ethernet(1), 5);
   EXPECT_EQ(status->portVlanToVifMap(pair), XpVif::VifId(0));
   status->portVlanToVifMapIs(pair, XpVif::VifId(9));
   EXPECT_EQ(status->portVlanToVifMap(pair), XpVif::VifId(9));
   EXPECT_STREQ(norvEnumName(Orim::GlobalAclControl::globalAclBlockAll), "globalAclBlockAll");
   EXPECT_STREQ(norvEnumName(static_cast<Orim::GlobalAclControl>(7)), "globalAclUnknown");
}

} // namespace
