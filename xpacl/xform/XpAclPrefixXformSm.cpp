#include "xpacl/xform/XpAclPrefixXformSm.h"

#include <bit>
#include <cstdio>

#include "norv/Errors.h"
#include "norv/LogHandle.h"
#include "norv/Trace.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpIpXformMgr.h"
#include "xpacl/sdk/XpXdkApiMacros.h"

NORV_TRACE_HANDLE("XpAclPrefixXformSm");

namespace XpAcl {

namespace {

Norv::LogHandle unsupportedIpv6Mask{
    "ACL_UNSUPPORTED_IPV6_MASK",
    3,
    "IPv6 address %s with most significant 96 bits masked is not supported in ACL rules.",
    "The switch does not support IPv6 addresses of the form ::xxxx:xxxx.",
    "Please configure ACL rules where the most significant 96 bits of the IPv6prefix are not "
    "masked out.",
    0.0,
    1.0};

uint32_t toNetwork(uint32_t v) {
   return std::endian::native == std::endian::little ? __builtin_bswap32(v) : v;
}

bool isV4DefaultRoute(const Plexo::IpGenPrefix& prefix) {
   return prefix.isV4() && prefix.isDefaultRoutePrefix();
}

// ::xxxx:xxxx, which the chip cannot tell from an IPv4 address.
bool isUnsupportedV6(const Plexo::IpGenPrefix& prefix) {
   if (!prefix.isV6() || prefix.isDefaultRoutePrefix()) return false;
   const auto& a = prefix.v6Prefix().address;
   return a[0] == 0 && a[1] == 0 && a[2] == 0;
}

// The prefix an entry holds, or nothing for an entry of no known family.
std::optional<Plexo::IpGenPrefix> prefixOf(const xpIpXformEntry& e) {
   if (e.ipType == xpIpXformEntry::kIpv4Type) {
      return Plexo::IpGenPrefix(Plexo::Ip4Prefix{toNetwork(e.ipAddr[0]), e.prefixLen});
   }
   if (e.ipType != xpIpXformEntry::kIpv6Type) return std::nullopt;
   Plexo::Ip6Prefix p{{}, e.prefixLen};
   for (size_t i = 0; i < 4; ++i)
      p.address[i] = toNetwork(e.ipAddr[i]);
   return Plexo::IpGenPrefix(p);
}

} // namespace

void buildXformEntry(const Plexo::IpGenPrefix& prefix, uint32_t xformed,
                     xpIpXformEntry& entry) {
   entry.xformedIp = xformed;
   entry.prefixLen = prefix.len();
   if (prefix.isV4()) {
      entry.ipAddr[0] = toNetwork(prefix.v4Prefix().address);
      entry.ipType = xpIpXformEntry::kIpv4Type;
   } else if (prefix.isV6()) {
      const auto& a = prefix.v6Prefix().address;
      for (size_t i = 0; i < 4; ++i)
         entry.ipAddr[i] = toNetwork(a[i]);
      entry.ipType = xpIpXformEntry::kIpv6Type;
   } else {
      NORV_ASSERT(0);
   }
}

PrefixXformSm::PrefixXformSm(const Norv::Name& name,
                             Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                             Norv::Ptr<const Orim::IpGenPrefixConfig> prefixConfig,
                             Norv::Ptr<Orim::ResourceStatus> resourceStatus,
                             Norv::Ptr<PrefixXformChipInfo> prefixXformChipInfo)
    : name_(name), activeXpDeviceColl_(std::move(activeXpDeviceColl)),
      prefixConfig_(std::move(prefixConfig)), resourceStatus_(std::move(resourceStatus)),
      prefixXformChipInfo_(std::move(prefixXformChipInfo)) {
   if (activeXpDeviceColl_) {
      norvActiveXpDeviceColl_ =
          std::make_unique<NorvActiveXpDeviceColl>(this, activeXpDeviceColl_);
   }
   if (prefixConfig_)
      norvPrefixConfig_ = std::make_unique<NorvPrefixConfig>(this, prefixConfig_);
   handleChipIpGenPrefixConfig();
}

// Dropping the reactor takes its entries out of the chips.
PrefixXformSm::~PrefixXformSm() {
   chipPrefixConfigDelAll();
}

Norv::Ptr<PrefixXformSm::NorvChipPrefixConfig>
PrefixXformSm::chipPrefixConfigIs(const Orim::ChipId& chipId,
                                  const Norv::Ptr<const Orim::ChipIpGenPrefixConfig>& config) {
   if (!config) {
      throw Norv::RangeError("null _chipPrefixConfig parameter to mutator for "
                             "XpAcl::PrefixXformSm::chipPrefixConfig not allowed\"");
   }
   if (auto old = chipPrefixConfig(chipId); old && old->chipPrefixConfig() != config) {
      chipPrefixConfigDel(chipId);
   }
   return Norv::memberIs(chipPrefixConfig_, chipId, [&] {
      return Norv::Ptr<NorvChipPrefixConfig>(new NorvChipPrefixConfig(chipId, config, this));
   });
}

// The IPv4 and IPv6 reactors of one direction share the direction's table: the source ones
// use instance 1 of the manager's ids, the destination ones instance 2.
void PrefixXformSm::handleInitialized() {
   NORV_TRACE(8, "PrefixXformSm::handleInitialized name {}", name_);
   NORV_ASSERT(initialized());
   size_t instance = 0;
   if (name_ == "SrcV4PrefixXformSm" || name_ == "DstV4PrefixXformSm") v4SmIs(true);
   if (name_ == "SrcV4PrefixXformSm" || name_ == "SrcV6PrefixXformSm") {
      instance = xpIpXformMgr::kSrcInstance;
   } else if (name_ == "DstV4PrefixXformSm" || name_ == "DstV6PrefixXformSm") {
      instance = xpIpXformMgr::kDstInstance;
   } else {
      NORV_ASSERT(0 && "unknown SM name for L4PortXformSm");
   }
   ipXformMgrIs(xpAclPl::instance()->getMgr<xpIpXformMgr>(
       xpPrimitiveMgrBase<xpIpXformMgr>::idAt(instance)));
   NORV_ASSERT(ipXformMgr());
   handleXpDevice();
}

void PrefixXformSm::handleXpDevice(const XpXdk::XpDeviceId& devId) {
   if (!initialized()) return;
   NORV_TRACE(8, "PrefixXformSm::handleXpDevice devId {} active {}", devId,
              deviceActive(devId));
   auto chipPrefixConfigSm = chipPrefixConfig(XpXdk::chipIdOf(devId));
   if (!chipPrefixConfigSm) return;
   if (!deviceActive(devId)) {
      // The table keeps its entries while the device is away.
      chipPrefixConfigSm->initializedIs(false);
      return;
   }
   NORV_ASSERT(!chipPrefixConfigSm->initialized());
   chipPrefixConfigSm->handleInitialized();
}

void PrefixXformSm::handleXpDevice() {
   NORV_TRACE(8, "PrefixXformSm::handleXpDevice");
   if (!activeXpDeviceColl_) return;
   for (auto it = activeXpDeviceColl_->deviceIdColl().begin(); it; ++it)
      handleXpDevice(it.key());
}

void PrefixXformSm::handleChipIpGenPrefixConfig(const Orim::ChipId& chipId) {
   NORV_TRACE(8, "PrefixXformSm::handleChipIpGenPrefixConfig chipId {}", chipId);
   auto config = prefixConfig_ ? prefixConfig_->chipIpGenPrefixConfig(chipId) : nullptr;
   if (config) {
      chipPrefixConfigIs(chipId, config);
   } else {
      chipPrefixConfigDel(chipId);
   }
}

void PrefixXformSm::handleChipIpGenPrefixConfig() {
   NORV_TRACE(8, "PrefixXformSm::handleChipIpGenPrefixConfig");
   forEachChip(chipPrefixConfigColl(),
               prefixConfig_ ? &prefixConfig_->chipIpGenPrefixConfigColl() : nullptr,
               [this](const Orim::ChipId& chipId) { handleChipIpGenPrefixConfig(chipId); });
}

void PrefixXformSm::writeEntry(XpXdk::XpDeviceId deviceId, uint32_t index,
                               const Plexo::IpGenPrefix& prefix, uint32_t xformed) {
   NORV_TRACE(8, "PrefixXformSm::writeEntry devId {} index {} prefix {} xformed {}", deviceId,
              index, prefix, xformed);
   const xpsDevice_t devId = deviceId.value();
   xpIpXformEntry entry;
   buildXformEntry(prefix, xformed, entry);
   if (prefix.isV4() && xformed == 0) NORV_ASSERT(0 && "unexpected v4 default entry");
   // clang-format off
   XP_SDK_CALL(ipXformMgr()->writeEntry( devId, index, &entry ));
   // clang-format on
}

void PrefixXformSm::delEntry(XpXdk::XpDeviceId deviceId, uint32_t index) {
   NORV_TRACE(8, "PrefixXformSm::delEntry devId {} index {}", deviceId, index);
   const xpsDevice_t devId = deviceId.value();
   // clang-format off
   XP_SDK_CALL(ipXformMgr()->removeEntry( devId, index ));
   // clang-format on
}

uint32_t PrefixXformSm::numTblEntries(XpXdk::XpDeviceId devId) const {
   NORV_ASSERT(ipXformMgr());
   uint32_t numEntries = 0;
   ipXformMgr()->getNumOfEntry(devId.value(), numEntries);
   NORV_TRACE(8, "PrefixXformSm::numTblEntries devId {} numEntries {}", devId, numEntries);
   return numEntries;
}

void PrefixXformSm::doShowTblEntries(int fd, XpXdk::XpDeviceId devId) const {
   const uint32_t n = numTblEntries(devId);
   dprintf(fd, "|  Idx |  Prefix                                            | Xformed IP |\n");
   dprintf(fd, "|-----------------------------------------------------------|------------|\n");
   uint32_t valid = 0;
   for (uint32_t i = 0; i < n; ++i) {
      xpIpXformEntry e;
      bool isValid = false;
      if (ipXformMgr()->readEntry(devId.value(), i, &e, isValid, 0) != XP_NO_ERR || !isValid) {
         continue;
      }
      ++valid;
      const auto prefix = prefixOf(e);
      if (!prefix) {
         dprintf(fd,
                 "Failed to get text form for ip address: prfxType = %d prfxLen = %d u0 = 0x%x "
                 "u1 = 0x%x u2 = 0x%x u3 = 0x%x\n",
                 e.ipType, e.prefixLen, e.ipAddr[0], e.ipAddr[1], e.ipAddr[2], e.ipAddr[3]);
         continue;
      }
      const std::string text = prefix->addressText() + "/" + std::to_string(e.prefixLen);
      dprintf(fd, "|%5d |%51s | %010d |\n", i, text.c_str(), static_cast<int>(e.xformedIp));
   }
   dprintf(fd, "Number of valid entries in range of 0 to %d : %d\n", n, valid);
   dprintf(fd, "Maximum possible table entries : %d\n", n);
}

PrefixXformSm::NorvChipPrefixConfig::NorvChipPrefixConfig(
    const Orim::ChipId& fwkKey, Norv::Ptr<const Orim::ChipIpGenPrefixConfig> chipPrefixConfig,
    PrefixXformSm* prefixXformSm)
    : NotifieeConst(this, chipPrefixConfig), fwkKey_(fwkKey),
      chipPrefixConfig_(std::move(chipPrefixConfig)), prefixXformSm_(prefixXformSm) {
   handleInitialized();
}

void PrefixXformSm::NorvChipPrefixConfig::handleInitialized() {
   if (!prefixXformSm_->initialized() || initialized()) return;
   if (!prefixXformSm_->deviceActive(devId())) return;
   NORV_TRACE(8, "NorvChipPrefixConfig::handleInitialized chipId {}", fwkKey_);
   auto& chipInfo = *prefixXformSm_->prefixXformChipInfo();
   if (!chipInfo.hwTableBitMap(fwkKey_)) {
      NORV_TRACE(5, "NorvChipPrefixConfig::handleInitialized chipId {} creating chipInfo",
                 fwkKey_);
      const uint32_t size = prefixXformSm_->numTblEntries(devId());
      NORV_ASSERT(size);
      chipInfo.hwTableBitMapIs(fwkKey_, Quill::bitmapFactory(size));
   }
   hwTableBitMap_ = chipInfo.hwTableBitMap(fwkKey_);
   hwTableSize_ = hwTableBitMap_->size();
   initializedIs(true);
}

bool PrefixXformSm::NorvChipPrefixConfig::allocate(const Plexo::IpGenPrefix& prefix) {
   if (isUnsupportedV6(prefix)) {
      NORV_TRACE(5,
                 "NorvChipPrefixConfig::allocate prefix {} IPv6 address of form ::xxxx:xxxx "
                 "unsupported ",
                 prefix);
      unsupportedIpv6Mask.log(prefix);
      return false;
   }
   const uint32_t index = hwTableBitMap_->findClearBitInRange(0, hwTableBitMap_->size(), 0);
   if (index == Quill::Bitmap::npos) {
      NORV_TRACE(5, "NorvChipPrefixConfig::allocate chipId {} entries exhausted", fwkKey_);
      return false;
   }
   hwTableBitMap_->setBit(index);
   attemptedAllocIs(prefix, index);
   NORV_TRACE(8, "NorvChipPrefixConfig::allocate prefix {} index alloced {}", prefix, index);
   return true;
}

void PrefixXformSm::NorvChipPrefixConfig::publish(double requestId, bool success) {
   if (const auto& status = prefixXformSm_->resourceStatus()) {
      status->resourceChipStatusIs(fwkKey_, Orim::XformStatus{requestId, success});
   }
}

void PrefixXformSm::NorvChipPrefixConfig::handleAttemptedRequestId() {
   if (!active()) return;
   const double attemptedRequestId = chipPrefixConfig_->attemptedRequestId();
   if (attemptedRequestId == 0) return;
   NORV_TRACE(8,
              "NorvChipPrefixConfig::handleAttemptedRequestId chipId {} requestId {} "
              "attempted processing",
              fwkKey_, attemptedRequestId);
   // The IPv4 reactor of a direction sees each request first and starts the shared index
   // space afresh; a request that does not fit leaves it as it found it.
   std::vector<uint64_t> before;
   if (prefixXformSm_->v4Sm()) {
      before = hwTableBitMap_->words();
      hwTableBitMap_->clearBitsInRange(0, hwTableBitMap_->size() - 1);
   }
   attemptedAllocDelAll();
   bool success = true;
   for (auto iter = chipPrefixConfig_->attemptedXformIteratorConst(); iter && success; ++iter) {
      if (isV4DefaultRoute(iter.key())) {
         NORV_TRACE(8, "NorvChipPrefixConfig::handleAttemptedRequestId skipping ipv4 default "
                       "route");
         continue;
      }
      success = allocate(iter.key());
   }
   if (!success) {
      for (auto it = attemptedAllocColl().begin(); it; ++it)
         hwTableBitMap_->clearBit(it.value());
      attemptedAllocDelAll();
      if (prefixXformSm_->v4Sm()) hwTableBitMap_->wordsIs(before);
   }
   publish(attemptedRequestId, success);
}

void PrefixXformSm::NorvChipPrefixConfig::handleActiveRequestId() {
   if (!active()) return;
   const double activeRequestId = chipPrefixConfig_->activeRequestId();
   if (activeRequestId == 0) return;
   NORV_TRACE(8,
              "NorvChipPrefixConfig::handleActiveRequestId chipId {} requestId {} active "
              "processing",
              fwkKey_, activeRequestId);
   NORV_TRACE(5, "{} clearing entries ", prefixXformSm_->name());
   // Addresses that no prefix of the set covers match index 0 with no label; a prefix that
   // owns index 0 overwrites it below.
   if (prefixXformSm_->v4Sm()) {
      prefixXformSm_->writeEntry(devId(), 0, Plexo::IpGenPrefix(Plexo::Ip6Prefix{}), 0);
   }
   activeAllocDelAll();
   for (auto iter = chipPrefixConfig_->activeXformIteratorConst(); iter; ++iter) {
      if (isV4DefaultRoute(iter.key())) continue;
      // clang-format off
      NORV_ASSERT(attemptedAllocIteratorConst().isMemberOf( iter.key() ));
      // clang-format on
      const uint32_t index = attemptedAlloc(iter.key());
      activeAllocIs(iter.key(), index);
      prefixXformSm_->writeEntry(devId(), index, iter.key(), iter.value().xformed);
   }
}

void PrefixXformSm::NorvChipPrefixConfig::doCleanup() {
   if (!active()) return;
   NORV_TRACE(8, "NorvChipPrefixConfig::doCleanup chipId {}", fwkKey_);
   if (const auto& status = prefixXformSm_->resourceStatus())
      status->resourceChipStatusDel(fwkKey_);
   for (auto it = attemptedAllocColl().begin(); it; ++it)
      hwTableBitMap_->clearBit(it.value());
   attemptedAllocDelAll();
   for (auto it = activeAllocColl().begin(); it; ++it)
      prefixXformSm_->delEntry(devId(), it.value());
   activeAllocDelAll();
}

Norv::Ptr<PrefixXformSm>
prefixXformSmFactory(const Norv::Name& name,
                     Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                     Norv::Ptr<const Orim::IpGenPrefixConfig> prefixConfig,
                     Norv::Ptr<Orim::ResourceStatus> resourceStatus,
                     Norv::Ptr<PrefixXformChipInfo> prefixXformChipInfo) {
   return new PrefixXformSm(name, std::move(activeXpDeviceColl), std::move(prefixConfig),
                            std::move(resourceStatus), std::move(prefixXformChipInfo));
}

Norv::Ptr<PrefixXformChipInfo> prefixXformChipInfoFactory() {
   return new PrefixXformChipInfo();
}

} // namespace XpAcl
