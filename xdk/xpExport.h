#pragma once

// Marks the SDK entry points a hosting agent calls (bring-up, devices). Everything else of the
// SDK model stays hidden inside the shared library.
#define XP_EXPORT __attribute__((visibility("default")))
