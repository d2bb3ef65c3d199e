#pragma once

// The one object that writes the chip's mask-group tables: the key and control data of each
// rule, its priority and its hit counter, and the dump of a stage's table.
#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "norv/Assert.h"
#include "norv/Attributes.h"
#include "norv/FlatHashMap.h"
#include "norv/LinkStack.h"
#include "norv/Reactor.h"
#include "platform/OrimHwCapability.h"
#include "platform/OrimRule.h"
#include "platform/XpXdk.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/model/XpAclStageStatus.h"

class xpAcmBankMgr;

namespace XpAcl {

// Counter index 0 means no counter, so indices run 1 .. kMaxCounterIndex - 1.
inline constexpr uint32_t kMaxCounterIndex = 4096;

// A collection keyed by a small bounded index (a counter index, an MG table id). The indices
// are few, so members sit in an array by index: the per-rule path finds them without hashing.
template <class V, size_t N, class K = uint16_t>
class CounterIndexColl {
public:
   CounterIndexColl() : slots_(N) {}
   const V* find(K k) const { return k < N && slots_[k].present ? &slots_[k].value : nullptr; }
   V* find(K k) { return k < N && slots_[k].present ? &slots_[k].value : nullptr; }
   bool contains(K k) const { return find(k) != nullptr; }
   size_t size() const { return count_; }
   // The member at k, created as v when absent; whether it was created.
   std::pair<V*, bool> insert(K k, const V& v) {
      NORV_ASSERT(k < N);
      Slot& s = slots_[k];
      const bool created = !s.present;
      if (created) {
         s.value = v;
         s.present = true;
         ++count_;
      }
      return {&s.value, created};
   }
   bool erase(K k) {
      if (k >= N || !slots_[k].present) return false;
      slots_[k] = Slot{};
      --count_;
      return true;
   }
   void clear() {
      std::fill(slots_.begin(), slots_.end(), Slot{});
      count_ = 0;
   }

private:
   struct Slot {
      V value{};
      bool present = false;
   };
   std::vector<Slot> slots_;
   size_t count_ = 0;
};

// The accessors and mutators of a collection attribute kept in a CounterIndexColl of N slots.
#define XPACL_INDEX_COLL(name, K, V, N)                                                        \
public:                                                                                        \
   V name(K k) const {                                                                         \
      const V* p = name##_.find(k);                                                            \
      return p ? *p : V{};                                                                     \
   }                                                                                           \
   void name##Is(K k, const V& v) {                                                            \
      *name##_.insert(k, v).first = v;                                                         \
   }                                                                                           \
   void name##Del(K k) {                                                                       \
      name##_.erase(k);                                                                        \
   }                                                                                           \
   void name##DelAll() {                                                                       \
      name##_.clear();                                                                         \
   }                                                                                           \
   size_t name##Count() const {                                                                \
      return name##_.size();                                                                   \
   }                                                                                           \
   const CounterIndexColl<V, N, K>& name##Coll() const {                                       \
      return name##_;                                                                          \
   }                                                                                           \
                                                                                               \
private:                                                                                       \
   CounterIndexColl<V, N, K> name##_;

// One counted rule on one device.
class CounterEntryKey {
public:
   CounterEntryKey() = default;
   CounterEntryKey(XpXdk::XpDeviceId deviceId, const Orim::AclId& aclId, uint32_t ruleId)
       : deviceId_(deviceId), aclId_(aclId), ruleId_(ruleId) {}

   auto operator<=>(const CounterEntryKey&) const = default;
   bool operator==(const CounterEntryKey&) const = default;
   // The fields side by side; the flat map mixes the bits itself.
   size_t hash() const {
      return size_t{deviceId_.value()} << 56 ^ aclId_.hash() << 32 ^ ruleId_;
   }
   std::string text() const {
      return Norv::valueText("XpAcl::CounterEntryKey", Norv::field("deviceId", deviceId_),
                             Norv::field("aclId", aclId_), Norv::field("ruleId", ruleId_));
   }
   // Reads back what text() wrote; anything else is a range error.
   static CounterEntryKey fromText(const std::string& text);

   NORV_VALUE_FIELD(XpXdk::XpDeviceId, deviceId)
   NORV_VALUE_FIELD(Orim::AclId, aclId)
   NORV_VALUE_FIELD(uint32_t, ruleId)
};

// Builds the MG-table key of a rule. The key that is hashed for placement and the key that is
// written are built here alike, so the chip finds each rule where it was placed.
void fillMgTableEntryKey(Orim::ChipRuleListId chipRuleListId, Acl::AclDirection direction,
                         const Orim::PDKeyValue& pdKey,
                         const Orim::MaskGroupDescriptor& maskGroupDescriptor,
                         xpAaclMgTableEntryKey& key);

// The process's MG-table manager, found once (and again after the SDK model is reset).
xpAaclMgTableMgr* mgTableMgr();

class MgTableHelper : public Norv::Reactor {
public:
   NORV_ENTITY("XpAcl::MgTableHelper")
   // Each way of a table spans this many hardware indices.
   static constexpr uint32_t kWayShift = 13;

   MgTableHelper(Norv::Ptr<const AaclStageStatus> aaclStageStatus,
                 Norv::Ptr<const Orim::HwCapabilityColl> hwCapabilityColl);

   const Norv::Ptr<const AaclStageStatus>& aaclStageStatus() const { return aaclStageStatus_; }
   const Norv::Ptr<const Orim::HwCapabilityColl>& hwCapabilityColl() const {
      return hwCapabilityColl_;
   }
   static constexpr uint32_t maxCounterIndex() { return kMaxCounterIndex; }

   // Plain collections on the per-rule path: nothing watches them and their order plays no
   // part, so they are flat maps.
   NORV_PLAIN_COLL(counterIndex, CounterIndex, CounterEntryKey, uint16_t, Norv::FlatHashMap)
   XPACL_INDEX_COLL(counterEntryKey, uint16_t, CounterEntryKey, kMaxCounterIndex)
   XPACL_INDEX_COLL(aclHitCount, uint16_t, uint32_t, kMaxCounterIndex)
   // MG table ids are 8-bit, so a slot per id.
   XPACL_INDEX_COLL(activeEntryCntAtStage, uint32_t, uint32_t, 256)
public:
   void activeEntryCntAtStageInc(uint32_t mgTableId, uint32_t n);
   // Deletes the member when it reaches 0.
   void activeEntryCntAtStageDec(uint32_t mgTableId, uint32_t n);

   void freeCounterIndexPush(uint16_t index) { freeCounterIndex_.push(index); }
   uint16_t freeCounterIndexPop() { return freeCounterIndex_.pop(); }
   uint16_t freeCounterIndex(uint32_t seq) const { return freeCounterIndex_.at(seq); }
   size_t freeCounterIndexCount() const { return freeCounterIndex_.size(); }
   Norv::LinkStackMetadata freeCounterIndexMetadata() const {
      return freeCounterIndex_.metadata();
   }

   // Fills the free-counter stack; counters are handed out only after this ran.
   void handleInitialized() override;

   uint32_t hashIndex(XpXdk::XpDeviceId deviceId, const Orim::PDKeyValue& pdKey,
                      const Norv::Ptr<const Orim::HashStageDescriptor>& hashStageDescriptor,
                      const Orim::MaskGroupDescriptor& maskGroupDescriptor, uint8_t subTableId,
                      const Orim::AclId& aclId) const;
   // Writes the rule at the key's position with its counter; returns the hardware index.
   uint32_t addEntry(XpXdk::XpDeviceId deviceId, Orim::StageId stageId,
                     const Orim::PerStageHashTableKey& perStageHashTableKey,
                     const Orim::PerStageTableEntry* entry);
   // Empties the key's position and frees the counter its entry had.
   void removeEntry(XpXdk::XpDeviceId devId, Orim::StageId stageId,
                    const Orim::PerStageHashTableKey& perStageHashTableKey);
   // Forgets the counters of a device that went away, without touching it: they go back to
   // the pool, and the device's rules get counters again when they are written again.
   void forgetCounters(XpXdk::XpDeviceId deviceId);
   // Adds what every attached counter counted since the last read; returns 0.
   XPACL_EXPORT uint32_t doUpdateAclCounters();
   XPACL_EXPORT uint32_t getDeltaCounter(const Orim::ChipId& chipId, const Orim::AclId& aclId,
                                         uint32_t ruleId);
   XPACL_EXPORT bool isCounterAttached(const Orim::ChipId& chipId, const Orim::AclId& aclId,
                                       uint32_t ruleId) const;
   XPACL_EXPORT void doShowTblEntries(int fd, XpXdk::XpDeviceId deviceId,
                                      Orim::StageId stageId) const;

   static uint32_t hwIndex(const Orim::PerStageHashTableKey& key) {
      return (key.way() << kWayShift) + key.hashIndex();
   }

private:
   // The MG table of the stage; asserts that the chip and the stage are known.
   uint32_t mgTableIdOf(XpXdk::XpDeviceId deviceId, Orim::StageId stageId) const;
   uint32_t lookUpMgTableId(XpXdk::XpDeviceId deviceId, Orim::StageId stageId) const;
   static xpAcmBankMgr* acmBankMgr();
   // Forgets the MG tables known for the chip's stages.
   void forgetStages(const Orim::ChipId& chipId, bool chipReplaced) const;

   // The MG table of each stage as last looked up, for the rows of devices below kCachedDevices
   // and stages below kCachedStages (-1: not known). The stage status is watched: a change of
   // a chip's stages drops the chip's row.
   static constexpr uint32_t kCachedDevices = 64;
   static constexpr uint32_t kCachedStages = 8;
   class NorvStageStatus : public AaclStageStatus::NotifieeConst {
   public:
      NorvStageStatus(MgTableHelper* helper, Norv::Ptr<const AaclStageStatus> status)
          : NotifieeConst(helper, std::move(status)), helper_(helper) {}
      void onAaclChipStageStatus(const Orim::ChipId& chipId) override {
         helper_->forgetStages(chipId, true);
      }

   private:
      MgTableHelper* helper_;
   };
   class NorvChipStageStatus : public AaclChipStageStatus::NotifieeConst {
   public:
      NorvChipStageStatus(MgTableHelper* helper, Norv::Ptr<const AaclChipStageStatus> status)
          : NotifieeConst(helper, std::move(status)), helper_(helper) {}
      void onAaclStageDescriptor(const Orim::StageId&) override {
         helper_->forgetStages(notifier()->chipId(), false);
      }

   private:
      MgTableHelper* helper_;
   };
   mutable std::array<std::array<int16_t, kCachedStages>, kCachedDevices> stageMgTable_;
   mutable std::array<std::unique_ptr<NorvChipStageStatus>, kCachedDevices>
       norvChipStageStatus_;
   std::unique_ptr<NorvStageStatus> norvStageStatus_;

   Norv::Ptr<const AaclStageStatus> aaclStageStatus_;
   Norv::Ptr<const Orim::HwCapabilityColl> hwCapabilityColl_;
   Norv::LinkStack<uint16_t> freeCounterIndex_;
};

XPACL_EXPORT Norv::Ptr<MgTableHelper>
mgTableHelperFactory(Norv::Ptr<const AaclStageStatus> aaclStageStatus,
                     Norv::Ptr<const Orim::HwCapabilityColl> hwCapabilityColl);

} // namespace XpAcl
