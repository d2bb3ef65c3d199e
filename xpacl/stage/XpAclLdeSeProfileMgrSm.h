#pragma once

// Chooses, for every rule list at every stage where it has a mask-group descriptor, an SE
// profile of the stage's LDE whose superkey carries the rule list's IP mask lengths, and
// publishes the choice in the SE-profile status tree.
#include <memory>

#include "xpacl/XpAclExport.h"
#include "xpacl/model/XpAclOrimTypes.h"

namespace XpAcl {

class AaclChipLdeSeProfileMgrSm;
class AaclLdeSeProfileMgrSm;

// Profile ids published beside a result that names no allocated profile.
inline constexpr uint8_t kSeProfileIdNotApplicable = 0;
inline constexpr uint8_t kSeProfileIdNotAvailable = 8;

class AaclChipRuleListLdeSeProfileMgrSm : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::AaclChipRuleListLdeSeProfileMgrSm")
   NORV_FORWARDING_NOTIFIEE(NorvConfigEntry, AaclSeProfileConfigEntry,
                            AaclChipRuleListLdeSeProfileMgrSm, MaskGroupDescriptor,
                            Orim::StageId, handleMaskGroupDescriptor)
   NORV_FORWARDING_NOTIFIEE(NorvChipAaclStageStatus, AaclChipStageStatus,
                            AaclChipRuleListLdeSeProfileMgrSm, AaclStageDescriptor,
                            Orim::StageId, handleMaskGroupDescriptor)

   AaclChipRuleListLdeSeProfileMgrSm(const Orim::ChipRuleListId& chipRuleListId,
                                     Norv::Ptr<const AaclSeProfileConfigEntry> configEntry,
                                     Norv::Ptr<AaclSeProfileStatusEntry> statusEntry,
                                     Norv::Ptr<const AaclChipStageStatus> chipAaclStageStatus);

   const Orim::ChipRuleListId& chipRuleListId() const { return chipRuleListId_; }
   const Norv::Ptr<const AaclSeProfileConfigEntry>& configEntry() const { return configEntry_; }
   const Norv::Ptr<AaclSeProfileStatusEntry>& statusEntry() const { return statusEntry_; }
   const Norv::Ptr<const AaclChipStageStatus>& chipAaclStageStatus() const {
      return chipAaclStageStatus_;
   }
   static constexpr std::array<const char*, 3> norvCtorAttrNames{"_configEntry", "_statusEntry",
                                                                 "_chipAaclStageStatus"};
   auto norvCtorAttrs() const {
      return std::make_tuple(configEntry_, statusEntry_, chipAaclStageStatus_);
   }
   AaclChipLdeSeProfileMgrSm* aaclChipLdeSeProfileMgrSm() const { return parent_; }
   void aaclChipLdeSeProfileMgrSmIs(AaclChipLdeSeProfileMgrSm* parent) { parent_ = parent; }

   void handleInitialized() override;
   void handleMaskGroupDescriptor(const Orim::StageId& stageId);
   void handleMaskGroupDescriptor();

private:
   Orim::ChipRuleListId chipRuleListId_;
   Norv::Ptr<const AaclSeProfileConfigEntry> configEntry_;
   Norv::Ptr<AaclSeProfileStatusEntry> statusEntry_;
   Norv::Ptr<const AaclChipStageStatus> chipAaclStageStatus_;
   AaclChipLdeSeProfileMgrSm* parent_ = nullptr;
   std::unique_ptr<NorvConfigEntry> notifieeConfigEntry_;
   std::unique_ptr<NorvChipAaclStageStatus> notifieeChipAaclStageStatus_;
};

class AaclChipLdeSeProfileMgrSm : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::AaclChipLdeSeProfileMgrSm")
   NORV_FORWARDING_NOTIFIEE(NorvChipSearchProfileConfig, AaclChipSeProfileConfig,
                            AaclChipLdeSeProfileMgrSm, ConfigEntry, Orim::ChipRuleListId,
                            handleSeProfileConfigForChipRuleList)

   AaclChipLdeSeProfileMgrSm(const Orim::ChipId& chipId,
                             Norv::Ptr<const AaclChipSeProfileConfig> chipSearchProfileConfig,
                             Norv::Ptr<AaclChipSeProfileStatus> chipSearchProfileStatus,
                             Norv::Ptr<const AaclChipStageStatus> chipAaclStageStatus);

   const Orim::ChipId& chipId() const { return chipId_; }
   const Norv::Ptr<const AaclChipSeProfileConfig>& chipSearchProfileConfig() const {
      return chipSearchProfileConfig_;
   }
   const Norv::Ptr<AaclChipSeProfileStatus>& chipSearchProfileStatus() const {
      return chipSearchProfileStatus_;
   }
   const Norv::Ptr<const AaclChipStageStatus>& chipAaclStageStatus() const {
      return chipAaclStageStatus_;
   }
   static constexpr std::array<const char*, 3> norvCtorAttrNames{
       "_chipSearchProfileConfig", "_chipSearchProfileStatus", "_chipAaclStageStatus"};
   auto norvCtorAttrs() const {
      return std::make_tuple(chipSearchProfileConfig_, chipSearchProfileStatus_,
                             chipAaclStageStatus_);
   }
   AaclLdeSeProfileMgrSm* aaclLdeSeProfileMgrSm() const { return parent_; }
   void aaclLdeSeProfileMgrSmIs(AaclLdeSeProfileMgrSm* parent) { parent_ = parent; }

   NORV_REACTOR_COLL(chipRuleListSeProfileMgrSm, ChipRuleListSeProfileMgrSm,
                     Orim::ChipRuleListId, AaclChipRuleListLdeSeProfileMgrSm, Norv::HashMap)
public:
   Norv::Ptr<AaclChipRuleListLdeSeProfileMgrSm> chipRuleListSeProfileMgrSmIs(
       const Orim::ChipRuleListId& chipRuleListId,
       const Norv::Ptr<const AaclSeProfileConfigEntry>& configEntry,
       const Norv::Ptr<AaclSeProfileStatusEntry>& statusEntry,
       const Norv::Ptr<const AaclChipStageStatus>& chipAaclStageStatus);

   void handleInitialized() override;
   void handleSeProfileConfigForChipRuleList(const Orim::ChipRuleListId& chipRuleListId);
   void handleSeProfileConfigForChipRuleList();

private:
   Orim::ChipId chipId_;
   Norv::Ptr<const AaclChipSeProfileConfig> chipSearchProfileConfig_;
   Norv::Ptr<AaclChipSeProfileStatus> chipSearchProfileStatus_;
   Norv::Ptr<const AaclChipStageStatus> chipAaclStageStatus_;
   AaclLdeSeProfileMgrSm* parent_ = nullptr;
   std::unique_ptr<NorvChipSearchProfileConfig> notifieeChipSearchProfileConfig_;
};

class AaclLdeSeProfileMgrSm : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::AaclLdeSeProfileMgrSm")
   NORV_FORWARDING_NOTIFIEE(NorvAaclStageStatus, AaclStageStatus, AaclLdeSeProfileMgrSm,
                            AaclChipStageStatus, Orim::ChipId, handleChipStageStatus)

   AaclLdeSeProfileMgrSm(Norv::Ptr<AaclSeProfileConfig> seProfileConfig,
                         Norv::Ptr<AaclSeProfileStatus> seProfileStatus,
                         Norv::Ptr<const AaclStageStatus> aaclStageStatus);

   const Norv::Ptr<AaclSeProfileConfig>& seProfileConfig() const { return seProfileConfig_; }
   const Norv::Ptr<AaclSeProfileStatus>& seProfileStatus() const { return seProfileStatus_; }
   const Norv::Ptr<const AaclStageStatus>& aaclStageStatus() const { return aaclStageStatus_; }

   NORV_REACTOR_COLL(chipLdeSeProfileMgrSm, ChipLdeSeProfileMgrSm, Orim::ChipId,
                     AaclChipLdeSeProfileMgrSm, Norv::HashMap)
public:
   Norv::Ptr<AaclChipLdeSeProfileMgrSm> chipLdeSeProfileMgrSmIs(
       const Orim::ChipId& chipId,
       const Norv::Ptr<const AaclChipSeProfileConfig>& chipSearchProfileConfig,
       const Norv::Ptr<AaclChipSeProfileStatus>& chipSearchProfileStatus,
       const Norv::Ptr<const AaclChipStageStatus>& chipAaclStageStatus);

   void handleInitialized() override;
   void handleChipStageStatus(const Orim::ChipId& chipId);
   void handleChipStageStatus();

private:
   Norv::Ptr<AaclSeProfileConfig> seProfileConfig_;
   Norv::Ptr<AaclSeProfileStatus> seProfileStatus_;
   Norv::Ptr<const AaclStageStatus> aaclStageStatus_;
   std::unique_ptr<NorvAaclStageStatus> notifieeAaclStageStatus_;
};

XPACL_EXPORT Norv::Ptr<AaclLdeSeProfileMgrSm>
aaclLdeSeProfileMgrSmFactory(Norv::Ptr<AaclSeProfileConfig> seProfileConfig,
                             Norv::Ptr<AaclSeProfileStatus> seProfileStatus,
                             Norv::Ptr<const AaclStageStatus> aaclStageStatus);
Norv::Ptr<AaclChipLdeSeProfileMgrSm>
aaclChipLdeSeProfileMgrSmFactory(const Orim::ChipId& chipId,
                                 Norv::Ptr<const AaclChipSeProfileConfig> chipSeProfileConfig,
                                 Norv::Ptr<AaclChipSeProfileStatus> chipSeProfileStatus,
                                 Norv::Ptr<const AaclChipStageStatus> chipStageStatus);
Norv::Ptr<AaclChipRuleListLdeSeProfileMgrSm>
aaclChipRuleListLdeSeProfileMgrSmFactory(const Orim::ChipRuleListId& chipRuleListId,
                                         Norv::Ptr<const AaclSeProfileConfigEntry> configEntry,
                                         Norv::Ptr<AaclSeProfileStatusEntry> statusEntry,
                                         Norv::Ptr<const AaclChipStageStatus> chipStageStatus);

} // namespace XpAcl
