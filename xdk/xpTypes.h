#pragma once

#include <cstdint>

typedef uint8_t xpsDevice_t;

// Devices the chip can address are 0 .. XP_MAX_DEVICES - 1; the rest of xpsDevice_t names none.
inline constexpr uint32_t XP_MAX_DEVICES = 64;

inline constexpr bool xpIsValidDevId(xpsDevice_t devId) {
   return devId < XP_MAX_DEVICES;
}
