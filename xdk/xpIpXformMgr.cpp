#include "xdk/xpIpXformMgr.h"

#include <memory>
#include <utility>

#include "xdk/xpAclPl.h"
#include "xdk/xpSdkInit.h"

namespace {

const xpMgrRegistration reg([] {
   for (size_t instance : {xpIpXformMgr::kSrcInstance, xpIpXformMgr::kDstInstance}) {
      auto mgr = std::make_unique<xpIpXformMgr>();
      mgr->tableNameIs(instance == xpIpXformMgr::kSrcInstance ? "xpIpXformMgr.src"
                                                              : "xpIpXformMgr.dst");
      xpAclPl::instance()->addMgr(xpPrimitiveMgrBase<xpIpXformMgr>::idAt(instance),
                                  std::move(mgr));
   }
});

// The checks take a slot; operations that carry none check with this one.
const xpIpXformSlot anySlot;

} // namespace

XP_STATUS xpIpXformMgr::writeEntry(xpsDevice_t devId, uint32_t index,
                                   const xpIpXformEntry* entry) {
   if (auto injected = enterOp("writeEntry")) return *injected;
   if (XP_STATUS status = checkEntry(devId, index, entry ? &anySlot : nullptr)) return status;
   entries(devId)[index] = xpIpXformSlot{*entry, true};
   return wrote("writeEntry", devId, 0, index, XP_NO_ERR);
}

XP_STATUS xpIpXformMgr::removeEntry(xpsDevice_t devId, uint32_t index) {
   if (auto injected = enterOp("removeEntry")) return *injected;
   if (XP_STATUS status = checkEntry(devId, index, &anySlot)) return status;
   xpIpXformSlot& slot = entries(devId)[index];
   if (!slot.valid) return XP_ERR_NO_CHANGE;
   slot = xpIpXformSlot{};
   return wrote("removeEntry", devId, 0, index, XP_NO_ERR);
}

XP_STATUS xpIpXformMgr::readEntry(xpsDevice_t devId, uint32_t index, xpIpXformEntry* entry,
                                  bool& valid, uint8_t) {
   if (auto injected = enterOp("readEntry")) return *injected;
   if (XP_STATUS status = checkEntry(devId, index, entry ? &anySlot : nullptr)) return status;
   const xpIpXformSlot& slot = std::as_const(*this).entries(devId)[index];
   *entry = slot.entry;
   valid = slot.valid;
   return XP_NO_ERR;
}
