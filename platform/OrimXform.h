#pragma once

#include <cstdint>
#include <string>

#include "norv/Attributes.h"
#include "norv/Export.h"
#include "norv/Value.h"
#include "platform/Orim.h"
#include "platform/PlexoIpGenPrefix.h"

// Field compression requests of the hardware-abstraction layer: the upper layer publishes per
// chip the port ranges and IP prefixes it wants compressed, with their labels, and raises a
// request id; the driver acknowledges each request per chip in a ResourceStatus.
namespace Orim {

// The acknowledgement of one chip's request.
struct XformStatus {
   double requestId = 0;
   bool success = false;
   bool operator==(const XformStatus&) const = default;
   std::string text() const {
      return Norv::valueText("Orim::XformStatus", Norv::field("requestId", requestId),
                             Norv::field("success", success));
   }
};

class ResourceStatus : public Norv::Entity {
public:
   NORV_ENTITY("Orim::ResourceStatus")
   class NotifieeConst : public Norv::NotifieeOf<ResourceStatus> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(ResourceChipStatus, ChipId)
   };
   explicit ResourceStatus(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   NORV_VALUE_COLL(resourceChipStatus, ResourceChipStatus, ChipId, XformStatus, Norv::HashMap)

private:
   Norv::Name name_;
};

// The request/acknowledge pair of one chip: a request id is raised after the request's
// members are in place; 0 means none.
class ChipResourceConfig : public Norv::Entity {
public:
   NORV_ENTITY("Orim::ChipResourceConfig")
   class NotifieeConst : public Norv::NotifieeOf<ChipResourceConfig> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON(AttemptedRequestId)
      NORV_ON(ActiveRequestId)
   };
   explicit ChipResourceConfig(const ChipId& chipId) : chipId_(chipId) {}
   const ChipId& chipId() const { return chipId_; }
   NORV_SCALAR(attemptedRequestId, AttemptedRequestId, double)
   NORV_SCALAR(activeRequestId, ActiveRequestId, double)

   static constexpr std::array<const char*, 0> norvCtorAttrNames{};
   auto norvCtorAttrs() const { return std::tuple<>(); }

private:
   ChipId chipId_;
};

// Ports rangeStart..rangeEnd, both included.
struct L4PortRange {
   uint16_t rangeStart = 0;
   uint16_t rangeEnd = 0;
   auto operator<=>(const L4PortRange&) const = default;
   bool operator==(const L4PortRange&) const = default;
   size_t hash() const { return size_t{rangeStart} << 16 | rangeEnd; }
   std::string text() const {
      return Norv::valueText("Orim::L4PortRange", Norv::field("rangeStart", rangeStart),
                             Norv::field("rangeEnd", rangeEnd));
   }
};

// The label of a port range; 0 is no label.
struct XformedPortRange {
   uint16_t xformed = 0;
   bool operator==(const XformedPortRange&) const = default;
   std::string text() const {
      return Norv::valueText("Orim::XformedPortRange", Norv::field("xformed", xformed));
   }
};

class ChipPortRangeConfig : public ChipResourceConfig {
public:
   NORV_ENTITY("Orim::ChipPortRangeConfig")
   class NotifieeConst
       : public Norv::NotifieeOf<ChipPortRangeConfig, ChipResourceConfig::NotifieeConst> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(AttemptedXform, L4PortRange)
      NORV_ON_KEY(ActiveXform, L4PortRange)
   };
   using ChipResourceConfig::ChipResourceConfig;
   NORV_VALUE_COLL(attemptedXform, AttemptedXform, L4PortRange, XformedPortRange,
                   Norv::RbTreeMap)
   NORV_VALUE_COLL(activeXform, ActiveXform, L4PortRange, XformedPortRange, Norv::RbTreeMap)
};

class PortRangeConfig : public Norv::Entity {
public:
   NORV_ENTITY("Orim::PortRangeConfig")
   class NotifieeConst : public Norv::NotifieeOf<PortRangeConfig> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(ChipPortRangeConfig, ChipId)
   };
   explicit PortRangeConfig(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   NORV_ENTITY_COLL(chipPortRangeConfig, ChipPortRangeConfig, ChipId, ChipPortRangeConfig,
                    Norv::HashMap)

private:
   Norv::Name name_;
};

// The label of an IP prefix.
struct XformedIpPrefix {
   uint32_t xformed = 0;
   bool operator==(const XformedIpPrefix&) const = default;
   std::string text() const {
      return Norv::valueText("Orim::XformedIpPrefix", Norv::field("xformed", xformed));
   }
};

class ChipIpGenPrefixConfig : public ChipResourceConfig {
public:
   NORV_ENTITY("Orim::ChipIpGenPrefixConfig")
   class NotifieeConst
       : public Norv::NotifieeOf<ChipIpGenPrefixConfig, ChipResourceConfig::NotifieeConst> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(AttemptedXform, Plexo::IpGenPrefix)
      NORV_ON_KEY(ActiveXform, Plexo::IpGenPrefix)
   };
   using ChipResourceConfig::ChipResourceConfig;
   NORV_VALUE_COLL(attemptedXform, AttemptedXform, Plexo::IpGenPrefix, XformedIpPrefix,
                   Norv::RbTreeMap)
   NORV_VALUE_COLL(activeXform, ActiveXform, Plexo::IpGenPrefix, XformedIpPrefix,
                   Norv::RbTreeMap)
};

class IpGenPrefixConfig : public Norv::Entity {
public:
   NORV_ENTITY("Orim::IpGenPrefixConfig")
   class NotifieeConst : public Norv::NotifieeOf<IpGenPrefixConfig> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(ChipIpGenPrefixConfig, ChipId)
   };
   explicit IpGenPrefixConfig(const Norv::Name& name) : name_(name) {}
   const Norv::Name& name() const { return name_; }
   NORV_ENTITY_COLL(chipIpGenPrefixConfig, ChipIpGenPrefixConfig, ChipId, ChipIpGenPrefixConfig,
                    Norv::HashMap)

private:
   Norv::Name name_;
};

NORV_EXPORT Norv::Ptr<ResourceStatus> resourceStatusFactory(const Norv::Name& name);
NORV_EXPORT Norv::Ptr<PortRangeConfig> portRangeConfigFactory(const Norv::Name& name);
NORV_EXPORT Norv::Ptr<IpGenPrefixConfig> ipGenPrefixConfigFactory(const Norv::Name& name);

} // namespace Orim
