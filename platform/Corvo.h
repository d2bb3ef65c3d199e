#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "norv/Attributes.h"
#include "norv/Export.h"
#include "norv/RangeInt.h"
#include "norv/Value.h"
#include "platform/Plexo.h"

namespace Corvo {

namespace Central {

struct DeviceIdTag {
   static constexpr const char* rangeError =
       "DeviceId::value < DeviceId::min or > DeviceId::null not allowed";
};
// A device (chip) of the forwarding agent; `null` is the id of no device and the default.
class DeviceId : public Norv::RangeInt<DeviceIdTag, uint32_t, 0, 0xffff, 0xffff> {
public:
   static constexpr uint32_t min = 0;
   static constexpr uint32_t null = 0xffff;
   using RangeInt::RangeInt;
   bool isNull() const { return value() == null; }
};

// The description of one device as the forwarding agent publishes it.
class NORV_EXPORT ChipInfo {
public:
   ChipInfo() = default;
   explicit ChipInfo(DeviceId deviceId) : deviceId_(deviceId) {}

   DeviceId deviceId() const { return deviceId_; }
   void deviceIdIs(DeviceId v) { deviceId_ = v; }
   const std::string& chipName() const { return chipName_; }
   void chipNameIs(const std::string& v) { chipName_ = v; }
   const std::string& chipModel() const { return chipModel_; }
   void chipModelIs(const std::string& v) { chipModel_ = v; }
   NORV_PLAIN_COLL(intf, Intf, Plexo::IntfId, bool, Norv::HashMap)
public:
   uint32_t hwRevision() const { return hwRevision_; }
   void hwRevisionIs(uint32_t v) { hwRevision_ = v; }
   uint32_t portCount() const { return portCount_; }
   void portCountIs(uint32_t v) { portCount_ = v; }
   uint32_t coreClockMhz() const { return coreClockMhz_; }
   void coreClockMhzIs(uint32_t v) { coreClockMhz_ = v; }
   uint16_t pciDeviceId() const { return pciDeviceId_; }
   void pciDeviceIdIs(uint16_t v) { pciDeviceId_ = v; }
   double coreVoltage() const { return coreVoltage_; }
   void coreVoltageIs(double v) { coreVoltage_ = v; }

   bool operator==(const ChipInfo&) const = default;
   std::string text() const;

private:
   DeviceId deviceId_;
   std::string chipName_;
   std::string chipModel_;
   uint32_t hwRevision_ = 0;
   uint32_t portCount_ = 0;
   uint32_t coreClockMhz_ = 0;
   uint16_t pciDeviceId_ = 0;
   double coreVoltage_ = 0.0;
};

} // namespace Central

// The forwarding agent's shared maps; the driver reads only the port-to-LAG map.
class CorvoCommonSmData : public Norv::Entity {
public:
   NORV_ENTITY("Corvo::CorvoCommonSmData")
   class NotifieeConst : public Norv::NotifieeOf<CorvoCommonSmData> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(PortToLag, Plexo::IntfId)
   };
   explicit CorvoCommonSmData(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   // A port in no LAG has no member; the lookup then yields the empty interface id.
   NORV_VALUE_COLL(portToLag, PortToLag, Plexo::IntfId, Plexo::IntfId, Norv::HashMap)

private:
   Norv::Name name_;
};

// Which implicit ICMPv6 rules the agent installs.
enum class Ip6DefaultIcmp6TypesSupported : uint8_t {
   icmp6TypesNone = 0,
   icmp6TypesNeighborDiscovery = 1,
   icmp6TypesAll = 2,
};
NORV_EXPORT const char* norvEnumName(Ip6DefaultIcmp6TypesSupported v);

} // namespace Corvo
