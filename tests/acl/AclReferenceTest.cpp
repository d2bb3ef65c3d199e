#include <gtest/gtest.h>

#include "sim/acl/AclReference.h"
#include "tests/acl/TestPackets.h"

using namespace Sim::Acl;

namespace {

Plexo::IpGenPrefix pfx(const char* s) {
   return Plexo::IpGenPrefix::fromText(s).value();
}

std::array<uint32_t, 4> addr(const char* s) {
   return pfx(s).v6Prefix().address;
}

xpAclPacket v4(const char* src, const char* dst, uint8_t proto = 6, uint16_t dport = 80) {
   return ipv4Packet(0, 1, 10, src, dst, proto, dport);
}

Rule rule(bool permit) {
   Rule r;
   r.permit = permit;
   return r;
}

Binding intfIn(const char* intf, uint32_t chip = 0) {
   return Binding{chip, BindKind::intf, intf, 0, false};
}

Binding vlanIn(uint16_t vlan) {
   return Binding{0, BindKind::vlan, "", vlan, false};
}

PacketPlace place(bool onVlan = true) {
   PacketPlace p;
   p.intfOf = [](uint32_t chip, uint32_t port) -> std::optional<std::string> {
      if (chip == 0 && port == 1) return "Ethernet1";
      return std::nullopt;
   };
   p.onVlan = [onVlan](uint32_t, uint32_t, uint16_t) { return onVlan; };
   return p;
}

} // namespace

TEST(AclReference, PrefixContainmentAtTheEdgesOfEachFamily) {
   EXPECT_TRUE(prefixContains(pfx("10.1.0.0/16"), addr("10.1.0.0")));
   EXPECT_TRUE(prefixContains(pfx("10.1.0.0/16"), addr("10.1.255.255")));
   EXPECT_FALSE(prefixContains(pfx("10.1.0.0/16"), addr("10.0.255.255")));
   EXPECT_FALSE(prefixContains(pfx("10.1.0.0/16"), addr("10.2.0.0")));
   EXPECT_TRUE(prefixContains(pfx("10.1.2.3/32"), addr("10.1.2.3")));
   EXPECT_FALSE(prefixContains(pfx("10.1.2.3/32"), addr("10.1.2.2")));
   // IPv6 lengths that end inside a word, and one that spans all four.
   EXPECT_TRUE(prefixContains(pfx("2001:db8:8000::/33"), addr("2001:db8:ffff::1")));
   EXPECT_FALSE(prefixContains(pfx("2001:db8:8000::/33"), addr("2001:db8:7fff::1")));
   EXPECT_TRUE(prefixContains(pfx("2001:db8::/127"), addr("2001:db8::1")));
   EXPECT_FALSE(prefixContains(pfx("2001:db8::/127"), addr("2001:db8::2")));
   EXPECT_FALSE(prefixContains(pfx("2001:db8::/32"), addr("2001:db9::")));
}

TEST(AclReference, FirstRuleBySequenceWinsAndNoMatchPermits) {
   Acl acl;
   acl.name = "a";
   Rule host = rule(true);
   host.src = pfx("10.1.2.3/32");
   Rule net = rule(false);
   net.src = pfx("10.0.0.0/8");
   acl.rules[20] = net;
   acl.rules[30] = host; // shadowed by 20
   acl.bindings.insert(intfIn("Ethernet1"));
   std::map<std::string, Acl> acls{{"a", acl}};

   auto v = classify(acls, v4("10.1.2.3", "1.1.1.1"), place());
   ASSERT_EQ(v.lookups.size(), 1u);
   EXPECT_EQ(v.lookups[0].seq, 20u);
   EXPECT_FALSE(v.permit);

   acls["a"].rules[10] = host; // now first
   v = classify(acls, v4("10.1.2.3", "1.1.1.1"), place());
   EXPECT_EQ(v.lookups[0].seq, 10u);
   EXPECT_TRUE(v.permit);

   // Nothing matches: the ACL has no opinion and the packet passes.
   v = classify(acls, v4("11.0.0.1", "1.1.1.1"), place());
   ASSERT_EQ(v.lookups.size(), 1u);
   EXPECT_FALSE(v.lookups[0].seq);
   EXPECT_TRUE(v.permit);

   // An IPv6 rule never matches an IPv4 packet.
   Rule any6 = rule(false);
   any6.ipv6 = true;
   acls["a"].rules = {{1, any6}};
   EXPECT_TRUE(classify(acls, v4("10.1.2.3", "1.1.1.1"), place()).permit);
}

TEST(AclReference, PortRangesNeedAnL4Header) {
   Rule r = rule(true);
   r.dport = PortRange{80, 90};
   r.sport = PortRange{1024, 65535};
   for (uint16_t port : {80, 85, 90})
      EXPECT_TRUE(ruleMatches(r, v4("1.1.1.1", "2.2.2.2", 6, port))) << port;
   for (uint16_t port : {79, 91})
      EXPECT_FALSE(ruleMatches(r, v4("1.1.1.1", "2.2.2.2", 6, port))) << port;
   EXPECT_TRUE(ruleMatches(r, v4("1.1.1.1", "2.2.2.2", 17, 80)));
   // Only TCP and UDP carry ports; a non-first fragment carries no L4 header at all.
   EXPECT_FALSE(ruleMatches(r, v4("1.1.1.1", "2.2.2.2", 1, 80)));
   EXPECT_FALSE(ruleMatches(r, v4("1.1.1.1", "2.2.2.2", 47, 80)));
   auto frag = v4("1.1.1.1", "2.2.2.2", 6, 80);
   frag.fragment = true;
   EXPECT_FALSE(ruleMatches(r, frag));
   auto lowSport = v4("1.1.1.1", "2.2.2.2", 6, 80);
   lowSport.sport = 1023;
   EXPECT_FALSE(ruleMatches(r, lowSport));
   // A rule without ports matches the fragment.
   EXPECT_TRUE(ruleMatches(rule(true), frag));
}

TEST(AclReference, TtlFragmentAndEstablished) {
   Rule ttl = rule(true);
   ttl.ttl = 1;
   auto p = v4("1.1.1.1", "2.2.2.2");
   p.ttl = 1;
   EXPECT_TRUE(ruleMatches(ttl, p));
   p.ttl = 2;
   EXPECT_FALSE(ruleMatches(ttl, p));

   Rule frag = rule(false);
   frag.fragment = true;
   EXPECT_FALSE(ruleMatches(frag, p));
   p.fragment = true;
   EXPECT_TRUE(ruleMatches(frag, p));

   Rule est = rule(true);
   est.protocol = 6;
   est.established = true;
   auto t = v4("1.1.1.1", "2.2.2.2", 6);
   for (uint8_t flags : {0x10, 0x04, 0x14, 0x12, 0xff})
      EXPECT_TRUE((t.tcpFlags = flags, ruleMatches(est, t))) << int(flags);
   for (uint8_t flags : {0x00, 0x02, 0x01, 0xeb})
      EXPECT_FALSE((t.tcpFlags = flags, ruleMatches(est, t))) << int(flags);
   // ACK on a protocol other than TCP is not a connection.
   est.protocol.reset();
   auto u = v4("1.1.1.1", "2.2.2.2", 17);
   u.tcpFlags = 0x10;
   EXPECT_FALSE(ruleMatches(est, u));
}

TEST(AclReference, InterfaceAndVlanAclsBothApply) {
   Acl intfAcl;
   intfAcl.name = "i";
   intfAcl.rules[10] = rule(true);
   intfAcl.bindings.insert(intfIn("Ethernet1"));
   Acl vlanAcl;
   vlanAcl.name = "v";
   Rule deny = rule(false);
   deny.dst = pfx("2.2.0.0/16");
   vlanAcl.rules[10] = deny;
   vlanAcl.bindings.insert(vlanIn(10));
   std::map<std::string, Acl> acls{{"i", intfAcl}, {"v", vlanAcl}};

   const auto p = v4("1.1.1.1", "2.2.2.2");
   auto v = classify(acls, p, place());
   ASSERT_EQ(v.lookups.size(), 2u);
   EXPECT_EQ(v.lookups[0].acl, "i");
   EXPECT_TRUE(v.lookups[0].permit);
   EXPECT_EQ(v.lookups[1].acl, "v");
   EXPECT_EQ(v.lookups[1].binding, vlanIn(10));
   EXPECT_FALSE(v.permit); // one deny is enough

   // Off the VLAN (or on another one) only the interface's ACL applies.
   v = classify(acls, p, place(false));
   ASSERT_EQ(v.lookups.size(), 1u);
   EXPECT_TRUE(v.permit);
   auto other = p;
   other.vlan = 11;
   EXPECT_TRUE(classify(acls, other, place()).permit);

   // Bindings of the other direction, another chip or another port do not apply.
   auto out = p;
   out.egress = true;
   EXPECT_TRUE(classify(acls, out, place()).lookups.empty());
   auto chip1 = p;
   chip1.devId = 1;
   EXPECT_TRUE(classify(acls, chip1, place()).lookups.empty());
   auto port2 = p;
   port2.port = 2;
   v = classify(acls, port2, place());
   ASSERT_EQ(v.lookups.size(), 1u);
   EXPECT_EQ(v.lookups[0].acl, "v");
}
