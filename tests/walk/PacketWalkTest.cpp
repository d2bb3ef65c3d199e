#include <gtest/gtest.h>

#include "tests/walk/WalkChip.h"

namespace WalkTest {
namespace {

Orim::MaskGroupDescriptor group(uint8_t type) {
   Orim::MaskGroupDescriptor mg;
   mg.aclTypeIs(type);
   return mg;
}

class PacketWalk : public ::testing::Test, public WalkChip {
protected:
   void SetUp() override { start(); }
   void TearDown() override { stop(); }
};

TEST_F(PacketWalk, EnableBitsChooseTheLookupAndIdZeroBlocks) {
   auto mg = group(paclV4);
   mg.srcIpMaskLengthIs(16);
   keySelect(0, 5, paclV4, false, 9, mg);
   prefix(0, 0, "10.0.0.0/8", 44);
   TestRule r;
   r.list = 9;
   r.mg = mg;
   r.pd.srcIpLabelIs(44);
   r.permit = false;
   const uint32_t at = write(r);

   bindPort(7, 5, true, false);
   auto v4 = xpAclWalkPacket(packet("10.2.3.4", "1.1.1.1"), false);
   ASSERT_EQ(v4.numLookups, 1u);
   EXPECT_TRUE(v4.lookups[0].applies);
   EXPECT_FALSE(v4.permit);
   ASSERT_EQ(v4.winners.size(), 1u);
   EXPECT_EQ(v4.winners[0].hwIndex, at);
   EXPECT_EQ(v4.winners[0].chipRuleListId, 9);
   EXPECT_EQ(v4.lookups[0].stages[0].mgksTableId, 1u);

   // The IPv6 enable is clear: no lookup, no opinion.
   auto v6 = xpAclWalkPacket(packet("2001:db8::1", "2001:db8::2"), false);
   EXPECT_FALSE(v6.lookups[0].applies);
   EXPECT_TRUE(v6.permit);
   EXPECT_EQ(v6.lookups[0].numStages, 0u);

   // Id 0 with the enable on denies without looking at any stage; with it off, nothing.
   bindPort(7, 0, true, false);
   auto blocked = xpAclWalkPacket(packet("10.2.3.4", "1.1.1.1", 17), false);
   EXPECT_TRUE(blocked.blocked);
   EXPECT_FALSE(blocked.permit);
   EXPECT_EQ(blocked.lookups[0].numStages, 0u);
   EXPECT_TRUE(blocked.winners.empty());
   bindPort(7, 0, false, false);
   auto off = xpAclWalkPacket(packet("10.2.3.4", "1.1.1.1"), false);
   EXPECT_FALSE(off.blocked);
   EXPECT_TRUE(off.permit);

   // A port the key-select table does not know for this type: a miss, no opinion.
   bindPort(7, 6, true, true);
   auto miss = xpAclWalkPacket(packet("10.2.3.4", "1.1.1.1"), true);
   EXPECT_TRUE(miss.permit);
   EXPECT_TRUE(miss.winners.empty());
   EXPECT_EQ(miss.lookups[0].numStages, 6u);
   for (const auto& s : miss.lookups[0].stages)
      EXPECT_FALSE(s.selected);
}

TEST_F(PacketWalk, RoutedAndEgressLookupsComeFromTheirEntries) {
   auto mg = group(raclV6);
   keySelect(2, 8, raclV6, false, 12, mg);
   keySelect(3, 8, raclV6, true, 13, mg);
   TestRule in;
   in.stage = 2;
   in.list = 12;
   in.mg = mg;
   in.permit = false;
   write(in);
   TestRule out = in;
   out.stage = 3;
   out.list = 13;
   out.egress = true;
   out.permit = true;
   out.counter = 4;
   write(out);

   bindPort(7, 3, false, true); // a port ACL with no rules at all
   bindPortVlan(7, 10, 8, false, true);
   auto p = packet("2001:db8::1", "2001:db8::2");
   auto ingress = xpAclWalkPacket(p, false);
   ASSERT_EQ(ingress.numLookups, 2u);
   EXPECT_EQ(ingress.lookups[1].kind, xpAclLookupKind::ingressRacl);
   EXPECT_FALSE(ingress.permit);
   ASSERT_EQ(ingress.winners.size(), 1u);
   EXPECT_EQ(ingress.winners[0].stage, 2u);
   // Another VLAN has no port-VLAN entry: the port ACL alone.
   p.vlan = 11;
   EXPECT_EQ(xpAclWalkPacket(p, false).numLookups, 1u);

   bindEgress(500, 10, 0, false, false, 8, false, true);
   p.egress = true;
   p.vlan = 10;
   p.egressVif = 500;
   auto egress = xpAclWalkPacket(p, true);
   ASSERT_EQ(egress.numLookups, 2u);
   EXPECT_FALSE(egress.lookups[0].applies); // the port part has no enable
   EXPECT_TRUE(egress.permit);
   ASSERT_EQ(egress.winners.size(), 1u);
   EXPECT_EQ(egress.winners[0].stage, 3u);
   EXPECT_EQ(counted(4), 1u);
   p.egressVif = 501;
   EXPECT_EQ(xpAclWalkPacket(p, false).numLookups, 0u);
}

TEST_F(PacketWalk, PortLabelsOnlyForTcpAndUdpThatAreNotFragments) {
   portLabel(0, 1000, 7);
   portLabel(1, 80, 3);
   auto mg = group(paclV4);
   mg.srcPortIs(true);
   mg.dstPortIs(true);
   keySelect(1, 5, paclV4, false, 2, mg);
   TestRule r;
   r.stage = 1;
   r.list = 2;
   r.mg = mg;
   r.pd.srcPortLabelIs(7);
   r.pd.dstPortLabelIs(3);
   r.permit = false;
   write(r);
   bindPort(7, 5, true, false);

   for (uint8_t proto : {6, 17}) {
      auto hit = xpAclWalkPacket(packet("1.2.3.4", "5.6.7.8", proto), false);
      EXPECT_TRUE(hit.labels.portsLooked);
      EXPECT_EQ(hit.labels.sport, 7);
      EXPECT_EQ(hit.labels.dport, 3);
      EXPECT_FALSE(hit.permit) << int(proto);
   }
   auto icmp = xpAclWalkPacket(packet("1.2.3.4", "5.6.7.8", 1), false);
   EXPECT_FALSE(icmp.labels.portsLooked);
   EXPECT_EQ(icmp.labels.sport, 0);
   EXPECT_TRUE(icmp.permit);
   auto frag = packet("1.2.3.4", "5.6.7.8", 6);
   frag.fragment = true;
   auto f = xpAclWalkPacket(frag, false);
   EXPECT_EQ(f.labels.dport, 0);
   EXPECT_TRUE(f.permit);
   // A port outside every range has label 0, which a rule on label 0 would match.
   auto other = xpAclWalkPacket(packet("1.2.3.4", "5.6.7.8", 6, 1001), false);
   EXPECT_EQ(other.labels.sport, 0);
   EXPECT_TRUE(other.permit);
}

TEST_F(PacketWalk, TtlProtocolFragmentAndEstablishedFields) {
   auto mg = group(paclV4);
   mg.ttlIs(true);
   mg.ipProtoIs(true);
   mg.ipFragIs(true);
   mg.establishedIs(true);
   keySelect(0, 5, paclV4, false, 4, mg);
   bindPort(7, 5, true, false);
   auto rule = [&](uint8_t ttl, uint8_t proto, bool fragment, bool established,
                   uint16_t priority) {
      TestRule r;
      r.list = 4;
      r.mg = mg;
      r.pd.ttlIs(ttl);
      r.pd.protocolIs(proto);
      r.pd.fragmentIs(fragment);
      r.pd.establishedIs(established);
      r.hwPriority = priority;
      r.counter = priority;
      write(r);
   };
   rule(0, 17, false, false, 10); // TTL 0: the key holds 255
   rule(64, 6, true, false, 11);  // TCP fragments
   rule(64, 6, false, true, 12);  // established TCP
   rule(64, 6, false, false, 13); // other TCP
   auto winner = [&](xpAclPacket p) {
      auto r = xpAclWalkPacket(p, false);
      return r.winners.empty() ? 0 : r.winners[0].hwPriority;
   };
   auto p = packet("1.2.3.4", "5.6.7.8", 17);
   p.ttl = 0;
   EXPECT_EQ(winner(p), 10);
   p.ttl = 1;
   EXPECT_EQ(winner(p), 0);
   p = packet("1.2.3.4", "5.6.7.8", 6);
   EXPECT_EQ(winner(p), 13);
   p.fragment = true;
   EXPECT_EQ(winner(p), 11);
   p.fragment = false;
   p.tcpFlags = 0x10; // ACK
   EXPECT_EQ(winner(p), 12);
   p.tcpFlags = 0x04; // RST
   EXPECT_EQ(winner(p), 12);
   p.tcpFlags = 0x02; // SYN
   EXPECT_EQ(winner(p), 13);
   p.ttl = 65;
   EXPECT_EQ(winner(p), 0);
   // ACK on UDP is not established: the UDP rule's TTL 0 misses, nothing else is UDP.
   p = packet("1.2.3.4", "5.6.7.8", 17);
   p.tcpFlags = 0x10;
   p.ttl = 0;
   EXPECT_EQ(winner(p), 10);
}

TEST_F(PacketWalk, EveryWayIsProbedAndTheBestPriorityOfAllStagesWins) {
   auto mg = group(paclV4);
   mg.dstIpMaskLengthIs(16);
   prefix(1, 3, "20.0.0.0/8", 5);
   for (uint32_t stage : {1u, 4u, 5u})
      keySelect(stage, 5, paclV4, false, 6, mg);
   bindPort(7, 5, true, false);
   TestRule r;
   r.list = 6;
   r.mg = mg;
   r.pd.dstIpLabelIs(5);
   r.stage = 1;
   r.way = 3;
   r.hwPriority = 50;
   r.permit = false;
   const uint32_t inWay3 = write(r);
   auto first = xpAclWalkPacket(packet("1.1.1.1", "20.1.1.1"), false);
   const auto& s1 = first.lookups[0].stages[1];
   ASSERT_TRUE(s1.hit);
   EXPECT_EQ(s1.ways, 4u);
   EXPECT_TRUE(s1.probes[3].hit);
   EXPECT_EQ(s1.probes[3].hwIndex, inWay3);
   EXPECT_FALSE(s1.probes[0].hit);
   EXPECT_FALSE(first.permit);

   r.stage = 4;
   r.way = 0;
   r.hwPriority = 20;
   r.permit = true;
   r.counter = 30;
   write(r);
   r.stage = 5;
   r.way = 2;
   r.hwPriority = 40;
   r.permit = false;
   write(r);
   auto best = xpAclWalkPacket(packet("1.1.1.1", "20.1.1.1"), true);
   ASSERT_EQ(best.winners.size(), 1u);
   EXPECT_EQ(best.winners[0].stage, 4u);
   EXPECT_EQ(best.winners[0].hwPriority, 20);
   EXPECT_TRUE(best.permit);
   EXPECT_TRUE(best.lookups[0].stages[5].hit);
   xpAclWalkPacket(packet("1.1.1.1", "20.1.1.1"), true);
   xpAclWalkPacket(packet("1.1.1.1", "20.1.1.1"), false);
   EXPECT_EQ(counted(30), 2u);
   // Another destination: label 0, which no entry carries.
   auto miss = xpAclWalkPacket(packet("1.1.1.1", "21.1.1.1"), true);
   EXPECT_TRUE(miss.winners.empty());
   EXPECT_TRUE(miss.permit);
   EXPECT_EQ(counted(30), 2u);
}

} // namespace
} // namespace WalkTest
