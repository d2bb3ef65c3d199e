#pragma once

#include "xdk/xpPrimitiveMgr.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// The primitive ids of manager class T, one per instance of the table it manages (a table that
// exists once per stage has one id per stage). An entry is 0 until an id is handed out for it.
// Mixed into the manager class: class xpFooMgr : public xpDeviceTable<xpFooEntry>,
// public xpPrimitiveMgrBase<xpFooMgr>.
template <class T>
struct xpPrimitiveMgrBase {
   static inline std::vector<uint32_t> myId;

   // The id of instance i, handing out a fresh one on first use.
   static uint32_t idAt(size_t i) {
      if (myId.size() <= i) myId.resize(i + 1, 0);
      if (myId[i] == 0) myId[i] = xpPrimitiveMgr::getNewPlMgrId();
      return myId[i];
   }
};
