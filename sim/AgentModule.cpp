// The agent frame in the simulator: devices, interfaces, LAGs, batches, the clock, traces,
// and the objects every other module builds on.
#include <iomanip>
#include <sstream>

#include "norv/Clock.h"
#include "norv/Ribbonlog.h"
#include "norv/Trace.h"
#include "sim/ConfigDump.h"
#include "sim/Sim.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpSdkInit.h"

namespace Sim {

namespace {

using Corvo::Central::ChipInfo;
using Corvo::Central::DeviceId;

constexpr uint64_t kMaxDevice = 63;

XpXdk::XpDeviceId deviceArg(const Args& a, size_t i) {
   return XpXdk::XpDeviceId(static_cast<uint8_t>(a.number(i, "device id", kMaxDevice)));
}

Plexo::IntfId intfArg(const Args& a, size_t i) {
   const std::string& w = a.word(i, "interface");
   try {
      return Plexo::IntfId::fromText(w);
   } catch (const Norv::RangeError&) {
      throw Error("bad interface '" + w + "': expected EthernetN, Port-ChannelN or VlanN");
   }
}

DeviceId devInfoKey(XpXdk::XpDeviceId dev) {
   return DeviceId(dev.value());
}

// The description the simulated agent publishes for a device.
ChipInfo chipInfoFor(XpXdk::XpDeviceId dev) {
   ChipInfo c(devInfoKey(dev));
   c.chipNameIs("Xp80-" + std::to_string(dev.value()));
   c.chipModelIs("Xp80");
   c.hwRevisionIs(2);
   c.portCountIs(128);
   c.coreClockMhzIs(950);
   c.pciDeviceIdIs(0x8080);
   c.coreVoltageIs(0.85);
   return c;
}

Norv::Ptr<XpAcl::XpDevInfo> requireDevInfo(SimWorld& w, XpXdk::XpDeviceId dev) {
   auto info = w.commonData->devInfo(devInfoKey(dev));
   if (!info) throw Error("device " + dev.text() + " is not added (use 'device add')");
   return info;
}

// A device description changes by replacing its member: the old one goes, the new one comes.
void replaceDevInfo(SimWorld& w, const ChipInfo& c) {
   w.commonData->devInfoDel(c.deviceId());
   w.commonData->devInfoIs(c);
}

using DeviceState = SimBatch::DeviceState;

DeviceState deviceStateOf(const SimWorld& w, XpXdk::XpDeviceId dev) {
   const auto& coll = w.devices->deviceIdColl();
   if (!coll.contains(dev)) return DeviceState::absent;
   return *coll.find(dev) ? DeviceState::up : DeviceState::down;
}

const char* stateText(DeviceState st) {
   return st == DeviceState::absent ? "absent" : st == DeviceState::up ? "up" : "down";
}

// A batch delivers one notification per device, carrying its last state: a device that ends up
// where the batch found it after changing would reach the driver as a change that did not
// happen, and one removed and added again as a device that never went. A chip's configuration
// changed before its device in one batch would be handled first, with the device already in
// its new state. The driver sees none of these outside a batch, so each is refused.
void noteDeviceChange(SimWorld& w, XpXdk::XpDeviceId dev, DeviceState next) {
   if (!w.batch.isOpen()) return;
   const DeviceState now = deviceStateOf(w, dev);
   if (now != DeviceState::absent && w.batch.changed(SimBatch::chipKey(dev.value()))) {
      throw Error("chip " + dev.text() +
                  "'s configuration changed earlier in this batch, and the driver would read "
                  "it with the device already " +
                  (next == DeviceState::absent ? std::string("gone") : stateText(next)) +
                  " (change the device first, or close the batch before it)");
   }
   bool changedBefore = false;
   const DeviceState atOpen = w.batch.deviceAtOpen(dev.value(), now, changedBefore);
   if (changedBefore && now != next && next == atOpen) {
      throw Error("device " + dev.text() + " was " + stateText(atOpen) +
                  " when this batch opened and changed since: the driver would get both "
                  "changes as one notification and miss them (close the batch first)");
   }
   w.batch.touch(SimBatch::deviceKey(dev.value()));
}

void deviceAdd(Simulator& s, const Args& a) {
   const auto dev = deviceArg(a, 0);
   a.atMost(1);
   auto& w = s.world();
   if (w.commonData->devInfo(devInfoKey(dev))) {
      throw Error("device " + dev.text() + " is already added");
   }
   if (w.batch.changed("removed " + SimBatch::deviceKey(dev.value()))) {
      throw Error("device " + dev.text() +
                  " was removed in this batch and leaves the chip model only when the batch "
                  "is delivered (close the batch before adding it again)");
   }
   noteDeviceChange(w, dev, DeviceState::down);
   if (xpDeviceMgr::instance()->addDevice(dev.value(), xpDeviceProfile{}) != XP_NO_ERR) {
      throw Error("the chip model refused device " + dev.text());
   }
   w.commonData->devInfoIs(chipInfoFor(dev));
   w.devices->deviceIdIs(dev, false);
}

void deviceState(Simulator& s, const Args& a, bool up) {
   const auto dev = deviceArg(a, 0);
   a.atMost(1);
   auto& w = s.world();
   requireDevInfo(w, dev);
   noteDeviceChange(w, dev, up ? DeviceState::up : DeviceState::down);
   w.devices->deviceIdIs(dev, up);
}

void deviceRemove(Simulator& s, const Args& a) {
   const auto dev = deviceArg(a, 0);
   a.atMost(1);
   auto& w = s.world();
   requireDevInfo(w, dev);
   noteDeviceChange(w, dev, DeviceState::absent);
   w.batch.touch("removed " + SimBatch::deviceKey(dev.value()));
   // Its interfaces go with it.
   std::vector<Plexo::IntfId> intfs;
   for (auto it = w.commonData->intfToDevIdColl().begin(); it; ++it) {
      if (it.value() == devInfoKey(dev)) intfs.push_back(it.key());
   }
   for (const auto& intf : intfs)
      w.commonData->intfToDevIdDel(intf);
   w.devices->deviceIdDel(dev);
   w.commonData->devInfoDel(devInfoKey(dev));
   // The driver takes its entries off the device when it hears that the device went, so the
   // chip model keeps the device until then.
   w.batch.afterDelivery([id = dev.value()] { xpDeviceMgr::instance()->removeDevice(id); });
}

void intfAdd(Simulator& s, const Args& a) {
   const auto intf = intfArg(a, 0);
   const auto dev = deviceArg(a, 1);
   a.atMost(2);
   auto& w = s.world();
   ChipInfo c = requireDevInfo(w, dev)->chipInfo();
   const DeviceId old = w.commonData->intfToDevId(intf);
   if (!old.isNull() && old != devInfoKey(dev)) {
      throw Error("interface " + intf.text() + " already lives on device " + old.text());
   }
   c.intfIs(intf, true);
   replaceDevInfo(w, c);
   w.commonData->intfToDevIdIs(intf, devInfoKey(dev));
}

void intfRemove(Simulator& s, const Args& a) {
   const auto intf = intfArg(a, 0);
   a.atMost(1);
   auto& w = s.world();
   const DeviceId dev = w.commonData->intfToDevId(intf);
   if (dev.isNull()) throw Error("interface " + intf.text() + " is on no device");
   if (auto info = w.commonData->devInfo(dev)) {
      ChipInfo c = info->chipInfo();
      c.intfDel(intf);
      replaceDevInfo(w, c);
   }
   w.commonData->intfToDevIdDel(intf);
}

void lagAdd(Simulator& s, const Args& a) {
   const auto port = intfArg(a, 0);
   const auto lag = intfArg(a, 1);
   a.atMost(2);
   if (!port.isEthernet()) throw Error("a LAG member must be an Ethernet port");
   if (!lag.isPortChannel()) throw Error("a LAG must be a Port-Channel");
   s.world().commonData->portToLagIs(port, lag);
}

void lagRemove(Simulator& s, const Args& a) {
   const auto port = intfArg(a, 0);
   a.atMost(1);
   s.world().commonData->portToLagDel(port);
}

void batchBegin(Simulator& s, const Args& a) {
   a.atMost(0);
   if (s.world().batch.isOpen()) throw Error("'batch' inside a batch");
   s.world().batch.open(s.line());
}

void batchEnd(Simulator& s, const Args& a) {
   a.atMost(0);
   if (!s.world().batch.isOpen()) throw Error("'end' without 'batch'");
   // Delivery runs the driver's handlers; what they throw is reported for this line.
   s.world().batch.close();
}

void clockCmd(Simulator& s, const Args& a) {
   const std::string& w = a.word(0, "time (+S to advance, or S)");
   a.atMost(1);
   auto& am = Norv::activityManager();
   const bool relative = w[0] == '+';
   const double v = Args({relative ? w.substr(1) : w}).real(0, "time");
   const double target = relative ? am.now() + v : v;
   if (v < 0 || target < am.now()) throw Error("time " + w + " is in the past");
   // Every second of virtual time fires the counter poll: a step is kept to a day of them.
   constexpr double kMaxStep = 86400;
   if (target - am.now() > kMaxStep) {
      throw Error("time " + w + " is more than a day (86400 s) ahead: advance in steps");
   }
   if (am.realTime()) {
      am.runFor(target - am.now());
   } else {
      am.advanceTo(target);
      s.out() << "clock " << am.now() << "\n";
   }
}

void showCapabilities(Simulator& s, const Args& a) {
   a.atMost(0);
   const auto& h = *s.world().aclHelper;
   auto& o = s.out();
   const auto yn = [](bool b) { return b ? "true" : "false"; };
   o << "ACL capabilities\n";
   o << "  revertIncompleteAclSupported " << yn(h.revertIncompleteAclSupported()) << "\n";
   o << "  aclBatchCommitSupported " << yn(h.aclBatchCommitSupported()) << "\n";
   o << "  deferredOperationsSupported " << yn(h.deferredOperationsSupported()) << "\n";
   o << "  routerAclSupported " << yn(h.routerAclSupported()) << "\n";
   o << "  aclDscpSupported " << yn(h.aclDscpSupported()) << "\n";
   o << "  ip6AclSupported " << yn(h.ip6AclSupported()) << "\n";
   o << "  ipEgressAclSupported " << yn(h.ipEgressAclSupported()) << "\n";
   o << "  routerEgressAclSupported " << yn(h.routerEgressAclSupported()) << "\n";
   o << "  ip6EgressAclSupported " << yn(h.ip6EgressAclSupported()) << "\n";
   o << "  ip6RouterEgressAclSupported " << yn(h.ip6RouterEgressAclSupported()) << "\n";
   o << "  aclTcSupported " << yn(h.aclTcSupported()) << "\n";
   o << "  aclLoggingSupported " << yn(h.aclLoggingSupported()) << "\n";
   o << "  routerAclLoggingSupported " << yn(h.routerAclLoggingSupported()) << "\n";
   o << "  permitDuringAclUpdate " << yn(h.permitDuringAclUpdate()) << "\n";
   o << "  dscpFilterSupported " << yn(h.dscpFilterSupported()) << "\n";
   o << "  ecnFilterSupported " << yn(h.ecnFilterSupported()) << "\n";
   o << "  aclEcnSupported " << yn(h.aclEcnSupported()) << "\n";
   o << "  aclCountersSupported " << yn(h.aclCountersSupported()) << "\n";
   o << "  supportedTcpFlags " << h.supportedTcpFlags().text() << "\n";
   o << "  establishedSupported " << yn(h.establishedSupported()) << "\n";
   o << "  macAclSupported " << yn(h.macAclSupported()) << "\n";
   o << "  macEgressAclSupported " << yn(h.macEgressAclSupported()) << "\n";
   o << "  installImplicitIcmp6Rules " << Norv::text(h.installImplicitIcmp6Rules()) << "\n";
   o << "  dpIp6AclFullMaskSupported " << yn(h.dpIp6AclFullMaskSupported()) << "\n";
}

// Lines sorted so the dump does not depend on hash order.
template <class Coll, class F>
void sortedLines(std::ostream& o, const Coll& c, F&& line) {
   std::vector<std::pair<decltype(c.begin().key().value()), std::string>> rows;
   for (auto it = c.begin(); it; ++it)
      rows.emplace_back(it.key().value(), line(it));
   std::sort(rows.begin(), rows.end());
   for (auto& r : rows)
      o << r.second;
}

void showCommon(Simulator& s, const Args& a) {
   a.atMost(0);
   auto& w = s.world();
   auto& o = s.out();
   o << "devices\n";
   sortedLines(o, w.devices->deviceIdColl(), [](const auto& it) {
      return "  device " + it.key().text() + (it.value() ? " up" : " down") + "\n";
   });
   o << "devInfo\n";
   sortedLines(o, w.commonData->devInfoColl(), [](const auto& it) {
      const auto& d = *it.value();
      std::vector<Plexo::IntfId> intfs;
      for (auto i = d.intfColl().begin(); i; ++i)
         intfs.push_back(i.key());
      std::sort(intfs.begin(), intfs.end());
      std::string line = "  device " + d.deviceId().text() + " " + d.chipName() + " model " +
                         d.chipModel() + " intfs";
      for (const auto& i : intfs)
         line += " " + i.text();
      return line + "\n";
   });
   o << "intfToDevId\n";
   sortedLines(o, w.commonData->intfToDevIdColl(), [](const auto& it) {
      return "  " + it.key().text() + " device " + it.value().text() + "\n";
   });
   o << "portToLag\n";
   sortedLines(o, w.commonData->portToLagColl(), [](const auto& it) {
      return "  " + it.key().text() + " " + it.value().text() + "\n";
   });
}

void traceText(Simulator&, const Args& a) {
   const std::string setting =
       a.has(0) && a.word(0, "") != "off" ? a.word(0, "trace setting") : "";
   a.atMost(1);
   const std::string err = Norv::Trace::configure(setting);
   if (!err.empty()) throw Error(err);
}

void traceRing(Simulator&, const Args& a) {
   const bool on = a.flag(0, "ring state");
   a.atMost(1);
   Norv::Ribbonlog::enabledIs(on);
}

void traceDump(Simulator& s, const Args& a) {
   a.atMost(0);
   std::ostringstream buf;
   Norv::Ribbonlog::dump(buf);
   s.out() << buf.str();
}

void echo(Simulator& s, const Args& a) {
   std::string line;
   for (size_t i = 0; i < a.size(); ++i)
      line += (i ? " " : "") + a.word(i, "text");
   s.out() << line << "\n";
}

// The agent's top-level objects in the order it created them: the start-up order.
void showAgent(Simulator& s, const Args& a) {
   a.atMost(2);
   int n = 0;
   for (const char* name : {"xpDeviceIdColl", "systemStatus", "xpAclCommonSmData",
                            "hwCapabilityColl", "corvoOrimAclHelper"})
      s.out() << ++n << ". " << name << "\n";
   for (const auto& name : s.world().heldNames())
      s.out() << ++n << ". " << name << "\n";
}

void start(Simulator& s) {
   xpSdkInit();
   if (!s.secondary()) {
      Norv::activityManager().realTimeIs(false, 0.0);
      Norv::Trace::textSinkIs(stdout);
   }
   auto& w = s.world();
   w.devices = XpXdk::xpDeviceIdCollFactory();
   w.systemStatus = XpSystem::systemStatusFactory("systemStatus");
   w.commonData = XpAcl::xpAclCommonSmDataFactory("xpAclCommonSmData");
   w.hwCapabilityColl = new Orim::HwCapabilityColl("hwCapabilityColl");
   w.aclHelper = XpAcl::corvoOrimAclHelperFactory(
       new CorvoOrim::CorvoOrimAclColl("corvoOrimAclColl"),
       new CorvoOrim::GlueConfig("glueConfig"), new CorvoOrim::GlueStatus("glueStatus"),
       w.hwCapabilityColl, new CorvoOrim::Index("index"));
   w.aclHelper->hwInit();

   s.addCommand({"help", "", "", "list the commands", [](Simulator& sim, const Args& a) {
                    a.atMost(0);
                    sim.printHelp();
                 }});
   s.addCommand({"echo", "", "TEXT...", "print the text", echo});
   s.addCommand({"device", "add", "DEV",
                 "add device DEV (0-63) to the chip model and the agent", deviceAdd});
   s.addCommand({"device", "up", "DEV", "mark the device active",
                 [](Simulator& sim, const Args& a) { deviceState(sim, a, true); }});
   s.addCommand({"device", "down", "DEV", "mark the device inactive",
                 [](Simulator& sim, const Args& a) { deviceState(sim, a, false); }});
   s.addCommand({"device", "remove", "DEV", "remove the device everywhere", deviceRemove});
   s.addCommand({"intf", "add", "INTF DEV", "put interface INTF (e.g. Ethernet3) on device DEV",
                 intfAdd});
   s.addCommand({"intf", "remove", "INTF", "take the interface off its device", intfRemove});
   s.addCommand(
       {"lag", "add", "PORT LAG", "make Ethernet PORT a member of Port-Channel LAG", lagAdd});
   s.addCommand({"lag", "remove", "PORT", "take the port out of its LAG", lagRemove});
   s.addCommand({"batch", "", "", "publish the lines up to 'end' as one batch", batchBegin});
   s.addCommand({"end", "", "", "close the batch and deliver its notifications", batchEnd});
   s.addCommand({"clock", "", "+S|S", "advance the clock by S seconds (or to S); fires timers",
                 clockCmd});
   s.addCommand({"helper", "hwinit", "", "run the ACL helper's hardware initialisation again",
                 [](Simulator& sim, const Args& a) {
                    a.atMost(0);
                    sim.world().aclHelper->hwInit();
                 }});
   s.addCommand({"show", "agent", "",
                 "the agent's top-level objects, in the order it created them", showAgent});
   s.addCommand({"show", "capabilities", "", "the ACL capabilities declared at hwInit",
                 showCapabilities});
   s.addCommand(
       {"show", "common", "", "devices, interfaces and LAGs of the common data", showCommon});
   s.addCommand(
       {"trace", "text", "SETTING|off", "text trace, e.g. XpAclL4PortXformSm/0-9", traceText});
   s.addCommand({"trace", "ring", "on|off", "record every trace statement in the ring buffer",
                 traceRing});
   s.addCommand({"trace", "dump", "", "print the ring buffer, oldest first", traceDump});
}

const char* const scenario = R"(# The agent frame: two chips, their interfaces and a LAG.
echo == agent: devices, interfaces, LAGs
show capabilities
device add 0
device add 1
intf add Ethernet1 0
intf add Ethernet2 0
intf add Ethernet3 1
lag add Ethernet1 Port-Channel10
lag add Ethernet2 Port-Channel10
device up 0
device up 1
show common
batch
device down 1
lag remove Ethernet2
end
show common
clock +1
)";

// Devices, then interfaces and LAG memberships, each in key order.
void dump(Simulator& s, ConfigDump& d) {
   auto& w = s.world();
   for (auto it = w.devices->deviceIdColl().begin(); it; ++it)
      d.deviceIs(it.key().value(), it.value());
   std::vector<std::pair<Plexo::IntfId, std::string>> intfs;
   for (auto it = w.commonData->intfToDevIdColl().begin(); it; ++it)
      intfs.emplace_back(it.key(), "intf add " + it.key().text() + " " + it.value().text());
   std::vector<std::pair<Plexo::IntfId, std::string>> lags;
   for (auto it = w.commonData->portToLagColl().begin(); it; ++it)
      lags.emplace_back(it.key(), "lag add " + it.key().text() + " " + it.value().text());
   std::sort(intfs.begin(), intfs.end());
   std::sort(lags.begin(), lags.end());
   for (const auto& list : {intfs, lags}) {
      for (const auto& [key, line] : list)
         d.line(line);
   }
}

const ModuleRegistration reg({"agent", 0, start, scenario});
const ConfigDumperRegistration dumper({"agent", 0, nullptr, dump});

} // namespace

} // namespace Sim
