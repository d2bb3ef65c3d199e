#pragma once

#include <cstdint>
#include <string_view>

#include "xdk/xpTypes.h"

// Watching the chip model change: every operation that changes a table (a write, an add, a
// remove of any manager, a device entering or leaving the model) is reported once it has
// changed it, so that the watcher sees each state the chip passes through. Refused and failed
// operations change nothing and are not reported.
struct xpWriteEvent {
   std::string_view table; // the manager's table name ("device" for the model's devices)
   std::string_view op;
   xpsDevice_t devId = 0;
   uint32_t subTable = 0; // MG or MGKS table id where the manager has several, else 0
   uint32_t index = 0;    // the entry written or removed (where an add put it)
};

class xpWriteObserver {
public:
   virtual ~xpWriteObserver();
   // The chip is as the write left it. Reads here (through the managers' own views, which count
   // nothing) are not writes; a write made here is not reported.
   virtual void written(const xpWriteEvent& e) = 0;
};

// The watcher of the model in place, or null. Setting a model aside (xpSdkDetach) sets its
// watcher aside with it. Unwatched, a write costs one test of this pointer.
extern xpWriteObserver* xpWriteObserverNow;

// Hands the event to the watcher, which is unset meanwhile so that nothing it does recurses.
void xpWriteNotify(const xpWriteEvent& e);
