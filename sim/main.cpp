#include <iostream>
#include <string>

#include "norv/Clock.h"
#include "sim/Sim.h"

namespace {

int usage(int status) {
   (status ? std::cerr : std::cout)
       << "usage: xpacl-sim [--live] [scenario-file]\n"
          "Plays the scenario (the built-in one when none is given); 'help' inside a scenario\n"
          "lists the commands. Time is virtual unless --live is given, in which case 'clock "
          "+S'\n"
          "waits S real seconds and timers fire as they fall due.\n";
   return status;
}

} // namespace

int main(int argc, char** argv) {
   bool live = false;
   std::string scenario;
   for (int i = 1; i < argc; ++i) {
      const std::string arg = argv[i];
      if (arg == "-h" || arg == "--help") return usage(0);
      if (arg == "--live") {
         live = true;
      } else if (scenario.empty() && !arg.empty() && arg[0] != '-') {
         scenario = arg;
      } else {
         std::cerr << "xpacl-sim: unexpected argument '" << arg << "'\n";
         return usage(2);
      }
   }
   Sim::Simulator sim(std::cout);
   if (live) Norv::activityManager().realTimeIs(true);
   const bool ok = scenario.empty()
                       ? sim.runText("<built-in>", Sim::builtinScenario(), std::cerr)
                       : sim.runFile(scenario, std::cerr);
   std::cout.flush();
   return ok ? 0 : 1;
}
