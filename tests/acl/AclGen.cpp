#include "tests/acl/AclGen.h"

#include <algorithm>
#include <set>

namespace AclGen {

using Sim::Acl::Binding;
using Sim::Acl::BindKind;
using Sim::Acl::PortRange;
using Sim::Acl::Rule;

namespace {

constexpr uint8_t kTcp = 6;
constexpr uint8_t kUdp = 17;

std::string rangeText(const PortRange& r) {
   if (r.first == r.last) return std::to_string(r.first);
   return std::to_string(r.first) + "-" + std::to_string(r.last);
}

// The sequence number of an "acl NAME rule SEQ ..." line.
uint32_t seqOf(const std::string& line) {
   const size_t at = line.find(" rule ") + 6;
   return static_cast<uint32_t>(std::stoul(line.substr(at)));
}

std::string protoText(uint8_t p, bool ipv6) {
   if (p == kTcp) return "tcp";
   if (p == kUdp) return "udp";
   if (p == 1 && !ipv6) return "icmp";
   return std::to_string(p);
}

} // namespace

std::string ruleText(const std::string& acl, uint32_t seq, const Rule& r) {
   std::string s =
       "acl " + acl + " rule " + std::to_string(seq) + (r.permit ? " permit" : " deny");
   if (r.count) s += " count";
   if (r.log) s += " log";
   s += r.ipv6 ? " ipv6" : " ip";
   if (r.src) s += " src " + r.src->text();
   if (r.dst) s += " dst " + r.dst->text();
   if (r.protocol) s += " proto " + protoText(*r.protocol, r.ipv6);
   if (r.sport) s += " sport " + rangeText(*r.sport);
   if (r.dport) s += " dport " + rangeText(*r.dport);
   if (r.ttl) s += " ttl " + std::to_string(*r.ttl);
   if (r.fragment) s += " fragment";
   if (r.established) s += " established";
   return s + "\n";
}

std::string bindingText(const std::string& acl, const Binding& b, bool bind) {
   std::string s = "acl " + acl + (bind ? " bind " : " unbind ") + std::to_string(b.chip);
   s += b.kind == BindKind::intf ? " intf " + b.intf : " vlan " + std::to_string(b.vlan);
   return s + (b.egress ? " out\n" : " in\n");
}

Generator::Generator(uint64_t seed, const Config& cfg) : cfg_(cfg), rng_(seed) {
   std::set<uint16_t> vlans;
   while (vlans.size() < cfg_.vlans)
      vlans.insert(static_cast<uint16_t>(2 + below(4093)));
   vlans_.assign(vlans.begin(), vlans.end());
   nextVif_ = static_cast<uint16_t>(100 + below(1000));
   for (uint32_t chip = 0; chip < cfg_.chips; ++chip) {
      std::set<uint16_t> numbers;
      while (numbers.size() < cfg_.portsPerChip)
         numbers.insert(static_cast<uint16_t>(1 + below(200)));
      for (uint16_t n : numbers) {
         Port p{"Ethernet" + std::to_string(ports_.size() + 1), chip, n, {}};
         for (uint16_t v : vlans_) {
            if (coin(0.75)) p.vifs[v] = nextVif_++;
         }
         ports_.push_back(std::move(p));
      }
   }
   makePools();
   for (uint32_t i = 0; i < cfg_.acls; ++i)
      initialText_ += newAcl();
}

Plexo::IpGenPrefix Generator::subPrefix(const Plexo::IpGenPrefix& p) {
   const unsigned max = p.isV4() ? 32 : 128;
   const unsigned step = 1 + static_cast<unsigned>(below(p.isV4() ? 8 : 24));
   const auto len = static_cast<uint8_t>(coin(0.15) ? max : std::min(max, p.len() + step));
   // The parent's bits, random ones below them; the prefix masks them to its length.
   auto words = p.v6Prefix().address;
   const size_t first = p.isV4() ? 3 : 0;
   for (size_t i = first; i < 4; ++i) {
      const int bits =
          std::clamp(static_cast<int>(p.len()) - 32 * static_cast<int>(i - first), 0, 32);
      const uint32_t mask = bits == 0 ? 0 : ~uint32_t{0} << (32 - bits);
      words[i] = (words[i] & mask) | (static_cast<uint32_t>(rng_()) & ~mask);
   }
   if (p.isV4()) return Plexo::IpGenPrefix(Plexo::Ip4Prefix{words[3], len});
   return Plexo::IpGenPrefix(Plexo::Ip6Prefix{words, len});
}

void Generator::makePools() {
   auto grow = [&](std::vector<Plexo::IpGenPrefix>& pool, size_t roots, size_t total, bool v6) {
      std::set<Plexo::IpGenPrefix> seen;
      for (size_t i = 0; i < roots; ++i) {
         Plexo::IpGenPrefix p;
         if (v6) {
            std::array<uint32_t, 4> w{0x20010db8, static_cast<uint32_t>(rng_()), 0, 0};
            p = Plexo::IpGenPrefix(
                Plexo::Ip6Prefix{w, static_cast<uint8_t>(coin(0.5) ? 32 : 48)});
         } else {
            const uint8_t len = static_cast<uint8_t>(8 + 4 * below(3));
            p = Plexo::IpGenPrefix(Plexo::Ip4Prefix{static_cast<uint32_t>(rng_()), len});
         }
         if (seen.insert(p).second) pool.push_back(p);
      }
      for (size_t tries = 0; pool.size() < total && tries < 10 * total; ++tries) {
         const auto& parent = pool[below(pool.size())];
         if (parent.len() == (v6 ? 128 : 32)) continue;
         const auto p = subPrefix(parent);
         if (seen.insert(p).second) pool.push_back(p);
      }
   };
   grow(v4_, 3, 16, false);
   grow(v6_, 2, 12, true);

   std::set<PortRange> ranges;
   static constexpr uint16_t kWellKnown[] = {22, 53, 80, 443, 8080};
   while (ranges.size() < 9) {
      const auto start = static_cast<uint16_t>(below(65536));
      PortRange r;
      switch (below(5)) {
      case 0:
         r = {kWellKnown[below(5)], kWellKnown[below(5)]};
         break;
      case 1:
         r = {start, static_cast<uint16_t>(std::min<size_t>(65535, start + 1 + below(20)))};
         break;
      case 2:
         r = {start, static_cast<uint16_t>(std::min<size_t>(65535, start + 100 + below(3000)))};
         break;
      case 3:
         r = coin(0.5) ? PortRange{0, 1023} : PortRange{1024, 65535};
         break;
      default: {
         const auto w = static_cast<uint16_t>(kWellKnown[below(5)]);
         r = {static_cast<uint16_t>(w - below(3)), static_cast<uint16_t>(w + below(3))};
      }
      }
      if (r.first <= r.last) ranges.insert(r);
   }
   ranges_.assign(ranges.begin(), ranges.end());
   std::set<uint16_t> bounds;
   for (const auto& r : ranges_) {
      bounds.insert(r.first);
      if (r.last < 65535) bounds.insert(static_cast<uint16_t>(r.last + 1));
   }
   bounds_.assign(bounds.begin(), bounds.end());
}

std::vector<Shape> Generator::makeShapes(bool v4, bool v6) {
   std::set<Shape> shapes;
   const size_t want = 1 + below(6);
   for (size_t tries = 0; shapes.size() < want && tries < 100; ++tries) {
      Shape s;
      s.ipv6 = v4 && v6 ? coin(0.5) : v6;
      if (coin(0.08)) {
         shapes.insert(s); // matches the whole family
         continue;
      }
      uint8_t f = 0;
      if (coin(0.6)) f |= kSrc;
      if (coin(0.6)) f |= kDst;
      if (coin(0.45)) f |= kProto;
      if (coin(0.25)) f |= kSport;
      if (coin(0.4)) f |= kDport;
      if (coin(0.1)) f |= kTtl;
      if (coin(0.1)) f |= kFragment;
      if (coin(0.1)) f |= kEstablished;
      // A non-first fragment has no L4 header: ports and flags cannot go with it.
      if (f & kFragment) f &= static_cast<uint8_t>(~(kSport | kDport | kEstablished));
      if (f & (kSport | kDport | kEstablished)) f |= kProto;
      s.fields = f;
      shapes.insert(s);
   }
   return {shapes.begin(), shapes.end()};
}

Rule Generator::makeRule(const Shape& s) {
   Rule r;
   r.ipv6 = s.ipv6;
   r.permit = coin(0.5);
   r.count = coin(0.3);
   r.log = coin(0.1);
   const auto& pool = s.ipv6 ? v6_ : v4_;
   if (s.fields & kSrc) r.src = pool[below(pool.size())];
   if (s.fields & kDst) r.dst = pool[below(pool.size())];
   if (s.fields & kProto) {
      if (s.fields & kEstablished) {
         r.protocol = kTcp;
      } else if (s.fields & (kSport | kDport)) {
         r.protocol = coin(0.5) ? kTcp : kUdp;
      } else {
         const uint8_t kProtos[] = {kTcp, kUdp, static_cast<uint8_t>(s.ipv6 ? 58 : 1), 47,
                                    static_cast<uint8_t>(rng_())};
         r.protocol = kProtos[below(std::size(kProtos))];
      }
   }
   if (s.fields & kSport) r.sport = ranges_[below(ranges_.size())];
   if (s.fields & kDport) r.dport = ranges_[below(ranges_.size())];
   if (s.fields & kTtl) {
      static constexpr uint8_t kTtls[] = {1, 2, 63, 64, 128, 255};
      r.ttl = coin(0.8) ? kTtls[below(std::size(kTtls))] : static_cast<uint8_t>(1 + below(255));
   }
   r.fragment = (s.fields & kFragment) != 0;
   r.established = (s.fields & kEstablished) != 0;
   return r;
}

// An upper bound of the chip entries of a rule: every prefix of the pools inside its prefixes,
// every elementary interval of the pools' ranges inside its ranges.
uint32_t Generator::entriesOf(const Rule& r) const {
   uint32_t n = 1;
   for (const auto& p : {r.src, r.dst}) {
      if (!p) continue;
      const auto& pool = r.ipv6 ? v6_ : v4_;
      n *= static_cast<uint32_t>(std::count_if(pool.begin(), pool.end(), [&](const auto& q) {
         return q.len() >= p->len() && Sim::Acl::prefixContains(*p, q.v6Prefix().address);
      }));
   }
   for (const auto& range : {r.sport, r.dport}) {
      if (!range) continue;
      n *= static_cast<uint32_t>(std::count_if(bounds_.begin(), bounds_.end(), [&](uint16_t b) {
         return range->first <= b && b <= range->last;
      }));
   }
   return n;
}

uint32_t Generator::aclEntries(const Acl& acl) const {
   uint32_t n = 0;
   for (const auto& [seq, r] : acl.rules)
      n += entriesOf(r);
   return n;
}

bool Generator::tryRule(const std::string& acl, Rule& out) {
   const auto& shapes = shapes_.at(acl);
   const uint32_t used = aclEntries(acls_.at(acl));
   for (int tries = 0; tries < 30; ++tries) {
      Rule r = makeRule(shapes[below(shapes.size())]);
      const uint32_t n = entriesOf(r);
      if (n <= cfg_.maxRuleEntries && used + n <= cfg_.maxAclEntries) {
         out = r;
         return true;
      }
   }
   return false;
}

bool Generator::slotFree(const Binding& b) const {
   for (const auto& [name, acl] : acls_) {
      for (const auto& o : acl.bindings) {
         if (o.chip == b.chip && o.kind == b.kind && o.intf == b.intf && o.vlan == b.vlan &&
             o.egress == b.egress)
            return false;
      }
   }
   return true;
}

std::string Generator::bindRandom(const std::string& name) {
   for (int tries = 0; tries < 20; ++tries) {
      Binding b;
      b.chip = static_cast<uint32_t>(below(cfg_.chips));
      b.egress = coin(0.5);
      if (coin(0.6)) {
         std::vector<const Port*> on;
         for (const auto& p : ports_) {
            if (p.chip == b.chip) on.push_back(&p);
         }
         if (on.empty()) continue;
         b.intf = on[below(on.size())]->intf;
      } else {
         b.kind = BindKind::vlan;
         b.vlan = vlans_[below(vlans_.size())];
      }
      if (!slotFree(b)) continue;
      acls_.at(name).bindings.insert(b);
      return bindingText(name, b, true);
   }
   return "";
}

std::string Generator::newAcl() {
   const std::string name = "acl" + std::to_string(nextAcl_++);
   const size_t family = below(20);
   shapes_[name] = makeShapes(family < 13, family >= 8);
   Acl& acl = acls_[name];
   acl.name = name;
   const size_t n = coin(0.25) ? 1 + below(10) : 1 + below(cfg_.maxRules);
   std::vector<std::string> lines;
   for (size_t i = 0; i < n; ++i) {
      Rule r;
      if (!tryRule(name, r)) continue;
      uint32_t seq;
      do {
         seq = static_cast<uint32_t>(1 + below(10 * n + 10));
      } while (acl.rules.contains(seq));
      acl.rules[seq] = r;
      lines.push_back(ruleText(name, seq, r));
   }
   // The engineer's order is the sequence order, or not (costly: rules go in between).
   if (coin(0.3)) {
      std::shuffle(lines.begin(), lines.end(), rng_);
   } else {
      std::sort(lines.begin(), lines.end(),
                [](const std::string& a, const std::string& b) { return seqOf(a) < seqOf(b); });
   }
   std::string rules, binds;
   for (const auto& l : lines)
      rules += l;
   for (size_t i = below(4); i > 0; --i)
      binds += bindRandom(name);
   // Bound before its rules, sometimes: its rule lists come after the bindings that use them.
   const std::string text = coin(0.3) ? binds + rules : rules + binds;
   if (acl.rules.empty() && acl.bindings.empty()) {
      acls_.erase(name);
      shapes_.erase(name);
      return "";
   }
   return text;
}

std::string Generator::edit() {
   for (;;) {
      if (acls_.empty()) {
         const std::string t = newAcl();
         if (!t.empty()) return t;
         continue;
      }
      auto it = acls_.begin();
      std::advance(it, below(acls_.size()));
      const std::string name = it->first;
      Acl& acl = it->second;
      const size_t what = below(107);
      if (what >= 103) return toggleVlan();
      if (what >= 100) { // a device goes down and comes back: everything is written again
         const std::string chip = std::to_string(below(cfg_.chips));
         return "device down " + chip + "\ndevice up " + chip + "\n";
      }
      if (what < 30) { // a new rule
         Rule r;
         if (!tryRule(name, r)) continue;
         const uint32_t top = acl.rules.empty() ? 10 : acl.rules.rbegin()->first + 20;
         uint32_t seq;
         do {
            seq = static_cast<uint32_t>(1 + below(top));
         } while (acl.rules.contains(seq));
         acl.rules[seq] = r;
         return ruleText(name, seq, r);
      }
      if (what < 55) { // a rule changed in place
         if (acl.rules.empty()) continue;
         auto at = acl.rules.begin();
         std::advance(at, below(acl.rules.size()));
         const uint32_t seq = at->first;
         const Rule old = at->second;
         acl.rules.erase(at);
         Rule r;
         if (!tryRule(name, r)) {
            acl.rules[seq] = old;
            continue;
         }
         acl.rules[seq] = r;
         return ruleText(name, seq, r);
      }
      if (what < 75) { // a rule removed
         if (acl.rules.size() < 2) continue;
         auto at = acl.rules.begin();
         std::advance(at, below(acl.rules.size()));
         const uint32_t seq = at->first;
         acl.rules.erase(at);
         return "acl " + name + " no-rule " + std::to_string(seq) + "\n";
      }
      if (what < 84) {
         const std::string t = bindRandom(name);
         if (!t.empty()) return t;
         continue;
      }
      if (what < 93) {
         if (acl.bindings.empty() || (acl.rules.empty() && acl.bindings.size() == 1)) continue;
         auto at = acl.bindings.begin();
         std::advance(at, below(acl.bindings.size()));
         const Binding b = *at;
         acl.bindings.erase(at);
         return bindingText(name, b, false);
      }
      if (what < 96) {
         if (acls_.size() < 2) continue;
         acls_.erase(it);
         shapes_.erase(name);
         return "acl " + name + " remove\n";
      }
      if (acls_.size() >= cfg_.acls) continue;
      const std::string t = newAcl();
      if (!t.empty()) return t;
   }
}

std::string Generator::toggleVlan() {
   Port& p = ports_[below(ports_.size())];
   const uint16_t vlan = vlans_[below(vlans_.size())];
   if (p.vifs.erase(vlan))
      return "hwacl vif-remove " + p.intf + " " + std::to_string(vlan) + "\n";
   p.vifs[vlan] = nextVif_++;
   return "hwacl vif " + p.intf + " " + std::to_string(vlan) + " " +
          std::to_string(p.vifs[vlan]) + "\n";
}

std::string Generator::setupText() const {
   std::string s;
   for (uint32_t chip = 0; chip < cfg_.chips; ++chip)
      s += "device add " + std::to_string(chip) + "\ndevice up " + std::to_string(chip) + "\n";
   for (const auto& p : ports_) {
      s += "intf add " + p.intf + " " + std::to_string(p.chip) + "\n";
      s += "hwacl port " + p.intf + " " + std::to_string(p.number) + "\n";
      for (const auto& [vlan, vif] : p.vifs)
         s += "hwacl vif " + p.intf + " " + std::to_string(vlan) + " " + std::to_string(vif) +
              "\n";
   }
   return s;
}

std::string aclsText(const std::map<std::string, Acl>& acls) {
   std::string s;
   for (const auto& [name, acl] : acls) {
      for (const auto& [seq, r] : acl.rules)
         s += ruleText(name, seq, r);
      for (const auto& b : acl.bindings)
         s += bindingText(name, b, true);
   }
   return s;
}

std::vector<Sim::Acl::ProbePlace> Generator::places() const {
   std::set<uint16_t> vlans; // those some port is on
   for (const auto& p : ports_) {
      for (const auto& [vlan, vif] : p.vifs)
         vlans.insert(vlan);
   }
   std::vector<Sim::Acl::ProbePlace> out;
   for (const auto& p : ports_) {
      for (uint16_t vlan : vlans) {
         xpAclPacket at;
         at.devId = static_cast<uint8_t>(p.chip);
         at.port = p.number;
         at.vlan = vlan;
         const auto vif = p.vifs.find(vlan);
         const bool on = vif != p.vifs.end();
         out.push_back({at, p.intf, on});
         if (!on) continue;
         at.egress = true;
         at.egressVif = vif->second;
         out.push_back({at, p.intf, true});
      }
   }
   return out;
}

std::string Generator::intfOf(uint32_t chip, uint32_t port) const {
   for (const auto& p : ports_) {
      if (p.chip == chip && p.number == port) return p.intf;
   }
   return "";
}

Sim::Acl::PacketPlace Generator::packetPlace() const {
   Sim::Acl::PacketPlace place;
   place.intfOf = [ports = ports_](uint32_t chip, uint32_t port) -> std::optional<std::string> {
      const auto p = std::find_if(ports.begin(), ports.end(), [&](const Port& p) {
         return p.chip == chip && p.number == port;
      });
      return p == ports.end() ? std::nullopt : std::optional(p->intf);
   };
   place.onVlan = [ports = ports_](uint32_t chip, uint32_t port, uint16_t vlan) {
      for (const auto& p : ports) {
         if (p.chip == chip && p.number == port) return p.vifs.contains(vlan);
      }
      return false;
   };
   return place;
}

} // namespace AclGen
