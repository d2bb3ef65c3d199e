#include "sim/MgksRoom.h"

#include "xdk/xpAclPl.h"
#include "xdk/xpMgksMgr.h"
#include "xpacl/maskgroup/XpAclMgksEntry.h"
#include "xpacl/model/XpAclStageStatus.h"

namespace Sim {

std::string mgksKeyText(const Orim::ChipRuleListIdKey& k) {
   return "key " + std::to_string(k.hwAclIndex()) + " " + std::to_string(k.protocolType()) +
          " " + std::to_string(k.tableType()) + " " + norvEnumName(k.direction());
}

void checkMgksRoom(Simulator& s, const Orim::ChipId& chip, const Orim::ChipRuleListIdKey& key,
                   const Orim::StageId& stage) {
   auto stages =
       s.world().get<XpAcl::AaclStageStatus>("aaclStageStatus")->aaclChipStageStatus(chip);
   auto desc = stages ? stages->aaclStageDescriptor(stage) : nullptr;
   const auto fields = XpAcl::mgksEntryFields(key, Orim::ChipRuleListId(0), {}, 0);
   if (!desc || !fields) return;
   const uint32_t table = desc->ldeMgTableLookupDesc().mgksTableId().value();
   auto* model = xpAclPl::instance()->getMgr<xpMgksMgr>(xpPrimitiveMgrBase<xpMgksMgr>::idAt(0));
   if (model->addWouldMove(static_cast<xpsDevice_t>(chip.value()), table,
                           XpAcl::packMgksEntry(*fields))) {
      throw Error("no room for " + mgksKeyText(key) + " at stage " + stage.text() +
                  ": the chip would have to move another entry of MGKS table " +
                  std::to_string(table));
   }
}

} // namespace Sim
