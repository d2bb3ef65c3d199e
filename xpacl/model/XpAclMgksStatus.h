#pragma once

// Which key-select entries each hardware key of a rule list got, per chip and stage.
#include "norv/FreeList.h"
#include "platform/Orim.h"
#include "platform/OrimMaskGroup.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/model/XpAclOrimValues.h"

namespace XpAcl {

enum class MgksEntryAllocStatus : uint8_t {
   mgksEntryAllocUnknown = 0,
   mgksEntryAllocOk = 1,
   mgksEntryAllocFailure = 2,
};
XPACL_EXPORT const char* norvEnumName(MgksEntryAllocStatus s);

class MgksStageStatus : public Norv::Entity, public Norv::FreeListAllocated<MgksStageStatus> {
public:
   NORV_ENTITY("XpAcl::MgksStageStatus")
   class NotifieeConst : public Norv::NotifieeOf<MgksStageStatus> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON(MaskGroupDescriptor)
      NORV_ON(Result)
      NORV_ON(MgksEntryIndex)
   };
   explicit MgksStageStatus(const Orim::StageId& stageId) : stageId_(stageId) {}
   const Orim::StageId& stageId() const { return stageId_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   NORV_SCALAR(maskGroupDescriptor, MaskGroupDescriptor, Orim::MaskGroupDescriptor)
   NORV_SCALAR(result, Result, MgksEntryAllocStatus)
   // The hardware index of the entry in the stage's key-select table.
   NORV_SCALAR(mgksEntryIndex, MgksEntryIndex, uint32_t)

private:
   Orim::StageId stageId_;
};

class MgksStatusEntry : public Norv::Entity, public Norv::FreeListAllocated<MgksStatusEntry> {
public:
   NORV_ENTITY("XpAcl::MgksStatusEntry")
   class NotifieeConst : public Norv::NotifieeOf<MgksStatusEntry> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON(ChipRuleListId)
      NORV_ON_KEY(MgksStageStatus, Orim::StageId)
   };
   explicit MgksStatusEntry(const Orim::ChipRuleListIdKey& key) : key_(key) {}
   const Orim::ChipRuleListIdKey& key() const { return key_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   NORV_SCALAR(chipRuleListId, ChipRuleListId, Orim::ChipRuleListId)
   NORV_ENTITY_COLL(mgksStageStatus, MgksStageStatus, Orim::StageId, MgksStageStatus,
                    Norv::HashMap)

private:
   Orim::ChipRuleListIdKey key_;
};

class MgksChipStatus : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::MgksChipStatus")
   class NotifieeConst : public Norv::NotifieeOf<MgksChipStatus> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(StatusEntry, Orim::ChipRuleListIdKey)
   };
   explicit MgksChipStatus(const Orim::ChipId& chipId) : chipId_(chipId) {}
   const Orim::ChipId& chipId() const { return chipId_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   NORV_ENTITY_COLL(statusEntry, StatusEntry, Orim::ChipRuleListIdKey, MgksStatusEntry,
                    Norv::HashMap)

private:
   Orim::ChipId chipId_;
};

class MgksStatus : public Norv::Entity {
public:
   NORV_ENTITY("XpAcl::MgksStatus")
   class NotifieeConst : public Norv::NotifieeOf<MgksStatus> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(ChipMgksStatus, Orim::ChipId)
   };
   explicit MgksStatus(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   NORV_ENTITY_COLL(chipMgksStatus, ChipMgksStatus, Orim::ChipId, MgksChipStatus, Norv::HashMap)

private:
   Norv::Name name_;
};

XPACL_EXPORT Norv::Ptr<MgksStatus> mgksStatusFactory(const Norv::Name& name);

} // namespace XpAcl
