#pragma once

// Marks what the shared library exports. The library is built with hidden visibility, so
// only what carries this mark is reachable from a program that links it: the classes and
// functions the public headers call out of line, the factories and the public types.
#define NORV_EXPORT __attribute__((visibility("default")))
