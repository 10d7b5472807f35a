// Open nodes of branch and bound: the record of a node and the store that
// orders them.
//
// A node holds the whole path of bound changes from the root (later entries
// of one column override earlier ones), so that any node can be loaded on the
// node LP by undoing the previous node's list and applying its own; the cost of
// a switch is the depth, not the model. The basis a node starts from is its
// parent's final basis, one byte per variable, shared by the siblings.
//
// The store keeps two binary heaps over the same nodes: one ordered by the node
// selection key, one by bound; each node knows its position in both so that
// it can leave either heap in logarithmic time.
#pragma once
#include <cstdint>

#include "runtime/alloc.h"

namespace qvn {

struct BoundChange {
  int col;
  double lower, upper;
};

// Basis statuses of the columns and then the rows, shared by the children of
// one node; freed when the last holder lets go.
struct SharedBasis {
  int holders = 0;
  // The cut pool's row epoch when it was taken: the rows it speaks of.
  int rowEpoch = 0;
  // The parent's LP ended optimal on it: the children, which differ only in
  // bounds, start their dual simplex from a dual feasible basis.
  bool dualFeasible = false;
  EnvVector<unsigned char> status;
};

void holdBasis(SharedBasis *b);
void releaseBasis(SharedBasis *&b);

// Infinite key or bound in the tree.
constexpr double kTreeInfinity = 1e75;
// Keys are capped here so that an infinite key still orders.
constexpr double kKeyCap = 1e74;

struct NodeRecord {
  double sumInf = 0.0;
  double estimate = 1e37;
  double objective = -1e37;
  double bound = -1e37;
  double branchValue = 0.0;
  double sosWeight = -2.0;  // negative for a variable branch
  EnvVector<BoundChange> changes;
  // Rows that hold in this node's subtree only (a branch callback's), by
  // their number in the search's LocalRowTable, the path's rows in order;
  // empty for nearly every node.
  EnvVector<int> localRows;
  SharedBasis *basis = nullptr;
  int branchVar = -1, branchSet = -1;
  int depth = 0, iinf = -1, rowCount = 0, sequence = 0, nodeId = -1;
  int parentSequence = -1;
  char state = 'F', direction = 'N';
  // Position in the selection heap and in the bound heap; -1 when outside.
  int heapPos[2] = {-1, -1};
  double key = 0.0;
};

NodeRecord *newNode();
void freeNode(NodeRecord *&node);
// Bytes a node counts for in the memory limits.
double nodeSize(const NodeRecord &node);

// What the key of a node needs besides the node.
struct NodeKeyInputs {
  int nodeSelect = 1;
  int varSelect = 1;
  double rootIinf = 0.0;
  double referenceObjective = 1e75;
  double estimateScale = 0.5;
};

double nodeKey(const NodeRecord &node, const NodeKeyInputs &in);

// The subtree-local rows of a tree, kept for its whole life: row r is
// sense[r] ('L', 'G' or 'E') and rhs[r], its entries from start[r] to
// start[r + 1] (start is empty until the first row). `installed` lists the
// rows the node LP holds now, in order, after every other row.
struct LocalRowTable {
  EnvVector<char> sense;
  EnvVector<double> rhs;
  EnvVector<int> start, index;
  EnvVector<double> value;
  EnvVector<int> installed;
};

// Open nodes moved out of memory together, worst keys first: their least key
// and bound stay here so the block can be weighed without reading it.
struct NodeBlock {
  EnvVector<unsigned char> bytes;  // empty while the block sits in a file
  bool compressed = false;
  int fileIndex = -1;              // block file in the store's directory, or -1
  double rawSize = 0.0, storedSize = 0.0;
  int count = 0;
  double minKey = kTreeInfinity, minBound = kTreeInfinity;
};

struct NodeStore {
  double memoryLimit = 1e75, treeLimit = 1e75;
  // NODEFILEIND: 0 nodes stay in memory; 1 compressed blocks in memory; 2
  // blocks in files; 3 compressed blocks in files.
  int fileMode = 0;
  EnvVector<NodeBlock *> blocks;
  int fileNodes = 0, nextFile = 0;
  double fileBytes = 0.0, fileStoredBytes = 0.0;
  // Where the directory for block files is made, and the one made (both
  // null-terminated; `directory` empty until the first file).
  EnvVector<char> workDir, directory;
  bool directoryAnnounced = false;
  NodeKeyInputs keys;
  int64_t popCount = 0;
  int bbInterval = 7;
  double inMemoryBytes = 0.0;
  EnvVector<NodeRecord *> heap[2];  // 0: by key, 1: by bound
};

int storeCount(const NodeStore &s);
// Smallest bound in the store, kTreeInfinity when empty.
double storeBestBound(const NodeStore &s);
void storePush(NodeStore &s, NodeRecord *node);
// The next node by the selection rule (or by bound on the BBINTERVAL turns of
// best-estimate search); null when empty.
NodeRecord *storePop(NodeStore &s);
// Takes `node`, one of the heaps' nodes, out of the store as a pop would.
void storeTake(NodeStore &s, NodeRecord *node);
// Removes and frees every node whose bound is at or above `cutoff`; returns the count.
int storePrune(NodeStore &s, double cutoff);
void storeClear(NodeStore &s);
// Recomputes every key (after the key inputs changed).
void storeRekey(NodeStore &s);

// A block file that cannot be read back: its nodes, and the bound they held,
// are lost, so the run ends (the driver turns this into a no-tree status).
constexpr int kTempFileReadFailure = 1802;  // "Failure on temporary file read"
struct NodeFileFailure {
  int code;
};

// Node files (node_file.cpp). Inserts into both heaps with no spill.
void storeInsert(NodeStore &s, NodeRecord *node);
// Moves the worse half of the heaps into a block. False when nothing moved.
bool spillNodes(NodeStore &s);
// Brings block `b` back into the heaps. Throws NodeFileFailure when its file
// cannot be read.
void readBackBlock(NodeStore &s, int b);
// Drops blocks, their files and the directory.
void clearBlocks(NodeStore &s);
// Drops the blocks whose every node has a bound at or above `cutoff`.
int pruneBlocks(NodeStore &s, double cutoff);

} // namespace qvn
