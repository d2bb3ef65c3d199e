#pragma once

#include "xdk/xpDeviceProfile.h"
#include "xdk/xpPrimitiveMgr.h"
#include "xdk/xpStatus.h"
#include "xdk/xpTypes.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

class xpDeviceMgr;

// A platform layer: the managers of one family of tables, by primitive id. Each layer is a
// singleton of its own class (xpAclPl, xpAcmPl, xpIfPl).
class xpPlBase {
public:
   xpPlBase(const xpPlBase&) = delete;
   xpPlBase& operator=(const xpPlBase&) = delete;
   virtual ~xpPlBase();

   const char* name() const { return name_; }

   // nullptr if no manager has that id.
   xpPrimitiveMgr* getPrimitiveMgr(uint32_t id) const;

   // nullptr if no manager has that id or it is not an M.
   template <class M>
   M* getMgr(uint32_t id) const {
      return dynamic_cast<M*>(getPrimitiveMgr(id));
   }

   // Takes the manager over and tells it of every device already in the model. Id 0 or a null
   // manager is an invalid argument; an id in use keeps its manager and the new one is dropped.
   XP_STATUS addMgr(uint32_t id, std::unique_ptr<xpPrimitiveMgr> mgr);
   // XP_ERR_KEY_NOT_FOUND if no manager has that id.
   XP_STATUS removeMgr(uint32_t id);
   size_t numOfMgrs() const { return mgrs_.size(); }
   // Every manager with its id, in ascending id order.
   std::vector<std::pair<uint32_t, const xpPrimitiveMgr*>> mgrs() const;
   // Drops every manager.
   void reset();

   // Every manager with its id, moved out (the layer is left with none) and put back; the
   // managers stay where they are in memory, so pointers to them remain valid in between.
   using MgrMap = std::map<uint32_t, std::unique_ptr<xpPrimitiveMgr>>;
   MgrMap takeMgrs() { return std::exchange(mgrs_, {}); }
   void mgrsIs(MgrMap mgrs) { mgrs_ = std::move(mgrs); }

protected:
   explicit xpPlBase(const char* name) : name_(name) {}

private:
   friend class xpDeviceMgr;

   // All managers or none take the device.
   XP_STATUS addDevice(xpsDevice_t devId, const xpDeviceProfile& profile);
   void removeDevice(xpsDevice_t devId);

   const char* name_;
   MgrMap mgrs_;
};
