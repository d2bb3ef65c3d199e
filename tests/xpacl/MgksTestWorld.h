#pragma once

// The key-select reactor with its partners for tests: the SE-profile manager answers the
// requests, the stage status is published by hand (six stages, MGKS table = stage + 1), and
// the chip model holds the device.
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "tests/xpacl/StageTestWorld.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpMgksMgr.h"
#include "xpacl/maskgroup/XpAclMgksConfigSm.h"
#include "xpacl/maskgroup/XpAclMgksEntry.h"

namespace XpAclTest {

inline constexpr uint32_t kMgksStages = 6;

inline Orim::MaskGroupDescriptor mgd(uint8_t sip, uint8_t dip) {
   Orim::MaskGroupDescriptor d;
   d.srcIpMaskLengthIs(sip);
   d.dstIpMaskLengthIs(dip);
   return d;
}

// Profile 1 carries SIP 8 and DIP 4, profile 5 SIP 16; nothing carries SIP 30.
inline AaclSeProfileSet mgksProfiles() {
   AaclSeProfileSet set;
   AaclSuperkeyFields one;
   one.sipLenIs(8, true);
   one.dipLenIs(4, true);
   set.aaclSuperkeyFieldsIs(XpXdk::XpSeProfileId(1), one);
   AaclSuperkeyFields five;
   five.sipLenIs(16, true);
   set.aaclSuperkeyFieldsIs(XpXdk::XpSeProfileId(5), five);
   return set;
}

struct MgksTestWorld {
   explicit MgksTestWorld(uint32_t mgksEntries = 1024) {
      xpSdkInit();
      xpDeviceProfile profile;
      profile.mgksTableEntries = mgksEntries;
      xpDeviceMgr::instance()->addDevice(uint8_t(chip.value()), profile);
      mgks = xpAclPl::instance()->getMgr<xpMgksMgr>(xpPrimitiveMgrBase<xpMgksMgr>::idAt(0));
   }

   void startSeProfileMgr() { w.startSeProfileMgr(); }
   void startMgks() {
      sm = mgksConfigSmFactory(dataFlow, w.seConfig, w.seStatus, w.stageStatus, status);
   }
   // Publishes the chip's stages.
   void stagesUp() {
      auto chipStages = w.stageStatus->aaclChipStageStatusIs(chip);
      for (uint32_t s = 0; s < kMgksStages; ++s) {
         chipStages->aaclStageDescriptorIs(
             Orim::StageId(s),
             AaclLdeMgTableLookupDesc(XpXdk::XpLdeId(s), AaclMgTableId(s),
                                      AaclMgksTableId(s + 1), mgksProfiles()));
      }
   }
   void stagesDown() { w.stageStatus->aaclChipStageStatusDel(chip); }
   Norv::Ptr<Orim::ChipDataFlowConfig> chipConfig() {
      return dataFlow->chipDataFlowConfigIs(chip);
   }
   void mg(uint32_t rl, uint32_t stage, const Orim::MaskGroupDescriptor& d) {
      chipConfig()
          ->chipRuleListCfgIs(Orim::ChipRuleListId(rl))
          ->stageMgIs(Orim::StageId(stage), d);
   }
   void mgDel(uint32_t rl, uint32_t stage) {
      auto cfg = chipConfig()->chipRuleListCfg(Orim::ChipRuleListId(rl));
      if (cfg) cfg->stageMgDel(Orim::StageId(stage));
   }
   void key(const Orim::ChipRuleListIdKey& k, uint32_t rl) {
      chipConfig()->chipRuleListKeyToIdIs(k, Orim::ChipRuleListId(rl));
   }
   void keyDel(const Orim::ChipRuleListIdKey& k) { chipConfig()->chipRuleListKeyToIdDel(k); }

   Norv::Ptr<MgksStageStatus> stageStatus(const Orim::ChipRuleListIdKey& k, uint32_t stage) {
      auto chipStatus = status->chipMgksStatus(chip);
      auto entry = chipStatus ? chipStatus->statusEntry(k) : nullptr;
      return entry ? entry->mgksStageStatus(Orim::StageId(stage)) : nullptr;
   }
   // Every valid entry of the chip's MGKS tables, by table, as (index, entry).
   std::map<uint32_t, std::map<uint32_t, xpMgksEntry>> tables() const {
      std::map<uint32_t, std::map<uint32_t, xpMgksEntry>> out;
      for (uint32_t t = 0; t < xpMgksMgr::kNumMgksTables; ++t) {
         for (uint32_t i = 0; i < 1024; ++i) {
            if (auto e = mgks->validEntry(uint8_t(chip.value()), t, i)) out[t][i] = *e;
         }
      }
      return out;
   }

   const Orim::ChipId chip{1};
   StageTestWorld w;
   Norv::Ptr<Orim::DataFlowConfig> dataFlow = Orim::dataFlowConfigFactory("dataFlow");
   Norv::Ptr<MgksStatus> status = mgksStatusFactory("mgks");
   Norv::Ptr<MgksConfigSm> sm;
   xpMgksMgr* mgks = nullptr;
};

} // namespace XpAclTest
