#include "platform/XpXdk.h"

namespace XpXdk {

Norv::Ptr<XpDeviceIdColl> xpDeviceIdCollFactory() {
   return new XpDeviceIdColl();
}

} // namespace XpXdk
