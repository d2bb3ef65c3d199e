#pragma once

#include "xdk/xpPrimitiveMgr.h"
#include "xdk/xpPrimitiveMgrBase.h"

#include <array>
#include <cstdint>
#include <memory>

// The clients of the ACM counter banks; the model has the ACL hit counters only.
enum xpAcmClient_e : uint32_t {
   XP_ACM_AACL_COUNTER = 38,
};

// The ACL hit counters of each device: kNumCounters packet and byte counters, cleared when
// read. The chip counts on them as packets hit the entries that point at them.
class xpAcmBankMgr : public xpPrimitiveMgr, public xpPrimitiveMgrBase<xpAcmBankMgr> {
public:
   static constexpr uint32_t kNumCounters = 4096;

   XP_STATUS addDevice(xpsDevice_t devId, const xpDeviceProfile& profile) override;
   XP_STATUS removeDevice(xpsDevice_t devId) override;

   // Reads the counter and clears it. `pipe` selects the pipeline whose share is read; -1
   // reads the sum over all of them, and the model has a single pipeline, 0.
   XP_STATUS getCounterValue(xpsDevice_t devId, xpAcmClient_e client, uint32_t counterIndex,
                             uint64_t* pktCount, uint64_t* byteCount, int8_t pipe = -1);

   // The chip counting: packets (and their bytes) hit the counter. Not an SDK operation.
   XP_STATUS countPackets(xpsDevice_t devId, uint32_t counterIndex, uint64_t packets,
                          uint64_t bytes);
   // The counter's value, without clearing it; 0 for a device not added. Not an operation.
   uint64_t peekPackets(xpsDevice_t devId, uint32_t counterIndex) const;

private:
   struct Counter {
      uint64_t packets = 0;
      uint64_t bytes = 0;
   };
   XP_STATUS checkCounter(xpsDevice_t devId, uint32_t counterIndex) const;

   std::array<std::unique_ptr<Counter[]>, XP_MAX_DEVICES> banks_;
   OpRef opGetCounterValue_ = opRef("getCounterValue");
};
