#pragma once

#include "xdk/xpDeviceProfile.h"
#include "xdk/xpStatus.h"
#include "xdk/xpTypes.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

// Base of every table manager. A manager is registered in a platform layer under a primitive
// id and is told of each device as the device enters or leaves the model.
//
// Every operation a manager offers starts with enterOp(name), which counts the call and hands
// back a status injected for it, if any:
//
//    if (auto injected = enterOp("writeEntry")) return *injected;
//
// An injected status makes the next call of that operation a refused call: it has no effect,
// leaves its outputs as they were, and returns the injected status (even XP_NO_ERR). It still
// counts as a call. Statuses injected for one operation are used up in the order given.
//
// Like the tables it stands for, a manager is driven from one thread at a time.
class xpPrimitiveMgr {
public:
   xpPrimitiveMgr() = default;
   xpPrimitiveMgr(const xpPrimitiveMgr&) = delete;
   xpPrimitiveMgr& operator=(const xpPrimitiveMgr&) = delete;
   virtual ~xpPrimitiveMgr();

   // Process-wide fresh ids 1, 2, ...; 0 is never handed out, so it marks "no id yet".
   static uint32_t getNewPlMgrId();

   // A device entering or leaving the model. These are the model's own bookkeeping, not
   // operations: they are neither counted nor subject to injection. By default a manager holds
   // nothing per device.
   virtual XP_STATUS addDevice(xpsDevice_t devId, const xpDeviceProfile& profile);
   virtual XP_STATUS removeDevice(xpsDevice_t devId);

   uint64_t calls(std::string_view op) const;
   void resetCounters();
   void injectStatus(std::string_view op, XP_STATUS status);
   // Drops injected statuses not yet used.
   void clearInjectedStatus();

protected:
   std::optional<XP_STATUS> enterOp(std::string_view op);

private:
   std::map<std::string, uint64_t, std::less<>> calls_;
   std::map<std::string, std::deque<XP_STATUS>, std::less<>> injected_;
};
