// Rule text of the simulator's ACLs: reading it with messages that say what is wrong, and
// writing it back.
#include "sim/acl/AclParse.h"

#include <algorithm>
#include <array>
#include <vector>

#include "sim/SimArgs.h"

namespace Sim::Acl {

namespace {

constexpr uint8_t kTcp = 6;
constexpr uint8_t kUdp = 17;
constexpr uint8_t kIcmp = 1;
constexpr uint8_t kIcmp6 = 58;

std::optional<Plexo::IpGenPrefix> prefixWord(const Args& a, size_t i, bool ipv6) {
   const std::string& w = a.word(i, "prefix");
   const Plexo::IpGenPrefix p = prefixText(w);
   if (p.isV6() != ipv6) {
      throw Error("prefix '" + w + "' is not " + (ipv6 ? "IPv6" : "IPv4") + " as the rule is");
   }
   if (p.isDefaultRoutePrefix()) return std::nullopt; // any address
   if (p.isV6()) {
      const auto words = p.v6Prefix().address;
      if (words[0] == 0 && words[1] == 0 && words[2] == 0) {
         throw Error("prefix '" + w +
                     "' is not supported: the chip cannot match IPv6 addresses whose most "
                     "significant 96 bits are zero");
      }
   }
   return p;
}

PortRange portWord(const Args& a, size_t i) {
   const std::string& w = a.word(i, "port or port range");
   const size_t dash = w.find('-');
   const auto port = [&](const std::string& t) {
      return static_cast<uint16_t>(Args({t}).number(0, "port", 65535));
   };
   try {
      if (dash == std::string::npos) return {port(w), port(w)};
      const PortRange r{port(w.substr(0, dash)), port(w.substr(dash + 1))};
      if (r.first > r.last) throw Error("");
      return r;
   } catch (const Error&) {
      throw Error("bad port range '" + w + "': expected P or P-Q with P <= Q <= 65535");
   }
}

uint8_t protocolWord(const Args& a, size_t i, bool ipv6) {
   const std::string& w = a.word(i, "protocol");
   if (w == "tcp") return kTcp;
   if (w == "udp") return kUdp;
   if (w == "icmp") return ipv6 ? kIcmp6 : kIcmp;
   if (w.empty() || w.find_first_not_of("0123456789x") != std::string::npos) {
      throw Error("bad protocol '" + w + "': expected a number, tcp, udp or icmp");
   }
   return static_cast<uint8_t>(a.number(i, "protocol", 255));
}

} // namespace

Rule parseRule(const Args& a, size_t i) {
   Rule r;
   const std::string& action = a.word(i++, "permit or deny");
   if (action != "permit" && action != "deny") {
      throw Error("bad action '" + action + "': expected permit or deny");
   }
   r.permit = action == "permit";
   for (bool more = true; more;) {
      const std::string& w = a.word(i, "ip or ipv6");
      more = w == "count" || w == "log";
      if (w == "count") r.count = true;
      if (w == "log") r.log = true;
      i += more;
   }
   const std::string& family = a.word(i++, "ip or ipv6");
   if (family != "ip" && family != "ipv6") {
      throw Error("bad address family '" + family + "': expected ip or ipv6");
   }
   r.ipv6 = family == "ipv6";
   // The few match words of a rule, looked through rather than kept in a set.
   std::vector<const std::string*> seen;
   while (a.has(i)) {
      const std::string& w = a.word(i++, "match");
      if (std::any_of(seen.begin(), seen.end(), [&](const std::string* x) { return *x == w; }))
         throw Error("'" + w + "' is given twice");
      seen.push_back(&w);
      if (w == "src") {
         r.src = prefixWord(a, i++, r.ipv6);
      } else if (w == "dst") {
         r.dst = prefixWord(a, i++, r.ipv6);
      } else if (w == "proto") {
         r.protocol = protocolWord(a, i++, r.ipv6);
      } else if (w == "sport") {
         r.sport = portWord(a, i++);
      } else if (w == "dport") {
         r.dport = portWord(a, i++);
      } else if (w == "ttl") {
         r.ttl = static_cast<uint8_t>(a.number(i++, "ttl", 255));
         if (*r.ttl == 0) throw Error("bad ttl 0: a TTL rule matches TTL 1 or more");
      } else if (w == "fragment") {
         r.fragment = true;
      } else if (w == "established") {
         r.established = true;
      } else {
         throw Error("unknown word '" + w +
                     "': expected src, dst, proto, sport, dport, ttl, fragment or established");
      }
   }
   const bool tcpOrUdp = r.protocol == kTcp || r.protocol == kUdp;
   if ((r.sport || r.dport) && !tcpOrUdp) {
      throw Error("a port range needs proto tcp or udp");
   }
   if (r.established && r.protocol != kTcp) throw Error("established needs proto tcp");
   if (r.fragment && (r.sport || r.dport || r.established)) {
      throw Error("fragment matches non-first fragments, which carry no L4 header: it cannot "
                  "go with ports or established");
   }
   return r;
}

std::string ruleText(const Rule& r) {
   std::string t = r.permit ? "permit" : "deny";
   if (r.count) t += " count";
   if (r.log) t += " log";
   t += r.ipv6 ? " ipv6" : " ip";
   if (r.src) t += " src " + r.src->text();
   if (r.dst) t += " dst " + r.dst->text();
   if (r.protocol) {
      const std::array<std::pair<uint8_t, const char*>, 3> names{
          {{kTcp, "tcp"}, {kUdp, "udp"}, {r.ipv6 ? kIcmp6 : kIcmp, "icmp"}}};
      std::string p = std::to_string(*r.protocol);
      for (const auto& [n, name] : names)
         p = n == *r.protocol ? name : p;
      t += " proto " + p;
   }
   const auto range = [](const PortRange& p) {
      return p.first == p.last ? std::to_string(p.first)
                               : std::to_string(p.first) + "-" + std::to_string(p.last);
   };
   if (r.sport) t += " sport " + range(*r.sport);
   if (r.dport) t += " dport " + range(*r.dport);
   if (r.ttl) t += " ttl " + std::to_string(*r.ttl);
   if (r.fragment) t += " fragment";
   if (r.established) t += " established";
   return t;
}

bool prefixContains(const Plexo::IpGenPrefix& outer, const Plexo::IpGenPrefix& inner) {
   if (outer.type() != inner.type() || inner.len() < outer.len()) return false;
   if (outer.isV4()) {
      const uint32_t mask = outer.len() ? ~uint32_t{0} << (32 - outer.len()) : 0;
      return ((outer.v4Prefix().address ^ inner.v4Prefix().address) & mask) == 0;
   }
   const auto o = outer.v6Prefix().address;
   const auto n = inner.v6Prefix().address;
   for (unsigned w = 0, bits = outer.len(); w < 4 && bits > 0;
        ++w, bits -= std::min(bits, 32u)) {
      const uint32_t mask = bits >= 32 ? ~uint32_t{0} : ~uint32_t{0} << (32 - bits);
      if ((o[w] ^ n[w]) & mask) return false;
   }
   return true;
}

} // namespace Sim::Acl
