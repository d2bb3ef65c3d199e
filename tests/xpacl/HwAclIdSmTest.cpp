// Resolution and programming of hardware ACL ids: bindings, rule-list flags, the global
// control, blocks, shared egress entries, VIF changes and port-channels.
#include <gtest/gtest.h>

#include "norv/Errors.h"
#include "tests/xpacl/HwAclTestWorld.h"
#include "tests/xpacl/MgTestWorld.h"

using namespace XpAclTest;
using XpAcl::AclIdEn;

namespace {

constexpr uint8_t kIdx = 7;
// The 20 ACL bits of an egress entry.
uint32_t evifAcl(uint8_t pacl, bool p4, bool p6, uint8_t racl, bool r4, bool r6) {
   return xpEgressBdEvifData::pack(pacl, p4, p6, racl, r4, r6);
}

struct HwAclIdSmTest : ::testing::Test {
   HwAclIdSmTest() {
      w.port(eth(1), 0, 11);
      w.port(eth(2), 0, 12);
      w.port(eth(3), 1, 13);
      w.cfg(0);
      w.cfg(1);
      w.start();
   }
   const XpAcl::ChipHwAclIdMap& map(uint32_t chip) { return *w.chipSm(chip)->chipHwAclIdMap(); }
   HwAclWorld w;
};

TEST(AclIdEnTest, TextReadsBackAndRejectsAnythingElse) {
   const AclIdEn v(200, true, false, true);
   EXPECT_EQ(v.text(), "Value('XpAcl::AclIdEn', ** {'aclId': 200, 'v4En': true, 'v6En': false, "
                       "'blocked': true})");
   EXPECT_EQ(AclIdEn::fromText(v.text()), v);
   EXPECT_THROW(AclIdEn::fromText("Value('XpAcl::AclIdEn', ** {'aclId': 300, 'v4En': true, "
                                  "'v6En': false, 'blocked': true})"),
                Norv::RangeError);
   EXPECT_THROW(AclIdEn::fromText("Value('XpAcl::AclIdEn', ** {'aclId': 1, 'v4En': yes, "
                                  "'v6En': false, 'blocked': true})"),
                Norv::RangeError);
   // Blocking alone makes another binding: it must be reprogrammed.
   EXPECT_NE(AclIdEn(5, true, true, false), AclIdEn(5, true, true, true));
}

TEST_F(HwAclIdSmTest, PortBindingFollowsItsRuleListsIntoThePortAndEgressTables) {
   w.vif(eth(1), 10, 500);
   w.ruleList(0, kIdx, 1, false); // ingress PACL v4
   w.ruleList(0, kIdx, 3, true);  // egress PACL v6
   w.cfg(0)->intfToHwAclIndexIs(eth(1), kIdx);
   EXPECT_EQ(map(0).ingressPortAclIdEn(eth(1)), AclIdEn(kIdx, true, false, false));
   EXPECT_EQ(map(0).egressPortAclIdEn(eth(1)), AclIdEn(kIdx, false, true, false));
   auto t = readTables(0);
   EXPECT_EQ(t.port.at(11), std::make_pair(int(kIdx), 1));
   EXPECT_EQ(t.evif.at({500, 10}), evifAcl(kIdx, false, true, 0, false, false));
   EXPECT_TRUE(readTables(1).port.empty());

   // Unbinding clears the port entry and the egress entry goes.
   w.cfg(0)->intfToHwAclIndexDel(eth(1));
   t = readTables(0);
   EXPECT_TRUE(t.port.empty());
   EXPECT_TRUE(t.evif.empty());
   EXPECT_EQ(map(0).ingressPortAclIdEnCount(), 0u);
   EXPECT_EQ(w.chipSm(0)->hwAclIndexInfoCount(), 1u) << "the rule lists keep the index info";
}

TEST_F(HwAclIdSmTest, ARuleListAddedAfterItsUsersLeavesThemUntilTheyAreResolvedAgain) {
   w.cfg(0)->intfToHwAclIndexIs(eth(1), kIdx);
   EXPECT_EQ(readTables(0).port.at(11), std::make_pair(int(kIdx), 0));
   w.ruleList(0, kIdx, 1, false);
   EXPECT_EQ(readTables(0).port.at(11), std::make_pair(int(kIdx), 0));
   // The global control re-resolves everything.
   w.cfg(0)->globalAclControlIs(Orim::GlobalAclControl::globalAclBypassAll);
   w.cfg(0)->globalAclControlIs(Orim::GlobalAclControl::globalAclNormal);
   EXPECT_EQ(readTables(0).port.at(11), std::make_pair(int(kIdx), 1));
}

TEST_F(HwAclIdSmTest, GlobalControlOneBlocksMappedPortsAndDeniesAllOnUnmappedOnes) {
   w.allRuleLists(0, kIdx);
   w.cfg(0)->intfToHwAclIndexIs(eth(1), kIdx);
   w.cfg(0)->globalAclControlIs(Orim::GlobalAclControl::globalAclBlockAll);
   EXPECT_EQ(map(0).ingressPortAclIdEn(eth(1)), AclIdEn(kIdx, true, true, true));
   EXPECT_EQ(map(0).ingressPortAclIdEn(eth(2)), AclIdEn(0, true, true, false));
   EXPECT_EQ(map(0).egressPortAclIdEn(eth(2)), AclIdEn());
   EXPECT_EQ(map(0).ingressPortAclIdEn(eth(3)), AclIdEn()) << "a port of another chip";
   auto t = readTables(0);
   EXPECT_EQ(t.port.at(11), std::make_pair(0, 3)) << "blocked: id 0, both enables";
   EXPECT_EQ(t.port.at(12), std::make_pair(0, 3));

   // Control 2 keeps the identifiers with every lookup off.
   w.cfg(0)->globalAclControlIs(Orim::GlobalAclControl::globalAclBypassAll);
   EXPECT_EQ(map(0).ingressPortAclIdEn(eth(1)), AclIdEn(kIdx, false, false, false));
   EXPECT_EQ(map(0).ingressPortAclIdEn(eth(2)), AclIdEn());
   t = readTables(0);
   EXPECT_EQ(t.port.at(11), std::make_pair(int(kIdx), 0));
   EXPECT_FALSE(t.port.contains(12));

   w.cfg(0)->globalAclControlIs(Orim::GlobalAclControl::globalAclNormal);
   EXPECT_EQ(readTables(0).port.at(11), std::make_pair(int(kIdx), 3));
}

TEST_F(HwAclIdSmTest, PortsOnOneIndexShareItsInfoUntilBothGo) {
   w.cfg(0)->intfToHwAclIndexIs(eth(1), kIdx);
   w.cfg(0)->intfToHwAclIndexIs(eth(2), kIdx);
   auto info = w.chipSm(0)->hwAclIndexInfo(Orim::HwAclIndex(kIdx));
   ASSERT_TRUE(info);
   EXPECT_EQ(info->intfIdCount(), 2u);
   w.cfg(0)->intfToHwAclIndexDel(eth(1));
   EXPECT_EQ(w.chipSm(0)->hwAclIndexInfo(Orim::HwAclIndex(kIdx)), info);
   // Moving to another index leaves the old info.
   w.cfg(0)->intfToHwAclIndexIs(eth(2), kIdx + 1);
   EXPECT_FALSE(w.chipSm(0)->hwAclIndexInfo(Orim::HwAclIndex(kIdx)));
   EXPECT_TRUE(w.chipSm(0)->hwAclIndexInfo(Orim::HwAclIndex(kIdx + 1)));
   // A rule list keeps an unused index's info until it goes too.
   w.ruleList(0, 9, 2, false);
   EXPECT_TRUE(w.chipSm(0)->hwAclIndexInfo(Orim::HwAclIndex(9)));
   w.ruleList(0, 9, 2, false, false);
   EXPECT_FALSE(w.chipSm(0)->hwAclIndexInfo(Orim::HwAclIndex(9)));
}

TEST_F(HwAclIdSmTest, BlockedPortProgramsIdZeroWithEnablesOnAndOnlyOnItsChip) {
   w.allRuleLists(0, kIdx);
   w.cfg(0)->intfToHwAclIndexIs(eth(1), kIdx);
   w.vif(eth(1), 10, 500);
   w.block(eth(1), true);
   EXPECT_EQ(map(0).ingressPortAclIdEn(eth(1)), AclIdEn(kIdx, true, true, true));
   EXPECT_FALSE(w.sm->chipAaclBlockedIntfColl(Orim::ChipId(1))->blockedIntf(eth(1)));
   auto t = readTables(0);
   EXPECT_EQ(t.port.at(11), std::make_pair(0, 3));
   EXPECT_EQ(t.evif.at({500, 10}), evifAcl(0, true, true, 0, false, false));
   w.block(eth(1), false);
   t = readTables(0);
   EXPECT_EQ(t.port.at(11), std::make_pair(int(kIdx), 3));
   EXPECT_EQ(t.evif.at({500, 10}), evifAcl(kIdx, true, true, 0, false, false));
}

TEST_F(HwAclIdSmTest, BlockedVlanInterfaceBlocksTheVlanOnEveryChip) {
   w.allRuleLists(0, kIdx);
   w.cfg(0)->vlanToHwAclIndexIs(Bridging::VlanId(10), kIdx);
   w.vif(eth(1), 10, 500);
   w.vif(eth(3), 10, 600);
   EXPECT_EQ(readTables(0).ivif.at({11, 10}), std::make_pair(int(kIdx), 3));
   w.block(vlanIntf(10), true);
   EXPECT_EQ(map(0).ingressRouteAclIdEn(Bridging::VlanId(10)), AclIdEn(kIdx, true, true, true));
   EXPECT_EQ(map(1).ingressRouteAclIdEn(Bridging::VlanId(10)), AclIdEn(0, true, true, true));
   EXPECT_EQ(readTables(0).ivif.at({11, 10}), std::make_pair(0, 3));
   EXPECT_EQ(readTables(1).ivif.at({13, 10}), std::make_pair(0, 3));
   EXPECT_EQ(readTables(1).evif.at({600, 10}), evifAcl(0, false, false, 0, true, true));
   w.block(vlanIntf(10), false);
   EXPECT_EQ(readTables(0).ivif.at({11, 10}), std::make_pair(int(kIdx), 3));
   EXPECT_TRUE(readTables(1).ivif.empty());
   EXPECT_TRUE(readTables(1).evif.empty());
}

TEST_F(HwAclIdSmTest, PairsOnOneEgressVifShareTheEntryUntilTheLastGoes) {
   w.allRuleLists(0, kIdx);
   w.cfg(0)->vlanToHwAclIndexIs(Bridging::VlanId(10), kIdx);
   w.vif(eth(1), 10, 500);
   w.vif(eth(2), 10, 500);
   EXPECT_EQ(readTables(0).evif.size(), 1u);
   EXPECT_EQ(w.chipSm(0)->egressVifVlanInfo({500, 10})->portVlanCount(), 2u);
   w.vifDel(eth(1), 10);
   EXPECT_EQ(readTables(0).evif.size(), 1u);
   // The remaining pair moves to another VIF: the old entry goes with its last user.
   w.vif(eth(2), 10, 501);
   auto t = readTables(0);
   EXPECT_FALSE(t.evif.contains({500, 10}));
   EXPECT_EQ(t.evif.at({501, 10}), evifAcl(0, false, false, kIdx, true, true));
   EXPECT_FALSE(w.chipSm(0)->egressVifVlanInfo({500, 10}));
   w.vifDel(eth(2), 10);
   EXPECT_TRUE(readTables(0).evif.empty());
   EXPECT_TRUE(readTables(0).ivif.empty());
}

TEST_F(HwAclIdSmTest, PortChannelIsNeverWrittenItsMembersAre) {
   w.port(eth(4), 1, 14);
   w.xpcsd->portToLagIs(eth(2), lagIntf(1));
   w.xpcsd->portToLagIs(eth(4), lagIntf(1));
   w.allRuleLists(0, kIdx);
   w.allRuleLists(1, kIdx);
   w.cfg(0)->vlanToHwAclIndexIs(Bridging::VlanId(20), kIdx);
   w.cfg(1)->vlanToHwAclIndexIs(Bridging::VlanId(20), kIdx);
   // The port-channel's entry reaches both chips that hold a member.
   w.vif(lagIntf(1), 20, 700);
   for (uint32_t chip : {0u, 1u}) {
      EXPECT_TRUE(w.chipSm(chip)->chipPortVlanVifStatus()->portVlanToVifMap(
                      XpLib::PortAndVlanId(lagIntf(1), 20)) == XpVif::VifId(700));
      EXPECT_TRUE(readTables(chip).evif.empty()) << "the port-channel itself is skipped";
   }
   // A port joining the port-channel takes the port-channel's egress entry on its chip.
   w.xpcsd->portToLagIs(eth(1), lagIntf(1));
   EXPECT_EQ(readTables(0).evif.at({700, 20}), evifAcl(0, false, false, kIdx, true, true));
   EXPECT_TRUE(
       w.chipSm(0)->egressVifVlanInfo({700, 20})->portVlan(XpLib::PortAndVlanId(eth(1), 20)));
   // And leaves it when it leaves.
   w.xpcsd->portToLagDel(eth(1));
   EXPECT_TRUE(readTables(0).evif.empty());
   EXPECT_TRUE(w.chipSm(0)->portToLagCache(eth(1)).isEmpty());
   EXPECT_EQ(w.chipSm(0)->portToLagCache(eth(2)), lagIntf(1));
}

TEST(HwAclIdSmLateTest, AChipConfiguredLaterGetsWhatWasCollectedForIt) {
   HwAclWorld w;
   w.port(eth(1), 0, 11);
   w.start();
   w.block(eth(1), true);
   w.vif(eth(1), 10, 500);
   w.allRuleLists(0, kIdx);
   w.cfg(0)->vlanToHwAclIndexIs(Bridging::VlanId(10), kIdx);
   auto* sm = w.chipSm(0);
   ASSERT_TRUE(sm);
   EXPECT_TRUE(sm->chipAaclBlockedIntfColl()->blockedIntf(eth(1)));
   EXPECT_EQ(sm->chipHwAclIdMap()->ingressPortAclIdEn(eth(1)), AclIdEn(0, true, true, true));
   EXPECT_EQ(readTables(0).ivif.at({11, 10}), std::make_pair(int(kIdx), 3));
   // The configuration goes: the reactor goes, the chip keeps what it has.
   w.dataFlow->chipDataFlowConfigDel(Orim::ChipId(0));
   EXPECT_FALSE(w.chipSm(0));
   EXPECT_EQ(readTables(0).ivif.size(), 1u);
}

TEST(HwAclIdSmLateTest, UnknownPortsAreIgnored) {
   HwAclWorld w;
   w.cfg(0);
   w.start();
   w.block(eth(9), true);
   w.vif(eth(9), 10, 500);
   EXPECT_EQ(w.sm->chipAaclBlockedIntfColl(Orim::ChipId(0))->blockedIntfCount(), 0u);
   EXPECT_EQ(w.chipSm(0)->chipPortVlanVifStatus()->portVlanToVifMapCount(), 0u);
}

using HwAclIdSmDeathTest = HwAclIdSmTest;

TEST_F(HwAclIdSmDeathTest, BrokenInvariantsAbort) {
   EXPECT_DEATH(w.cfg(0)->intfToHwAclIndexIs(eth(1), 0), "portAclId");
   EXPECT_DEATH(w.cfg(0)->vlanToHwAclIndexIs(Bridging::VlanId(3), 0), "routeAclId");
   EXPECT_DEATH(w.ruleList(0, kIdx, 5, false), "0");
   EXPECT_DEATH(w.vif(lagIntf(9), 10, 500), "!!lagPhyIfSet");
   EXPECT_DEATH(
       {
          w.system->numTableCopiesIs(2);
          w.vif(eth(1), 10, 500);
       },
       "systemStatus\\(\\)->numTableCopies\\(\\) == 1");
   // A VLAN interface numbered beyond the VLANs is a range error, not an abort.
   EXPECT_THROW(w.block(Plexo::IntfId((3u << 24) | 4095), true), Norv::RangeError);
}

TEST_F(HwAclIdSmDeathTest, ARefusedWriteNamesTheCallAndAborts) {
   portModel()->injectStatus("writeEntry", XP_ERR_INVALID_INDEX);
   EXPECT_DEATH(w.cfg(0)->intfToHwAclIndexIs(eth(1), kIdx),
                "XpAclChipHwAclIdProgram.cpp:[0-9]+ "
                "\\(\\(portCfgMgr\\(\\)->writeEntry\\(chipId\\(\\).value\\(\\), portId, "
                "&portCfgEntry\\)\\)\\) API ERROR 6");
   portModel()->clearInjectedStatus();
}

} // namespace

namespace {

TEST_F(HwAclIdSmTest, TracesNameWhatEachStepDid) {
   TraceCapture trace("XpAclHwAclIdSm");
   w.vif(eth(1), 10, 500);
   w.vif(eth(2), 10, 500);
   w.allRuleLists(0, kIdx);
   w.cfg(0)->intfToHwAclIndexIs(eth(1), 3);
   w.cfg(0)->vlanToHwAclIndexIs(Bridging::VlanId(10), kIdx);
   w.block(eth(1), true);
   w.vifDel(eth(1), 10);
   w.cfg(0)->intfToHwAclIndexDel(eth(1));
   w.xpcsd->portToLagIs(eth(2), lagIntf(1));
   w.vif(lagIntf(1), 10, 600);
   w.xpcsd->portToLagDel(eth(2));
   w.block(eth(9), true);
   const std::string text = trace.text();
   for (const char* line :
        {"ChipHwAclIdSm::setPortAclIdEn intf Ethernet1", "2nd level mapping unavailable",
         "blocking intf for both v4 and v6 Ethernet1", "adding map intf Ethernet1 hwAclIndex 3",
         "removing map intf Ethernet1 hwAclIndex 3", "removing hai 3",
         "add vlanId 10 port Ethernet1",
         "not removing egress vlanId 10 vif 500 due to vlanVif entry still used by others",
         "old member deleted", "Ignoring port-channel interface Port-Channel1",
         "port channel intf Port-Channel1", "member intf Ethernet2",
         "not present in system status Ethernet9",
         "programIngressPAcl chip 0 intf Ethernet1"}) {
      EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
   }
}

} // namespace
