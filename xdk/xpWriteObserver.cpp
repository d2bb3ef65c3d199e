#include "xdk/xpWriteObserver.h"

#include <utility>

xpWriteObserver* xpWriteObserverNow = nullptr;

xpWriteObserver::~xpWriteObserver() = default;

void xpWriteNotify(const xpWriteEvent& e) {
   xpWriteObserver* observer = std::exchange(xpWriteObserverNow, nullptr);
   if (!observer) return;
   struct Restore {
      xpWriteObserver* o;
      ~Restore() { xpWriteObserverNow = o; }
   } restore{observer};
   observer->written(e);
}
