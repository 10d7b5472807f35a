// The lock of an Environment and the runner of parallel regions.
#include <thread>

#include "runtime/alloc.h"
#include "runtime/environment.h"

namespace qvn {

void envLockCreate(Environment *env, int n) {
  env->runningThreads = 0;
  if (n > 1 && !env->lock) {
    if (env->threadHooks) {
      env->lock = static_cast<std::mutex *>(env->threadHooks->createLock());
    } else {
      void *memory = envAlloc(sizeof(std::mutex));
      if (memory) env->lock = new (memory) std::mutex;
    }
  }
  env->lockUsers = env->lock ? n : 1;
}

void envLock(Environment *env) {
  if (env->lockUsers <= 1 || !env->lock) return;
  if (env->threadHooks)
    env->threadHooks->lock(env->lock);
  else
    env->lock->lock();
}

void envUnlock(Environment *env) {
  if (env->lockUsers <= 1 || !env->lock) return;
  if (env->threadHooks)
    env->threadHooks->unlock(env->lock);
  else
    env->lock->unlock();
}

void envLockDestroy(Environment *env) {
  if (env->lock) {
    if (env->threadHooks) {
      env->threadHooks->destroyLock(env->lock);
    } else {
      env->lock->~mutex();
      envFreeRaw(env->lock);
    }
    env->lock = nullptr;
  }
  env->lockUsers = 0;
}

void runThreads(Environment *env, void (*routine)(void *), int count, void **arguments) {
  if (env->threadHooks) {
    env->threadHooks->runThreads(nullptr, routine, count, arguments);
    return;
  }
  if (count <= 1) {
    env->runningThreads = 1;
    routine(arguments[0]);
    return;
  }
  void *memory = envCalloc(static_cast<size_t>(count), sizeof(std::thread));
  bool *started = static_cast<bool *>(envCalloc(static_cast<size_t>(count), sizeof(bool)));
  if (!memory || !started) {
    envFreeRaw(memory);
    envFreeRaw(started);
    QVNmsg(env->warningChannel, "Failed to allocate threads - ");
    QVNmsg(env->warningChannel, "proceeding with one thread.\n");
    routine(arguments[0]);
    return;
  }
  auto *threads = static_cast<std::thread *>(memory);
  env->runningThreads = count;
  for (int i = 1; i < count; ++i) {
    try {
      new (threads + i) std::thread(routine, arguments[i]);
      started[i] = true;
    } catch (...) {
      env->runningThreads -= 1;
    }
  }
  routine(arguments[0]);
  for (int i = 1; i < count; ++i) {
    if (started[i]) {
      threads[i].join();
      threads[i].~thread();
    }
  }
  envFreeRaw(started);
  envFreeRaw(threads);
}

} // namespace qvn
