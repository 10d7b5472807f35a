// The `solve` verb of the quorvan tool.
#pragma once

namespace qvncli {

// Runs `quorvan solve FILE [options]`; argv starts at the word "solve".
int runSolve(int argc, char **argv);
const char *solveUsageText();

} // namespace qvncli
