#include "xpacl/stage/XpAclOrimStageMgrSm.h"

#include <vector>

#include "norv/Assert.h"
#include "norv/Trace.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"
#include "xpacl/sdk/XpXdkApiMacros.h"

NORV_TRACE_HANDLE("XpAclStageMgrSm");

namespace XpAcl {

namespace {

// Every stage's mask-group table has this many entries per way, and its hash table is declared
// with this shape.
constexpr uint32_t kMgTableEntries = 8 * 1024;
constexpr uint8_t kHwKeyLength = 128;
constexpr uint8_t kNumWays = 1;
constexpr uint8_t kIndexBits = 13; // log2(kMgTableEntries)
constexpr uint8_t kBucketDepth = 1;

} // namespace

AaclChipStageMgrSm::AaclChipStageMgrSm(
    const XpXdk::XpDeviceId& deviceId,
    Norv::Ptr<const AaclChipProfileStageInfo> chipProfileStageInfo,
    Norv::Ptr<Orim::ChipHwCapability> chipHwCapability,
    Norv::Ptr<AaclChipStageStatus> aaclChipStageStatus)
    : deviceId_(deviceId), chipProfileStageInfo_(std::move(chipProfileStageInfo)),
      chipHwCapability_(std::move(chipHwCapability)),
      aaclChipStageStatus_(std::move(aaclChipStageStatus)) {
   handleInitialized();
}

void AaclChipStageMgrSm::handleInitialized() {
   NORV_TRACE(8, "AaclChipStageMgrSm:: devId {}", deviceId_);
   mgTableMgrIs(xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
       xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0)));
   NORV_ASSERT(mgTableMgr());
   initializedIs(true);
   doSetupAaclStages();
}

void AaclChipStageMgrSm::doSetupAaclStages() {
   NORV_TRACE(8, "AaclChipStageMgrSm:: devId {}", deviceId_);
   const auto& info = *chipProfileStageInfo_;
   // Collected first: publishing a stage runs other reactors before this walk goes on.
   std::vector<std::pair<Orim::StageId, XpXdk::XpLdeId>> stages;
   for (auto it = info.orimStageIdToLdeIdColl().begin(); it; ++it) {
      stages.emplace_back(it.key(), it.value());
   }
   for (const auto& [stageId, ldeId] : stages) {
      // A missing set still describes the stage; choosing a profile there is what fails.
      Norv::Ptr<const AaclSeProfileSet> ldeSeProfileSet = info.ldeSeProfileSet(ldeId);
      const AaclLdeMgTableLookupDesc lookupDesc(ldeId, info.ldeIdToMgTableId(ldeId),
                                                info.ldeIdToMgksTableId(ldeId),
                                                ldeSeProfileSet.ptr());
      auto stageDescriptor = aaclChipStageStatus_->aaclStageDescriptorIs(stageId, lookupDesc);

      uint32_t numOfEntry = 0;
      // clang-format off
      XP_SDK_CALL(mgTableMgr()->getNumOfEntry( deviceId().value(), numOfEntry ));
      // clang-format on
      NORV_ASSERT(numOfEntry == (8 * 1024));

      stageDescriptor->orimStageDescriptorIs(chipHwCapability_->stageHashTableDescriptorIs(
          stageId, kHwKeyLength, kNumWays, kIndexBits, kBucketDepth));

      // Both address families are offered every length a profile carries.
      if (!ldeSeProfileSet) continue;
      for (auto p = ldeSeProfileSet->aaclSuperkeyFieldsColl().begin(); p; ++p) {
         const AaclSuperkeyFields& fields = p.value();
         for (auto l = fields.sipLenColl().begin(); l; ++l) {
            chipHwCapability_->srcIpV4MaskLengthIs(l.key(), true);
            chipHwCapability_->srcIpV6MaskLengthIs(l.key(), true);
         }
         for (auto l = fields.dipLenColl().begin(); l; ++l) {
            chipHwCapability_->dstIpV4MaskLengthIs(l.key(), true);
            chipHwCapability_->dstIpV6MaskLengthIs(l.key(), true);
         }
      }
   }
   static_assert(kMgTableEntries == 1u << kIndexBits);
}

AaclStageMgrSm::AaclStageMgrSm(Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                               Norv::Ptr<const XpSystem::SystemStatus> systemStatus,
                               Norv::Ptr<const AaclProfileStageInfo> profileStageInfo,
                               Norv::Ptr<Orim::HwCapabilityColl> hwCapabilityColl,
                               Norv::Ptr<AaclStageStatus> aaclStageStatus)
    : activeXpDeviceColl_(std::move(activeXpDeviceColl)),
      systemStatus_(std::move(systemStatus)), profileStageInfo_(std::move(profileStageInfo)),
      hwCapabilityColl_(std::move(hwCapabilityColl)),
      aaclStageStatus_(std::move(aaclStageStatus)) {
   if (activeXpDeviceColl_) {
      notifieeActiveXpDeviceColl_ =
          std::make_unique<NorvActiveXpDeviceColl>(this, activeXpDeviceColl_);
   }
   handleInitialized();
}

void AaclStageMgrSm::handleInitialized() {
   NORV_TRACE(8, "AaclStageMgrSm::");
   initializedIs(true);
   handleXpDevice();
}

void AaclStageMgrSm::handleXpDevice() {
   NORV_TRACE(8, "AaclStageMgrSm::");
   std::vector<XpXdk::XpDeviceId> devices;
   for (auto it = activeXpDeviceColl_->deviceIdColl().begin(); it; ++it) {
      devices.push_back(it.key());
   }
   for (auto it = chipStageMgrSmColl().begin(); it; ++it) {
      if (!activeXpDeviceColl_->deviceIdColl().contains(it.key())) devices.push_back(it.key());
   }
   for (const auto& deviceId : devices)
      handleXpDevice(deviceId);
}

void AaclStageMgrSm::handleXpDevice(const XpXdk::XpDeviceId& deviceId) {
   NORV_TRACE(8, "AaclStageMgrSm:: deviceId {}", deviceId);
   if (!initialized()) return;
   const Orim::ChipId chipId = XpXdk::chipIdOf(deviceId);
   if (activeXpDeviceColl_->deviceId(deviceId)) {
      Norv::Ptr<const AaclChipProfileStageInfo> chipProfileStageInfo =
          profileStageInfo_->chipProfileStageInfo(deviceId);
      NORV_ASSERT(chipProfileStageInfo);
      Norv::Ptr<Orim::ChipHwCapability> chipHwCapability =
          hwCapabilityColl_->chipHwCapability(chipId);
      NORV_ASSERT(chipHwCapability);
      Norv::Ptr<AaclChipStageStatus> chipAaclStageStatus =
          aaclStageStatus_->aaclChipStageStatusIs(chipId);
      NORV_ASSERT(chipAaclStageStatus);
      chipStageMgrSmIs(deviceId, chipProfileStageInfo, chipHwCapability, chipAaclStageStatus);
   } else {
      aaclStageStatus_->aaclChipStageStatusDel(chipId);
      chipStageMgrSmDel(deviceId);
   }
}

Norv::Ptr<AaclChipStageMgrSm> AaclStageMgrSm::chipStageMgrSmIs(
    const XpXdk::XpDeviceId& deviceId,
    const Norv::Ptr<const AaclChipProfileStageInfo>& chipProfileStageInfo,
    const Norv::Ptr<Orim::ChipHwCapability>& chipHwCapability,
    const Norv::Ptr<AaclChipStageStatus>& aaclChipStageStatus) {
   auto sm = Norv::memberIs(
       chipStageMgrSm_, deviceId,
       [&] {
          return aaclChipStageMgrSmFactory(deviceId, chipProfileStageInfo, chipHwCapability,
                                           aaclChipStageStatus);
       },
       chipProfileStageInfo, chipHwCapability, aaclChipStageStatus);
   sm->aaclStageMgrSmIs(this);
   return sm;
}

Norv::Ptr<AaclStageMgrSm>
aaclStageMgrSmFactory(Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                      Norv::Ptr<const XpSystem::SystemStatus> systemStatus,
                      Norv::Ptr<const AaclProfileStageInfo> profileStageInfo,
                      Norv::Ptr<Orim::HwCapabilityColl> hwCapabilityColl,
                      Norv::Ptr<AaclStageStatus> aaclStageStatus) {
   return new AaclStageMgrSm(std::move(activeXpDeviceColl), std::move(systemStatus),
                             std::move(profileStageInfo), std::move(hwCapabilityColl),
                             std::move(aaclStageStatus));
}

Norv::Ptr<AaclChipStageMgrSm>
aaclChipStageMgrSmFactory(const XpXdk::XpDeviceId& deviceId,
                          Norv::Ptr<const AaclChipProfileStageInfo> chipProfileStageInfo,
                          Norv::Ptr<Orim::ChipHwCapability> chipHwCapability,
                          Norv::Ptr<AaclChipStageStatus> aaclChipStageStatus) {
   return new AaclChipStageMgrSm(deviceId, std::move(chipProfileStageInfo),
                                 std::move(chipHwCapability), std::move(aaclChipStageStatus));
}

} // namespace XpAcl
