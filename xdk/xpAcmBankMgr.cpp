#include "xdk/xpAcmBankMgr.h"

#include "xdk/xpAcmPl.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpSdkInit.h"

namespace {

const xpMgrRegistration reg([] {
   auto mgr = std::make_unique<xpAcmBankMgr>();
   mgr->tableNameIs("xpAcmBankMgr");
   xpAcmPl::instance()->addMgr(xpPrimitiveMgrBase<xpAcmBankMgr>::idAt(0), std::move(mgr));
});

} // namespace

XP_STATUS xpAcmBankMgr::addDevice(xpsDevice_t devId, const xpDeviceProfile&) {
   if (!xpIsValidDevId(devId)) return checkCounter(devId, 0);
   if (banks_[devId]) return XP_ERR_DEVICE_EXISTS;
   banks_[devId] = std::make_unique<Counter[]>(kNumCounters);
   return XP_NO_ERR;
}

XP_STATUS xpAcmBankMgr::removeDevice(xpsDevice_t devId) {
   if (XP_STATUS status = checkCounter(devId, 0)) return status;
   banks_[devId].reset();
   return XP_NO_ERR;
}

XP_STATUS xpAcmBankMgr::checkCounter(xpsDevice_t devId, uint32_t counterIndex) const {
   if (!xpIsValidDevId(devId)) {
      XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR, "Invalid device Id %d specified\n", devId);
      return XP_ERR_INVALID_DEV_ID;
   }
   if (!banks_[devId]) {
      XP_LOG(XP_LOG_MODULE_PRIMITIVE, XP_LOG_ERROR,
             "The device %d is not added in primitive manager\n", devId);
      return XP_ERR_DEVICE_NOT_ADDED;
   }
   if (counterIndex >= kNumCounters) {
      XP_LOG(XP_LOG_MODULE_ACM, XP_LOG_ERROR, "Invalid counter index %u on device %d\n",
             counterIndex, devId);
      return XP_ERR_INVALID_INDEX;
   }
   return XP_NO_ERR;
}

XP_STATUS xpAcmBankMgr::getCounterValue(xpsDevice_t devId, xpAcmClient_e client,
                                        uint32_t counterIndex, uint64_t* pktCount,
                                        uint64_t* byteCount, int8_t pipe) {
   if (auto injected = enterOp(opGetCounterValue_)) return *injected;
   if (XP_STATUS status = checkCounter(devId, counterIndex)) return status;
   if (client != XP_ACM_AACL_COUNTER) return XP_ERR_NOT_SUPPORTED;
   if (pipe != -1 && pipe != 0) return XP_ERR_INVALID_ARG;
   if (!pktCount || !byteCount) return XP_ERR_NULL_POINTER;
   Counter& c = banks_[devId][counterIndex];
   *pktCount = c.packets;
   *byteCount = c.bytes;
   c = Counter{};
   return XP_NO_ERR;
}

XP_STATUS xpAcmBankMgr::countPackets(xpsDevice_t devId, uint32_t counterIndex, uint64_t packets,
                                     uint64_t bytes) {
   if (XP_STATUS status = checkCounter(devId, counterIndex)) return status;
   Counter& c = banks_[devId][counterIndex];
   c.packets += packets;
   c.bytes += bytes;
   return XP_NO_ERR;
}

uint64_t xpAcmBankMgr::peekPackets(xpsDevice_t devId, uint32_t counterIndex) const {
   if (!xpIsValidDevId(devId) || !banks_[devId] || counterIndex >= kNumCounters) return 0;
   return banks_[devId][counterIndex].packets;
}
