#include "sim/acl/AclReference.h"

namespace Sim::Acl {

namespace {

constexpr uint8_t kTcp = 6;
constexpr uint8_t kUdp = 17;
constexpr uint8_t kTcpAck = 0x10;
constexpr uint8_t kTcpRst = 0x04;

bool portMatches(const std::optional<PortRange>& range, uint16_t port, bool hasL4) {
   if (!range) return true;
   return hasL4 && range->first <= port && port <= range->last;
}

bool bindingApplies(const Binding& b, const xpAclPacket& pkt,
                    const std::optional<std::string>& intf, const PacketPlace& place) {
   if (b.chip != pkt.devId || b.egress != pkt.egress) return false;
   if (b.kind == BindKind::intf) return intf && *intf == b.intf;
   if (b.vlan != pkt.vlan) return false;
   return !place.onVlan || place.onVlan(pkt.devId, pkt.port, pkt.vlan);
}

} // namespace

bool prefixContains(const Plexo::IpGenPrefix& prefix, const std::array<uint32_t, 4>& addr) {
   const auto words = prefix.v6Prefix().address;
   const size_t first = prefix.isV4() ? 3 : 0;
   unsigned left = prefix.len();
   for (size_t i = first; i < 4 && left > 0; ++i) {
      const unsigned bits = left < 32 ? left : 32;
      const uint32_t mask = ~uint32_t{0} << (32 - bits);
      if ((addr[i] & mask) != (words[i] & mask)) return false;
      left -= bits;
   }
   return true;
}

bool ruleMatches(const Rule& rule, const xpAclPacket& pkt) {
   if (rule.ipv6 != pkt.ipv6) return false;
   if (rule.src && !prefixContains(*rule.src, pkt.sip)) return false;
   if (rule.dst && !prefixContains(*rule.dst, pkt.dip)) return false;
   if (rule.protocol && *rule.protocol != pkt.protocol) return false;
   // A non-first fragment carries no L4 header, and only TCP and UDP have ports.
   const bool hasL4 = (pkt.protocol == kTcp || pkt.protocol == kUdp) && !pkt.fragment;
   if (!portMatches(rule.sport, pkt.sport, hasL4)) return false;
   if (!portMatches(rule.dport, pkt.dport, hasL4)) return false;
   if (rule.ttl && *rule.ttl != pkt.ttl) return false;
   if (rule.fragment && !pkt.fragment) return false;
   if (rule.established && !(pkt.protocol == kTcp && (pkt.tcpFlags & (kTcpAck | kTcpRst)) != 0))
      return false;
   return true;
}

std::optional<uint32_t> firstMatch(const Acl& acl, const xpAclPacket& pkt) {
   for (const auto& [seq, rule] : acl.rules) {
      if (ruleMatches(rule, pkt)) return seq;
   }
   return std::nullopt;
}

RefVerdict classify(const std::map<std::string, Acl>& acls, const xpAclPacket& pkt,
                    const PacketPlace& place) {
   RefVerdict v;
   const auto intf = place.intfOf ? place.intfOf(pkt.devId, pkt.port) : std::nullopt;
   for (const auto& [name, acl] : acls) {
      for (const auto& b : acl.bindings) {
         if (!bindingApplies(b, pkt, intf, place)) continue;
         RefLookup l{name, b, firstMatch(acl, pkt), true};
         if (l.seq) l.permit = acl.rules.at(*l.seq).permit;
         v.permit = v.permit && l.permit;
         v.lookups.push_back(std::move(l));
      }
   }
   return v;
}

} // namespace Sim::Acl
