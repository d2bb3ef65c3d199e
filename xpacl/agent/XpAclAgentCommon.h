#pragma once

#include "norv/Attributes.h"
#include "platform/Corvo.h"
#include "xpacl/XpAclExport.h"

namespace XpAcl {

// The interfaces of a device, each a small entity of its own holding the description's flag,
// so that the description can be rebuilt exactly.
class XpDevIntfInfo : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::XpDevIntfInfo")
   XpDevIntfInfo(const Plexo::IntfId& intfId, bool flag) : intfId_(intfId), flag_(flag) {}
   const Plexo::IntfId& intfId() const { return intfId_; }
   bool flag() const { return flag_; }
   static constexpr std::array<const char*, 1> norvCtorAttrNames{"_flag"};
   auto norvCtorAttrs() const { return std::make_tuple(flag_); }

private:
   Plexo::IntfId intfId_;
   bool flag_;
};

// A device known to the agent: a copy of its description, fixed at construction.
class XPACL_EXPORT XpDevInfo : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::XpDevInfo")
   class NotifieeConst : public Norv::NotifieeOf<XpDevInfo> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(Intf, Plexo::IntfId)
   };
   XpDevInfo(const Corvo::Central::DeviceId& key, const Corvo::Central::ChipInfo& chipInfo);

   const Corvo::Central::DeviceId& deviceId() const { return deviceId_; }
   const std::string& chipName() const { return chipName_; }
   const std::string& chipModel() const { return chipModel_; }
   NORV_ENTITY_COLL(intf, Intf, Plexo::IntfId, XpDevIntfInfo, Norv::HashMap)
public:
   uint32_t hwRevision() const { return hwRevision_; }
   uint32_t portCount() const { return portCount_; }
   uint32_t coreClockMhz() const { return coreClockMhz_; }
   uint16_t pciDeviceId() const { return pciDeviceId_; }
   double coreVoltage() const { return coreVoltage_; }

   // The description this member was built from, as a value again.
   Corvo::Central::ChipInfo chipInfo() const;

   static constexpr std::array<const char*, 1> norvCtorAttrNames{"_chipInfo"};
   auto norvCtorAttrs() const { return std::make_tuple(chipInfo()); }

private:
   Corvo::Central::DeviceId deviceId_;
   std::string chipName_;
   std::string chipModel_;
   uint32_t hwRevision_;
   uint32_t portCount_;
   uint32_t coreClockMhz_;
   uint16_t pciDeviceId_;
   double coreVoltage_;
};

// Facts about chips and interfaces that several reactors share: the devices with their
// descriptions and the device each interface lives on. The agent fills it; reactors read it.
class XpAclCommonSmData : public Corvo::CorvoCommonSmData {
public:
   NORV_ENTITY("XpAcl::XpAclCommonSmData")
   class NotifieeConst
       : public Norv::NotifieeOf<XpAclCommonSmData, Corvo::CorvoCommonSmData::NotifieeConst> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(DevInfo, Corvo::Central::DeviceId)
      NORV_ON_KEY(IntfToDevId, Plexo::IntfId)
   };
   explicit XpAclCommonSmData(const Norv::Name& name) : CorvoCommonSmData(name) {}

   NORV_ENTITY_COLL(devInfo, DevInfo, Corvo::Central::DeviceId, XpDevInfo, Norv::HashMap)
public:
   Norv::Ptr<XpDevInfo> devInfoIs(const Corvo::Central::ChipInfo& chipInfo) {
      return devInfoIs(chipInfo.deviceId(), chipInfo);
   }
   Norv::Ptr<XpDevInfo> newDevInfo(const Corvo::Central::ChipInfo& chipInfo) {
      return newDevInfo(chipInfo.deviceId(), chipInfo);
   }
   NORV_VALUE_COLL(intfToDevId, IntfToDevId, Plexo::IntfId, Corvo::Central::DeviceId,
                   Norv::HashMap)
};

XPACL_EXPORT Norv::Ptr<XpAclCommonSmData> xpAclCommonSmDataFactory(const Norv::Name& name);

} // namespace XpAcl
