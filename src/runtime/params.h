// The parameter blocks of an Environment and the one table that describes them.
// Hot paths read a block field (env->generalParams->itlim); everything that
// works by number (setters, getters, files, listings) goes through the table.
#pragma once
#include <cstdio>
#include <cstddef>

#include "quorvan.h"

struct Environment;

namespace qvn {

constexpr int kStrParamSize = 512;
// Stands for "the largest thread count this machine allows" in the table.
constexpr int kThreadMax = -2147483647 - 1;
// Stands for a parameter without a name in the table.
constexpr int QVN_NONAME = 0;

using LpCallback = int (*)(QVNCENVptr, void *cbdata, int wherefrom, void *cbhandle);

#define QVN_IPARAM(num, name, field, def, lo, hi) int field;
#define QVN_DPARAM(num, name, field, def, lo, hi) double field;
#define QVN_SPARAM(num, name, field, def) char field[kStrParamSize];

struct GeneralParams {
  FILE *logFile;  // first field: the log file attached to the four standard channels
  LpCallback lpCallback;
  void *lpCallbackHandle;
  void *profileCallback;
  void *profileCallbackHandle;
  void *conflictCallback;
  void *conflictCallbackHandle;
  volatile int *terminateFlag;
#include "runtime/params_general.inc"
};

struct MipParams {
  void *infoCallback;
  void *infoCallbackHandle;
  void *mipCallbacks[16];
  void *mipCallbackHandles[16];
#include "runtime/params_mip.inc"
};

struct BarrierParams {
#include "runtime/params_barrier.inc"
};

struct QpParams {
#include "runtime/params_quadratic.inc"
};

struct NetParams {
  void *netCallback;
  void *netCallbackHandle;
#include "runtime/params_network.inc"
};

#undef QVN_IPARAM
#undef QVN_DPARAM
#undef QVN_SPARAM

enum class ParamKind : unsigned char { none = 0, integer = 1, real = 2, text = 3 };
enum class ParamBlock : unsigned char { general, mip, barrier, qp, net };

struct ParamDescriptor {
  ParamKind kind;
  const char *name;  // "" for a parameter without a name
  int number;
  int intDefault, intMin, intMax;  // kThreadMax resolved by paramIntMax()
  double dblDefault, dblMin, dblMax;
  const char *strDefault;
  ParamBlock block;
  size_t offset;     // of the slot within its block
  bool hidden() const { return name[0] == '\0'; }
};

// The descriptor of a parameter number, or null when there is no such parameter.
const ParamDescriptor *findParam(int number);
// Descriptor by exact name through the name hash, or null.
const ParamDescriptor *findParamByName(const char *name);
// All descriptors in group order and rising number within each group.
const ParamDescriptor *paramTable(size_t *count);
// The named descriptors (the name hash maps a name to a position here).
const ParamDescriptor *const *paramList(size_t *count);

// Bucket count of the name hash: the smallest of the name-table sizes that holds
// 0.35 times the number of names.
constexpr unsigned kParamNameBuckets = 1021;
// Exclusive or of the bytes, byte i shifted left by 8 * (i mod 4) bits, modulo
// the bucket count.
unsigned paramNameHash(const char *text, unsigned bucketCount);

int paramIntMin(const ParamDescriptor &d);
int paramIntMax(const ParamDescriptor &d);
void *paramSlot(const Environment *env, const ParamDescriptor &d);

// Creates the five blocks; false on allocation failure (the caller releases).
bool createParamBlocks(Environment *env);
void freeParamBlocks(Environment *env);
void copyParamBlocks(Environment *to, const Environment *from);
// Stores every default (no channel side effects).
void storeParamDefaults(Environment *env);

// ---- setting by descriptor (params_api.cpp) ----
// The test of every function that takes a number: 1013 unless 1000 < number < 6000
// and a parameter of that kind (any kind for ParamKind::none) has the number.
int lookupParam(int number, ParamKind kind, const ParamDescriptor **out);
// 0, 1014 below the range or 1015 above it; doubles without a range accept all
// but NaN, which is 1014 everywhere.
int checkIntParam(const ParamDescriptor &d, int value);
int checkDblParam(const ParamDescriptor &d, double value);
// Range test, store, the screen switch for 1035 and the echo under 1075.
int setIntParamValue(Environment *env, const ParamDescriptor &d, int value);
int setDblParamValue(Environment *env, const ParamDescriptor &d, double value);
int setStrParamValue(Environment *env, const ParamDescriptor &d, const char *text);
// Every default, then the screen as the default of 1035 asks.
void resetParams(Environment *env);
bool paramIsDefault(const Environment *env, const ParamDescriptor &d);

} // namespace qvn
