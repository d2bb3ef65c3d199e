#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/PlexoIpGenPrefix.h"

namespace Sim::Acl {

// An inclusive L4 port range.
struct PortRange {
   uint16_t first = 0;
   uint16_t last = 65535;
   auto operator<=>(const PortRange&) const = default;
};

// One numbered rule of an ACL, as an engineer writes it. A field left empty matches anything.
struct Rule {
   bool permit = true;
   bool count = false;
   bool log = false;
   bool ipv6 = false;
   std::optional<Plexo::IpGenPrefix> src; // never a /0: that is "any"
   std::optional<Plexo::IpGenPrefix> dst;
   std::optional<uint8_t> protocol;
   std::optional<PortRange> sport; // only with protocol TCP or UDP
   std::optional<PortRange> dport;
   std::optional<uint8_t> ttl;
   bool fragment = false;    // matches non-first fragments only
   bool established = false; // TCP with ACK or RST; only with protocol TCP
   bool operator==(const Rule&) const = default;
};

enum class BindKind { intf, vlan };

// Where an ACL is applied: an interface (port ACL) or a VLAN (routed ACL), in one direction, on
// one chip.
struct Binding {
   uint32_t chip = 0;
   BindKind kind = BindKind::intf;
   std::string intf;  // kind intf
   uint16_t vlan = 0; // kind vlan
   bool egress = false;
   auto operator<=>(const Binding&) const = default;
};

// An ACL: rules in sequence order (the lowest sequence number is tried first) and bindings.
struct Acl {
   std::string name;
   std::map<uint32_t, Rule> rules;
   std::set<Binding> bindings;
};

} // namespace Sim::Acl
