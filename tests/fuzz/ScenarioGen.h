#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "sim/Sim.h"

namespace SimFuzz {

// One command of the simulator's table as the generator sees it: its leading words and the
// argument slots of its usage text ("INST CHIP [STAGE]", "attempted|active", "TEXT...").
struct Shape {
   std::string head;
   std::vector<std::string> slots;
};

std::vector<Shape> shapesOf(const std::vector<Sim::Command>& commands);

// Writes scenarios that are mostly well formed, in the simulator's own grammar, with broken
// lines, batches (some left open), device changes and removals mixed in.
class ScenarioGen {
public:
   ScenarioGen(std::vector<Shape> shapes, uint64_t seed)
       : shapes_(std::move(shapes)), rng_(seed) {}
   std::string scenario();

private:
   std::string line();
   std::string slotValue(const std::string& slot);
   std::string broken(std::string line);
   size_t pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng_); }
   bool chance(double p) { return std::bernoulli_distribution(p)(rng_); }
   template <size_t N>
   std::string oneOf(const char* const (&words)[N]) {
      return words[pick(N)];
   }

   std::vector<Shape> shapes_;
   std::mt19937_64 rng_;
   size_t devices_ = 0; // added by the scenario's preamble
   std::string family_; // of the line being written
   std::string inst_;   // the last instance chosen, so a prefix can match its family
   bool six_ = false;   // the family of the last packet source chosen
};

} // namespace SimFuzz
