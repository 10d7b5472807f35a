// Exported parameter functions, all driven by the parameter table, and the
// setters by descriptor that parameter files share with them.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "runtime/environment.h"
#include "runtime/frame.h"
#include "runtime/params.h"

using namespace qvn;

namespace {

void echoChange(const Environment *env, const ParamDescriptor &d) {
  if (env->generalParams->p1075 == 0) return;
  const void *slot = paramSlot(env, d);
  switch (d.kind) {
  case ParamKind::integer:
    QVNmsg(env->resultsChannel, "Parameter %d set to %d.\n", d.number, *static_cast<const int *>(slot));
    break;
  case ParamKind::real:
    QVNmsg(env->resultsChannel, "Parameter %d set to %g.\n", d.number, *static_cast<const double *>(slot));
    break;
  case ParamKind::text:
    QVNmsg(env->resultsChannel, "Parameter %d set to \"%s\".\n", d.number, static_cast<const char *>(slot));
    break;
  case ParamKind::none: break;
  }
}

} // namespace

namespace qvn {

int lookupParam(int number, ParamKind kind, const ParamDescriptor **out) {
  if (number <= 1000 || number >= 6000) return QVNERR_BAD_PARAM_NUM;
  const ParamDescriptor *d = findParam(number);
  if (!d || (kind != ParamKind::none && d->kind != kind)) return QVNERR_BAD_PARAM_NUM;
  *out = d;
  return 0;
}

int checkIntParam(const ParamDescriptor &d, int value) {
  if (value < paramIntMin(d)) return QVNERR_PARAM_TOO_SMALL;
  if (value > paramIntMax(d)) return QVNERR_PARAM_TOO_BIG;
  return 0;
}

int checkDblParam(const ParamDescriptor &d, double value) {
  // NaN lies in no range, not even an open one: every comparison with it
  // fails, so a tolerance or limit set to it would quietly disable its test.
  if (std::isnan(value)) return QVNERR_PARAM_TOO_SMALL;
  if (d.dblMin == d.dblMax) return 0;
  if (value < d.dblMin) return QVNERR_PARAM_TOO_SMALL;
  if (value > d.dblMax) return QVNERR_PARAM_TOO_BIG;
  return 0;
}

int setIntParamValue(Environment *env, const ParamDescriptor &d, int value) {
  QVN_TRY(checkIntParam(d, value));
  *static_cast<int *>(paramSlot(env, d)) = value;
  if (d.number == QVN_PARAM_SCRIND) applyScreenSwitch(env, value);
  echoChange(env, d);
  return 0;
}

int setDblParamValue(Environment *env, const ParamDescriptor &d, double value) {
  QVN_TRY(checkDblParam(d, value));
  *static_cast<double *>(paramSlot(env, d)) = value;
  echoChange(env, d);
  return 0;
}

int setStrParamValue(Environment *env, const ParamDescriptor &d, const char *text) {
  if (!text) return QVNERR_NULL_POINTER;
  // A slot holds kStrParamSize bytes; a longer text would overrun it.
  if (std::strlen(text) >= static_cast<size_t>(kStrParamSize)) return QVNERR_STR_PARAM_TOO_LONG;
  std::strcpy(static_cast<char *>(paramSlot(env, d)), text);
  echoChange(env, d);
  return 0;
}

void resetParams(Environment *env) {
  storeParamDefaults(env);
  applyScreenSwitch(env, env->generalParams->scrind);
}

bool paramIsDefault(const Environment *env, const ParamDescriptor &d) {
  const void *slot = paramSlot(env, d);
  switch (d.kind) {
  case ParamKind::integer: return *static_cast<const int *>(slot) == d.intDefault;
  case ParamKind::real: return *static_cast<const double *>(slot) == d.dblDefault;
  case ParamKind::text: return std::strcmp(static_cast<const char *>(slot), d.strDefault) == 0;
  case ParamKind::none: break;
  }
  return true;
}

} // namespace qvn

extern "C" {

QVN_API int QVNsetintparam(QVNENVptr env, int number, int value) {
  return guarded(env, [&]() -> int {
    const ParamDescriptor *d = nullptr;
    QVN_TRY(lookupParam(number, ParamKind::integer, &d));
    return setIntParamValue(env, *d, value);
  });
}

QVN_API int QVNsetdblparam(QVNENVptr env, int number, double value) {
  return guarded(env, [&]() -> int {
    const ParamDescriptor *d = nullptr;
    QVN_TRY(lookupParam(number, ParamKind::real, &d));
    return setDblParamValue(env, *d, value);
  });
}

QVN_API int QVNsetstrparam(QVNENVptr env, int number, const char *text) {
  return guarded(env, [&]() -> int {
    const ParamDescriptor *d = nullptr;
    QVN_TRY(lookupParam(number, ParamKind::text, &d));
    return setStrParamValue(env, *d, text);
  });
}

QVN_API int QVNgetintparam(QVNCENVptr env, int number, int *valuePointer) {
  return guarded(env, [&]() -> int {
    const ParamDescriptor *d = nullptr;
    QVN_TRY(lookupParam(number, ParamKind::integer, &d));
    if (valuePointer) *valuePointer = *static_cast<const int *>(paramSlot(env, *d));
    return 0;
  });
}

QVN_API int QVNgetdblparam(QVNCENVptr env, int number, double *valuePointer) {
  return guarded(env, [&]() -> int {
    const ParamDescriptor *d = nullptr;
    QVN_TRY(lookupParam(number, ParamKind::real, &d));
    if (valuePointer) *valuePointer = *static_cast<const double *>(paramSlot(env, *d));
    return 0;
  });
}

QVN_API int QVNgetstrparam(QVNCENVptr env, int number, char *buffer) {
  return guarded(env, [&]() -> int {
    const ParamDescriptor *d = nullptr;
    QVN_TRY(lookupParam(number, ParamKind::text, &d));
    if (buffer) std::strcpy(buffer, static_cast<const char *>(paramSlot(env, *d)));
    return 0;
  });
}

QVN_API int QVNinfointparam(QVNCENVptr env, int number, int *defaultPointer, int *minPointer,
                            int *maxPointer) {
  return guarded(env, [&]() -> int {
    const ParamDescriptor *d = nullptr;
    QVN_TRY(lookupParam(number, ParamKind::integer, &d));
    if (defaultPointer) *defaultPointer = d->intDefault;
    if (minPointer) *minPointer = paramIntMin(*d);
    if (maxPointer) *maxPointer = paramIntMax(*d);
    return 0;
  });
}

QVN_API int QVNinfodblparam(QVNCENVptr env, int number, double *defaultPointer,
                            double *minPointer, double *maxPointer) {
  return guarded(env, [&]() -> int {
    const ParamDescriptor *d = nullptr;
    QVN_TRY(lookupParam(number, ParamKind::real, &d));
    if (defaultPointer) *defaultPointer = d->dblDefault;
    if (minPointer) *minPointer = d->dblMin;
    if (maxPointer) *maxPointer = d->dblMax;
    return 0;
  });
}

QVN_API int QVNinfostrparam(QVNCENVptr env, int number, char *buffer) {
  return guarded(env, [&]() -> int {
    const ParamDescriptor *d = nullptr;
    QVN_TRY(lookupParam(number, ParamKind::text, &d));
    if (buffer) std::strcpy(buffer, d->strDefault);
    return 0;
  });
}

QVN_API int QVNgetparamname(QVNCENVptr env, int number, char *buffer) {
  return guarded(env, [&]() -> int {
    if (buffer) buffer[0] = '\0';
    const ParamDescriptor *d = findParam(number);
    if (!d) return QVNERR_BAD_PARAM_NUM;
    if (buffer) std::strcpy(buffer, d->name);
    return 0;
  });
}

QVN_API int QVNgetparamnum(QVNCENVptr env, const char *name, int *numberPointer) {
  return guarded(env, [&]() -> int {
    if (!numberPointer) return QVNERR_NULL_POINTER;
    const ParamDescriptor *d = findParamByName(name);
    *numberPointer = d ? d->number : -1;
    return d ? 0 : QVNERR_BAD_PARAM_NAME;
  });
}

QVN_API int QVNsetdefaults(QVNENVptr env) {
  return guarded(env, [&]() -> int {
    resetParams(env);
    return 0;
  });
}

QVN_API int QVNgetchgparams(QVNCENVptr env, int *countPointer, int *numberArray) {
  return guarded(env, [&]() -> int {
    if (!countPointer) return QVNERR_NULL_POINTER;
    size_t named = 0;
    const ParamDescriptor *const *list = paramList(&named);
    int count = 0;
    for (size_t i = 0; i < named; ++i) {
      if (paramIsDefault(env, *list[i])) continue;
      if (numberArray) numberArray[count] = list[i]->number;
      ++count;
    }
    // The list follows the group order, where network precedes quadratic.
    if (numberArray) std::sort(numberArray, numberArray + count);
    *countPointer = count;
    return 0;
  });
}

} // extern "C"
