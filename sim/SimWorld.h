#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/CorvoOrim.h"
#include "platform/XpSystem.h"
#include "platform/XpXdk.h"
#include "sim/SimBatch.h"
#include "xpacl/agent/XpAclAgentCommon.h"
#include "xpacl/agent/XpAclCorvoOrimAclHelper.h"

namespace Sim {

// The agent's objects that every module shares: the entities the upper layers publish and the
// library's top-level objects. Modules keep their own reactors in `held`.
struct SimWorld {
   Norv::Ptr<XpXdk::XpDeviceIdColl> devices;
   Norv::Ptr<XpSystem::SystemStatus> systemStatus;
   Norv::Ptr<XpAcl::XpAclCommonSmData> commonData;
   Norv::Ptr<Orim::HwCapabilityColl> hwCapabilityColl;
   Norv::Ptr<XpAcl::CorvoOrimAclHelper> aclHelper;
   SimBatch batch;

   // Reactors and entities created by modules, by name; dropped in reverse order at the end,
   // as the agent drops its top-level objects.
   template <class T>
   Norv::Ptr<T> hold(const std::string& name, Norv::Ptr<T> p) {
      held_.emplace_back(name, p);
      return p;
   }
   template <class T>
   Norv::Ptr<T> get(const std::string& name) const {
      for (const auto& [n, p] : held_) {
         if (n == name) return Norv::ptrCast<T>(p);
      }
      return nullptr;
   }
   // The names of the held objects, in the order they were created.
   std::vector<std::string> heldNames() const {
      std::vector<std::string> names;
      for (const auto& [n, p] : held_)
         names.push_back(n);
      return names;
   }
   void dropAll() {
      while (!held_.empty())
         held_.pop_back();
   }

private:
   std::vector<std::pair<std::string, Norv::Ptr<Norv::Entity>>> held_;
};

} // namespace Sim
