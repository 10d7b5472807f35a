#include "runtime/params.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <thread>

#include "runtime/alloc.h"
#include "runtime/environment.h"
#include "runtime/frame.h"

namespace qvn {

namespace {

constexpr const char *nameOf(const char *token) {
  return std::string_view(token) == "QVN_NONAME" ? "" : token;
}

#define QVN_IPARAM(num, name, field, def, lo, hi, what)                                   \
  ParamDescriptor{ParamKind::integer, nameOf(#name), num, def, lo, hi, 0.0, 0.0, 0.0,     \
                  nullptr, BLOCK, offsetof(STRUCT, field), what},
#define QVN_DPARAM(num, name, field, def, lo, hi, what)                                   \
  ParamDescriptor{ParamKind::real, nameOf(#name), num, 0, 0, 0, def, lo, hi, nullptr,     \
                  BLOCK, offsetof(STRUCT, field), what},
#define QVN_SPARAM(num, name, field, def, what)                                           \
  ParamDescriptor{ParamKind::text, nameOf(#name), num, 0, 0, 0, 0.0, 0.0, 0.0, def,       \
                  BLOCK, offsetof(STRUCT, field), what},

// Groups in the order they are registered: general, MIP, barrier, network, quadratic.
const ParamDescriptor kParams[] = {
#define BLOCK ParamBlock::general
#define STRUCT GeneralParams
#include "runtime/params_general.inc"
#undef BLOCK
#undef STRUCT
#define BLOCK ParamBlock::mip
#define STRUCT MipParams
#include "runtime/params_mip.inc"
#undef BLOCK
#undef STRUCT
#define BLOCK ParamBlock::barrier
#define STRUCT BarrierParams
#include "runtime/params_barrier.inc"
#undef BLOCK
#undef STRUCT
#define BLOCK ParamBlock::net
#define STRUCT NetParams
#include "runtime/params_network.inc"
#undef BLOCK
#undef STRUCT
#define BLOCK ParamBlock::qp
#define STRUCT QpParams
#include "runtime/params_quadratic.inc"
#undef BLOCK
#undef STRUCT
};
#undef QVN_IPARAM
#undef QVN_DPARAM
#undef QVN_SPARAM

// The public header's numbers must agree with the table.
#define QVN_IPARAM(num, name, ...) static_assert(name == 0 || name == num, #name);
#define QVN_DPARAM QVN_IPARAM
#define QVN_SPARAM QVN_IPARAM
#include "runtime/params_barrier.inc"
#include "runtime/params_general.inc"
#include "runtime/params_mip.inc"
#include "runtime/params_network.inc"
#include "runtime/params_quadratic.inc"
#undef QVN_IPARAM
#undef QVN_DPARAM
#undef QVN_SPARAM

constexpr size_t kParamCount = sizeof(kParams) / sizeof(kParams[0]);

// The groups in registration order with their ranges of numbers. Within a group
// the descriptors are in rising number order, so a binary search finds one.
struct ParamGroup {
  int low, high;
  ParamBlock block;
};
constexpr ParamGroup kGroups[] = {{1001, 1108, ParamBlock::general},
                                  {2000, 2102, ParamBlock::mip},
                                  {3001, 3031, ParamBlock::barrier},
                                  {5001, 5005, ParamBlock::net},
                                  {4001, 4010, ParamBlock::qp}};

const ParamDescriptor *searchNumber(int number) {
  // The last group whose range holds the number; the ranges do not overlap.
  const ParamGroup *group = nullptr;
  for (const ParamGroup &g : kGroups)
    if (number >= g.low && number <= g.high) group = &g;
  if (!group) return nullptr;
  const ParamDescriptor *first = kParams, *end = kParams + kParamCount;
  while (first != end && first->block != group->block) ++first;
  const ParamDescriptor *last = first;
  while (last != end && last->block == group->block) ++last;
  const ParamDescriptor *it = std::lower_bound(
      first, last, number, [](const ParamDescriptor &d, int n) { return d.number < n; });
  return it != last && it->number == number ? it : nullptr;
}

} // namespace

const ParamDescriptor *paramTable(size_t *count) {
  *count = kParamCount;
  return kParams;
}

const ParamDescriptor *findParam(int number) { return searchNumber(number); }

unsigned paramNameHash(const char *text, unsigned bucketCount) {
  unsigned h = 0;
  for (unsigned i = 0; text[i] != '\0'; ++i)
    h ^= static_cast<unsigned>(static_cast<unsigned char>(text[i])) << (8 * (i % 4));
  return h % bucketCount;
}

namespace {

// The descriptors never change, so the list of named ones and its chained hash
// are built once for the process and shared by every Environment.
struct ParamNameIndex {
  const ParamDescriptor *list[kParamCount];
  size_t count = 0;
  int bucketHead[kParamNameBuckets];
  int next[kParamCount];
};

const ParamNameIndex &nameIndex() {
  static const ParamNameIndex index = [] {
    ParamNameIndex built;
    for (int &head : built.bucketHead) head = -1;
    for (const ParamDescriptor &d : kParams) {
      if (d.hidden()) continue;
      const int position = static_cast<int>(built.count++);
      built.list[position] = &d;
      // New entries go to the front of their chain.
      const unsigned bucket = paramNameHash(d.name, kParamNameBuckets);
      built.next[position] = built.bucketHead[bucket];
      built.bucketHead[bucket] = position;
    }
    return built;
  }();
  return index;
}

} // namespace

const ParamDescriptor *const *paramList(size_t *count) {
  const ParamNameIndex &index = nameIndex();
  *count = index.count;
  return index.list;
}

const ParamDescriptor *findParamByName(const char *name) {
  if (!name || !*name) return nullptr;
  const ParamNameIndex &index = nameIndex();
  for (int p = index.bucketHead[paramNameHash(name, kParamNameBuckets)]; p >= 0; p = index.next[p])
    if (std::strcmp(index.list[p]->name, name) == 0) return index.list[p];
  return nullptr;
}

int threadMax() {
  const unsigned hw = std::thread::hardware_concurrency();
  return std::clamp(static_cast<int>(hw), 1, kThreadLimit);
}

int paramIntMin(const ParamDescriptor &d) { return d.intMin == kThreadMax ? threadMax() : d.intMin; }
int paramIntMax(const ParamDescriptor &d) { return d.intMax == kThreadMax ? threadMax() : d.intMax; }

void *paramSlot(const Environment *env, const ParamDescriptor &d) {
  char *base = nullptr;
  switch (d.block) {
  case ParamBlock::general: base = reinterpret_cast<char *>(env->generalParams); break;
  case ParamBlock::mip: base = reinterpret_cast<char *>(env->mipParams); break;
  case ParamBlock::barrier: base = reinterpret_cast<char *>(env->barrierParams); break;
  case ParamBlock::qp: base = reinterpret_cast<char *>(env->qpParams); break;
  case ParamBlock::net: base = reinterpret_cast<char *>(env->netParams); break;
  }
  return base + d.offset;
}

bool createParamBlocks(Environment *env) {
  env->generalParams = static_cast<GeneralParams *>(envCalloc(1, sizeof(GeneralParams)));
  env->mipParams = static_cast<MipParams *>(envCalloc(1, sizeof(MipParams)));
  env->barrierParams = static_cast<BarrierParams *>(envCalloc(1, sizeof(BarrierParams)));
  env->qpParams = static_cast<QpParams *>(envCalloc(1, sizeof(QpParams)));
  env->netParams = static_cast<NetParams *>(envCalloc(1, sizeof(NetParams)));
  return env->generalParams && env->mipParams && env->barrierParams && env->qpParams &&
         env->netParams;
}

void freeParamBlocks(Environment *env) {
  envFree(env->generalParams);
  envFree(env->mipParams);
  envFree(env->netParams);
  envFree(env->barrierParams);
  envFree(env->qpParams);
}

void copyParamBlocks(Environment *to, const Environment *from) {
  *to->generalParams = *from->generalParams;
  *to->mipParams = *from->mipParams;
  *to->barrierParams = *from->barrierParams;
  *to->qpParams = *from->qpParams;
  *to->netParams = *from->netParams;
}

void storeParamDefaults(Environment *env) {
  for (const ParamDescriptor &d : kParams) {
    void *slot = paramSlot(env, d);
    switch (d.kind) {
    case ParamKind::integer: {
      int value = d.intDefault;
      *static_cast<int *>(slot) = value;
      break;
    }
    case ParamKind::real: *static_cast<double *>(slot) = d.dblDefault; break;
    case ParamKind::text:
      std::snprintf(static_cast<char *>(slot), kStrParamSize, "%s", d.strDefault);
      break;
    case ParamKind::none: break;
    }
  }
}

} // namespace qvn
