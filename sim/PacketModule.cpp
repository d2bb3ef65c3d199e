// Packets in the simulator: the chip classifies a packet by the ACL tables it holds, and the
// walk is printed step by step, one line per step, so that an engineer can follow which entry
// gave which lookup, which label each field got, and what every stage found.
#include <algorithm>
#include <sstream>
#include <string>

#include "platform/PlexoIpGenPrefix.h"
#include "platform/XpVif.h"
#include "sim/Sim.h"
#include "xdk/xpPacketWalk.h"

namespace Sim {

namespace {

constexpr uint8_t kTcp = 6;
constexpr uint8_t kUdp = 17;
constexpr uint8_t kIcmp = 1;
constexpr uint8_t kIcmp6 = 58;
constexpr uint64_t kMaxTimes = 100000000;

struct PacketArgs {
   xpAclPacket pkt;
   std::string intf;
   uint64_t times = 1;
};

Plexo::IntfId intfArg(const Args& a, size_t i) {
   const std::string& w = a.word(i, "interface");
   try {
      const Plexo::IntfId intf = Plexo::IntfId::fromText(w);
      if (intf.isVlanIntf() || intf.isPortChannel()) {
         throw Error("bad interface '" + w + "': a packet crosses a port (EthernetN)");
      }
      return intf;
   } catch (const Norv::RangeError&) {
      throw Error("bad interface '" + w + "': expected EthernetN");
   }
}

Plexo::IpGenPrefix addressArg(const Args& a, size_t i, const char* what) {
   const std::string& w = a.word(i, what);
   const auto p =
       w.find('/') == std::string::npos ? Plexo::IpGenPrefix::fromText(w) : std::nullopt;
   if (!p) throw Error(std::string("bad ") + what + " '" + w + "': expected an IP address");
   return *p;
}

uint8_t protocolArg(const Args& a, size_t i, bool ipv6) {
   const std::string& w = a.word(i, "protocol");
   if (w == "tcp") return kTcp;
   if (w == "udp") return kUdp;
   if (w == "icmp") return ipv6 ? kIcmp6 : kIcmp;
   if (w.empty() || (w[0] < '0' || w[0] > '9')) {
      throw Error("bad protocol '" + w + "': expected a number, tcp, udp or icmp");
   }
   return static_cast<uint8_t>(a.number(i, "protocol", 255));
}

// Where the packet is on the chip: the interface's chip port, and leaving, its egress VIF on
// the VLAN (a member of a port-channel leaves through the port-channel's VIF).
void placeOn(Simulator& s, const Orim::ChipId& chip, const Plexo::IntfId& intf, PacketArgs& p) {
   auto ports = s.world().get<XpVif::PortVifStatus>("portVifStatus");
   const XpVif::ChipPort* cp = ports ? ports->intfToChipPortColl().find(intf) : nullptr;
   if (!cp) throw Error(intf.text() + " has no chip port number (use 'hwacl port')");
   if (cp->deviceId() != chip.value()) {
      throw Error(intf.text() + " is on chip " + std::to_string(cp->deviceId()) +
                  ", not chip " + chip.text());
   }
   p.pkt.port = cp->portVif().value();
   if (!p.pkt.egress) return;
   const Plexo::IntfId lag = s.world().commonData->portToLag(intf);
   const XpLib::PortAndVlanId pair(lag.isEmpty() ? intf : lag, p.pkt.vlan);
   auto vifs = s.world().get<XpVif::PortVlanVifStatus>("portVlanVifStatus");
   const XpVif::VifId* vif = vifs ? vifs->portVlanToVifMapColl().find(pair) : nullptr;
   if (!vif) {
      throw Error(pair.intfId().text() + " has no VIF on VLAN " + std::to_string(p.pkt.vlan) +
                  " to leave through (use 'hwacl vif')");
   }
   p.pkt.egressVif = vif->value();
}

PacketArgs packetArgs(Simulator& s, const Args& a) {
   PacketArgs p;
   const Orim::ChipId chip = knownChipArg(s, a, 0);
   p.pkt.devId = static_cast<uint8_t>(chip.value());
   const std::string& dir = a.word(1, "direction");
   if (dir != "in" && dir != "out") throw Error("bad direction '" + dir + "': in or out");
   p.pkt.egress = dir == "out";
   const Plexo::IntfId intf = intfArg(a, 2);
   p.intf = intf.text();
   p.pkt.vlan = static_cast<uint16_t>(a.number(3, "VLAN", 4094));
   if (p.pkt.vlan == 0) throw Error("bad VLAN '0': VLANs are 1 to 4094");
   const Plexo::IpGenPrefix src = addressArg(a, 4, "source address");
   const Plexo::IpGenPrefix dst = addressArg(a, 5, "destination address");
   if (src.isV6() != dst.isV6()) {
      throw Error("source and destination addresses are of different IP versions");
   }
   p.pkt.ipv6 = src.isV6();
   p.pkt.sip = src.v6Prefix().address;
   p.pkt.dip = dst.v6Prefix().address;
   p.pkt.protocol = 0;
   for (size_t i = 6; i < a.size(); ++i) {
      const std::string& w = a.word(i, "option");
      const bool takesValue = w == "proto" || w == "sport" || w == "dport" || w == "ttl" ||
                              w == "flags" || w == "times";
      if (takesValue && !a.has(i + 1)) throw Error("'" + w + "' needs a value");
      if (w == "proto") {
         p.pkt.protocol = protocolArg(a, ++i, p.pkt.ipv6);
      } else if (w == "sport") {
         p.pkt.sport = static_cast<uint16_t>(a.number(++i, "source port", 65535));
      } else if (w == "dport") {
         p.pkt.dport = static_cast<uint16_t>(a.number(++i, "destination port", 65535));
      } else if (w == "ttl") {
         p.pkt.ttl = static_cast<uint8_t>(a.number(++i, "TTL", 255));
      } else if (w == "flags") {
         p.pkt.tcpFlags = static_cast<uint8_t>(a.number(++i, "TCP flags", 255));
      } else if (w == "times") {
         p.times = a.number(++i, "times", kMaxTimes);
         if (p.times == 0) throw Error("bad times '0': a packet is walked at least once");
      } else if (w == "fragment") {
         p.pkt.fragment = true;
      } else {
         throw Error("unknown packet option '" + w +
                     "': proto, sport, dport, ttl, fragment, flags or times");
      }
   }
   placeOn(s, chip, intf, p);
   return p;
}

std::string addressText(bool ipv6, const std::array<uint32_t, 4>& a) {
   if (ipv6) return Plexo::IpGenPrefix(Plexo::Ip6Prefix{a, 128}).addressText();
   return Plexo::IpGenPrefix(Plexo::Ip4Prefix{a[3], 32}).addressText();
}

std::string hitText(const xpAclWalkHit& h) {
   std::ostringstream o;
   o << "index " << h.hwIndex << " " << (h.permit ? "permit" : "deny") << " priority "
     << h.hwPriority << (h.log ? " log" : "");
   if (h.counterIndex) o << " counter " << h.counterIndex;
   return o.str();
}

std::string enables(const xpAclWalkStage& s) {
   std::string f;
   const std::pair<const char*, bool> fields[] = {
       {"sip", s.sipEn},       {"dip", s.dipEn},
       {"sport", s.sportEn},   {"dport", s.dportEn},
       {"proto", s.ptEn},      {"ttl", s.ttlEn},
       {"fragment", s.fragEn}, {"established", s.tcpFlagsEn}};
   for (const auto& [name, on] : fields) {
      if (on) f += std::string(f.empty() ? "" : " ") + name;
   }
   return f.empty() ? "none" : f;
}

// The MG key's fields, as the chip lays them out.
std::string keyText(const xpAaclMgTableEntryKey& key) {
   const uint8_t* k = key.bytes;
   auto w16 = [&](size_t at) { return k[at] | k[at + 1] << 8; };
   std::ostringstream o;
   o << "sip " << w16(10) << " dip " << w16(12) << " sport " << w16(6) << " dport " << w16(8)
     << " proto " << int(k[5]) << " ttl " << int(k[3]) << " tos " << int(k[4]) << " F "
     << (k[2] >> 1 & 1) << " tcpflags " << (k[2] >> 2) << " pktType " << (k[16] >> 2 & 0xf)
     << " aclType " << (k[16] >> 6 & 1) << " dir " << (k[16] >> 7) << " aclId " << int(k[17]);
   return o.str();
}

void printLabels(std::ostream& o, const xpAclWalkLabels& l) {
   o << "  labels: sip " << l.sip;
   if (l.sipFound)
      o << " (transform entry " << l.sipIndex << ", /" << int(l.sipLen) << ")";
   else
      o << " (no prefix)";
   o << ", dip " << l.dip;
   if (l.dipFound)
      o << " (transform entry " << l.dipIndex << ", /" << int(l.dipLen) << ")";
   else
      o << " (no prefix)";
   if (l.portsLooked) {
      o << ", sport " << l.sport << ", dport " << l.dport;
   } else {
      o << ", ports not looked up (not TCP/UDP, or a fragment)";
   }
   o << (l.established ? ", established" : "") << "\n";
}

void printStage(std::ostream& o, const std::string& name, const xpAclWalkStage& s) {
   const std::string at = "  " + name + " stage " + std::to_string(s.stage) + ": ";
   o << at << "MGKS table " << s.mgksTableId << " entry " << s.mgksIndex << ": rule list "
     << int(s.chipRuleListId) << ", fields " << enables(s) << "\n";
   o << at << "key " << keyText(s.key) << "\n";
   o << at << "MG table " << s.mgTableId << ":";
   const uint32_t recorded = std::min(s.ways, xpAclWalkStage::kMaxRecordedWays);
   for (uint32_t w = 0; w < recorded; ++w) {
      const xpAclWalkProbe& p = s.probes[w];
      o << (w ? "," : "") << " way " << p.way << " index " << p.hwIndex << " "
        << (p.hit        ? "hit"
            : p.occupied ? "other key"
                         : "empty");
   }
   if (s.ways > recorded) o << ", " << s.ways - recorded << " more ways";
   o << "\n";
   if (s.hit) o << at << "hit " << hitText(s.entry) << "\n";
}

void printLookup(std::ostream& o, const xpAclWalkLookup& l, bool ipv6, uint64_t times) {
   const std::string name = xpAclLookupKindName(l.kind);
   if (!l.applies) {
      o << "  " << name << ": no lookup, the IPv" << (ipv6 ? 6 : 4) << " enable is off\n";
      return;
   }
   if (l.blocked) {
      o << "  " << name << ": ACL id 0 with the enable on: blocked, deny\n";
      return;
   }
   std::string none;
   for (uint32_t i = 0; i < l.numStages; ++i) {
      if (l.stages[i].selected) {
         printStage(o, name, l.stages[i]);
      } else {
         none += " " + std::to_string(l.stages[i].stage);
      }
   }
   if (!none.empty()) o << "  " << name << ": no MGKS entry at stage" << none << "\n";
   if (!l.hit) {
      o << "  " << name << ": no hit, no opinion\n";
      return;
   }
   o << "  " << name << " winner: stage " << l.winner.stage << " " << hitText(l.winner);
   if (l.winner.counterIndex) o << ", counted " << times;
   o << "\n";
}

void packetCmd(Simulator& s, const Args& a) {
   const PacketArgs p = packetArgs(s, a);
   xpAclWalkResult r;
   for (uint64_t i = 0; i < p.times; ++i)
      xpAclWalkPacket(p.pkt, true, r);
   const xpAclPacket& k = p.pkt;
   auto& o = s.out();
   o << "packet chip " << int(k.devId) << " " << (k.egress ? "out" : "in") << " " << p.intf
     << " vlan " << k.vlan << ": " << (k.ipv6 ? "ipv6 " : "ipv4 ") << addressText(k.ipv6, k.sip)
     << " -> " << addressText(k.ipv6, k.dip) << " proto " << int(k.protocol) << " sport "
     << k.sport << " dport " << k.dport << " ttl " << int(k.ttl)
     << (k.fragment ? " fragment" : "") << " flags " << int(k.tcpFlags);
   if (p.times > 1) o << ", " << p.times << " times";
   o << "\n";
   if (!r.deviceKnown) {
      o << "  the chip model has no tables for device " << int(k.devId) << "\n";
   } else if (k.egress) {
      o << "  egress VIF " << k.egressVif << " vlan " << k.vlan << ": "
        << (r.numLookups ? "BD-EVIF entry " + std::to_string(r.lookups[0].tableIndex)
                         : std::string("no BD-EVIF entry, no lookup"))
        << "\n";
   } else {
      o << "  port " << k.port << ": port entry\n";
      if (r.numLookups < 2) {
         o << "  port " << k.port << " vlan " << k.vlan << ": no port-VLAN entry\n";
      }
   }
   for (uint32_t i = 0; i < r.numLookups; ++i) {
      const xpAclWalkLookup& l = r.lookups[i];
      o << "  " << xpAclLookupKindName(l.kind) << ": ACL id " << int(l.aclId) << ", v4 "
        << (l.v4En ? "on" : "off") << ", v6 " << (l.v6En ? "on" : "off");
      if (l.kind == xpAclLookupKind::ingressRacl)
         o << " (port-VLAN entry " << l.tableIndex << ")";
      o << "\n";
   }
   if (r.numLookups) printLabels(o, r.labels);
   for (uint32_t i = 0; i < r.numLookups; ++i)
      printLookup(o, r.lookups[i], k.ipv6, p.times);
   o << "  verdict: " << (r.permit ? "permit" : "deny");
   if (r.blocked) {
      o << " (blocked)";
   } else if (r.winners.empty()) {
      o << " (no rule hit)";
   }
   o << "\n";
}

void start(Simulator& s) {
   s.addCommand({"packet", "",
                 "CHIP in|out INTF VLAN SRC DST [proto N|tcp|udp|icmp] [sport N] [dport N] "
                 "[ttl N] [fragment] [flags N] [times N]",
                 "walk a packet through the chip's ACL tables and print each step; times N "
                 "counts it N times",
                 packetCmd});
}

const ModuleRegistration reg({"packet", 95, start, nullptr});

} // namespace

} // namespace Sim
