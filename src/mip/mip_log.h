// The node log of branch and bound: header, node lines, new-incumbent lines
// and the elapsed-time line. The columns are part of the interface: scripts
// read them. Values arrive in the user's sense.
#pragma once

struct Environment;

namespace qvn {

// What one node line shows.
struct NodeLine {
  char mark = ' ';      // '*' for a new incumbent
  char heuristic = ' '; // '+' when a heuristic found it
  int node = 0, left = 0;
  enum class Kind { kValue, kInfeasible, kCutoff, kIncumbent, kLpTrouble } kind = Kind::kValue;
  double objective = 0.0;
  int iinf = 0;
  const char *lpStatusText = nullptr;  // for kLpTrouble
  bool hasIncumbent = false;
  double incumbent = 0.0, bestNode = 0.0;
  double iterations = 0.0;
  // Branch columns on the log channel.
  const char *variable = nullptr;  // null when the branch has none
  char direction = 'N';
  int parent = -1, depth = 0;
};

void printMipHeader(Environment *env);
void printNodeLine(Environment *env, const NodeLine &line);
// The display-1 form of a new incumbent; values in the user's sense,
// `bestNode` infinite (magnitude 1e74 or above) with no bound yet.
void printIncumbentShort(Environment *env, double incumbent, int node, double bestNode, int sense);
void printElapsed(Environment *env, double seconds, double treeMegabytes);
// "Nodefile size" after the elapsed line, when node blocks exist; with the
// stored size when compression changed it.
void printNodefileSize(Environment *env, double rawMegabytes, double storedMegabytes);

// Gap column text of a node line (9 characters), exposed for tests.
void formatGap(char out[16], bool hasIncumbent, double incumbent, double bestNode, bool lpTrouble);

} // namespace qvn
