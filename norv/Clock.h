#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <utility>

#include "norv/Export.h"

namespace Norv {

class Reactor;
class ClockNotifiee;

// The activity manager owns the clock and the timers, the only queued events of the system.
// In virtual time (tests, and the simulator by default) time moves only by advanceTo(), which
// fires due timers in time order; in real time runFor() sleeps until each timer is due.
class NORV_EXPORT ActivityManager {
public:
   static ActivityManager& instance();

   double now() const;
   bool realTime() const { return realTime_; }
   // Switches between the virtual clock (starting at `start`) and the monotonic clock.
   void realTimeIs(bool v, double start = 0.0);

   // Virtual time: move the clock to `t`, firing every timer due on the way, in time order.
   void advanceTo(double t);
   void advanceBy(double dt) { advanceTo(now() + dt); }
   // Real time: run timers as they fall due for `seconds`.
   void runFor(double seconds);

   size_t pendingTimers() const { return timers_.size(); }
   double nextTimer() const;

   // Framework internals.
   void schedule(ClockNotifiee* n, double t);
   void cancel(ClockNotifiee* n);

private:
   ActivityManager() = default;
   bool fireOneDue(double limit);

   bool realTime_ = false;
   double virtualNow_ = 0.0;
   double realOrigin_ = 0.0;
   uint64_t seq_ = 0;
   std::map<std::pair<double, uint64_t>, ClockNotifiee*> timers_;
};

inline ActivityManager& activityManager() {
   return ActivityManager::instance();
}

// A reactor's clock notifiee: timeMinIs(t) arms it to call the handler once the clock reaches
// t; timeMinIs(0) fires at the next opportunity. A fired timer is disarmed; the handler
// re-arms.
class NORV_EXPORT ClockNotifiee {
public:
   ClockNotifiee(Reactor* reactor, std::function<void()> handler);
   ClockNotifiee(const ClockNotifiee&) = delete;
   ClockNotifiee& operator=(const ClockNotifiee&) = delete;
   ~ClockNotifiee();

   double timeMin() const { return timeMin_; }
   bool armed() const { return armed_; }
   void timeMinIs(double t);
   void disarm();

   // Called by the activity manager.
   void norvFire();

private:
   friend class ActivityManager;
   Reactor* reactor_;
   std::function<void()> handler_;
   double timeMin_ = 0.0;
   bool armed_ = false;
   std::pair<double, uint64_t> slot_{};
};

} // namespace Norv
