#include "sim/SimBatch.h"

namespace Sim {

void SimBatch::open(int line) {
   batch_ = std::make_unique<Norv::NotificationBatch>();
   line_ = line;
}

void SimBatch::close() {
   auto open = std::move(batch_);
   auto after = std::move(after_);
   forget();
   open->close();
   for (auto& f : after)
      f();
}

void SimBatch::discard() {
   batch_.reset();
   forget();
}

void SimBatch::afterDelivery(std::function<void()> f) {
   if (batch_) {
      after_.push_back(std::move(f));
   } else {
      f();
   }
}

void SimBatch::touch(const std::string& key) {
   if (batch_) touched_.insert(key);
}

SimBatch::DeviceState SimBatch::deviceAtOpen(unsigned id, DeviceState now, bool& recorded) {
   const auto [it, first] = devicesAtOpen_.emplace(id, now);
   recorded = !first;
   return it->second;
}

void SimBatch::forget() {
   touched_.clear();
   devicesAtOpen_.clear();
   after_.clear();
}

} // namespace Sim
