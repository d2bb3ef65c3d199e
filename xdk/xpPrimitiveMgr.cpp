#include "xdk/xpPrimitiveMgr.h"

#include <atomic>

xpPrimitiveMgr::~xpPrimitiveMgr() = default;

uint32_t xpPrimitiveMgr::getNewPlMgrId() {
   static std::atomic<uint32_t> next{1};
   return next.fetch_add(1, std::memory_order_relaxed);
}

XP_STATUS xpPrimitiveMgr::addDevice(xpsDevice_t, const xpDeviceProfile&) {
   return XP_NO_ERR;
}

XP_STATUS xpPrimitiveMgr::removeDevice(xpsDevice_t) {
   return XP_NO_ERR;
}

std::optional<size_t> xpPrimitiveMgr::findSlot(std::string_view op) const {
   for (size_t i = 0; i < cold_.size(); ++i) {
      if (cold_[i].name == op) return i;
   }
   return std::nullopt;
}

size_t xpPrimitiveMgr::slotByName(std::string_view op) {
   // The same name from another call site (or a test's string) shares the slot; the first
   // literal seen stays the fast key.
   if (auto i = findSlot(op)) return *i;
   hot_.push_back(HotSlot{op.data(), 0});
   cold_.push_back(ColdSlot{std::string(op), {}});
   return hot_.size() - 1;
}

uint64_t xpPrimitiveMgr::calls(std::string_view op) const {
   auto i = findSlot(op);
   return i ? hot_[*i].calls : 0;
}

std::vector<std::pair<std::string, uint64_t>> xpPrimitiveMgr::opCounts() const {
   std::vector<std::pair<std::string, uint64_t>> counts;
   counts.reserve(cold_.size());
   for (size_t i = 0; i < cold_.size(); ++i)
      counts.emplace_back(cold_[i].name, hot_[i].calls);
   return counts;
}

void xpPrimitiveMgr::resetCounters() {
   for (auto& s : hot_)
      s.calls = 0;
}

void xpPrimitiveMgr::injectStatus(std::string_view op, XP_STATUS status) {
   cold_[slotByName(op)].injected.push_back(status);
   ++injectedTotal_;
}

void xpPrimitiveMgr::clearInjectedStatus() {
   for (auto& s : cold_)
      s.injected.clear();
   injectedTotal_ = 0;
}

std::optional<XP_STATUS> xpPrimitiveMgr::takeInjected(size_t slot) {
   auto& pending = cold_[slot].injected;
   if (pending.empty()) return std::nullopt;
   XP_STATUS status = pending.front();
   pending.pop_front();
   --injectedTotal_;
   return status;
}
