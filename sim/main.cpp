#include <iostream>
#include <string>

#include "sim/Sim.h"

int main(int argc, char** argv) {
   if (argc > 2 ||
       (argc == 2 && (std::string(argv[1]) == "-h" || std::string(argv[1]) == "--help"))) {
      std::cerr << "usage: xpacl-sim [scenario-file]\n"
                   "Plays the scenario (the built-in one when none is given); 'help' inside a "
                   "scenario lists the commands.\n";
      return argc > 2 ? 2 : 0;
   }
   Sim::Simulator sim(std::cout);
   const bool ok = argc == 2 ? sim.runFile(argv[1], std::cerr)
                             : sim.runText("<built-in>", Sim::builtinScenario(), std::cerr);
   std::cout.flush();
   return ok ? 0 : 1;
}
