#pragma once

#include <cstdint>
#include <string>

#include "norv/Value.h"
#include "platform/Bridging.h"
#include "platform/Plexo.h"

// Keys of the chip-support library's port-VLAN tables. VLAN numbers travel as they were
// published; whoever uses one as a VLAN checks its range then.
namespace XpLib {

// One interface on one VLAN.
class PortAndVlanId {
public:
   PortAndVlanId() = default;
   PortAndVlanId(Plexo::IntfId intfId, uint16_t vlanId) : intfId_(intfId), vlanId_(vlanId) {}

   auto operator<=>(const PortAndVlanId&) const = default;
   bool operator==(const PortAndVlanId&) const = default;
   size_t hash() const { return size_t{intfId_.value()} << 12 ^ vlanId_; }
   std::string text() const {
      return Norv::valueText("XpLib::PortAndVlanId", Norv::field("intfId", intfId_),
                             Norv::field("vlanId", vlanId_));
   }
   // The VLAN, range-checked.
   Bridging::VlanId vlan() const { return Bridging::VlanId(vlanId_); }

   NORV_VALUE_FIELD(Plexo::IntfId, intfId)
   NORV_VALUE_FIELD(uint16_t, vlanId)
};

// A VIF on one VLAN: the key of a port-VLAN ingress or egress VIF table entry.
class PortVlanIvifTableKey {
public:
   PortVlanIvifTableKey() = default;
   PortVlanIvifTableKey(uint16_t vif, uint16_t vlanId) : vif_(vif), vlanId_(vlanId) {}

   auto operator<=>(const PortVlanIvifTableKey&) const = default;
   bool operator==(const PortVlanIvifTableKey&) const = default;
   size_t hash() const { return size_t{vif_} << 12 ^ vlanId_; }
   std::string text() const {
      return Norv::valueText("XpLib::PortVlanIvifTableKey", Norv::field("vif", vif_),
                             Norv::field("vlanId", vlanId_));
   }

   NORV_VALUE_FIELD(uint16_t, vif)
   NORV_VALUE_FIELD(uint16_t, vlanId)
};

} // namespace XpLib
