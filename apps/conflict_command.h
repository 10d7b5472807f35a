// The `conflict` verb of the quorvan tool.
#pragma once

namespace qvncli {

// Runs `quorvan conflict FILE [--write OUT.lp]`; argv starts at the word "conflict".
int runConflict(int argc, char **argv);
const char *conflictUsageText();

} // namespace qvncli
