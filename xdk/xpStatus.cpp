#include "xdk/xpStatus.h"

const char* xpStatusName(XP_STATUS status) {
   switch (status) {
   case XP_NO_ERR:
      return "XP_NO_ERR";
   case XP_ERR_NULL_POINTER:
      return "XP_ERR_NULL_POINTER";
   case XP_ERR_INVALID_ARG:
      return "XP_ERR_INVALID_ARG";
   case XP_ERR_INVALID_DEV_ID:
      return "XP_ERR_INVALID_DEV_ID";
   case XP_ERR_DEVICE_NOT_ADDED:
      return "XP_ERR_DEVICE_NOT_ADDED";
   case XP_ERR_DEVICE_EXISTS:
      return "XP_ERR_DEVICE_EXISTS";
   case XP_ERR_INVALID_INDEX:
      return "XP_ERR_INVALID_INDEX";
   case XP_ERR_TABLE_FULL:
      return "XP_ERR_TABLE_FULL";
   case XP_ERR_OUT_OF_MEM:
      return "XP_ERR_OUT_OF_MEM";
   case XP_ERR_KEY_EXISTS:
      return "XP_ERR_KEY_EXISTS";
   case XP_ERR_NOT_SUPPORTED:
      return "XP_ERR_NOT_SUPPORTED";
   case XP_ERR_ID_IN_USE:
      return "XP_ERR_ID_IN_USE";
   case XP_ERR_NO_CHANGE:
      return "XP_ERR_NO_CHANGE";
   case XP_ERR_KEY_NOT_FOUND:
      return "XP_ERR_KEY_NOT_FOUND";
   }
   return "XP_STATUS_UNKNOWN";
}
