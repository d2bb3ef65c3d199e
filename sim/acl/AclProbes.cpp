#include "sim/acl/AclProbes.h"

#include <random>

namespace Sim::Acl {

namespace {

using Addr = std::array<uint32_t, 4>;

constexpr uint8_t kTcp = 6;
constexpr uint8_t kUdp = 17;

// The first address of the prefix, or its last with `last`.
Addr edgeOf(const Plexo::IpGenPrefix& p, bool last) {
   Addr a = p.v6Prefix().address;
   if (!last) return a;
   const size_t first = p.isV4() ? 3 : 0;
   unsigned len = p.len();
   for (size_t i = first; i < 4; ++i) {
      const unsigned bits = len < 32 ? len : 32;
      a[i] |= bits == 32 ? 0 : ~uint32_t{0} >> bits;
      len -= bits;
   }
   return a;
}

// The address one below (or above) in the family's address space, wrapping around.
Addr step(Addr a, bool v4, bool up) {
   for (size_t i = 4; i-- > (v4 ? 3u : 0u);) {
      const uint32_t before = a[i];
      a[i] = up ? before + 1 : before - 1;
      if (up ? a[i] != 0 : before != 0) break;
   }
   return a;
}

class ProbeMaker {
public:
   ProbeMaker(const std::map<std::string, Acl>& acls, const std::vector<ProbePlace>& places,
              uint64_t seed)
       : places_(places), rng_(seed) {
      for (const auto& [name, acl] : acls) {
         for (const auto& [seq, r] : acl.rules) {
            for (const auto& p : {r.src, r.dst}) {
               if (p) (p->isV4() ? v4_ : v6_).push_back(*p);
            }
            for (const auto& range : {r.sport, r.dport}) {
               if (range) ranges_.push_back(*range);
            }
            if (r.ttl) ttls_.push_back(*r.ttl);
         }
      }
   }

   void forRule(const Acl& acl, const Rule& r, std::vector<xpAclPacket>& out) {
      const xpAclPacket base = matching(acl, r);
      out.push_back(base);
      auto vary = [&](auto set) {
         xpAclPacket p = base;
         set(p);
         out.push_back(p);
      };
      const bool v4 = !r.ipv6;
      for (int field = 0; field < 2; ++field) {
         const auto& prefix = field == 0 ? r.src : r.dst;
         if (!prefix) continue;
         auto addr = [field](xpAclPacket& p) -> Addr& { return field == 0 ? p.sip : p.dip; };
         const Addr lo = edgeOf(*prefix, false), hi = edgeOf(*prefix, true);
         for (const Addr& a : {lo, hi, step(lo, v4, false), step(hi, v4, true)})
            vary([&](xpAclPacket& p) { addr(p) = a; });
      }
      for (int field = 0; field < 2; ++field) {
         const auto& range = field == 0 ? r.sport : r.dport;
         if (!range) continue;
         auto port = [field](xpAclPacket& p) -> uint16_t& {
            return field == 0 ? p.sport : p.dport;
         };
         for (int d :
              {int{range->first}, int{range->last}, range->first - 1, range->last + 1}) {
            vary([&](xpAclPacket& p) { port(p) = static_cast<uint16_t>(d); });
         }
         // The same port without an L4 header to carry it: another protocol, a fragment.
         vary([&](xpAclPacket& p) { p.protocol = p.protocol == kTcp ? kUdp : kTcp; });
         vary([&](xpAclPacket& p) { p.fragment = true; });
      }
      if (r.protocol)
         vary([&](xpAclPacket& p) { p.protocol = static_cast<uint8_t>(*r.protocol + 1); });
      if (r.ttl) {
         for (int d : {-1, 1})
            vary([&](xpAclPacket& p) { p.ttl = static_cast<uint8_t>(*r.ttl + d); });
      }
      vary([&](xpAclPacket& p) { p.fragment = !p.fragment; });
      if (r.established) {
         for (uint8_t f : {0x00, 0x02, 0x04, 0x10, 0x12})
            vary([&](xpAclPacket& p) { p.tcpFlags = f; });
      } else {
         vary([&](xpAclPacket& p) { p.tcpFlags = static_cast<uint8_t>(p.tcpFlags ^ 0x14); });
      }
      // The other family, with the same place and ports.
      vary([&](xpAclPacket& p) {
         p.ipv6 = !p.ipv6;
         p.sip = randomAddr(p.ipv6);
         p.dip = randomAddr(p.ipv6);
      });
   }

   xpAclPacket randomPacket() {
      xpAclPacket p = randomPlace(nullptr);
      p.ipv6 = coin(0.4);
      p.sip = randomAddr(p.ipv6);
      p.dip = randomAddr(p.ipv6);
      static constexpr uint8_t kProtos[] = {kTcp, kUdp, kTcp, kUdp, 1, 58, 47};
      p.protocol =
          coin(0.9) ? kProtos[below(std::size(kProtos))] : static_cast<uint8_t>(rng_());
      p.sport = randomPort();
      p.dport = randomPort();
      p.ttl = !ttls_.empty() && coin(0.3) ? ttls_[below(ttls_.size())]
                                          : static_cast<uint8_t>(rng_());
      p.fragment = coin(0.15);
      p.tcpFlags = static_cast<uint8_t>(rng_());
      return p;
   }

private:
   size_t below(size_t n) { return static_cast<size_t>(rng_() % n); }
   bool coin(double p) { return std::uniform_real_distribution<double>(0, 1)(rng_) < p; }

   // A place the ACL applies at (any place when it applies nowhere, or for no ACL).
   xpAclPacket randomPlace(const Acl* acl) {
      std::vector<size_t> under;
      if (acl) {
         for (size_t i = 0; i < places_.size(); ++i) {
            for (const auto& b : acl->bindings) {
               if (placeUnder(places_[i], b)) {
                  under.push_back(i);
                  break;
               }
            }
         }
      }
      if (under.empty()) return places_[below(places_.size())].at;
      return places_[under[below(under.size())]].at;
   }

   Addr inside(const Plexo::IpGenPrefix& p) {
      const Addr lo = edgeOf(p, false), hi = edgeOf(p, true);
      Addr a{};
      for (size_t i = 0; i < 4; ++i) {
         const auto r = static_cast<uint32_t>(rng_());
         a[i] = lo[i] | (r & (lo[i] ^ hi[i]));
      }
      return a;
   }

   Addr randomAddr(bool v6) {
      const auto& pool = v6 ? v6_ : v4_;
      if (!pool.empty() && coin(0.75)) {
         const auto& p = pool[below(pool.size())];
         if (coin(0.7)) return inside(p);
         return step(edgeOf(p, coin(0.5)), !v6, coin(0.5));
      }
      Addr a{};
      for (size_t i = v6 ? 0 : 3; i < 4; ++i)
         a[i] = static_cast<uint32_t>(rng_());
      return a;
   }

   uint16_t randomPort() {
      if (!ranges_.empty() && coin(0.75)) {
         const auto& r = ranges_[below(ranges_.size())];
         switch (below(4)) {
         case 0:
            return r.first;
         case 1:
            return r.last;
         case 2:
            return static_cast<uint16_t>(coin(0.5) ? r.first - 1 : r.last + 1);
         default:
            return static_cast<uint16_t>(r.first + below(size_t{r.last} - r.first + 1));
         }
      }
      return static_cast<uint16_t>(rng_());
   }

   // A packet at a place the ACL applies at that `r` matches.
   xpAclPacket matching(const Acl& acl, const Rule& r) {
      xpAclPacket p = randomPlace(&acl);
      p.ipv6 = r.ipv6;
      p.sip = r.src ? inside(*r.src) : randomAddr(r.ipv6);
      p.dip = r.dst ? inside(*r.dst) : randomAddr(r.ipv6);
      p.protocol = r.protocol ? *r.protocol : coin(0.5) ? kTcp : kUdp;
      auto port = [&](const std::optional<PortRange>& range) {
         if (!range) return randomPort();
         return static_cast<uint16_t>(range->first +
                                      below(size_t{range->last} - range->first + 1));
      };
      p.sport = port(r.sport);
      p.dport = port(r.dport);
      p.ttl = r.ttl ? *r.ttl : static_cast<uint8_t>(1 + below(255));
      p.fragment = r.fragment || (!r.sport && !r.dport && coin(0.1));
      p.tcpFlags =
          r.established ? (coin(0.5) ? 0x10 : 0x04) : static_cast<uint8_t>(rng_() & 0xeb);
      return p;
   }

   const std::vector<ProbePlace>& places_;
   std::mt19937_64 rng_;
   std::vector<Plexo::IpGenPrefix> v4_, v6_;
   std::vector<PortRange> ranges_;
   std::vector<uint8_t> ttls_;
};

std::string addrText(const Addr& a, bool v6) {
   if (!v6) return Plexo::IpGenPrefix(Plexo::Ip4Prefix{a[3], 32}).addressText();
   return Plexo::IpGenPrefix(Plexo::Ip6Prefix{a, 128}).addressText();
}

} // namespace

bool placeUnder(const ProbePlace& place, const Binding& b) {
   if (b.chip != place.at.devId || b.egress != place.at.egress) return false;
   if (b.kind == BindKind::intf) return b.intf == place.intf;
   return b.vlan == place.at.vlan && place.onVlan;
}

std::vector<xpAclPacket> probePackets(const std::map<std::string, Acl>& acls,
                                      const std::vector<ProbePlace>& places, uint64_t seed,
                                      size_t randomCount) {
   std::vector<xpAclPacket> out;
   if (places.empty()) return out;
   ProbeMaker maker(acls, places, seed);
   for (const auto& [name, acl] : acls) {
      for (const auto& [seq, rule] : acl.rules)
         maker.forRule(acl, rule, out);
   }
   for (size_t i = 0; i < randomCount; ++i)
      out.push_back(maker.randomPacket());
   return out;
}

std::string packetText(const xpAclPacket& p, const std::string& intf) {
   std::string s = "packet " + std::to_string(p.devId) + (p.egress ? " out " : " in ") + intf +
                   " " + std::to_string(p.vlan) + " " + addrText(p.sip, p.ipv6) + " " +
                   addrText(p.dip, p.ipv6) + " proto " + std::to_string(p.protocol) +
                   " sport " + std::to_string(p.sport) + " dport " + std::to_string(p.dport) +
                   " ttl " + std::to_string(p.ttl);
   if (p.fragment) s += " fragment";
   return s + " flags " + std::to_string(p.tcpFlags);
}

} // namespace Sim::Acl
