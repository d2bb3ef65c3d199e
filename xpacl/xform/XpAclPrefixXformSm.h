#pragma once

#include <cstdint>
#include <memory>

#include "norv/Attributes.h"
#include "norv/Reactor.h"
#include "platform/OrimXform.h"
#include "platform/XpXdk.h"
#include "xpacl/XpAclExport.h"
#include "xpacl/xform/XpAclPrefixXformChipInfo.h"
#include "xpacl/xform/XpAclXformCommon.h"

class xpIpXformMgr;
struct xpIpXformEntry;

namespace XpAcl {

// Programs the IP prefixes of one direction and family (by name) into the chip's IP transform
// table, a pool of slots whose indexes this reactor allocates from the chip's bitmap. A request
// runs in two phases driven by its ids: the attempted phase only allocates indexes for the
// whole new set and reports whether it fits; the active phase writes the set. Armed by the
// agent.
class PrefixXformSm : public Norv::ArmedReactor {
public:
   NORV_ENTITY("XpAcl::PrefixXformSm")

   NORV_FORWARDING_NOTIFIEE(NorvActiveXpDeviceColl, XpXdk::XpDeviceIdColl, PrefixXformSm,
                            DeviceId, XpXdk::XpDeviceId, handleXpDevice)

   NORV_FORWARDING_NOTIFIEE(NorvPrefixConfig, Orim::IpGenPrefixConfig, PrefixXformSm,
                            ChipIpGenPrefixConfig, Orim::ChipId, handleChipIpGenPrefixConfig)

   // One chip's prefixes: the indexes of the request being attempted and of the set in force.
   class NorvChipPrefixConfig : public Norv::Reactor,
                                public Orim::ChipIpGenPrefixConfig::NotifieeConst {
   public:
      NORV_ENTITY("XpAcl::PrefixXformSm::NorvChipPrefixConfig")
      NorvChipPrefixConfig(const Orim::ChipId& fwkKey,
                           Norv::Ptr<const Orim::ChipIpGenPrefixConfig> chipPrefixConfig,
                           PrefixXformSm* prefixXformSm);

      const Orim::ChipId& fwkKey() const { return fwkKey_; }
      XpXdk::XpDeviceId devId() const { return XpXdk::deviceIdOf(fwkKey_); }
      const Norv::Ptr<const Orim::ChipIpGenPrefixConfig>& chipPrefixConfig() const {
         return chipPrefixConfig_;
      }
      uint32_t hwTableSize() const { return hwTableSize_; }
      const Norv::Ptr<Quill::Bitmap>& hwTableBitMap() const { return hwTableBitMap_; }
      NORV_PLAIN_COLL(attemptedAlloc, AttemptedAlloc, Plexo::IpGenPrefix, uint32_t,
                      Norv::HashMap)
      NORV_PLAIN_COLL(activeAlloc, ActiveAlloc, Plexo::IpGenPrefix, uint32_t, Norv::HashMap)

   public:
      void handleInitialized() override;
      void handleAttemptedRequestId();
      void handleActiveRequestId();
      void doCleanup() override;

      void onAttemptedRequestId() override { handleAttemptedRequestId(); }
      void onActiveRequestId() override { handleActiveRequestId(); }

      static constexpr std::array<const char*, 0> norvCtorAttrNames{};
      auto norvCtorAttrs() const { return std::tuple<>(); }

   private:
      bool active() const { return prefixXformSm_->initialized() && initialized(); }
      // Gives `prefix` the lowest free index; false when the prefix cannot have one.
      bool allocate(const Plexo::IpGenPrefix& prefix);
      void publish(double requestId, bool success);

      Orim::ChipId fwkKey_;
      Norv::Ptr<const Orim::ChipIpGenPrefixConfig> chipPrefixConfig_;
      PrefixXformSm* prefixXformSm_;
      uint32_t hwTableSize_ = 0;
      Norv::Ptr<Quill::Bitmap> hwTableBitMap_;
   };

   PrefixXformSm(const Norv::Name& name,
                 Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                 Norv::Ptr<const Orim::IpGenPrefixConfig> prefixConfig,
                 Norv::Ptr<Orim::ResourceStatus> resourceStatus,
                 Norv::Ptr<PrefixXformChipInfo> prefixXformChipInfo);
   ~PrefixXformSm() override;

   const Norv::Name& name() const { return name_; }
   const Norv::Ptr<const XpXdk::XpDeviceIdColl>& activeXpDeviceColl() const {
      return activeXpDeviceColl_;
   }
   const Norv::Ptr<const Orim::IpGenPrefixConfig>& prefixConfig() const {
      return prefixConfig_;
   }
   const Norv::Ptr<Orim::ResourceStatus>& resourceStatus() const { return resourceStatus_; }
   const Norv::Ptr<PrefixXformChipInfo>& prefixXformChipInfo() const {
      return prefixXformChipInfo_;
   }
   xpIpXformMgr* ipXformMgr() const { return ipXformMgr_; }
   void ipXformMgrIs(xpIpXformMgr* mgr) { ipXformMgr_ = mgr; }
   bool v4Sm() const { return v4Sm_; }
   void v4SmIs(bool v) { v4Sm_ = v; }

   NORV_REACTOR_COLL(chipPrefixConfig, ChipPrefixConfig, Orim::ChipId, NorvChipPrefixConfig,
                     Norv::HashMap)
public:
   Norv::Ptr<NorvChipPrefixConfig>
   chipPrefixConfigIs(const Orim::ChipId& chipId,
                      const Norv::Ptr<const Orim::ChipIpGenPrefixConfig>& config);

   void handleInitialized() override;
   void handleXpDevice(const XpXdk::XpDeviceId& devId);
   void handleXpDevice();
   void handleChipIpGenPrefixConfig(const Orim::ChipId& chipId);
   void handleChipIpGenPrefixConfig();

   void writeEntry(XpXdk::XpDeviceId devId, uint32_t index, const Plexo::IpGenPrefix& prefix,
                   uint32_t xformed);
   void delEntry(XpXdk::XpDeviceId devId, uint32_t index);
   uint32_t numTblEntries(XpXdk::XpDeviceId devId) const;
   XPACL_EXPORT void doShowTblEntries(int fd, XpXdk::XpDeviceId devId) const;

   bool deviceActive(XpXdk::XpDeviceId devId) const {
      return activeXpDeviceColl_ && activeXpDeviceColl_->deviceId(devId);
   }

private:
   Norv::Name name_;
   Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl_;
   Norv::Ptr<const Orim::IpGenPrefixConfig> prefixConfig_;
   Norv::Ptr<Orim::ResourceStatus> resourceStatus_;
   Norv::Ptr<PrefixXformChipInfo> prefixXformChipInfo_;
   xpIpXformMgr* ipXformMgr_ = nullptr;
   bool v4Sm_ = false;
   std::unique_ptr<NorvActiveXpDeviceColl> norvActiveXpDeviceColl_;
   std::unique_ptr<NorvPrefixConfig> norvPrefixConfig_;
};

// The table entry for a prefix and its label.
void buildXformEntry(const Plexo::IpGenPrefix& prefix, uint32_t xformed, xpIpXformEntry& entry);

XPACL_EXPORT Norv::Ptr<PrefixXformSm>
prefixXformSmFactory(const Norv::Name& name,
                     Norv::Ptr<const XpXdk::XpDeviceIdColl> activeXpDeviceColl,
                     Norv::Ptr<const Orim::IpGenPrefixConfig> prefixConfig,
                     Norv::Ptr<Orim::ResourceStatus> resourceStatus,
                     Norv::Ptr<PrefixXformChipInfo> prefixXformChipInfo);

} // namespace XpAcl
