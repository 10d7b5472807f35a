// Every public optimizer runs with the x87 unit at 64-bit mantissa precision,
// which the extended kind of the factorization relies on, and leaves the
// caller's setting as it found it. Elsewhere this is a no-op: double
// arithmetic goes through SSE and long double has its own precision.
#pragma once

#if defined(__x86_64__) || defined(__i386__)
#if defined(__GLIBC__)
#include <fpu_control.h>
#define QVN_HAVE_FPU_CONTROL 1
#endif
#endif

namespace qvn {

class ExtendedPrecisionScope {
public:
#ifdef QVN_HAVE_FPU_CONTROL
  ExtendedPrecisionScope() {
    _FPU_GETCW(saved_);
    fpu_control_t wanted = (saved_ & ~_FPU_EXTENDED) | _FPU_EXTENDED;
    _FPU_SETCW(wanted);
  }
  ~ExtendedPrecisionScope() { _FPU_SETCW(saved_); }

private:
  fpu_control_t saved_;
#else
  ExtendedPrecisionScope() {}
#endif
  ExtendedPrecisionScope(const ExtendedPrecisionScope &) = delete;
  ExtendedPrecisionScope &operator=(const ExtendedPrecisionScope &) = delete;
};

} // namespace qvn
