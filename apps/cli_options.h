// Command line of the quorvan tool: a verb and its operands.
#pragma once
#include <string>
#include <vector>

namespace qvncli {

struct CliOptions {
  std::string verb;                  // "convert", "stats", "help"
  std::vector<std::string> operands;
  std::string inputType, outputType; // --informat / --outformat words, may be empty
  bool verbose = false;
  std::string error;                 // set when the command line is unusable
};

CliOptions parseOptions(int argc, char **argv);
const char *usageText();

} // namespace qvncli
