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

uint64_t xpPrimitiveMgr::calls(std::string_view op) const {
   auto it = calls_.find(op);
   return it == calls_.end() ? 0 : it->second;
}

void xpPrimitiveMgr::resetCounters() {
   calls_.clear();
}

void xpPrimitiveMgr::injectStatus(std::string_view op, XP_STATUS status) {
   auto it = injected_.find(op);
   if (it == injected_.end())
      it = injected_.emplace(std::string(op), std::deque<XP_STATUS>{}).first;
   it->second.push_back(status);
}

void xpPrimitiveMgr::clearInjectedStatus() {
   injected_.clear();
}

std::optional<XP_STATUS> xpPrimitiveMgr::enterOp(std::string_view op) {
   auto count = calls_.find(op);
   if (count == calls_.end()) {
      calls_.emplace(std::string(op), 1);
   } else {
      ++count->second;
   }

   auto pending = injected_.find(op);
   if (pending == injected_.end()) return std::nullopt;
   XP_STATUS status = pending->second.front();
   pending->second.pop_front();
   if (pending->second.empty()) injected_.erase(pending);
   return status;
}
