#pragma once

#include <cstdint>

#include "norv/Attributes.h"
#include "norv/Export.h"
#include "platform/IdValue.h"
#include "platform/Orim.h"

// Identifiers and entities of the chip-support layer.
namespace XpXdk {

struct XpDeviceIdTag {};
// A device as the chip SDK numbers it: a chip id narrowed to 8 bits.
using XpDeviceId = Platform::IdValue<XpDeviceIdTag, uint8_t>;

struct XpLdeIdTag {};
using XpLdeId = Platform::IdValue<XpLdeIdTag, uint8_t>;

struct XpSeProfileIdTag {};
using XpSeProfileId = Platform::IdValue<XpSeProfileIdTag, uint8_t>;

inline XpDeviceId deviceIdOf(Orim::ChipId chip) {
   return XpDeviceId(static_cast<uint8_t>(chip.value()));
}
inline Orim::ChipId chipIdOf(XpDeviceId dev) {
   return Orim::ChipId(dev.value());
}

// The devices that exist; true means active.
class XpDeviceIdColl : public Norv::Entity {
public:
   NORV_ENTITY("XpXdk::XpDeviceIdColl")
   class NotifieeConst : public Norv::NotifieeOf<XpDeviceIdColl> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(DeviceId, XpDeviceId)
   };
   NORV_VALUE_COLL(deviceId, DeviceId, XpDeviceId, bool, Norv::HashMap)
};

NORV_EXPORT Norv::Ptr<XpDeviceIdColl> xpDeviceIdCollFactory();

// A set of devices.
class XpDeviceIdSet : public Norv::Entity {
public:
   NORV_ENTITY("XpXdk::XpDeviceIdSet")
   class NotifieeConst : public Norv::NotifieeOf<XpDeviceIdSet> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(DeviceId, XpDeviceId)
   };
   NORV_VALUE_COLL(deviceId, DeviceId, XpDeviceId, bool, Norv::HashMap)
};

} // namespace XpXdk
