#pragma once

#include <sstream>
#include <string>

#include "sim/Sim.h"

// Plays a scenario text in a fresh simulator of this process and keeps what it printed.
struct Outcome {
   bool ok;
   std::string out, err;
};

inline Outcome play(const std::string& text, const std::string& source = "t.scn") {
   std::ostringstream out, err;
   Sim::Simulator sim(out);
   const bool ok = sim.runText(source, text, err);
   return {ok, out.str(), err.str()};
}
