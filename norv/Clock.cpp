#include "norv/Clock.h"

#include <chrono>
#include <thread>

#include "norv/Reactor.h"

namespace Norv {

namespace {
double monotonicSeconds() {
   using namespace std::chrono;
   return duration<double>(steady_clock::now().time_since_epoch()).count();
}
} // namespace

ActivityManager& ActivityManager::instance() {
   static ActivityManager m;
   return m;
}

double ActivityManager::now() const {
   return realTime_ ? monotonicSeconds() - realOrigin_ : virtualNow_;
}

void ActivityManager::realTimeIs(bool v, double start) {
   realTime_ = v;
   virtualNow_ = start;
   realOrigin_ = monotonicSeconds() - start;
}

double ActivityManager::nextTimer() const {
   return timers_.empty() ? -1.0 : timers_.begin()->first.first;
}

void ActivityManager::schedule(ClockNotifiee* n, double t) {
   cancel(n);
   n->slot_ = {t, ++seq_};
   n->armed_ = true;
   timers_.emplace(n->slot_, n);
}

void ActivityManager::cancel(ClockNotifiee* n) {
   if (!n->armed_) return;
   timers_.erase(n->slot_);
   n->armed_ = false;
}

bool ActivityManager::fireOneDue(double limit) {
   if (timers_.empty()) return false;
   auto it = timers_.begin();
   if (it->first.first > limit) return false;
   ClockNotifiee* n = it->second;
   if (!realTime_ && it->first.first > virtualNow_) virtualNow_ = it->first.first;
   timers_.erase(it);
   n->armed_ = false;
   n->norvFire();
   return true;
}

void ActivityManager::advanceTo(double t) {
   while (fireOneDue(t)) {
   }
   if (!realTime_ && t > virtualNow_) virtualNow_ = t;
}

void ActivityManager::runFor(double seconds) {
   const double end = now() + seconds;
   for (;;) {
      while (fireOneDue(now())) {
      }
      const double next = timers_.empty() ? end : std::min(end, nextTimer());
      const double wait = next - now();
      if (now() >= end) break;
      if (wait > 0) std::this_thread::sleep_for(std::chrono::duration<double>(wait));
   }
}

ClockNotifiee::ClockNotifiee(Reactor* reactor, std::function<void()> handler)
    : reactor_(reactor), handler_(std::move(handler)) {}

ClockNotifiee::~ClockNotifiee() {
   disarm();
}

void ClockNotifiee::timeMinIs(double t) {
   timeMin_ = t;
   ActivityManager::instance().schedule(this, t);
}

void ClockNotifiee::disarm() {
   ActivityManager::instance().cancel(this);
}

void ClockNotifiee::norvFire() {
   // Same rule as for every notifiee: nothing reaches a zombie or a switched-off reactor.
   if (reactor_ && (reactor_->norvZombie() || !reactor_->hasNotificationActive())) return;
   handler_();
}

} // namespace Norv
