// Node files: when the open nodes outgrow WORKMEM, the worse half of them is
// packed into a block, compressed (modes 1 and 3) and kept in memory or
// written to a file (modes 2 and 3) in a directory of its own, which goes
// with the tree. A block comes back whole when its best node is wanted.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "mip/node_store.h"

namespace qvn {

namespace {

// Byte writer and reader of the packed form of nodes.
struct Packer {
  EnvVector<unsigned char> &out;
  template <class T> void put(const T &v) {
    const auto *p = reinterpret_cast<const unsigned char *>(&v);
    out.insert(out.end(), p, p + sizeof(T));
  }
  void bytes(const void *p, size_t n) {
    const auto *b = static_cast<const unsigned char *>(p);
    out.insert(out.end(), b, b + n);
  }
};

struct Unpacker {
  const unsigned char *at;
  template <class T> T get() {
    T v;
    std::memcpy(&v, at, sizeof(T));
    at += sizeof(T);
    return v;
  }
};

void packNode(Packer &p, const NodeRecord &n) {
  p.put(n.sumInf), p.put(n.estimate), p.put(n.objective), p.put(n.bound), p.put(n.branchValue);
  p.put(n.sosWeight), p.put(n.key);
  p.put(n.branchVar), p.put(n.branchSet), p.put(n.depth), p.put(n.iinf), p.put(n.rowCount);
  p.put(n.sequence), p.put(n.nodeId), p.put(n.parentSequence);
  p.put(n.state), p.put(n.direction);
  p.put(static_cast<int>(n.changes.size()));
  // Field by field: the record's padding is never written, so a block's
  // bytes (and what the compressor reads) are all defined.
  for (const BoundChange &c : n.changes) p.put(c.col), p.put(c.lower), p.put(c.upper);
  p.put(static_cast<int>(n.localRows.size()));
  p.bytes(n.localRows.data(), n.localRows.size() * sizeof(int));
  // A shared basis is written once per node: the block owns what it holds.
  const int basisSize = n.basis ? static_cast<int>(n.basis->status.size()) : -1;
  p.put(basisSize);
  if (basisSize >= 0) p.put(n.basis->rowEpoch);
  if (basisSize > 0) p.bytes(n.basis->status.data(), static_cast<size_t>(basisSize));
}

NodeRecord *unpackNode(Unpacker &u) {
  NodeRecord *n = newNode();
  n->sumInf = u.get<double>(), n->estimate = u.get<double>(), n->objective = u.get<double>();
  n->bound = u.get<double>(), n->branchValue = u.get<double>(), n->sosWeight = u.get<double>();
  n->key = u.get<double>();
  n->branchVar = u.get<int>(), n->branchSet = u.get<int>(), n->depth = u.get<int>(), n->iinf = u.get<int>();
  n->rowCount = u.get<int>(), n->sequence = u.get<int>(), n->nodeId = u.get<int>();
  n->parentSequence = u.get<int>();
  n->state = u.get<char>(), n->direction = u.get<char>();
  const int changes = u.get<int>();
  n->changes.resize(static_cast<size_t>(changes));
  for (BoundChange &c : n->changes) c.col = u.get<int>(), c.lower = u.get<double>(), c.upper = u.get<double>();
  const int rows = u.get<int>();
  n->localRows.resize(static_cast<size_t>(rows));
  if (rows > 0) std::memcpy(n->localRows.data(), u.at, static_cast<size_t>(rows) * sizeof(int));
  u.at += static_cast<size_t>(rows) * sizeof(int);
  const int basisSize = u.get<int>();
  if (basisSize >= 0) {
    n->basis = envNew<SharedBasis>();
    n->basis->holders = 1;
    n->basis->rowEpoch = u.get<int>();
    n->basis->status.assign(u.at, u.at + basisSize);
    u.at += basisSize;
  }
  return n;
}

// A plain byte compressor: a control byte below 128 is followed by that many
// plus one literal bytes; one at 128 or above repeats the next byte (control -
// 125) times. Basis statuses and bound lists run long, doubles do not.
void compress(const EnvVector<unsigned char> &in, EnvVector<unsigned char> &out) {
  out.clear();
  out.reserve(in.size() + 32);
  size_t i = 0;
  const size_t n = in.size();
  while (i < n) {
    size_t run = 1;
    while (i + run < n && run < 130 && in[i + run] == in[i]) ++run;
    if (run >= 3) {
      out.push_back(static_cast<unsigned char>(run + 125));
      out.push_back(in[i]);
      i += run;
      continue;
    }
    // Literals up to the next run of three.
    size_t j = i;
    while (j < n && j - i < 128) {
      if (j + 2 < n && in[j] == in[j + 1] && in[j] == in[j + 2]) break;
      ++j;
    }
    out.push_back(static_cast<unsigned char>(j - i - 1));
    out.insert(out.end(), in.begin() + static_cast<std::ptrdiff_t>(i), in.begin() + static_cast<std::ptrdiff_t>(j));
    i = j;
  }
}

void expand(const EnvVector<unsigned char> &in, EnvVector<unsigned char> &out, size_t rawSize) {
  out.clear();
  out.reserve(rawSize);
  size_t i = 0;
  while (i < in.size()) {
    const unsigned c = in[i++];
    if (c >= 128) {
      out.insert(out.end(), c - 125, in[i++]);
    } else {
      out.insert(out.end(), in.begin() + static_cast<std::ptrdiff_t>(i),
                 in.begin() + static_cast<std::ptrdiff_t>(i + c + 1));
      i += c + 1;
    }
  }
}

void blockPath(const NodeStore &s, int index, char *path, size_t size) {
  std::snprintf(path, size, "%s/nodes%d.blk", s.directory.data(), index);
}

// Makes the store's directory on the first file; false when it cannot.
bool ensureDirectory(NodeStore &s) {
  if (!s.directory.empty()) return true;
  const char *base = s.workDir.empty() || s.workDir[0] == '\0' ? "." : s.workDir.data();
  EnvVector<char> path(std::strlen(base) + 16, '\0');
  std::snprintf(path.data(), path.size(), "%s/qvnXXXXXX", base);
  if (!mkdtemp(path.data())) return false;
  s.directory.swap(path);
  return true;
}

bool writeBlock(NodeStore &s, NodeBlock &b) {
  if (!ensureDirectory(s)) return false;
  char path[4200];
  blockPath(s, s.nextFile, path, sizeof path);
  std::FILE *f = std::fopen(path, "wb");
  if (!f) return false;
  const bool written = std::fwrite(b.bytes.data(), 1, b.bytes.size(), f) == b.bytes.size();
  const bool closed = std::fclose(f) == 0;
  if (!written || !closed) {
    std::remove(path);
    return false;
  }
  b.fileIndex = s.nextFile++;
  EnvVector<unsigned char>().swap(b.bytes);
  return true;
}

void removeBlockFile(const NodeStore &s, const NodeBlock &b) {
  if (b.fileIndex < 0) return;
  char path[4200];
  blockPath(s, b.fileIndex, path, sizeof path);
  std::remove(path);
}

void dropBlock(NodeStore &s, size_t index) {
  NodeBlock *b = s.blocks[index];
  removeBlockFile(s, *b);
  s.fileNodes -= b->count;
  s.fileBytes -= b->rawSize;
  s.fileStoredBytes -= b->storedSize;
  envDelete(b);
  s.blocks.erase(s.blocks.begin() + static_cast<std::ptrdiff_t>(index));
}

} // namespace

bool spillNodes(NodeStore &s) {
  EnvVector<NodeRecord *> nodes(s.heap[0].begin(), s.heap[0].end());
  if (nodes.size() < 2) return false;
  std::sort(nodes.begin(), nodes.end(), [](const NodeRecord *a, const NodeRecord *b) {
    return a->key != b->key ? a->key < b->key : a->sequence < b->sequence;
  });
  const size_t keep = nodes.size() / 2;
  NodeBlock *block = envNew<NodeBlock>();
  Packer packer{block->bytes};
  for (size_t k = keep; k < nodes.size(); ++k) {
    NodeRecord *n = nodes[k];
    packNode(packer, *n);
    block->minKey = std::min(block->minKey, n->key);
    block->minBound = std::min(block->minBound, n->bound);
    ++block->count;
  }
  block->rawSize = block->storedSize = static_cast<double>(block->bytes.size());
  if (s.fileMode == 1 || s.fileMode == 3) {
    EnvVector<unsigned char> packed;
    compress(block->bytes, packed);
    if (packed.size() < block->bytes.size()) {
      block->bytes.swap(packed);
      block->compressed = true;
      block->storedSize = static_cast<double>(block->bytes.size());
    }
  }
  // A block that cannot go to a file stays in memory: the run goes on.
  if (s.fileMode >= 2) writeBlock(s, *block);
  // The heaps are rebuilt from the kept half.
  s.heap[0].clear();
  s.heap[1].clear();
  s.inMemoryBytes = 0.0;
  for (size_t k = 0; k < keep; ++k) storeInsert(s, nodes[k]);
  for (size_t k = keep; k < nodes.size(); ++k) freeNode(nodes[k]);
  s.fileNodes += block->count;
  s.fileBytes += block->rawSize;
  s.fileStoredBytes += block->storedSize;
  s.blocks.push_back(block);
  return true;
}

void readBackBlock(NodeStore &s, int index) {
  NodeBlock &b = *s.blocks[static_cast<size_t>(index)];
  EnvVector<unsigned char> stored;
  if (b.fileIndex >= 0) {
    char path[4200];
    blockPath(s, b.fileIndex, path, sizeof path);
    stored.resize(static_cast<size_t>(b.storedSize));
    std::FILE *f = std::fopen(path, "rb");
    const bool read = f && std::fread(stored.data(), 1, stored.size(), f) == stored.size();
    if (f) std::fclose(f);
    if (!read) {
      // The nodes are lost: the bound they held cannot be kept either, so the
      // run must not claim more than it has seen.
      throw NodeFileFailure{kTempFileReadFailure};
    }
  } else {
    stored.swap(b.bytes);
  }
  EnvVector<unsigned char> raw;
  if (b.compressed)
    expand(stored, raw, static_cast<size_t>(b.rawSize));
  else
    raw.swap(stored);
  Unpacker u{raw.data()};
  for (int k = 0; k < b.count; ++k) storeInsert(s, unpackNode(u));
  dropBlock(s, static_cast<size_t>(index));
}

int pruneBlocks(NodeStore &s, double cutoff) {
  int removed = 0;
  for (size_t b = s.blocks.size(); b-- > 0;)
    if (s.blocks[b]->minBound >= cutoff) {
      removed += s.blocks[b]->count;
      dropBlock(s, b);
    }
  return removed;
}

void clearBlocks(NodeStore &s) {
  while (!s.blocks.empty()) dropBlock(s, s.blocks.size() - 1);
  s.fileNodes = 0;
  s.fileBytes = s.fileStoredBytes = 0.0;
  if (!s.directory.empty()) {
    rmdir(s.directory.data());
    s.directory.clear();
  }
  s.directoryAnnounced = false;
}

} // namespace qvn
