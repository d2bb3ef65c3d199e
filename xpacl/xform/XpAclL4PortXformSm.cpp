#include "xpacl/xform/XpAclL4PortXformSm.h"

#include <cstdio>
#include <cstring>

#include "norv/Errors.h"
#include "norv/Trace.h"
#include "xdk/aaclL4PortMgr.h"
#include "xdk/xpAclPl.h"
#include "xpacl/sdk/XpXdkApiMacros.h"
#include "xpacl/xform/XpAclPortRangeColl.h"

NORV_TRACE_HANDLE("XpAclL4PortXformSm");

namespace XpAcl {

L4PortXformSm::L4PortXformSm(const Norv::Name& name,
                             Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                             Norv::Ptr<const Orim::PortRangeConfig> portRangeConfig,
                             Norv::Ptr<Orim::ResourceStatus> resourceStatus)
    : name_(name), activeXpDeviceColl_(std::move(activeXpDeviceColl)),
      portRangeConfig_(std::move(portRangeConfig)), resourceStatus_(std::move(resourceStatus)) {
   if (activeXpDeviceColl_) {
      norvActiveXpDeviceColl_ =
          std::make_unique<NorvActiveXpDeviceColl>(this, activeXpDeviceColl_);
   }
   if (portRangeConfig_) {
      norvPortRangeConfig_ = std::make_unique<NorvPortRangeConfig>(this, portRangeConfig_);
   }
   // The chip reactors mirror the configuration from the start; they wait for arming.
   handleChipPortRangeConfig();
}

// Dropping the reactor takes its labels out of the chips.
L4PortXformSm::~L4PortXformSm() {
   chipPortRangeConfigDelAll();
}

Norv::Ptr<L4PortXformSm::NorvChipPortRangeConfig>
L4PortXformSm::chipPortRangeConfigIs(const Orim::ChipId& chipId,
                                     const Norv::Ptr<const Orim::ChipPortRangeConfig>& config) {
   if (!config) {
      throw Norv::RangeError("null _chipPortRangeConfig parameter to mutator for "
                             "XpAcl::L4PortXformSm::chipPortRangeConfig not allowed\"");
   }
   // A member replaced under the same key is another entity: its reactor starts afresh.
   if (auto old = chipPortRangeConfig(chipId); old && old->chipPortRangeConfig() != config) {
      chipPortRangeConfigDel(chipId);
   }
   return Norv::memberIs(chipPortRangeConfig_, chipId, [&] {
      return Norv::Ptr<NorvChipPortRangeConfig>(
          new NorvChipPortRangeConfig(chipId, config, this));
   });
}

void L4PortXformSm::handleInitialized() {
   NORV_TRACE(8, "L4PortXformSm::handleInitialized name {}", name_);
   NORV_ASSERT(initialized());
   size_t instance = 0;
   if (name_ == "L4SrcPortXformSm") {
      instance = aaclL4PortMgr::kSrcInstance;
   } else if (name_ == "L4DstPortXformSm") {
      instance = aaclL4PortMgr::kDstInstance;
   } else {
      NORV_ASSERT(0 && "unknown SM name for L4PortXformSm");
   }
   l4PortMgrIs(xpAclPl::instance()->getMgr<aaclL4PortMgr>(
       xpPrimitiveMgrBase<aaclL4PortMgr>::idAt(instance)));
   NORV_ASSERT(l4PortMgr());
   handleXpDevice();
   for (auto it = chipPortRangeConfigColl().begin(); it; ++it)
      it.value()->handleInitialized();
}

void L4PortXformSm::handleXpDevice(const XpXdk::XpDeviceId& devId) {
   if (!initialized()) return;
   NORV_TRACE(8, "L4PortXformSm::handleXpDevice devId {} active {}", devId,
              deviceActive(devId));
   auto chipPortRangeConfigSm = chipPortRangeConfig(XpXdk::chipIdOf(devId));
   if (!deviceActive(devId)) {
      // The table keeps its labels; the next activation brings it up to date.
      if (chipPortRangeConfigSm) chipPortRangeConfigSm->initializedIs(false);
      return;
   }
   if (chipPortRangeConfigSm) {
      NORV_ASSERT(!chipPortRangeConfigSm->initialized());
      chipPortRangeConfigSm->handleInitialized();
   }
   // Live ranges first, gaps after: a port that keeps its label is never zero in between.
   sweepStaleEntries(devId);
}

void L4PortXformSm::handleXpDevice() {
   NORV_TRACE(8, "L4PortXformSm::handleXpDevice");
   if (!activeXpDeviceColl_) return;
   for (auto it = activeXpDeviceColl_->deviceIdColl().begin(); it; ++it)
      handleXpDevice(it.key());
}

void L4PortXformSm::handleChipPortRangeConfig(const Orim::ChipId& chipId) {
   NORV_TRACE(8, "L4PortXformSm::handleChipPortRangeConfig chipId {}", chipId);
   auto config = portRangeConfig_ ? portRangeConfig_->chipPortRangeConfig(chipId) : nullptr;
   if (config) {
      chipPortRangeConfigIs(chipId, config);
   } else {
      chipPortRangeConfigDel(chipId);
   }
}

void L4PortXformSm::handleChipPortRangeConfig() {
   NORV_TRACE(8, "L4PortXformSm::handleChipPortRangeConfig");
   forEachChip(chipPortRangeConfigColl(),
               portRangeConfig_ ? &portRangeConfig_->chipPortRangeConfigColl() : nullptr,
               [this](const Orim::ChipId& chipId) { handleChipPortRangeConfig(chipId); });
}

// Inlined into the per-port loops (ranges and the sweep), which run once per table entry.
[[gnu::always_inline]] inline void
L4PortXformSm::writeEntry(XpXdk::XpDeviceId deviceId, uint32_t entryIndex, uint16_t newVal) {
   const xpsDevice_t devId = deviceId.value();
   aaclL4PortEntry l4PortEntry;
   // clang-format off
   XP_SDK_CALL(l4PortMgr()->readEntry( devId, entryIndex, &l4PortEntry ));
   // clang-format on
   const uint16_t oldVal = l4PortEntry.getXformedL4Port();
   if (oldVal == newVal) return;
   NORV_TRACE(8, "L4PortXformSm::writeEntry devId {} entryIndex {} oldVal {} newVal {}", devId,
              entryIndex, oldVal, newVal);
   l4PortEntry.setXformedL4Port(newVal);
   // clang-format off
   XP_SDK_CALL(l4PortMgr()->writeEntry( devId, entryIndex, &l4PortEntry ));
   // clang-format on
}

uint32_t L4PortXformSm::numTblEntries(XpXdk::XpDeviceId devId) const {
   NORV_ASSERT(l4PortMgr());
   uint32_t numEntries = 0;
   l4PortMgr()->getNumOfEntry(devId.value(), numEntries);
   NORV_ASSERT(numEntries);
   NORV_TRACE(8, "L4PortXformSm::numTblEntries devId {} numEntries {}", devId, numEntries);
   return numEntries;
}

// The ranges do not overlap and no two share a start or an end, so the i-th smallest start and
// the i-th smallest end bound one range and everything between consecutive ranges is a gap.
// A configuration that breaks this trips the assertions.
void L4PortXformSm::sweepStaleEntries(XpXdk::XpDeviceId devId) {
   if (!initialized()) return;
   NORV_TRACE(8, "L4PortXformSm::sweepStaleEntries devId {}", devId);
   Norv::Ptr<PortRangeColl> portRangeColl = portRangeCollFactory();
   auto config = portRangeConfig_
                     ? portRangeConfig_->chipPortRangeConfig(XpXdk::chipIdOf(devId))
                     : nullptr;
   if (config) {
      for (auto it = config->activeXformColl().begin(); it; ++it) {
         portRangeColl->rangeStartIs(it.key().rangeStart, true);
         portRangeColl->rangeEndIs(it.key().rangeEnd, true);
      }
   }
   const uint32_t maxIndex = numTblEntries(devId) - 1;
   uint32_t clearRangeBegin = 0;
   uint32_t clearRangeStop = maxIndex;
   auto startIter = portRangeColl->rangeStartColl().begin();
   auto endIter = portRangeColl->rangeEndColl().begin();
   for (;;) {
      if (!startIter || clearRangeBegin < startIter.key()) {
         if (startIter) clearRangeStop = startIter.key() - 1u;
         NORV_TRACE(5, "clearing entries in [{}, {}]", clearRangeBegin, clearRangeStop);
         NORV_ASSERT(clearRangeBegin <= clearRangeStop);
         for (uint32_t entryIndex = clearRangeBegin; entryIndex <= clearRangeStop;
              ++entryIndex) {
            writeEntry(devId, entryIndex, 0);
         }
         if (!startIter) {
            NORV_ASSERT(!endIter);
            return;
         }
      }
      NORV_ASSERT(endIter);
      if (endIter.key() == maxIndex) return;
      clearRangeBegin = endIter.key() + 1u;
      clearRangeStop = maxIndex;
      ++startIter;
      ++endIter;
   }
}

void L4PortXformSm::doShowTblEntries(int fd, XpXdk::XpDeviceId devId) const {
   const uint32_t n = numTblEntries(devId);
   dprintf(fd, "-------|-----+\n");
   dprintf(fd, "hw     |     |\n");
   dprintf(fd, "Index  |port |\n");
   dprintf(fd, "-------|-----+\n");
   uint32_t valid = 0;
   for (uint32_t i = 0; i < n; ++i) {
      aaclL4PortEntry entry;
      if (l4PortMgr()->readEntry(devId.value(), i, &entry, 0) != XP_NO_ERR) continue;
      if (entry.getXformedL4Port() == 0) continue;
      dprintf(fd, "%7d|%5d|\n", i, entry.getXformedL4Port());
      ++valid;
   }
   dprintf(fd, "-------|-----+\n");
   dprintf(fd, "Number of valid entries in range of 0 to %d : %d\n", n, valid);
   dprintf(fd, "Maximum possible table entries : %d\n", n);
}

L4PortXformSm::NorvChipPortRangeConfig::NorvChipPortRangeConfig(
    const Orim::ChipId& fwkKey, Norv::Ptr<const Orim::ChipPortRangeConfig> chipPortRangeConfig,
    L4PortXformSm* l4PortXformSm)
    : NotifieeConst(this, chipPortRangeConfig), fwkKey_(fwkKey),
      chipPortRangeConfig_(std::move(chipPortRangeConfig)), l4PortXformSm_(l4PortXformSm) {
   handleInitialized();
}

void L4PortXformSm::NorvChipPortRangeConfig::handleInitialized() {
   if (!l4PortXformSm_->initialized() || initialized()) return;
   if (!l4PortXformSm_->deviceActive(devId())) return;
   initializedIs(true);
   NORV_TRACE(8, "NorvChipPortRangeConfig::handleInitialized chipId {}", fwkKey_);
   handleActiveXform();
   handleAttemptedRequestId();
}

void L4PortXformSm::NorvChipPortRangeConfig::writeRange(const Orim::L4PortRange& range,
                                                        uint16_t label) {
   // Locals, so that the loop does not fetch them again after every table write. The counter
   // is wider than a port, so a range ending at 65535 ends.
   L4PortXformSm* const sm = l4PortXformSm_;
   const XpXdk::XpDeviceId dev = devId();
   const uint32_t end = range.rangeEnd;
   for (uint32_t port = range.rangeStart; port <= end; ++port) {
      sm->writeEntry(dev, port, label);
   }
}

void L4PortXformSm::NorvChipPortRangeConfig::handleActiveXform(const Orim::L4PortRange& range) {
   if (!active()) return;
   // A range no longer there is being removed: its ports go back to no label.
   const uint16_t xformed = chipPortRangeConfig_->activeXform(range).xformed;
   NORV_TRACE(8,
              "NorvChipPortRangeConfig::handleActiveXform chipId {} rangeStart {} rangeEnd {} "
              "xformed {}",
              fwkKey_, range.rangeStart, range.rangeEnd, xformed);
   writeRange(range, xformed);
}

void L4PortXformSm::NorvChipPortRangeConfig::handleActiveXform() {
   NORV_TRACE(8, "NorvChipPortRangeConfig::handleActiveXform chipId {}", fwkKey_);
   for (auto it = chipPortRangeConfig_->activeXformColl().begin(); it; ++it) {
      handleActiveXform(it.key());
   }
}

void L4PortXformSm::NorvChipPortRangeConfig::handleAttemptedRequestId() {
   if (!active()) return;
   const double attemptedRequestId = chipPortRangeConfig_->attemptedRequestId();
   NORV_TRACE(8, "NorvChipPortRangeConfig::handleAttemptedRequestId chipId {} requestId {}",
              fwkKey_, attemptedRequestId);
   if (attemptedRequestId == 0) return;
   // The writes before this were synchronous and checked: the labels are in the chip.
   if (const auto& status = l4PortXformSm_->resourceStatus()) {
      status->resourceChipStatusIs(fwkKey_, Orim::XformStatus{attemptedRequestId, true});
   }
}

void L4PortXformSm::NorvChipPortRangeConfig::doCleanup() {
   if (!active()) return;
   NORV_TRACE(8, "NorvChipPortRangeConfig::doCleanup chipId {}", fwkKey_);
   if (const auto& status = l4PortXformSm_->resourceStatus())
      status->resourceChipStatusDel(fwkKey_);
   for (auto it = chipPortRangeConfig_->activeXformColl().begin(); it; ++it) {
      if (it.key().rangeEnd < it.key().rangeStart) continue;
      writeRange(it.key(), 0);
   }
}

Norv::Ptr<L4PortXformSm>
l4PortXformSmFactory(const Norv::Name& name,
                     Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                     Norv::Ptr<const Orim::PortRangeConfig> portRangeConfig,
                     Norv::Ptr<Orim::ResourceStatus> resourceStatus) {
   return new L4PortXformSm(name, std::move(activeXpDeviceColl), std::move(portRangeConfig),
                            std::move(resourceStatus));
}

} // namespace XpAcl
