#include "sim/SimArgs.h"

#include "norv/Errors.h"

namespace Sim {

Plexo::IpGenPrefix prefixText(const std::string& w) {
   const auto p = Plexo::IpGenPrefix::fromText(w);
   if (!p) throw Error("bad prefix '" + w + "': expected a.b.c.d/n or an IPv6 prefix");
   // The prefix keeps only the bits its length covers; an address with more set was probably
   // meant as another prefix, or as a longer one.
   const auto address = Plexo::IpGenPrefix::fromText(w.substr(0, w.find('/')));
   const bool same =
       !address || (address->isV4() ? address->v4Prefix().address == p->v4Prefix().address
                                    : address->v6Prefix().address == p->v6Prefix().address);
   if (!same) {
      throw Error("bad prefix '" + w + "': bits set beyond the length (did you mean " +
                  p->text() + "?)");
   }
   return *p;
}

Plexo::IntfId intfArg(const Args& a, size_t i) {
   const std::string& w = a.word(i, "interface");
   try {
      const Plexo::IntfId intf = Plexo::IntfId::fromText(w);
      if (intf.isVlanIntf()) intf.vlanId();
      return intf;
   } catch (const Norv::RangeError&) {
      throw Error("bad interface '" + w + "': expected EthernetN, Port-ChannelN or VlanN");
   }
}

uint16_t vlanArg(const Args& a, size_t i) {
   const auto v = static_cast<uint16_t>(a.number(i, "VLAN", 4094));
   if (v == 0) throw Error("bad VLAN '0': VLANs are 1 to 4094");
   return v;
}

Orim::StageId stageArg(const Args& a, size_t i) {
   return Orim::StageId(static_cast<uint32_t>(a.number(i, "stage id", 0xffffffff)));
}

} // namespace Sim
