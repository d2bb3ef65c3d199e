#pragma once

#include "xdk/xpDeviceProfile.h"
#include "xdk/xpExport.h"
#include "xdk/xpStatus.h"
#include "xdk/xpTypes.h"

#include <array>
#include <optional>
#include <utility>
#include <vector>

// The devices in the model. Adding a device hands its profile to every manager of every
// platform layer; all of them take it or none does.
class XP_EXPORT xpDeviceMgr {
public:
   static xpDeviceMgr* instance();

   XP_STATUS addDevice(xpsDevice_t devId, const xpDeviceProfile& profile = {});
   XP_STATUS removeDevice(xpsDevice_t devId);
   bool isAdded(xpsDevice_t devId) const;
   // nullptr if the device is not added.
   const xpDeviceProfile* profile(xpsDevice_t devId) const;
   // The added devices, in increasing order.
   std::vector<xpsDevice_t> devices() const;
   // Removes every device.
   void reset();

   // The devices' profiles, moved out without telling any manager (the model is being set
   // aside whole) and put back the same way.
   using Profiles = std::array<std::optional<xpDeviceProfile>, XP_MAX_DEVICES>;
   Profiles takeProfiles() { return std::exchange(profiles_, {}); }
   void profilesIs(const Profiles& profiles) { profiles_ = profiles; }

private:
   xpDeviceMgr() = default;

   Profiles profiles_;
};
