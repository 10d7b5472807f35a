// The switch and the report of the debug checks (files named *_debug.cpp):
// checks that recompute from scratch what the numerical code keeps by
// updates. They run only when a test has raised the Environment's level.
#pragma once
#include "runtime/environment.h"

namespace qvn {

// 0 off; 1 checks after each refactorization of the simplex loops.
inline int debugLevel(const Environment *env) { return env ? env->debug.level : 0; }
// Test hook: sets the level and forgets earlier failures.
void setDebugLevel(Environment *env, int level);
int debugFailureCount(const Environment *env);
// The first failure since the level was set, or "".
const char *debugFirstFailure(const Environment *env);
// Counts a failure; the first one's text is kept.
void reportDebugFailure(Environment *env, const char *format, ...);

} // namespace qvn
