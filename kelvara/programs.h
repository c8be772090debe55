// Other programs at work for kelvara, on a short leash.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace kelvara {

struct ProgramLimits {
  std::chrono::seconds time{60};  // on the clock; twice the processor's
  std::size_t outputBytes = std::size_t{256} << 20;
  std::size_t memoryBytes = std::size_t{3} << 30;  // of address space
};

struct ProgramRun {
  bool finished = false;  // by itself, with status 0
  std::string output;     // standard output
  std::string problem;    // why not, in words: "took longer than 60 seconds"
};

// The path of a program that PATH leads to; empty when there is none.
std::string findProgram(const std::string& name);

// Runs a program (a path and its arguments) to its end. Its input is empty, its error stream is thrown away,
// and nothing of it is left running.
ProgramRun runProgram(const std::vector<std::string>& command, const ProgramLimits& limits = {});

}  // namespace kelvara
