#pragma once

#include <cstdint>
#include <string>

#include "norv/Attributes.h"
#include "norv/Export.h"
#include "norv/Value.h"
#include "platform/IdValue.h"
#include "platform/Plexo.h"
#include "platform/XpLib.h"

// Virtual interfaces (VIFs) of the chip-support layer: the chip's number for a port, and for a
// port on a VLAN.
namespace XpVif {

struct VifIdTag {};
using VifId = Platform::IdValue<VifIdTag, uint16_t>;

// Where a port sits: its device (as the agent numbers devices, unchecked) and its chip port
// number, which is also the port's VIF.
class ChipPort {
public:
   ChipPort() = default;
   ChipPort(uint32_t deviceId, VifId portVif) : deviceId_(deviceId), portVif_(portVif) {}

   bool operator==(const ChipPort&) const = default;
   std::string text() const {
      return Norv::valueText("XpVif::ChipPort", Norv::field("deviceId", deviceId_),
                             Norv::field("portVif", portVif_));
   }

   NORV_VALUE_FIELD(uint32_t, deviceId)
   NORV_VALUE_FIELD(VifId, portVif)
};

// The VIF of every port on every VLAN it carries.
class PortVlanVifStatus : public Norv::Entity {
public:
   NORV_ENTITY("XpVif::PortVlanVifStatus")
   class NotifieeConst : public Norv::NotifieeOf<PortVlanVifStatus> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(PortVlanToVifMap, XpLib::PortAndVlanId)
   };
   explicit PortVlanVifStatus(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   // A pair without a VIF has no member.
   NORV_VALUE_COLL(portVlanToVifMap, PortVlanToVifMap, XpLib::PortAndVlanId, VifId,
                   Norv::HashMap)

private:
   Norv::Name name_;
};

// The chip port of every port.
class PortVifStatus : public Norv::Entity {
public:
   NORV_ENTITY("XpVif::PortVifStatus")
   class NotifieeConst : public Norv::NotifieeOf<PortVifStatus> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(IntfToChipPort, Plexo::IntfId)
   };
   explicit PortVifStatus(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   NORV_VALUE_COLL(intfToChipPort, IntfToChipPort, Plexo::IntfId, ChipPort, Norv::HashMap)

private:
   Norv::Name name_;
};

NORV_EXPORT Norv::Ptr<PortVlanVifStatus> portVlanVifStatusFactory(const Norv::Name& name);
NORV_EXPORT Norv::Ptr<PortVifStatus> portVifStatusFactory(const Norv::Name& name);

} // namespace XpVif
