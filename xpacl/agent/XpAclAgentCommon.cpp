#include "xpacl/agent/XpAclAgentCommon.h"

namespace XpAcl {

XpDevInfo::XpDevInfo(const Corvo::Central::DeviceId& key,
                     const Corvo::Central::ChipInfo& chipInfo)
    : deviceId_(key), chipName_(chipInfo.chipName()), chipModel_(chipInfo.chipModel()),
      hwRevision_(chipInfo.hwRevision()), portCount_(chipInfo.portCount()),
      coreClockMhz_(chipInfo.coreClockMhz()), pciDeviceId_(chipInfo.pciDeviceId()),
      coreVoltage_(chipInfo.coreVoltage()) {
   for (auto it = chipInfo.intfColl().begin(); it; ++it)
      newIntf(it.key(), it.value());
}

Corvo::Central::ChipInfo XpDevInfo::chipInfo() const {
   Corvo::Central::ChipInfo c(deviceId_);
   c.chipNameIs(chipName_);
   c.chipModelIs(chipModel_);
   for (auto it = intfColl().begin(); it; ++it)
      c.intfIs(it.key(), it.value()->flag());
   c.hwRevisionIs(hwRevision_);
   c.portCountIs(portCount_);
   c.coreClockMhzIs(coreClockMhz_);
   c.pciDeviceIdIs(pciDeviceId_);
   c.coreVoltageIs(coreVoltage_);
   return c;
}

Norv::Ptr<XpAclCommonSmData> xpAclCommonSmDataFactory(const Norv::Name& name) {
   return new XpAclCommonSmData(name);
}

} // namespace XpAcl
