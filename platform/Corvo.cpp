#include "platform/Corvo.h"

namespace Corvo {

namespace Central {

std::string ChipInfo::text() const {
   return Norv::valueText(
       "Corvo::Central::ChipInfo", Norv::field("deviceId", deviceId_),
       Norv::field("chipName", chipName_), Norv::field("chipModel", chipModel_),
       Norv::field("intf", intf_), Norv::field("hwRevision", hwRevision_),
       Norv::field("portCount", portCount_), Norv::field("coreClockMhz", coreClockMhz_),
       Norv::field("pciDeviceId", pciDeviceId_), Norv::field("coreVoltage", coreVoltage_));
}

} // namespace Central

const char* norvEnumName(Ip6DefaultIcmp6TypesSupported v) {
   switch (v) {
   case Ip6DefaultIcmp6TypesSupported::icmp6TypesNone:
      return "icmp6TypesNone";
   case Ip6DefaultIcmp6TypesSupported::icmp6TypesNeighborDiscovery:
      return "icmp6TypesNeighborDiscovery";
   case Ip6DefaultIcmp6TypesSupported::icmp6TypesAll:
      return "icmp6TypesAll";
   }
   return "unknown";
}

} // namespace Corvo
