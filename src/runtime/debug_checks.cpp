#include "runtime/debug_checks.h"

#include <cstdarg>
#include <cstdio>

namespace qvn {

void setDebugLevel(Environment *env, int level) {
  env->debug.level = level;
  env->debug.failures = 0;
  env->debug.first[0] = '\0';
}

int debugFailureCount(const Environment *env) { return env->debug.failures; }

const char *debugFirstFailure(const Environment *env) { return env->debug.first; }

void reportDebugFailure(Environment *env, const char *format, ...) {
  if (env->debug.failures++ > 0) return;
  va_list args;
  va_start(args, format);
  std::vsnprintf(env->debug.first, sizeof env->debug.first, format, args);
  va_end(args);
}

} // namespace qvn
