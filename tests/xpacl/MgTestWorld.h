#pragma once

// The agent's side of the mask-group helper and table reactor, for tests: chips whose stages
// are published, and rules to place on them.
#include <cstdio>
#include <string>

#include "norv/Trace.h"
#include "tests/xpacl/StageTestWorld.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpAcmBankMgr.h"
#include "xdk/xpAcmPl.h"
#include "xdk/xpLogMgr.h"
#include "xpacl/maskgroup/XpAclMgTableHelper.h"

namespace XpAclTest {

constexpr uint16_t kPriorityMax = 0x1fff;

inline xpAaclMgTableMgr* mgModel() {
   return xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
       xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
}
inline xpAcmBankMgr* acmModel() {
   return xpAcmPl::instance()->getMgr<xpAcmBankMgr>(xpPrimitiveMgrBase<xpAcmBankMgr>::idAt(0));
}

inline Orim::AclId aclIdOf(uint32_t list, Acl::AclDirection dir = Acl::AclDirection::in) {
   return Orim::AclId(Orim::ChipRuleListId(list), dir);
}

// A rule of list `list` matching source label `sip`, of ACL type 1.
inline Orim::PerStageTableEntry rule(uint32_t list, uint32_t ruleId, bool counting,
                                     uint32_t sip = 1, uint16_t priority = 10) {
   Orim::PerStageTableEntry e;
   e.aclIdIs(aclIdOf(list));
   e.ruleIdIs(ruleId);
   Orim::PDKeyValue k;
   k.srcIpLabelIs(sip);
   k.dstIpLabelIs(ruleId);
   e.pdKeyIs(k);
   Orim::MaskGroupDescriptor mgd;
   mgd.aclTypeIs(1);
   e.maskGroupDescriptorIs(mgd);
   e.countingIs(counting);
   e.priorityIs(priority);
   return e;
}

struct MgTestWorld : StageTestWorld {
   MgTestWorld() {
      xpLogMgr::instance()->setSink(nullptr);
      startStageMgr();
   }
   ~MgTestWorld() { xpLogMgr::instance()->setSink(stderr); }

   // A device that is up, with its stages published and its priority field declared.
   void chipUp(uint8_t dev, const xpDeviceProfile& profile = {}) {
      addDevice(dev, profile);
      hwCap->chipHwCapability(Orim::ChipId(dev))->priorityFieldMaxCountIs(kPriorityMax);
      deviceUp(dev);
   }

   Norv::Ptr<MgTableHelper> helper = mgTableHelperFactory(stageStatus, hwCap);
};

// Collects the text trace of the handles in `setting` while it lives.
class TraceCapture {
public:
   explicit TraceCapture(const std::string& setting) : file_(std::tmpfile()) {
      Norv::Trace::configure(setting);
      Norv::Trace::textSinkIs(file_);
   }
   ~TraceCapture() {
      Norv::Trace::configure("");
      Norv::Trace::textSinkIs(nullptr);
      std::fclose(file_);
   }
   std::string text() const {
      std::fflush(file_);
      std::rewind(file_);
      std::string out;
      char buf[4096];
      for (size_t n; (n = std::fread(buf, 1, sizeof buf, file_)) > 0;)
         out.append(buf, n);
      return out;
   }

private:
   std::FILE* file_;
};

} // namespace XpAclTest
