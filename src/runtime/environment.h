// The Environment: root of everything the library does. No global mutable state
// exists; two Environments are independent.
#pragma once
#include <cstdint>
#include <mutex>

#include "quorvan.h"
#include "runtime/channels.h"
#include "runtime/params.h"

namespace qvn {

constexpr int kErrorIndexSize = 479;
constexpr int kMessageBufferSize = 1024;
// Upper bound on children and worker threads of one Environment.
constexpr int kThreadLimit = 64;

enum ResourceKind { kResProblem = 1, kResChannel = 2, kResChild = 3, kResNetProblem = 4 };

struct Resource {
  int kind;
  void *object;
  Resource *next;
};

// Table of thread operations that a language binding may supply.
struct ThreadHooks {
  void *(*createLock)();
  void (*destroyLock)(void *);
  int (*runThreads)(void *table, void (*routine)(void *), int count, void **arguments);
  void (*lock)(void *);
  void (*unlock)(void *);
};

struct NameHooks {
  void *userHandle;
  const char *(*colName)(void *, int, char *);
  const char *(*rowName)(void *, int, char *);
  const char *(*indicatorName)(void *, int, char *);
  const char *(*sosName)(void *, int, char *);
  const char *(*qconstrName)(void *, int, char *);
};

// Expensive consistency checks of the numerical code: the level is set by
// tests through setDebugLevel (no parameter reaches it), and the checks count
// what they find here, keeping the text of the first failure.
struct DebugRecord {
  int level;
  int failures;
  char first[256];
  // Test hook: this many node LPs of a MIP tree (the root's excepted) give
  // up as a numerical failure would, each counting one down.
  int failNodeLps;
};

// A MIP callback as registered: the function (cast back by its kind) and
// the caller's handle. Zero when none (the Environment is zero-filled).
struct CallbackSlot {
  void *function;
  void *handle;
};
enum MipCallbackKind : int {
  kMipInfoCallback = 0,
  kIncumbentCallback = 1,
  kCutCallback = 2,
  kBranchCallback = 3,
  kBranchNoSolnCallback = 4,
  kNodeCallback = 5,
  kHeuristicCallback = 6,
  kSolveCallback = 7,
  kDeleteNodeCallback = 8,
  kMipCallbackKinds = 9
};

} // namespace qvn

struct Environment {
  const qvn::ThreadHooks *threadHooks;
  Environment *self;
  int cloneCount;
  Environment **clones;
  qvn::GeneralParams *generalParams;
  qvn::MipParams *mipParams;
  qvn::BarrierParams *barrierParams;
  qvn::QpParams *qpParams;
  qvn::NetParams *netParams;
  Channel *errorChannel;
  Channel *warningChannel;
  Channel *resultsChannel;
  Channel *logChannel;
  Environment *parent;
  int cloning;
  int childCount;
  int threadNumber;
  char defaultColName[32];
  char defaultRowName[32];
  char messageBuffer[qvn::kMessageBufferSize];
  int errorIndex[qvn::kErrorIndexSize];
  qvn::Resource *resourceList;
  int resourceTracking;
  char versionText[16];
  char productTag[32];
  qvn::NameHooks nameHooks;
  std::mutex *lock;
  int lockUsers;
  int runningThreads;
  void *constraintTypes;
  int constraintTypeCount;
  uint32_t randomState;  // the Environment's random stream, never reset per run
  qvn::DebugRecord debug;
  qvn::CallbackSlot mipCallbacks[qvn::kMipCallbackKinds];  // src/mip/callbacks.cpp
};

namespace qvn {

bool checkEnv(const Environment *env);
bool terminateRequested(const Environment *env);
int addResource(Environment *env, int kind, void *object);
void removeResource(Environment *env, int kind, void *object);
Environment *openSubEnvironment(Environment *env, int *status);
// What a thread count is asked for; the numbers are those the thread hooks pass.
enum class ThreadKind : int { kLimit = 0, kLp = 1, kBarrier = 2, kMip = 3 };
int threadsAllowed(const Environment *env, ThreadKind kind);
// By number: an unknown kind allows one thread.
inline int threadsAllowed(const Environment *env, int kind) {
  return threadsAllowed(env, static_cast<ThreadKind>(kind));
}
// Processor count capped by the thread limit, at least 1.
int threadMax();
int makeClones(Environment *env, int count);
void releaseClones(Environment *env);

void envLockCreate(Environment *env, int n);
void envLock(Environment *env);
void envUnlock(Environment *env);
void envLockDestroy(Environment *env);
void runThreads(Environment *env, void (*routine)(void *), int count, void **arguments);

// Next value of the Environment's random stream, in [0, 1).
inline double nextRandom(Environment *env) {
  env->randomState = env->randomState * 1103515245u + 12345u;
  return static_cast<double>((env->randomState >> 16) & 0x7fff) / 32768.0;
}

} // namespace qvn
