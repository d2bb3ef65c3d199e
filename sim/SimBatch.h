#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "norv/NotificationBatch.h"

namespace Sim {

// The scenario's open batch and what the simulator must remember about it. The batch delivers
// one notification per changed key, in the order of each key's last change, and a handler reads
// the entities as they are at delivery; the checks that keep the driver from seeing what it
// never sees outside a batch ask here what the batch changed so far.
class SimBatch {
public:
   enum class DeviceState { absent, down, up };

   bool isOpen() const { return batch_ != nullptr; }
   // The line that opened it.
   int line() const { return line_; }
   void open(int line);
   // Delivers the notifications (handlers may throw), then makes the changes that waited.
   void close();
   // Drops the batch undelivered, with the changes that waited for it.
   void discard();
   // Runs `f` now, or after the open batch has been delivered.
   void afterDelivery(std::function<void()> f);

   // Marks, and asks, what the open batch changed: keys such as deviceKey(3), chipKey(3) (any
   // configuration of the chip) or a module's own. Nothing is marked outside a batch.
   void touch(const std::string& key);
   bool changed(const std::string& key) const { return batch_ && touched_.count(key); }
   static std::string deviceKey(unsigned id) { return "device " + std::to_string(id); }
   static std::string chipKey(unsigned id) { return "chip " + std::to_string(id); }

   // The state of a device when the batch opened, recorded with its first change in it;
   // `recorded` is false when this is that first change.
   DeviceState deviceAtOpen(unsigned id, DeviceState now, bool& recorded);

private:
   void forget();
   std::unique_ptr<Norv::NotificationBatch> batch_;
   int line_ = 0;
   std::set<std::string> touched_;
   std::map<unsigned, DeviceState> devicesAtOpen_;
   std::vector<std::function<void()>> after_;
};

} // namespace Sim
