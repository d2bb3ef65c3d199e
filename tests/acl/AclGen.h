#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "sim/acl/Acl.h"
#include "sim/acl/AclProbes.h"
#include "sim/acl/AclReference.h"

// Random ACLs for the differential test: a small topology (devices, interfaces with chip port
// numbers, VLANs with VIFs), ACLs whose rules overlap in prefixes and port ranges, bindings,
// and random incremental edits; each rendered as the simulator's scenario text and kept as the
// model the reference classifier evaluates.
namespace AclGen {

using Sim::Acl::Acl;

struct Config {
   uint32_t acls = 3;
   uint32_t maxRules = 120; // per ACL
   uint32_t chips = 2;
   uint32_t portsPerChip = 3;
   uint32_t vlans = 3;
   // Chip entries one rule may expand to (its fields' label counts multiplied), and all the
   // rules of one ACL together: keeps every stage's tables well below full.
   uint32_t maxRuleEntries = 24;
   uint32_t maxAclEntries = 2500;
};

struct Port {
   std::string intf;
   uint32_t chip = 0;
   uint16_t number = 0;
   std::map<uint16_t, uint16_t> vifs; // VLAN -> VIF, the VLANs the interface is on
};

// The fields a rule matches on: with the family, what decides its mask group.
enum Field : uint8_t {
   kSrc = 1,
   kDst = 2,
   kProto = 4,
   kSport = 8,
   kDport = 16,
   kTtl = 32,
   kFragment = 64,
   kEstablished = 128,
};
struct Shape {
   bool ipv6 = false;
   uint8_t fields = 0;
   auto operator<=>(const Shape&) const = default;
};

std::string ruleText(const std::string& acl, uint32_t seq, const Sim::Acl::Rule& r);
std::string bindingText(const std::string& acl, const Sim::Acl::Binding& b, bool bind);
// Every ACL: its rules, then its bindings.
std::string aclsText(const std::map<std::string, Acl>& acls);

class Generator {
public:
   Generator(uint64_t seed, const Config& cfg);

   const std::vector<Port>& ports() const { return ports_; }
   const std::map<std::string, Acl>& acls() const { return acls_; }
   // Devices, interfaces, chip port numbers and VIFs.
   std::string setupText() const;
   // The ACLs as first written: rules in no particular order, bindings before or after them.
   const std::string& initialText() const { return initialText_; }
   // One random incremental change (a rule added, changed or removed, a binding added or
   // dropped, an ACL removed or a new one written, an interface joining or leaving a VLAN, a
   // device going down and up), applied to the model; returns its text.
   std::string edit();

   // Every place a packet can be: each port on each of its VLANs both ways, and inbound on a
   // VLAN it is not on (that another port is on).
   std::vector<Sim::Acl::ProbePlace> places() const;
   Sim::Acl::PacketPlace packetPlace() const;
   // The interface behind a chip port.
   std::string intfOf(uint32_t chip, uint32_t port) const;

private:
   size_t below(size_t n) { return static_cast<size_t>(rng_() % n); }
   bool coin(double p) { return std::uniform_real_distribution<double>(0, 1)(rng_) < p; }
   void makePools();
   Plexo::IpGenPrefix subPrefix(const Plexo::IpGenPrefix& p);
   std::vector<Shape> makeShapes(bool v4, bool v6);
   Sim::Acl::Rule makeRule(const Shape& s);
   uint32_t entriesOf(const Sim::Acl::Rule& r) const;
   uint32_t aclEntries(const Acl& acl) const;
   bool tryRule(const std::string& acl, Sim::Acl::Rule& out);
   std::string newAcl();
   std::string bindRandom(const std::string& acl);
   bool slotFree(const Sim::Acl::Binding& b) const;
   std::string toggleVlan();

   Config cfg_;
   std::mt19937_64 rng_;
   std::vector<Port> ports_;
   std::vector<uint16_t> vlans_;
   std::vector<Plexo::IpGenPrefix> v4_, v6_;
   std::vector<Sim::Acl::PortRange> ranges_;
   std::vector<uint16_t> bounds_; // starts of the elementary port intervals
   std::map<std::string, Acl> acls_;
   std::map<std::string, std::vector<Shape>> shapes_;
   std::string initialText_;
   uint32_t nextAcl_ = 1;
   uint16_t nextVif_ = 0;
};

} // namespace AclGen
