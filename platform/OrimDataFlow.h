#pragma once

#include <array>
#include <tuple>

#include "norv/Attributes.h"
#include "norv/Export.h"
#include "platform/Orim.h"
#include "platform/OrimMaskGroup.h"
#include "platform/OrimRule.h"

// What the hardware-abstraction layer publishes of each chip's data flow. One
// ChipDataFlowConfig per chip carries everything the driver's reactors read of that chip, so
// each of them watches one entity per chip; new inputs are new collections of it.
namespace Orim {

// The rules placed in one stage's hashed table, by position.
class PerStageHashTable : public Norv::Entity {
public:
   NORV_ENTITY("Orim::PerStageHashTable")
   class NotifieeConst : public Norv::NotifieeOf<PerStageHashTable> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(Table, PerStageHashTableKey)
   };
   explicit PerStageHashTable(const StageId& stageId) : stageId_(stageId) {}
   const StageId& stageId() const { return stageId_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   NORV_VALUE_COLL(table, Table, PerStageHashTableKey, PerStageTableEntry, Norv::HashMap)

private:
   StageId stageId_;
};

// One rule list of a chip: the mask group its rules need on each stage it is placed in.
class ChipRuleListCfg : public Norv::Entity {
public:
   NORV_ENTITY("Orim::ChipRuleListCfg")
   class NotifieeConst : public Norv::NotifieeOf<ChipRuleListCfg> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(StageMg, StageId)
   };
   explicit ChipRuleListCfg(const ChipRuleListId& chipRuleListId)
       : chipRuleListId_(chipRuleListId) {}
   const ChipRuleListId& chipRuleListId() const { return chipRuleListId_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   NORV_VALUE_COLL(stageMg, StageMg, StageId, MaskGroupDescriptor, Norv::HashMap)

private:
   ChipRuleListId chipRuleListId_;
};

class ChipDataFlowConfig : public Norv::Entity {
public:
   NORV_ENTITY("Orim::ChipDataFlowConfig")
   class NotifieeConst : public Norv::NotifieeOf<ChipDataFlowConfig> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(StageHashTable, StageId)
      NORV_ON_KEY(ChipRuleListKeyToId, ChipRuleListIdKey)
      NORV_ON_KEY(ChipRuleListCfg, ChipRuleListId)
   };
   explicit ChipDataFlowConfig(const ChipId& chipId) : chipId_(chipId) {}
   const ChipId& chipId() const { return chipId_; }
   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

   NORV_ENTITY_COLL(stageHashTable, StageHashTable, StageId, PerStageHashTable, Norv::HashMap)
   // The hardware keys under which each rule list is bound: several keys may name one list.
   NORV_VALUE_COLL(chipRuleListKeyToId, ChipRuleListKeyToId, ChipRuleListIdKey, ChipRuleListId,
                   Norv::HashMap)
   NORV_ENTITY_COLL(chipRuleListCfg, ChipRuleListCfg, ChipRuleListId, ChipRuleListCfg,
                    Norv::HashMap)

private:
   ChipId chipId_;
};

class DataFlowConfig : public Norv::Entity {
public:
   NORV_ENTITY("Orim::DataFlowConfig")
   class NotifieeConst : public Norv::NotifieeOf<DataFlowConfig> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(ChipDataFlowConfig, ChipId)
   };
   explicit DataFlowConfig(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   NORV_ENTITY_COLL(chipDataFlowConfig, ChipDataFlowConfig, ChipId, ChipDataFlowConfig,
                    Norv::HashMap)

private:
   Norv::Name name_;
};

NORV_EXPORT Norv::Ptr<DataFlowConfig> dataFlowConfigFactory(const Norv::Name& name);

} // namespace Orim
