// A program built against XpAcl the way a hosting agent is: it brings up the chip SDK, creates
// the agent's common data, the ACL helper and a source L4 port transform through the exported
// factories, publishes a port range in one batch, and checks what the driver acknowledged and
// wrote. Prints each failed check and exits 1 if any failed.
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "norv/NotificationBatch.h"
#include "platform/OrimXform.h"
#include "platform/XpXdk.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpSdkInit.h"
#include "xpacl/agent/XpAclAgentCommon.h"
#include "xpacl/agent/XpAclCorvoOrimAclHelper.h"
#include "xpacl/xform/XpAclL4PortXformSm.h"

// The number of functions in the host's API table (HostApi.cpp), which links only if the
// library exports every one of them.
size_t hostApiSize();

namespace {

int failures = 0;

void check(bool ok, const std::string& what) {
   if (ok) return;
   std::cerr << "consumer: FAILED: " << what << "\n";
   ++failures;
}

// The host watching a status entity: a notifiee of this program told of changes that the
// library makes.
class AckWatcher : public Orim::ResourceStatus::NotifieeConst {
public:
   using NotifieeConst::NotifieeConst;
   void onResourceChipStatus(const Orim::ChipId& chip) override { acks.push_back(chip); }
   std::vector<Orim::ChipId> acks;
};

std::string showTable(const XpAcl::L4PortXformSm& sm, XpXdk::XpDeviceId dev) {
   std::FILE* f = std::tmpfile();
   if (!f) return "";
   sm.doShowTblEntries(fileno(f), dev);
   std::rewind(f);
   std::string text;
   for (int c; (c = std::fgetc(f)) != EOF;)
      text.push_back(static_cast<char>(c));
   std::fclose(f);
   return text;
}

// A batch delivers what it deferred when it is closed: by close() where the framework has one,
// otherwise at the end of its scope.
template <class Batch>
void closeBatch(Batch& batch) {
   if constexpr (requires { batch.close(); }) batch.close();
}

void commonData() {
   auto data = XpAcl::xpAclCommonSmDataFactory("xpAclCommonSmData");
   Corvo::Central::ChipInfo chip{Corvo::Central::DeviceId(0)};
   chip.chipNameIs("Xp80");
   auto member = data->devInfoIs(chip);
   check(member && member->chipName() == "Xp80", "devInfoIs creates the device's member");
   check(data->devInfoIs(chip) == member, "an equal description returns the same member");
   chip.chipModelIs("B0");
   try {
      data->devInfoIs(chip);
      check(false, "a changed description raises the reinstantiation error");
   } catch (const Norv::NameInUseError& e) {
      check(std::string(e.what()).find("_chipInfo") != std::string::npos,
            "the reinstantiation error names _chipInfo: " + std::string(e.what()));
   }
}

void aclHelper() {
   auto helper = XpAcl::corvoOrimAclHelperFactory(
       new CorvoOrim::CorvoOrimAclColl("corvoOrimAclColl"),
       new CorvoOrim::GlueConfig("glueConfig"), new CorvoOrim::GlueStatus("glueStatus"),
       new Orim::HwCapabilityColl("hwCapabilityColl"), new CorvoOrim::Index("index"));
   helper->hwInit();
   check(helper->aclCountersSupported() && !helper->macAclSupported(),
         "hwInit declares counters and no MAC ACLs");
}

void l4PortTransform() {
   const XpXdk::XpDeviceId dev(0);
   const Orim::ChipId chip = XpXdk::chipIdOf(dev);
   xpDeviceProfile profile;
   profile.l4PortEntries = 1024;
   check(xpDeviceMgr::instance()->addDevice(dev.value(), profile) == XP_NO_ERR,
         "the chip model adds device 0");

   auto devices = XpXdk::xpDeviceIdCollFactory();
   auto config = Orim::portRangeConfigFactory("L4SrcPortXformSm");
   auto status = Orim::resourceStatusFactory("L4SrcPortXformSm");
   AckWatcher watcher(nullptr, status);
   auto sm = XpAcl::l4PortXformSmFactory("L4SrcPortXformSm", devices, config, status);
   sm->initializedIs(true);
   devices->deviceIdIs(dev, true);

   {
      Norv::NotificationBatch batch;
      auto chipConfig = config->chipPortRangeConfigIs(chip);
      chipConfig->activeXformIs(Orim::L4PortRange{100, 199}, Orim::XformedPortRange{5});
      chipConfig->attemptedRequestIdIs(1.0);
      // This program's changes wait in the library's batch.
      check(Norv::NotificationBatch::pending() > 0, "changes inside a batch are deferred");
      check(status->resourceChipStatus(chip).requestId == 0 && watcher.acks.empty(),
            "nothing is acknowledged before the batch closes");
      closeBatch(batch);
   }
   check(status->resourceChipStatus(chip) == Orim::XformStatus{1.0, true},
         "the request is acknowledged: " + status->resourceChipStatus(chip).text());
   check(watcher.acks == std::vector<Orim::ChipId>{chip},
         "the watcher is told of the acknowledgement once");
   const std::string table = showTable(*sm, dev);
   check(table.find("Number of valid entries in range of 0 to 1024 : 100\n") !=
             std::string::npos,
         "ports 100..199 carry a label:\n" + table);
}

} // namespace

int main() {
   xpSdkInit();
   commonData();
   aclHelper();
   l4PortTransform();
   if (failures) return 1;
   std::cout << "consumer: ok, " << hostApiSize() << " functions of the host API linked\n";
   return 0;
}
