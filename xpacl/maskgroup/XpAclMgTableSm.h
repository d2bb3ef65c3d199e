#pragma once

// Keeps the chip's mask-group tables equal to the per-stage hash tables that the abstraction
// layer publishes, and polls the rules' hit counters.
#include <cstdint>
#include <memory>
#include <string>

#include "norv/Attributes.h"
#include "norv/Clock.h"
#include "norv/Reactor.h"
#include "platform/OrimDataFlow.h"
#include "platform/XpXdk.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/maskgroup/XpAclMgTableHelper.h"

namespace XpAcl {

// Armed by the agent. One nested reactor per chip data-flow configuration, and in it one per
// stage table; a chip is programmed while its configuration exists and its device is present,
// whichever comes first.
class MgTableSm : public Norv::ArmedReactor {
public:
   NORV_ENTITY("XpAcl::MgTableSm")
   class ChipDataFlowSm;

   NORV_FORWARDING_NOTIFIEE(NorvActiveXpDeviceColl, XpXdk::XpDeviceIdColl, MgTableSm, DeviceId,
                            XpXdk::XpDeviceId, handleXpDevice)
   NORV_FORWARDING_NOTIFIEE(NorvDataFlowConfig, Orim::DataFlowConfig, MgTableSm,
                            ChipDataFlowConfig, Orim::ChipId, handleChipDataFlowConfig)

   // One stage's table: each member is written at its position, and removed when it goes.
   class StageHashTableSm : public Norv::Reactor {
   public:
      NORV_ENTITY("XpAcl::MgTableSm::StageHashTableSm")
      NORV_FORWARDING_NOTIFIEE(NorvStageHashTableConfig, Orim::PerStageHashTable,
                               StageHashTableSm, Table, Orim::PerStageHashTableKey,
                               handleStageHashTable)

      StageHashTableSm(const Orim::StageId& stageId,
                       Norv::Ptr<const Orim::PerStageHashTable> stageHashTableConfig,
                       ChipDataFlowSm* chipDataFlowSm);

      const Orim::StageId& stageId() const { return stageId_; }
      const std::string& name() const { return name_; }
      const Norv::Ptr<const Orim::PerStageHashTable>& stageHashTableConfig() const {
         return stageHashTableConfig_;
      }
      ChipDataFlowSm* chipDataFlowSm() const { return chipDataFlowSm_; }
      void chipDataFlowSmIs(ChipDataFlowSm* parent) { chipDataFlowSm_ = parent; }
      static constexpr std::array<const char*, 1> norvCtorAttrNames{"_stageHashTableConfig"};
      auto norvCtorAttrs() const { return std::make_tuple(stageHashTableConfig_); }

      // The hardware index written for each key.
      NORV_PLAIN_COLL(entryIndex, EntryIndex, Orim::PerStageHashTableKey, uint32_t,
                      Norv::FlatHashMap)
   public:
      void handleInitialized() override;
      void handleStageHashTable(const Orim::PerStageHashTableKey& key);
      void handleStageHashTable();
      void doCleanup() override;

   private:
      // Writes a present member at its key.
      void writeMember(const Orim::PerStageHashTableKey& key,
                       const Orim::PerStageTableEntry* entry);

      Orim::StageId stageId_;
      Norv::Ptr<const Orim::PerStageHashTable> stageHashTableConfig_;
      ChipDataFlowSm* chipDataFlowSm_;
      std::string name_;
      NorvStageHashTableConfig notifiee_;
   };

   // One chip's stage tables.
   class ChipDataFlowSm : public Norv::Reactor {
   public:
      NORV_ENTITY("XpAcl::MgTableSm::ChipDataFlowSm")
      NORV_FORWARDING_NOTIFIEE(NorvChipDataFlowConfig, Orim::ChipDataFlowConfig, ChipDataFlowSm,
                               StageHashTable, Orim::StageId, handleStageHashTableConfig)

      ChipDataFlowSm(const Orim::ChipId& chipId,
                     Norv::Ptr<const Orim::ChipDataFlowConfig> chipDataFlowConfig,
                     MgTableSm* mgTableSm);

      const Orim::ChipId& chipId() const { return chipId_; }
      XpXdk::XpDeviceId deviceId() const { return XpXdk::deviceIdOf(chipId_); }
      const std::string& name() const { return name_; }
      const Norv::Ptr<const Orim::ChipDataFlowConfig>& chipDataFlowConfig() const {
         return chipDataFlowConfig_;
      }
      MgTableSm* mgTableSm() const { return mgTableSm_; }
      void mgTableSmIs(MgTableSm* parent) { mgTableSm_ = parent; }
      static constexpr std::array<const char*, 1> norvCtorAttrNames{"_chipDataFlowConfig"};
      auto norvCtorAttrs() const { return std::make_tuple(chipDataFlowConfig_); }

      NORV_REACTOR_COLL(stageHashTableConfig, StageHashTableConfig, Orim::StageId,
                        StageHashTableSm, Norv::HashMap)
   public:
      // The stage's reactor, created for `config` if absent (or built for another entity).
      Norv::Ptr<StageHashTableSm>
      stageHashTableConfigIs(const Orim::StageId& stageId,
                             const Norv::Ptr<const Orim::PerStageHashTable>& config);

      void handleInitialized() override;
      void handleStageHashTableConfig(const Orim::StageId& stageId);
      void handleStageHashTableConfig();
      // The chip's configuration goes: its stages leave the hardware.
      void doCleanup() override { stageHashTableConfigDelAll(); }

   private:
      Orim::ChipId chipId_;
      Norv::Ptr<const Orim::ChipDataFlowConfig> chipDataFlowConfig_;
      MgTableSm* mgTableSm_;
      std::string name_;
      NorvChipDataFlowConfig notifiee_;
   };

   MgTableSm(Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
             Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig,
             Norv::Ptr<MgTableHelper> mgTableHelper);
   ~MgTableSm() override;

   const Norv::Ptr<const XpXdk::XpDeviceIdColl>& activeXpDeviceColl() const {
      return activeXpDeviceColl_;
   }
   const Norv::Ptr<const Orim::DataFlowConfig>& dataFlowConfig() const {
      return dataFlowConfig_;
   }
   const Norv::Ptr<MgTableHelper>& mgTableHelper() const { return mgTableHelper_; }
   double counterPollInterval() const { return counterPollInterval_; }
   void counterPollIntervalIs(double seconds) { counterPollInterval_ = seconds; }
   const Norv::ClockNotifiee& poll() const { return poll_; }

   NORV_REACTOR_COLL(chipDataFlowConfig, ChipDataFlowConfig, Orim::ChipId, ChipDataFlowSm,
                     Norv::HashMap)
public:
   Norv::Ptr<ChipDataFlowSm>
   chipDataFlowConfigIs(const Orim::ChipId& chipId,
                        const Norv::Ptr<const Orim::ChipDataFlowConfig>& config);

   void handleInitialized() override;
   void handleXpDevice(const XpXdk::XpDeviceId& deviceId);
   void handleXpDevice();
   void handleChipDataFlowConfig(const Orim::ChipId& chipId);
   void handleChipDataFlowConfig();
   void handlePoll();

   // True when the device is in the collection and active.
   bool deviceActive(XpXdk::XpDeviceId deviceId) const {
      return activeXpDeviceColl_ && activeXpDeviceColl_->deviceId(deviceId);
   }

private:
   Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl_;
   Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig_;
   Norv::Ptr<MgTableHelper> mgTableHelper_;
   double counterPollInterval_ = 1.0;
   std::unique_ptr<NorvActiveXpDeviceColl> norvActiveXpDeviceColl_;
   std::unique_ptr<NorvDataFlowConfig> norvDataFlowConfig_;
   Norv::ClockNotifiee poll_;
};

XPACL_EXPORT Norv::Ptr<MgTableSm>
mgTableSmFactory(Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                 Norv::Ptr<const Orim::DataFlowConfig> dataFlowConfig,
                 Norv::Ptr<MgTableHelper> mgTableHelper);

} // namespace XpAcl
