// The factor in files: chunks of consecutive supernodes written as they are
// finished and read back when an update or a solve reaches them.
//
// The left-looking factor finishes the supernodes in ascending order, so every
// chunk below the one being built is complete and on disk before it can be
// dropped from memory; the chunk being built is pinned. A chunk whose file
// cannot be written stays in memory for the rest of the run.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "barrier/ordering/cholesky.h"
#include "runtime/environment.h"
#include "runtime/files.h"

namespace qvn {

namespace {

constexpr double kMegabyte = 1048576.0;
// Chunks hold at most this share of the working memory, so that the chunk
// being built and the sources it reads fit together.
constexpr double kChunkShare = 0.25;

void fileName(const OutOfCoreStore &store, int chunk, char *buffer, size_t size) {
  std::snprintf(buffer, size, "%s/qvntmp%d", store.directory, chunk);
}

void makeRoom(OutOfCoreStore &store, size_t need) {
  while (store.resident + need > store.budget) {
    int victim = -1;
    for (int c = 0; c < store.chunks; ++c)
      if (!store.data[c].empty() && !store.pinned[c] && !store.keep[c] && store.onDisk[c] &&
          (victim < 0 || store.lastUse[c] < store.lastUse[victim]))
        victim = c;
    if (victim < 0) return;  // everything in memory is needed: go over the budget
    store.resident -= store.data[victim].size();
    EnvVector<double>().swap(store.data[victim]);
  }
}

} // namespace

void outOfCoreRelease(OutOfCoreStore &store) {
  if (store.directory[0] != 0) {
    char name[1200];
    for (int c = 0; c < store.chunks; ++c) {
      fileName(store, c, name, sizeof name);
      std::remove(name);
    }
    rmdir(store.directory);
    store.directory[0] = 0;
  }
  store.active = false;
  store.chunks = 0;
  store.data.clear();
  store.resident = 0;
}

OutOfCoreStore::~OutOfCoreStore() { outOfCoreRelease(*this); }

int outOfCorePlan(const CholeskyOptions &o, CholeskyFactor &f) {
  OutOfCoreStore &store = f.store;
  outOfCoreRelease(store);
  const double factorBytes = static_cast<double>(f.valStart[f.numSuper]) * sizeof(double);
  if (!(o.workMemory < 1e75) || factorBytes <= o.workMemory * kMegabyte) return 0;
  Environment *env = o.env;
  // The least that works: the largest supernode's block four times over (the
  // one being built, its sources, and room to change chunks), and the scratch.
  size_t largest = 0;
  for (int s = 0; s < f.numSuper; ++s) largest = std::max(largest, f.valStart[s + 1] - f.valStart[s]);
  const double least = (4.0 * largest + factorScratchValues(f)) * sizeof(double) / kMegabyte;
  double memory = o.workMemory;
  if (memory < least) {
    if (env)
      QVNmsg(env->warningChannel, "Warning:  Working memory of %.2fMB is too small for the barrier factor, increasing to %.2fMB\n",
             memory, least);
    memory = least;
  }
  if (factorBytes <= memory * kMegabyte) return 0;
  int status = makeTempDirectory(env, o.workDirectory, "qvnbar", store.directory, sizeof store.directory);
  if (status) {
    store.directory[0] = 0;
    return status;
  }
  if (env && o.display >= 1) QVNmsg(env->resultsChannel, "Creating directory %s for Barrier out-of-core files\n", store.directory);
  const size_t chunkValues = std::max(largest, static_cast<size_t>(kChunkShare * memory * kMegabyte / sizeof(double)));
  store.chunkOf.assign(static_cast<size_t>(f.numSuper), 0);
  store.chunkStart.assign(1, 0);
  for (int s = 0; s < f.numSuper; ++s) {
    if (f.valStart[s + 1] - store.chunkStart.back() > chunkValues) store.chunkStart.push_back(f.valStart[s]);
    store.chunkOf[s] = static_cast<int>(store.chunkStart.size()) - 1;
  }
  store.chunkStart.push_back(f.valStart[f.numSuper]);
  store.chunks = static_cast<int>(store.chunkStart.size()) - 1;
  store.data.clear();
  store.data.resize(static_cast<size_t>(store.chunks));
  store.onDisk.assign(static_cast<size_t>(store.chunks), 0);
  store.pinned.assign(static_cast<size_t>(store.chunks), 0);
  store.keep.assign(static_cast<size_t>(store.chunks), 0);
  store.lastUse.assign(static_cast<size_t>(store.chunks), 0);
  store.budget = static_cast<size_t>(memory * kMegabyte / sizeof(double));
  store.resident = 0;
  // Every file is made now, so that trouble shows before the iteration.
  char name[1200];
  for (int c = 0; c < store.chunks; ++c) {
    fileName(store, c, name, sizeof name);
    FILE *file = std::fopen(name, "wb");
    if (!file) {
      if (env) QVNmsg(env->errorChannel, "Trouble opening temporary file %s\n", name);
      return -QVNERR_FAIL_OPEN_WRITE;
    }
    std::fclose(file);
  }
  store.active = true;
  if (env && o.display >= 1)
    QVNmsg(env->resultsChannel, "Writing %.0fMB factor matrix and %.0fMB update matrix\n", factorBytes / kMegabyte,
           factorScratchValues(f) * sizeof(double) / kMegabyte);
  return 0;
}

double *outOfCoreBlock(const CholeskyFactor &f, int s) {
  OutOfCoreStore &store = f.store;
  const int c = store.chunkOf[s];
  store.lastUse[c] = ++store.clock;
  if (store.data[c].empty()) {
    const size_t size = store.chunkStart[c + 1] - store.chunkStart[c];
    makeRoom(store, size);
    store.data[c].assign(size, 0.0);
    store.resident += size;
    if (store.onDisk[c]) {
      char name[1200];
      fileName(store, c, name, sizeof name);
      FILE *file = std::fopen(name, "rb");
      const bool read = file && std::fread(store.data[c].data(), sizeof(double), size, file) == size;
      if (file) std::fclose(file);
      // A file written whole that cannot be read back leaves zeros, which
      // the caller's residual check then sees.
      (void)read;
    }
  }
  return store.data[c].data() + (f.valStart[s] - store.chunkStart[c]);
}

void outOfCorePin(const CholeskyFactor &f, int s, bool pin) {
  if (f.store.active) f.store.pinned[f.store.chunkOf[s]] = pin ? 1 : 0;
}

void outOfCoreFinished(const CholeskyFactor &f, int s) {
  OutOfCoreStore &store = f.store;
  if (!store.active) return;
  const int c = store.chunkOf[s];
  if (s + 1 < f.numSuper && store.chunkOf[s + 1] == c) return;
  char name[1200];
  fileName(store, c, name, sizeof name);
  FILE *file = std::fopen(name, "wb");
  const size_t size = store.data[c].size();
  const bool written = file && std::fwrite(store.data[c].data(), sizeof(double), size, file) == size;
  if (file && std::fclose(file) != 0) store.keep[c] = 1;
  if (!written) store.keep[c] = 1;
  store.onDisk[c] = 1;
}

} // namespace qvn
