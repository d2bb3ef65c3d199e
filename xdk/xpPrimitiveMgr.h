#pragma once

#include "xdk/xpDeviceProfile.h"
#include "xdk/xpStatus.h"
#include "xdk/xpTypes.h"
#include "xdk/xpWriteObserver.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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
   // Every operation counted so far with its count, in the order each was first seen.
   std::vector<std::pair<std::string, uint64_t>> opCounts() const;
   void resetCounters();

   // The name people read for this table in counts and dumps, given by the code that
   // registers the manager; empty until then.
   const std::string& tableName() const { return tableName_; }
   void tableNameIs(std::string name) { tableName_ = std::move(name); }
   void injectStatus(std::string_view op, XP_STATUS status);
   // Drops injected statuses not yet used.
   void clearInjectedStatus();

protected:
   // Called on every table access, so the common case (a name seen before, nothing injected)
   // is a short pointer scan over the manager's few operations.
   std::optional<XP_STATUS> enterOp(std::string_view op) { return enterOp(refOf(slotFor(op))); }

   // An operation found once by name, for operations on the per-entry path: entering it is
   // one increment and one test.
   struct OpRef {
      uint64_t* calls;
      size_t slot;
   };
   OpRef opRef(std::string_view op) { return refOf(slotByName(op)); }

   // Ends an operation that changes the table: a watcher, if any, sees the change once made.
   //    return wrote(opWrite_, devId, mgTableId, index, status);
   XP_STATUS wrote(const OpRef& op, xpsDevice_t devId, uint32_t subTable, uint32_t index,
                   XP_STATUS status) {
      if (xpWriteObserverNow && status == XP_NO_ERR) [[unlikely]]
         notifyWritten(cold_[op.slot].name, devId, subTable, index);
      return status;
   }
   XP_STATUS wrote(std::string_view op, xpsDevice_t devId, uint32_t subTable, uint32_t index,
                   XP_STATUS status) {
      if (xpWriteObserverNow && status == XP_NO_ERR) [[unlikely]]
         notifyWritten(op, devId, subTable, index);
      return status;
   }
   std::optional<XP_STATUS> enterOp(const OpRef& op) {
      ++*op.calls;
      if (injectedTotal_ == 0) [[likely]]
         return std::nullopt;
      return takeInjected(op.slot);
   }

private:
   // Hot and cold halves of an operation's record, kept apart so the scan stays in one line.
   // A deque, so that an OpRef's counter stays where it is as operations are added.
   struct HotSlot {
      const char* literal; // the name's storage at the call site that created the slot
      uint64_t calls;
   };
   struct ColdSlot {
      std::string name;
      std::deque<XP_STATUS> injected;
   };
   size_t slotFor(std::string_view op) {
      for (size_t i = 0; i < hot_.size(); ++i) {
         if (hot_[i].literal == op.data()) return i;
      }
      return slotByName(op);
   }
   void notifyWritten(std::string_view op, xpsDevice_t devId, uint32_t subTable,
                      uint32_t index) const {
      xpWriteNotify(xpWriteEvent{tableName_, op, devId, subTable, index});
   }
   OpRef refOf(size_t slot) { return OpRef{&hot_[slot].calls, slot}; }
   size_t slotByName(std::string_view op);
   std::optional<size_t> findSlot(std::string_view op) const;
   std::optional<XP_STATUS> takeInjected(size_t slot);

   std::deque<HotSlot> hot_;
   std::vector<ColdSlot> cold_;
   size_t injectedTotal_ = 0;
   std::string tableName_;
};
