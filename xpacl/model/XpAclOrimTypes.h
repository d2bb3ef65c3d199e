#pragma once

// The stage and SE-profile model: value types, the stage-status, SE-profile configuration and
// status trees, and the blocked interface/VLAN collections.
#include "xpacl/model/XpAclBlockedColl.h"
#include "xpacl/model/XpAclOrimValues.h"
#include "xpacl/model/XpAclSeProfileConfig.h"
#include "xpacl/model/XpAclStageStatus.h"
