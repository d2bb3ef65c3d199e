#pragma once

#include <cstdint>
#include <string>

#include "platform/OrimMaskGroup.h"
#include "sim/Sim.h"

namespace Sim {

// The fields a mask group matches on besides the address labels, as the scenario writes them:
// "ttl", "frag", "proto", "sport", "dport" and "est", joined by "+" (the value of `match=`).
void matchFieldsIs(Orim::MaskGroupDescriptor& mgd, const std::string& value);
// The same words for a descriptor; empty when it matches none of them.
std::string matchFields(const Orim::MaskGroupDescriptor& mgd);

// "SIPLEN DIPLEN [TYPE] [match=FIELDS]" from word `first` on, as 'rulelist mg' and 'seprofile
// config' take a mask group; the type defaults to 1.
Orim::MaskGroupDescriptor maskGroupArgs(const Args& a, size_t first, uint64_t maxMaskLength);

// "SIPLEN DIPLEN TYPE [match=FIELDS]", the words maskGroupArgs reads back; a Sim::Error naming
// `owner` when the descriptor has fields those words do not carry (MAC masks, TCP flags,
// DSCP, Ethernet protocol).
std::string maskGroupWords(const Orim::MaskGroupDescriptor& mgd, const std::string& owner);

} // namespace Sim
