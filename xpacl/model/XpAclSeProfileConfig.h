#pragma once

// What each rule list needs at each stage (configuration) and which SE profile it got there
// (status). The status tree mirrors the configuration tree key for key.
#include "platform/OrimMaskGroup.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/model/XpAclOrimValues.h"

namespace XpAcl {

class AaclSeProfileConfigEntry : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclSeProfileConfigEntry")
   class NotifieeConst : public Norv::NotifieeOf<AaclSeProfileConfigEntry> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(MaskGroupDescriptor, Orim::StageId)
   };
   explicit AaclSeProfileConfigEntry(const Orim::ChipRuleListId& id) : chipRuleListId_(id) {}
   const Orim::ChipRuleListId& chipRuleListId() const { return chipRuleListId_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   NORV_VALUE_COLL(maskGroupDescriptor, MaskGroupDescriptor, Orim::StageId,
                   Orim::MaskGroupDescriptor, Norv::HashMap)

private:
   Orim::ChipRuleListId chipRuleListId_;
};

class AaclChipSeProfileConfig : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclChipSeProfileConfig")
   class NotifieeConst : public Norv::NotifieeOf<AaclChipSeProfileConfig> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(ConfigEntry, Orim::ChipRuleListId)
   };
   explicit AaclChipSeProfileConfig(const Orim::ChipId& chipId) : chipId_(chipId) {}
   const Orim::ChipId& chipId() const { return chipId_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   NORV_ENTITY_COLL(configEntry, ConfigEntry, Orim::ChipRuleListId, AaclSeProfileConfigEntry,
                    Norv::HashMap)

private:
   Orim::ChipId chipId_;
};

class AaclSeProfileConfig : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclSeProfileConfig")
   class NotifieeConst : public Norv::NotifieeOf<AaclSeProfileConfig> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(ChipSeProfileConfig, Orim::ChipId)
   };
   explicit AaclSeProfileConfig(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   NORV_ENTITY_COLL(chipSeProfileConfig, ChipSeProfileConfig, Orim::ChipId,
                    AaclChipSeProfileConfig, Norv::HashMap)

private:
   Norv::Name name_;
};

class AaclSeProfileStageStatus : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclSeProfileStageStatus")
   class NotifieeConst : public Norv::NotifieeOf<AaclSeProfileStageStatus> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON(MaskGroupDescriptor)
      NORV_ON(LdeSeProfileId)
      NORV_ON(Result)
   };
   explicit AaclSeProfileStageStatus(const Orim::StageId& stageId) : stageId_(stageId) {}
   const Orim::StageId& stageId() const { return stageId_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   // The configuration this result answers.
   NORV_SCALAR(maskGroupDescriptor, MaskGroupDescriptor, Orim::MaskGroupDescriptor)
   NORV_SCALAR(ldeSeProfileId, LdeSeProfileId, XpXdk::XpSeProfileId)
   NORV_SCALAR(result, Result, AaclSeProfileStatusResult)

private:
   Orim::StageId stageId_;
};

class AaclSeProfileStatusEntry : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclSeProfileStatusEntry")
   class NotifieeConst : public Norv::NotifieeOf<AaclSeProfileStatusEntry> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(StageStatus, Orim::StageId)
   };
   explicit AaclSeProfileStatusEntry(const Orim::ChipRuleListId& id) : chipRuleListId_(id) {}
   const Orim::ChipRuleListId& chipRuleListId() const { return chipRuleListId_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   NORV_ENTITY_COLL(stageStatus, StageStatus, Orim::StageId, AaclSeProfileStageStatus,
                    Norv::HashMap)

private:
   Orim::ChipRuleListId chipRuleListId_;
};

class AaclChipSeProfileStatus : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclChipSeProfileStatus")
   class NotifieeConst : public Norv::NotifieeOf<AaclChipSeProfileStatus> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(StatusEntry, Orim::ChipRuleListId)
   };
   explicit AaclChipSeProfileStatus(const Orim::ChipId& chipId) : chipId_(chipId) {}
   const Orim::ChipId& chipId() const { return chipId_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   NORV_ENTITY_COLL(statusEntry, StatusEntry, Orim::ChipRuleListId, AaclSeProfileStatusEntry,
                    Norv::HashMap)

private:
   Orim::ChipId chipId_;
};

class AaclSeProfileStatus : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::AaclSeProfileStatus")
   class NotifieeConst : public Norv::NotifieeOf<AaclSeProfileStatus> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(ChipSeProfileStatus, Orim::ChipId)
   };
   explicit AaclSeProfileStatus(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   NORV_ENTITY_COLL(chipSeProfileStatus, ChipSeProfileStatus, Orim::ChipId,
                    AaclChipSeProfileStatus, Norv::HashMap)

private:
   Norv::Name name_;
};

XPACL_EXPORT Norv::Ptr<AaclSeProfileConfig> aaclSeProfileConfigFactory(const Norv::Name& name);
XPACL_EXPORT Norv::Ptr<AaclChipSeProfileConfig>
aaclChipSeProfileConfigFactory(const Orim::ChipId& chipId);
XPACL_EXPORT Norv::Ptr<AaclSeProfileConfigEntry>
aaclSeProfileConfigEntryFactory(const Orim::ChipRuleListId& chipRuleListId);
XPACL_EXPORT Norv::Ptr<AaclSeProfileStatus> aaclSeProfileStatusFactory(const Norv::Name& name);
XPACL_EXPORT Norv::Ptr<AaclChipSeProfileStatus>
aaclChipSeProfileStatusFactory(const Orim::ChipId& chipId);
XPACL_EXPORT Norv::Ptr<AaclSeProfileStatusEntry>
aaclSeProfileStatusEntryFactory(const Orim::ChipRuleListId& chipRuleListId);
XPACL_EXPORT Norv::Ptr<AaclSeProfileStageStatus>
aaclSeProfileStageStatusFactory(const Orim::StageId& stageId);

} // namespace XpAcl
