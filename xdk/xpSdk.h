#pragma once

#include <memory>

#include "xdk/xpExport.h"

// Returns the model to its state at start: no device, no manager in any platform layer, an
// empty log. Primitive ids already handed out stay valid, so a manager class can be registered
// again under its ids. For tests, which share one process.
void xpSdkReset();

// Counts the resets: a caller that keeps a manager pointer keeps it with the generation it was
// found in, and looks again once the generation moved on. A plain variable, so that checking a
// kept pointer costs a load rather than a call.
extern unsigned xpSdkGenerationCount;
inline unsigned xpSdkGeneration() {
   return xpSdkGenerationCount;
}

// A whole chip model set aside: every platform layer's managers (tables, counters, injected
// statuses), the devices and the log. It owns them until it is attached again; dropping it
// drops them.
class XP_EXPORT xpSdkState {
public:
   xpSdkState();
   xpSdkState(xpSdkState&&) noexcept;
   xpSdkState& operator=(xpSdkState&&) noexcept;
   ~xpSdkState();
   // Whether it holds a model (a moved-from or attached state holds none).
   explicit operator bool() const { return parts_ != nullptr; }

private:
   friend xpSdkState xpSdkDetach();
   friend void xpSdkAttach(xpSdkState);
   struct Parts;
   std::unique_ptr<Parts> parts_;
};

// Sets the live model aside and installs a fresh one in its place, as xpSdkInit() does, so that
// a second model can run in the process for a while. The managers set aside keep their
// addresses: a pointer held to one is valid again once the state is attached.
XP_EXPORT xpSdkState xpSdkDetach();
// Drops the model in place and puts the one set aside back. Both calls move the generation on,
// so that every kept manager pointer is looked up again in the model now in place.
XP_EXPORT void xpSdkAttach(xpSdkState state);
