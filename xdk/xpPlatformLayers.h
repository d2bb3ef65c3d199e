#pragma once

#include "xdk/xpPlBase.h"

#include <array>

// Every platform layer of the SDK, for the code that must reach all of them.
std::array<xpPlBase*, 3> xpPlatformLayers();
