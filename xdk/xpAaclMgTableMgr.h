#pragma once

#include "xdk/xpPrimitiveMgr.h"
#include "xdk/xpPrimitiveMgrBase.h"

#include <array>
#include <cstdint>
#include <optional>

// The mask-group tables of the ACL stages: hashed rule entries, one table per stage LDE, each
// with the same number of entries per way on a device.
class xpAaclMgTableMgr : public xpPrimitiveMgr, public xpPrimitiveMgrBase<xpAaclMgTableMgr> {
public:
   XP_STATUS addDevice(xpsDevice_t devId, const xpDeviceProfile& profile) override;
   XP_STATUS removeDevice(xpsDevice_t devId) override;

   // The number of entries per way of the device's tables.
   XP_STATUS getNumOfEntry(xpsDevice_t devId, uint32_t& numOfEntry);

private:
   XP_STATUS checkAdded(xpsDevice_t devId) const;

   std::array<std::optional<uint32_t>, XP_MAX_DEVICES> numOfEntry_;
};
