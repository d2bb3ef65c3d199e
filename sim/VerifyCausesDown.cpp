// A rule withdrawn while its device was down keeps its MG entry: the driver forgets a device's
// entries when the device goes down, without touching it, and writes the rules then present
// when it comes back, and nothing else. The MG entries a device holds are noted each time it
// goes down, so that such an entry is recognised as one the chip held then and that no rule
// has now.
#include <map>
#include <string>
#include <utility>

#include "norv/Reactor.h"
#include "platform/XpXdk.h"
#include "sim/Sim.h"
#include "sim/Verify.h"

namespace Sim {

namespace {

constexpr const char* kMgTable = "xpAaclMgTableMgr.";

class DownWatch : public Norv::Reactor {
public:
   NORV_ENTITY("Sim::VerifyDownWatch")
   NORV_FORWARDING_NOTIFIEE(NorvDevices, XpXdk::XpDeviceIdColl, DownWatch, DeviceId,
                            XpXdk::XpDeviceId, handleDevice)

   explicit DownWatch(Norv::Ptr<const XpXdk::XpDeviceIdColl> devices)
       : devices_(devices), notifiee_(this, std::move(devices)) {}

   void handleDevice(const XpXdk::XpDeviceId& dev) {
      const bool* up = devices_->deviceIdColl().find(dev);
      const uint32_t id = dev.value();
      if (!up) {
         held_.erase(id);
         return;
      }
      if (*up) return;
      auto& rows = held_[id];
      rows.clear();
      const xpChipSnapshot snap = xpChipSnapshot::take();
      const auto device = snap.devices().find(static_cast<xpsDevice_t>(id));
      if (device == snap.devices().end()) return;
      for (const auto& table : device->second) {
         if (table.name.rfind(kMgTable, 0) != 0) continue;
         for (const auto& [unused, row] : table.rows)
            rows[{table.name, row.key}] = row.value;
      }
   }
   void handleDevice() {}

   // The value the entry had when its device last went down, or null.
   const std::string* heldWhenDown(const xpChipDifference& d) const {
      const auto device = held_.find(d.device);
      if (device == held_.end()) return nullptr;
      const auto row = device->second.find({d.table, d.key});
      return row == device->second.end() ? nullptr : &row->second;
   }

private:
   Norv::Ptr<const XpXdk::XpDeviceIdColl> devices_;
   NorvDevices notifiee_;
   std::map<uint32_t, std::map<std::pair<std::string, std::string>, std::string>> held_;
};

std::string withdrawnWhileDown(Simulator& s, const xpChipDifference& d) {
   if (!d.live || d.cold || d.table.rfind(kMgTable, 0) != 0) return "";
   auto watch = s.world().get<DownWatch>("verifyDownWatch");
   const std::string* then = watch ? watch->heldWhenDown(d) : nullptr;
   if (!then || *then != d.live->value) return "";
   const auto table =
       static_cast<uint32_t>(std::stoul(d.table.substr(std::string(kMgTable).size())));
   if (ruleAt(s, d.device, table, d.live->index)) return "";
   return "the rule was withdrawn while its device was down: the driver forgets a device's "
          "entries when it goes down and writes only the rules then present when it returns";
}

void start(Simulator& s) {
   s.world().hold("verifyDownWatch", Norv::Ptr<DownWatch>(new DownWatch(s.world().devices)));
}

const ModuleRegistration reg({"verify-down", 95, start, nullptr});
const VerifyCauseRegistration regCause({withdrawnWhileDown, nullptr});

} // namespace

} // namespace Sim
