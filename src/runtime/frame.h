// The frame of an exported function: handle tests, the work, and the single
// exit through recordError. No exception leaves an exported function: an
// allocation failure anywhere inside becomes 1001.
#pragma once
#include <new>
#include <stdexcept>

#include "runtime/environment.h"
#include "runtime/errors.h"

namespace qvn {

template <class Body> int runCaught(Body &&body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc &) {
    return QVNERR_NO_MEMORY;
  } catch (const std::length_error &) {
    return QVNERR_NO_MEMORY;
  } catch (...) {
    return QVNERR_BAD_ARGUMENT;
  }
}

// Functions that take an Environment only. The body returns 0, a positive
// (plain) error number, or a negated number after printing the details.
template <class Body> int guarded(const Environment *env, Body &&body) noexcept {
  int status = checkEnv(env) ? runCaught(body) : QVNERR_NO_ENVIRONMENT;
  if (status != 0) recordError(env, &status);
  return status;
}

} // namespace qvn
