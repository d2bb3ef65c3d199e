#include <iostream>
#include <string>

#include "norv/Clock.h"
#include "sim/Sim.h"

namespace {

int usage(int status) {
   (status ? std::cerr : std::cout)
       << "usage: xpacl-sim [--live] [scenario-file | -]\n"
          "Plays the scenario file, standard input for '-', or the built-in scenario when "
          "none\n"
          "is given; 'help' inside a scenario lists the commands. Time is virtual unless\n"
          "--live is given, in which case 'clock +S' waits S real seconds and timers fire as\n"
          "they fall due.\n";
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
      } else if (scenario.empty() && !arg.empty() && (arg[0] != '-' || arg == "-")) {
         scenario = arg;
      } else {
         std::cerr << "xpacl-sim: unexpected argument '" << arg << "'\n";
         return usage(2);
      }
   }
   Sim::Simulator sim(std::cout);
   if (live) Norv::activityManager().realTimeIs(true);
   // The built-in scenario is a newcomer's first look at the language: show each command.
   sim.echoIs(scenario.empty());
   const bool ok = scenario.empty()
                       ? sim.runText("<built-in>", Sim::builtinScenario(), std::cerr)
                       : sim.runFile(scenario, std::cerr);
   std::cout.flush();
   return ok ? 0 : 1;
}
