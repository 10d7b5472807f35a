#include "runtime/environment.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/alloc.h"
#include "runtime/errors.h"
#include "runtime/frame.h"

namespace qvn {

bool checkEnv(const Environment *env) {
  return env && env->generalParams && env->self == env;
}

bool terminateRequested(const Environment *env) {
  for (; env; env = env->parent) {
    const volatile int *flag = env->generalParams->terminateFlag;
    if (flag && *flag) return true;
  }
  return false;
}

int addResource(Environment *env, int kind, void *object) {
  if (!env->resourceTracking) return 0;
  auto *entry = static_cast<Resource *>(envAlloc(sizeof(Resource)));
  if (!entry) return QVNERR_NO_MEMORY;
  *entry = Resource{kind, object, nullptr};
  Resource **tail = &env->resourceList;
  while (*tail) tail = &(*tail)->next;
  *tail = entry;
  return 0;
}

void removeResource(Environment *env, int kind, void *object) {
  if (!env->resourceTracking) return;
  for (Resource **link = &env->resourceList; *link; link = &(*link)->next) {
    if ((*link)->kind == kind && (*link)->object == object) {
      Resource *entry = *link;
      *link = entry->next;
      envFree(entry);
      return;
    }
  }
}

namespace {

// Tolerates a partly built record: every step checks what exists.
void closeEnvironment(Environment *env) {
  releaseClones(env);
  while (Resource *entry = env->resourceList) {
    void *object = entry->object;
    const int kind = entry->kind;
    switch (kind) {
    case kResProblem: {
      auto *lp = static_cast<QVNLPptr>(object);
      QVNfreeprob(env, &lp);
      break;
    }
    case kResChannel: {
      auto *channel = static_cast<QVNCHANNELptr>(object);
      QVNdelchannel(env, &channel);
      break;
    }
    case kResChild: {
      auto *child = static_cast<QVNENVptr>(object);
      QVNfreeparenv(env, &child);
      break;
    }
    case kResNetProblem: {
      auto *net = static_cast<QVNNETptr>(object);
      QVNNETfreeprob(env, &net);
      break;
    }
    default: break;
    }
    // Each release removes its own entry; make sure a failed one cannot loop.
    if (env->resourceList == entry) {
      env->resourceList = entry->next;
      envFree(entry);
    }
  }
  freeChannel(env->errorChannel);
  freeChannel(env->warningChannel);
  freeChannel(env->resultsChannel);
  freeChannel(env->logChannel);
  freeParamBlocks(env);
  env->self = nullptr;
  envLockDestroy(env);
  envFree(env);
}

Environment *openEnvironment(int *status, bool root) {
  auto *env = static_cast<Environment *>(envCalloc(1, sizeof(Environment)));
  if (!env) {
    *status = QVNERR_NO_MEMORY;
    return nullptr;
  }
  env->self = env;
  std::snprintf(env->versionText, sizeof env->versionText, "%s", QVN_VERSION_TEXT);
  std::snprintf(env->productTag, sizeof env->productTag, "%s %6d", "QUORVANMIPQCQ", 1020);
  const bool blocks = createParamBlocks(env);
  env->errorChannel = blocks ? createChannel() : nullptr;
  env->warningChannel = env->errorChannel ? createChannel() : nullptr;
  env->resultsChannel = env->warningChannel ? createChannel() : nullptr;
  env->logChannel = env->resultsChannel ? createChannel() : nullptr;
  if (!env->logChannel) {
    closeEnvironment(env);
    *status = QVNERR_NO_MEMORY;
    return nullptr;
  }
  if (root) storeParamDefaults(env);
  env->resourceTracking = 1;
  buildErrorIndex(env);
  *status = 0;
  return env;
}

// Makes a child of env with default parameters; the caller decides what to copy.
Environment *makeChild(Environment *env, int *status) {
  Environment *child = openEnvironment(status, true);
  if (!child) return nullptr;
  if (int s = addResource(env, kResChild, child)) {
    closeEnvironment(child);
    *status = s;
    return nullptr;
  }
  env->childCount += 1;
  child->parent = env;
  return child;
}

} // namespace

Environment *openSubEnvironment(Environment *env, int *status) { return makeChild(env, status); }

int threadsAllowed(const Environment *env, ThreadKind kind) {
  const int limit = kThreadLimit;
  const int threads = env->generalParams->threads;
  auto capped = [&](int n) { return n < limit ? n : limit; };
  switch (kind) {
  case ThreadKind::kLimit: return limit;
  case ThreadKind::kLp: return capped(threads);
  case ThreadKind::kBarrier: return capped(env->barrierParams->barthreads ? env->barrierParams->barthreads : threads);
  case ThreadKind::kMip: return capped(env->mipParams->mipthreads ? env->mipParams->mipthreads : threads);
  default: return 1;
  }
}

void releaseClones(Environment *env) {
  if (env->cloneCount <= 0 && !env->clones) return;
  for (int i = 0; i < env->cloneCount; ++i) {
    Environment *clone = env->clones[i];
    if (!clone) continue;
    if (FILE *log = clone->generalParams->logFile) {
      QVNsetlogfile(clone, nullptr);
      std::fclose(log);
    }
    QVNfreeparenv(env, &clone);
  }
  envFree(env->clones);
  env->cloneCount = 0;
}

int makeClones(Environment *env, int count) {
  releaseClones(env);
  env->clones = static_cast<Environment **>(envCalloc(count > 0 ? count : 1, sizeof(Environment *)));
  if (!env->clones) return QVNERR_NO_MEMORY;
  env->cloneCount = count;
  const int saved = env->cloning;
  env->cloning = 1;
  int status = 0;
  for (int i = 0; i < count && status == 0; ++i) {
    Environment *clone = QVNparenv(env, &status);
    if (!clone) break;
    env->clones[i] = clone;
    clone->threadNumber = i;
    clone->generalParams->logFile = nullptr;
    clone->generalParams->threads = 1;
  }
  env->cloning = saved;
  if (status != 0) releaseClones(env);
  return status;
}

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API QVNENVptr QVNopenQUORVAN(int *status) {
  int local = 0;
  Environment *env = nullptr;
  local = runCaught([&]() -> int {
    int s = 0;
    env = openEnvironment(&s, true);
    return s;
  });
  if (status) *status = local;
  return local ? nullptr : env;
}

QVN_API int QVNcloseQUORVAN(QVNENVptr *envPointer) {
  if (!envPointer || !checkEnv(*envPointer)) return QVNERR_NO_ENVIRONMENT;
  Environment *env = *envPointer;
  if (env->parent) return QVNERR_CANT_CLOSE_CHILD;
  closeEnvironment(env);
  *envPointer = nullptr;
  return 0;
}

QVN_API QVNENVptr QVNparenv(QVNENVptr env, int *status) {
  Environment *child = nullptr;
  int s = guarded(env, [&]() -> int {
    if (env->parent) return QVNERR_CHILD_OF_CHILD;
    if (env->childCount >= threadsAllowed(env, ThreadKind::kLimit)) return QVNERR_TOO_MANY_THREADS;
    int made = 0;
    child = makeChild(env, &made);
    if (!child) return made;
    copyParamBlocks(child, env);
    return 0;
  });
  if (status) *status = s;
  return s ? nullptr : child;
}

QVN_API int QVNfreeparenv(QVNENVptr env, QVNENVptr *childPointer) {
  return guarded(env, [&]() -> int {
    if (!childPointer || !*childPointer) return 0;
    Environment *child = *childPointer;
    // Found in env's own list before it is read: a freed or foreign child
    // handle is refused without touching its memory.
    bool listed = false;
    for (const Resource *entry = env->resourceList; entry && !listed; entry = entry->next)
      listed = entry->kind == kResChild && entry->object == child;
    if (!listed || !checkEnv(child) || child->parent != env) return QVNERR_BAD_ARGUMENT;
    removeResource(env, kResChild, child);
    closeEnvironment(child);
    env->childCount -= 1;
    *childPointer = nullptr;
    return 0;
  });
}

QVN_API const char *QVNversion(QVNCENVptr env) {
  return checkEnv(env) ? env->versionText : nullptr;
}

QVN_API int QVNsetterminate(QVNENVptr env, volatile int *flagPointer) {
  return guarded(env, [&]() -> int {
    env->generalParams->terminateFlag = flagPointer;
    return 0;
  });
}

QVN_API int QVNputenv(const char *text) {
  if (!text) return QVNERR_NULL_POINTER;
  // putenv keeps the pointer, so the text must outlive the process's use of it.
  const size_t n = std::strlen(text) + 1;
  char *copy = static_cast<char *>(std::malloc(n));
  if (!copy) return QVNERR_NO_MEMORY;
  std::memcpy(copy, text, n);
  return ::putenv(copy) == 0 ? 0 : QVNERR_BAD_ARGUMENT;
}

QVN_API double QVNEgetbigreal(QVNCENVptr) { return QVN_INFBOUND; }

QVN_API int QVNEgetThreadNumber(QVNCENVptr env) { return checkEnv(env) ? env->threadNumber : 0; }

} // extern "C"
