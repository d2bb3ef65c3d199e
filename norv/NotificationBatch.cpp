#include "norv/NotificationBatch.h"

#include <cstring>
#include <list>
#include <memory>
#include <unordered_map>

#include "norv/Entity.h"

namespace Norv {

namespace {

struct BatchState {
   std::list<std::unique_ptr<detail::PendingNotification>> order;
   std::unordered_multimap<size_t,
                           std::list<std::unique_ptr<detail::PendingNotification>>::iterator>
       index;
};

BatchState& state() {
   static BatchState s;
   return s;
}

size_t slotHash(const detail::PendingNotification& p) {
   size_t h = std::hash<const void*>()(p.entity());
   h ^= std::hash<std::string_view>()(p.attr()) + 0x9e3779b97f4a7c15ULL + (h << 6) + (h >> 2);
   return h ^ (p.keyHash() * 0xff51afd7ed558ccdULL);
}

bool sameSlot(const detail::PendingNotification& a, const detail::PendingNotification& b) {
   return a.entity() == b.entity() && std::strcmp(a.attr(), b.attr()) == 0 && a.sameKeyAs(b);
}

} // namespace

namespace detail {

void batchRecord(PendingNotification* raw) {
   std::unique_ptr<PendingNotification> p(raw);
   auto& s = state();
   const size_t h = slotHash(*p);
   auto [lo, hi] = s.index.equal_range(h);
   for (auto it = lo; it != hi; ++it) {
      if (sameSlot(**it->second, *p)) {
         // A later change of the same key moves its single notification to the end.
         s.order.erase(it->second);
         s.index.erase(it);
         break;
      }
   }
   s.order.push_back(std::move(p));
   s.index.emplace(h, std::prev(s.order.end()));
}

} // namespace detail

NotificationBatch::NotificationBatch() {
   ++detail::batchDepth;
}

NotificationBatch::~NotificationBatch() {
   if (!open_) return;
   if (--detail::batchDepth > 0) return;
   auto& s = state();
   s.order.clear();
   s.index.clear();
}

void NotificationBatch::close() {
   if (!open_) return;
   open_ = false;
   if (--detail::batchDepth > 0) return;
   auto& s = state();
   // Taken out first: a handler may change entities again, and with no batch open those
   // changes are delivered at once rather than into the list being walked.
   auto order = std::move(s.order);
   s.order.clear();
   s.index.clear();
   struct Delivering {
      Delivering() { ++detail::batchDeliveries; }
      ~Delivering() { --detail::batchDeliveries; }
   } delivering;
   for (auto& p : order)
      p->deliver();
}

size_t NotificationBatch::pending() {
   return state().order.size();
}

} // namespace Norv
