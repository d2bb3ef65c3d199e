#pragma once

#include "xdk/xpExport.h"

// Status of every SDK operation. Callers compare and print the numbers, so a code keeps its
// value for good and a new code takes a free one.
enum XP_STATUS : int {
   XP_NO_ERR = 0,
   XP_ERR_NULL_POINTER = 1,
   XP_ERR_INVALID_ARG = 2,
   XP_ERR_INVALID_DEV_ID = 3,
   XP_ERR_DEVICE_NOT_ADDED = 4,
   XP_ERR_DEVICE_EXISTS = 5,
   XP_ERR_INVALID_INDEX = 6,
   XP_ERR_TABLE_FULL = 7,
   XP_ERR_OUT_OF_MEM = 8,
   // The entry is already there as asked: nothing had to be written.
   XP_ERR_KEY_EXISTS = 9,
   XP_ERR_NOT_SUPPORTED = 10,
   // A primitive id already names another manager in the platform layer.
   XP_ERR_ID_IN_USE = 11,
   // The request left the table as it was, e.g. clearing an entry that was already clear.
   XP_ERR_NO_CHANGE = 42,
   // A lookup found no entry under the key.
   XP_ERR_KEY_NOT_FOUND = 43,
};

// The enumerator's name, or "XP_STATUS_UNKNOWN" for a number that names no code.
XP_EXPORT const char* xpStatusName(XP_STATUS status);
