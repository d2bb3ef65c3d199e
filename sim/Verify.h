#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "xdk/xpChipSnapshot.h"

namespace Sim {

class Simulator;

struct VerifyDifference {
   std::string text;
   // What in the driver's prescribed behaviour leaves the chip so; empty when nothing does.
   std::string cause;
};

struct VerifyResult {
   std::string scenario; // the cold start played
   // Set when the cold start stopped on an error: the message and the line it played.
   std::string coldError, coldLine;
   std::vector<VerifyDifference> differences;
   size_t movedOnly = 0; // entries equal but for where history placed them
   // Devices the live agent has down: what their tables hold is what they held when they went
   // down, and the driver writes them afresh when they come back, so they are not compared.
   std::vector<uint32_t> downDevices;
};

// Plays a cold start of the simulator's configuration in a second agent with a fresh chip
// model and compares every chip table, and the transform acknowledgements, with the live
// ones. The live agent and its model are left exactly as they were: the reads go through the
// model's own view and count no operation. `devicesLast` brings the devices up after the
// configuration rather than before it.
VerifyResult verifyColdStart(Simulator& s, bool devicesLast = false);

// The driver's behaviour that explains a difference of the chip tables, or "".
std::string chipCause(Simulator& s, const xpChipDifference& d, const xpChipSnapshot& live,
                      const xpChipSnapshot& cold);
// The driver's behaviour that explains an acknowledgement that differs from the cold agent's
// (`live`: the live agent has one and the cold one has not), or "".
std::string ackCause(Simulator& s, const std::string& sm, uint32_t chip, bool live);

// Whether the live agent has a rule placed at the MG-table index of the chip.
bool ruleAt(Simulator& s, uint32_t chip, uint32_t mgTable, uint32_t index);

// A module that publishes the driver's inputs in an order of its own may leave the chip unlike
// a cold start of them in ways it knows: it names the cause of such a difference, or gives "".
// Either finder may be null.
struct VerifyCauseFinder {
   std::string (*chip)(Simulator&, const xpChipDifference&);
   // An acknowledgement the live agent has and the cold one has not.
   std::string (*ack)(Simulator&, const std::string& sm, uint32_t chip);
};

struct VerifyCauseRegistration {
   explicit VerifyCauseRegistration(VerifyCauseFinder f);
};

} // namespace Sim
