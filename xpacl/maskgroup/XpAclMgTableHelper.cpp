#include "xpacl/maskgroup/XpAclMgTableHelper.h"

#include <bit>
#include <cstdio>
#include <cstring>

#include "norv/Assert.h"
#include "norv/Errors.h"
#include "norv/Trace.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpAcmBankMgr.h"
#include "xdk/xpAcmPl.h"
#include "xdk/xpSdk.h"
#include "xpacl/sdk/XpXdkApiMacros.h"

NORV_TRACE_HANDLE("XpAclMgTableHelper");

namespace XpAcl {

namespace {

// Key bytes, as the chip lays the MG-table key out.
enum KeyByte : size_t {
   kFlagsByte = 2, // bit 1 fragment (inverted), bits 2-7 TCP flags
   kTtlByte = 3,
   kTosByte = 4,
   kProtoByte = 5,
   kSrcPortByte = 6, // 16 bits, low byte first, as every 16-bit field
   kDstPortByte = 8,
   kSrcIpByte = 10,
   kDstIpByte = 12,
   kTypeByte = 16, // bits 2-5 packet type, bit 6 ACL type, bit 7 direction
   kAclIdByte = 17,
};
constexpr uint8_t kFragmentBit = 0x02;
constexpr uint8_t kDirectionBit = 0x80;
constexpr uint8_t kMacPktType = 7;

// v at b, low byte first.
template <class T>
void storeLe(uint8_t* b, T v) {
   static_assert(std::endian::native == std::endian::little, "the key is built little-endian");
   std::memcpy(b, &v, sizeof v);
}
uint32_t get16(const uint8_t* b, size_t at) {
   return b[at] | uint32_t{b[at + 1]} << 8;
}

// Packet type and ACL type of a mask group's ACL type, in place in the type byte.
uint8_t aclTypeCode(uint8_t aclType) {
   switch (aclType) {
   case 1:
      return 0x04;
   case 2:
      return 0x44;
   case 3:
      return 0x10;
   case 4:
      return 0x50;
   default:
      NORV_ASSERT(0 && "Unsupported aclType");
      return 0;
   }
}

} // namespace

CounterEntryKey CounterEntryKey::fromText(const std::string& text) {
   static const std::string head = "Value('XpAcl::CounterEntryKey', ** {'deviceId': ";
   static const std::string aclIdField = ", 'aclId': ";
   static const std::string ruleIdField = ", 'ruleId': ";
   auto bad = [&] {
      return Norv::RangeError("not the text of an XpAcl::CounterEntryKey: " + text);
   };
   if (text.compare(0, head.size(), head) != 0) throw bad();
   const size_t aclAt = text.find(aclIdField, head.size());
   const size_t ruleAt = text.rfind(ruleIdField);
   if (aclAt == std::string::npos || ruleAt == std::string::npos || ruleAt < aclAt) throw bad();
   unsigned dev = 0, rule = 0;
   int used = 0;
   if (std::sscanf(text.c_str() + head.size(), "%u%n", &dev, &used) != 1 || dev > 255) {
      throw bad();
   }
   if (std::sscanf(text.c_str() + ruleAt + ruleIdField.size(), "%u})%n", &rule, &used) != 1) {
      throw bad();
   }
   const CounterEntryKey key(
       XpXdk::XpDeviceId(static_cast<uint8_t>(dev)),
       Orim::AclId::fromText(
           text.substr(aclAt + aclIdField.size(), ruleAt - aclAt - aclIdField.size())),
       rule);
   // Written back, it must read exactly as given: that rules out blanks, signs and overflow.
   if (key.text() != text) throw bad();
   return key;
}

namespace {
// The body of fillMgTableEntryKey, inlined into the per-rule path.
[[gnu::always_inline]] inline void fillKey(Orim::ChipRuleListId chipRuleListId,
                                           Acl::AclDirection direction,
                                           const Orim::PDKeyValue& pdKey,
                                           const Orim::MaskGroupDescriptor& maskGroupDescriptor,
                                           xpAaclMgTableEntryKey& key) {
   // TCP flags are matched elsewhere, never in the MG table.
   NORV_ASSERT(!pdKey.tcpFlag().value());
   uint8_t* const b = key.bytes;
   // The rule list id stands in the bytes of fields the mask group does not match on: the
   // chip hashes those bytes too, and every entry of the list must hash alike.
   const uint64_t listId = static_cast<uint8_t>(chipRuleListId.value());
   const uint8_t typeCode = aclTypeCode(maskGroupDescriptor.aclType());
   // Bit 0 of the flag byte stays as it is; bit 1 is the fragment bit.
   const uint64_t flags = (b[kFlagsByte] & 0x01u) |
                          uint64_t{maskGroupDescriptor.ipFrag() && !pdKey.fragment()} << 1 |
                          uint64_t{pdKey.established() != 0} << 2;
   const uint64_t ttl =
       maskGroupDescriptor.ttl() ? static_cast<uint8_t>(pdKey.ttl() - 1) : listId;
   const uint64_t proto = maskGroupDescriptor.ipProto() ? pdKey.protocol() : listId;
   // Bytes 2 .. 9, 10 .. 13 and 16 .. 17 are built as words and stored whole, little-endian
   // as the key is laid out.
   const uint64_t flagsToPorts = flags | ttl << 8 | listId << 16 | proto << 24 |
                                 uint64_t{pdKey.srcPortLabel() & 0xffffu} << 32 |
                                 uint64_t{pdKey.dstPortLabel() & 0xffffu} << 48;
   const uint32_t ips = (pdKey.srcIpLabel() & 0xffffu) | pdKey.dstIpLabel() << 16;
   const uint16_t typeAndList = static_cast<uint16_t>(
       typeCode | (direction != Acl::AclDirection::in ? kDirectionBit : 0) | listId << 8);
   storeLe(b + kFlagsByte, flagsToPorts);
   storeLe(b + kSrcIpByte, ips);
   storeLe(b + kTypeByte, typeAndList);
}
} // namespace

void fillMgTableEntryKey(Orim::ChipRuleListId chipRuleListId, Acl::AclDirection direction,
                         const Orim::PDKeyValue& pdKey,
                         const Orim::MaskGroupDescriptor& maskGroupDescriptor,
                         xpAaclMgTableEntryKey& key) {
   fillKey(chipRuleListId, direction, pdKey, maskGroupDescriptor, key);
}

namespace {
xpAaclMgTableMgr* _mgTableMgr = nullptr;
unsigned mgTableMgrGeneration = 0;

[[gnu::noinline]] void findMgTableMgr() {
   _mgTableMgr = xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
       xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
   mgTableMgrGeneration = xpSdkGeneration();
   NORV_ASSERT(_mgTableMgr);
}
} // namespace

xpAaclMgTableMgr* mgTableMgr() {
   if (!_mgTableMgr || mgTableMgrGeneration != xpSdkGeneration()) [[unlikely]]
      findMgTableMgr();
   return _mgTableMgr;
}

xpAcmBankMgr* MgTableHelper::acmBankMgr() {
   xpAcmBankMgr* acmBankMgr =
       xpAcmPl::instance()->getMgr<xpAcmBankMgr>(xpPrimitiveMgrBase<xpAcmBankMgr>::idAt(0));
   NORV_ASSERT(acmBankMgr);
   return acmBankMgr;
}

MgTableHelper::MgTableHelper(Norv::Ptr<const AaclStageStatus> aaclStageStatus,
                             Norv::Ptr<const Orim::HwCapabilityColl> hwCapabilityColl)
    : aaclStageStatus_(std::move(aaclStageStatus)),
      hwCapabilityColl_(std::move(hwCapabilityColl)) {
   for (auto& row : stageMgTable_)
      row.fill(-1);
   if (aaclStageStatus_) {
      norvStageStatus_ = std::make_unique<NorvStageStatus>(this, aaclStageStatus_);
   }
   handleInitialized();
}

void MgTableHelper::handleInitialized() {
   NORV_TRACE(8, "MgTableHelper::");
   if (initialized()) return;
   initializedIs(true);
   for (uint32_t index = 1; index < maxCounterIndex(); ++index)
      freeCounterIndexPush(static_cast<uint16_t>(index));
}

void MgTableHelper::activeEntryCntAtStageInc(uint32_t mgTableId, uint32_t n) {
   auto [count, inserted] = activeEntryCntAtStage_.insert(mgTableId, n);
   if (!inserted) *count += n;
}

void MgTableHelper::activeEntryCntAtStageDec(uint32_t mgTableId, uint32_t n) {
   uint32_t* count = activeEntryCntAtStage_.find(mgTableId);
   if (!count) return;
   if (*count <= n) {
      activeEntryCntAtStageDel(mgTableId);
   } else {
      *count -= n;
   }
}

uint32_t MgTableHelper::mgTableIdOf(XpXdk::XpDeviceId deviceId, Orim::StageId stageId) const {
   const uint32_t dev = deviceId.value();
   const uint32_t stage = stageId.value();
   // While a batch is open or being delivered, the row's invalidation may still wait behind
   // the change that brought us here.
   if (dev >= kCachedDevices || stage >= kCachedStages || Norv::detail::batchOpen() ||
       Norv::detail::batchDelivering()) [[unlikely]] {
      return lookUpMgTableId(deviceId, stageId);
   }
   int16_t& known = stageMgTable_[dev][stage];
   if (known < 0) known = static_cast<int16_t>(lookUpMgTableId(deviceId, stageId));
   return static_cast<uint32_t>(known);
}

void MgTableHelper::forgetStages(const Orim::ChipId& chipId, bool chipReplaced) const {
   const uint32_t dev = XpXdk::deviceIdOf(chipId).value();
   if (chipId.value() != dev || dev >= kCachedDevices) return;
   stageMgTable_[dev].fill(-1);
   if (chipReplaced) norvChipStageStatus_[dev].reset();
}

uint32_t MgTableHelper::lookUpMgTableId(XpXdk::XpDeviceId deviceId,
                                        Orim::StageId stageId) const {
   // Plain pointers into the collections: nothing here outlives the call.
   const auto* chipMember =
       aaclStageStatus_->aaclChipStageStatusColl().storage().find(XpXdk::chipIdOf(deviceId));
   const AaclChipStageStatus* aaclChipStageStatus = chipMember ? chipMember->ptr() : nullptr;
   NORV_ASSERT(aaclChipStageStatus);
   const auto* stageMember =
       aaclChipStageStatus->aaclStageDescriptorColl().storage().find(stageId);
   const AaclStageDescriptor* aaclStageDescriptor = stageMember ? stageMember->ptr() : nullptr;
   NORV_ASSERT(aaclStageDescriptor);
   // Watch the chip's stages from now on, so that a change drops what is known of them.
   const uint32_t dev = deviceId.value();
   if (dev < kCachedDevices &&
       (!norvChipStageStatus_[dev] ||
        norvChipStageStatus_[dev]->notifier().ptr() != aaclChipStageStatus)) {
      norvChipStageStatus_[dev] = std::make_unique<NorvChipStageStatus>(
          const_cast<MgTableHelper*>(this),
          Norv::Ptr<const AaclChipStageStatus>(aaclChipStageStatus));
   }
   return aaclStageDescriptor->ldeMgTableLookupDesc().mgTableId().value();
}

uint32_t
MgTableHelper::hashIndex(XpXdk::XpDeviceId deviceId, const Orim::PDKeyValue& pdKey,
                         const Norv::Ptr<const Orim::HashStageDescriptor>& hashStageDescriptor,
                         const Orim::MaskGroupDescriptor& maskGroupDescriptor,
                         uint8_t subTableId, const Orim::AclId& aclId) const {
   NORV_TRACE(8, "MgTableHelper:: deviceId {} way {} aclId {}", deviceId, subTableId, aclId);
   const uint32_t mgTableId = mgTableIdOf(deviceId, hashStageDescriptor->stageId());
   xpAaclMgTableEntryKey key;
   fillMgTableEntryKey(aclId.chipRuleListId(), aclId.direction(), pdKey, maskGroupDescriptor,
                       key);
   uint32_t hashIndex = 0;
   // clang-format off
   XP_SDK_CALL(mgTableMgr()->hashIndexInWay( deviceId.value(), mgTableId, subTableId, &key, hashIndex ));
   // clang-format on
   NORV_TRACE(7, "hashIndex MG Table {} hashIndex {}", mgTableId, hashIndex);
   return hashIndex;
}

uint32_t MgTableHelper::addEntry(XpXdk::XpDeviceId deviceId, Orim::StageId stageId,
                                 const Orim::PerStageHashTableKey& perStageHashTableKey,
                                 const Orim::PerStageTableEntry* entry) {
   NORV_TRACE(8, "MgTableHelper:: deviceId {} stageId {} key {}", deviceId, stageId,
              perStageHashTableKey);
   const uint32_t mgTableIndex = mgTableIdOf(deviceId, stageId);
   uint32_t cIndex = 0;
   if (entry->counting()) {
      const CounterEntryKey ruleKey(deviceId, entry->aclId(), entry->ruleId());
      // One lookup finds the rule's counter or the place for a new one. A rule written again
      // keeps the counter it has.
      auto [held, isNew] = counterIndex_.insert(ruleKey, 0);
      if (!isNew) {
         cIndex = *held;
      } else if (!freeCounterIndex_.empty()) {
         cIndex = freeCounterIndexPop();
         *held = static_cast<uint16_t>(cIndex);
         counterEntryKeyIs(static_cast<uint16_t>(cIndex), ruleKey);
         NORV_TRACE(5, "addEntry counter index for aclId {} rule id {} is {}", entry->aclId(),
                    entry->ruleId(), cIndex);
      } else {
         // Out of counters is not an error: the rule works, uncounted.
         counterIndexDel(ruleKey);
         NORV_TRACE(5, "addEntry counter index is not available for aclId {} rule id {}",
                    entry->aclId(), entry->ruleId());
      }
      NORV_ASSERT(cIndex < maxCounterIndex());
   }

   xpAaclMgTableEntry hwEntry;
   fillKey(entry->aclId().chipRuleListId(), entry->aclId().direction(), entry->pdKey(),
           entry->maskGroupDescriptor(), hwEntry.key);
   hwEntry.data.word[0] = static_cast<uint16_t>(uint32_t{entry->aclResult()} |
                                                uint32_t{entry->logging()} << 1 | cIndex << 3);

   const auto* capMember =
       hwCapabilityColl_->chipHwCapabilityColl().storage().find(XpXdk::chipIdOf(deviceId));
   const Orim::ChipHwCapability* chipHwCapability = capMember ? capMember->ptr() : nullptr;
   NORV_ASSERT(chipHwCapability);
   NORV_ASSERT(chipHwCapability->priorityFieldMaxCount() >= entry->priority());
   // A higher rule priority is a smaller hardware value.
   const uint32_t priority =
       (chipHwCapability->priorityFieldMaxCount() - entry->priority()) & 0x1fff;
   hwEntry.data.word[1] = static_cast<uint16_t>(priority);

   const uint32_t index = hwIndex(perStageHashTableKey);
   // clang-format off
   XP_SDK_CALL(mgTableMgr()->writeKeyAndControlData( deviceId, mgTableIndex, index, &hwEntry ));
   // clang-format on
   activeEntryCntAtStageInc(mgTableIndex, 1);
   NORV_TRACE(5, "addEntry MG Table {} hashIndex {} aclResult {} priority {}", mgTableIndex,
              index, entry->aclResult(), priority);
   return index;
}

void MgTableHelper::removeEntry(XpXdk::XpDeviceId devId, Orim::StageId stageId,
                                const Orim::PerStageHashTableKey& perStageHashTableKey) {
   NORV_TRACE(8, "MgTableHelper:: devId {} stageId {} key {}", devId, stageId,
              perStageHashTableKey);
   const uint32_t mgTableIndex = mgTableIdOf(devId, stageId);
   const uint32_t index = hwIndex(perStageHashTableKey);
   xpAaclMgTableEntryKey hwKey;
   xpAaclMgTableEntryData hwData;
   // clang-format off
   XP_SDK_CALL(mgTableMgr()->readEntry( devId, mgTableIndex, index, &hwKey, &hwData ));
   XP_SDK_CALL(mgTableMgr()->removeEntry( devId, mgTableIndex, index ));
   // clang-format on
   NORV_TRACE(5, "removeEntry MG Table {} hashIndex {}", mgTableIndex, index);
   activeEntryCntAtStageDec(mgTableIndex, 1);

   // The counter is read once more so that it starts from zero for its next rule; what it
   // counted since the last poll goes with the entry.
   const uint16_t cIndex = static_cast<uint16_t>(hwData.word[0] >> 3);
   NORV_ASSERT(cIndex < maxCounterIndex());
   xpAcmBankMgr* acmBankMgr = MgTableHelper::acmBankMgr();
   uint64_t pktCount = 0;
   uint64_t byteCount = 0;
   // clang-format off
   XP_SDK_CALL(acmBankMgr->getCounterValue( devId.value(), XP_ACM_AACL_COUNTER, cIndex, &pktCount, &byteCount ));
   // clang-format on
   aclHitCountDel(cIndex);
   // An entry without a counter has index 0, which goes on the stack as well, so that it is
   // handed out next.
   if (const CounterEntryKey* ruleKey = counterEntryKey_.find(cIndex)) {
      counterIndexDel(*ruleKey);
      counterEntryKeyDel(cIndex);
   }
   freeCounterIndexPush(cIndex);
   NORV_TRACE(5, "removeEntry Deleting counter index {}", cIndex);
}

void MgTableHelper::forgetCounters(XpXdk::XpDeviceId deviceId) {
   NORV_TRACE(8, "MgTableHelper:: deviceId {}", deviceId);
   std::vector<std::pair<CounterEntryKey, uint16_t>> gone;
   for (auto it = counterIndex_.begin(); it; ++it) {
      if (it.key().deviceId() == deviceId) gone.emplace_back(it.key(), it.value());
   }
   for (const auto& [ruleKey, cIndex] : gone) {
      counterIndexDel(ruleKey);
      aclHitCountDel(cIndex);
      if (const CounterEntryKey* owner = counterEntryKey_.find(cIndex);
          owner && *owner == ruleKey) {
         counterEntryKeyDel(cIndex);
         freeCounterIndexPush(cIndex);
      }
   }
}

uint32_t MgTableHelper::doUpdateAclCounters() {
   NORV_TRACE(8, "MgTableHelper::");
   xpAcmBankMgr* acmBankMgr = MgTableHelper::acmBankMgr();
   for (auto iter = counterIndex_.begin(); iter; ++iter) {
      const uint16_t cIndex = iter.value();
      uint64_t pktCount = 0;
      uint64_t byteCount = 0;
      // clang-format off
      XP_SDK_CALL(acmBankMgr->getCounterValue( iter.key().deviceId().value(), XP_ACM_AACL_COUNTER, cIndex, &pktCount, &byteCount ));
      // clang-format on
      if (pktCount == 0) continue;
      uint32_t* hits = aclHitCount_.insert(cIndex, 0).first;
      *hits = static_cast<uint32_t>(*hits + pktCount);
   }
   return 0;
}

uint32_t MgTableHelper::getDeltaCounter(const Orim::ChipId& chipId, const Orim::AclId& aclId,
                                        uint32_t ruleId) {
   NORV_TRACE(8, "MgTableHelper:: chipId {} aclId {} ruleId {}", chipId, aclId, ruleId);
   const uint16_t* cIndex =
       counterIndex_.find(CounterEntryKey(XpXdk::deviceIdOf(chipId), aclId, ruleId));
   if (!cIndex) return 0;
   const uint32_t delta = aclHitCount(*cIndex);
   aclHitCountDel(*cIndex);
   return delta;
}

bool MgTableHelper::isCounterAttached(const Orim::ChipId& chipId, const Orim::AclId& aclId,
                                      uint32_t ruleId) const {
   return counterIndex_.contains(CounterEntryKey(XpXdk::deviceIdOf(chipId), aclId, ruleId));
}

void MgTableHelper::doShowTblEntries(int fd, XpXdk::XpDeviceId deviceId,
                                     Orim::StageId stageId) const {
   auto chipStageStatus = aaclStageStatus_->aaclChipStageStatus(XpXdk::chipIdOf(deviceId));
   if (!chipStageStatus) return;
   auto stageDescriptor = chipStageStatus->aaclStageDescriptor(stageId);
   if (!stageDescriptor) return;
   const uint32_t mgTableId = stageDescriptor->ldeMgTableLookupDesc().mgTableId().value();
   uint32_t size = 0;
   if (mgTableMgr()->getNumOfEntry(deviceId.value(), mgTableId, size) != XP_NO_ERR) return;

   const char* const separator =
       "-------|----|--------|----|----|----------|-------------------"
       "----------------------------------------------|\n";
   dprintf(fd, "%s", separator);
   dprintf(fd,
           "hw     |acl |        |log |cnt |cnt       |                                     "
           "                            |\nIndex  |Rslt|Priority|En  |Mode|Index     |     "
           "   Key Specific Information                                 |\n");
   dprintf(fd, "%s", separator);
   uint32_t count = 0;
   const xpAaclMgTableEntryKey empty;
   for (uint32_t index = 0; index < size; ++index) {
      xpAaclMgTableEntryKey key;
      xpAaclMgTableEntryData data;
      if (mgTableMgr()->readEntry(deviceId.value(), mgTableId, index, &key, &data, 0) !=
          XP_NO_ERR) {
         continue;
      }
      if (key == empty) continue;
      ++count;
      const uint8_t* b = key.bytes;
      const unsigned pktType = (b[kTypeByte] >> 2) & 0xf;
      const unsigned aclType = (b[kTypeByte] >> 6) & 1;
      const unsigned dir = b[kTypeByte] >> 7;
      const int aclRslt = data.word[0] & 1;
      const int logEn = (data.word[0] >> 1) & 1;
      const int cntMode = (data.word[0] >> 2) & 1;
      const int cntIndex = data.word[0] >> 3;
      const int priority = data.word[1] & 0x1fff;
      char text[80];
      if (pktType != kMacPktType) {
         snprintf(text, sizeof text,
                  "AclId:%03d PktType:%d AclType:%d Direction:%d SIP:0x%04x DIP:0x%04x "
                  "SPort:0x%04x",
                  b[kAclIdByte], pktType, aclType, dir, get16(b, kSrcIpByte),
                  get16(b, kDstIpByte), get16(b, kSrcPortByte));
         dprintf(fd, "%7d|%4d|%8d|%4d|%4d|%10d|%-65s|\n", index, aclRslt, priority, logEn,
                 cntMode, cntIndex, text);
         snprintf(text, sizeof text,
                  "DPort:0x%04x Proto:%d ToS:0x%02x TTL:0x%02x F:%d TCP Flags:0x%x",
                  get16(b, kDstPortByte), b[kProtoByte], b[kTosByte], b[kTtlByte],
                  (b[kFlagsByte] >> 1) & 1, b[kFlagsByte] >> 2);
         dprintf(fd, "%42s|%-65s|\n", " ", text);
      } else {
         snprintf(
             text, sizeof text,
             "AclId:%03d PktType:%d AclType:%d, Direction:%d SA:%02x%02x.%02x%02x.%02x%02x "
             "DA:%02x%02x.%02x%02x.%02x%02x",
             b[kAclIdByte], pktType, aclType, dir, b[11], b[10], b[9], b[8], b[7], b[6], b[5],
             b[4], b[3], b[2], b[1], b[0]);
         dprintf(fd, "%7d|%4d|%8d|%4d|%4d|%10d|%64s|", index, aclRslt, priority, logEn, cntMode,
                 cntIndex, text);
      }
   }
   dprintf(fd, "%s", separator);
   dprintf(fd, "Number of valid entries in range of 0 to %d : %d\n", size, count);
   dprintf(fd, "Maximum possible table entries : %d\n", size);
}

Norv::Ptr<MgTableHelper>
mgTableHelperFactory(Norv::Ptr<const AaclStageStatus> aaclStageStatus,
                     Norv::Ptr<const Orim::HwCapabilityColl> hwCapabilityColl) {
   return new MgTableHelper(std::move(aaclStageStatus), std::move(hwCapabilityColl));
}

} // namespace XpAcl
