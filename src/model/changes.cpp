// modelChanged: the one gate through which every change of model data passes.
// Each event names the attached results that the change makes wrong; the
// actions always run in the fixed order of the Action enum.
#include <string_view>

#include "model/attachments.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

enum Action : uint32_t {
  kFreeFixed = 1u << 0,       // F
  kFreeNode = 1u << 1,        // N
  kClearStatus = 1u << 2,     // S
  kRowCopyStale = 1u << 3,    // C
  kPricingStamp = 1u << 4,    // C+ (with C)
  kPrimalFlag = 1u << 5,      // X
  kFreePrimal = 1u << 6,      // P
  kFreeDual = 1u << 7,        // D
  kDualNorms = 1u << 8,       // d
  kFreeWork = 1u << 9,        // W
  kWorkFlags = 1u << 10,      // w
  kFreeFactor = 1u << 11,     // L
  kFactorStale = 1u << 12,    // l
  kFreeSolution = 1u << 13,   // O
  kFreeRowCopy = 1u << 14,    // R
  kDualFlag = 1u << 15,       // Y
  kFreeStart = 1u << 16,      // T
  kFreePresolve = 1u << 17,   // Z
  kFreeBarrier = 1u << 18,    // B
  kFreeMipSearch = 1u << 19,  // M
  kFreeMipStart = 1u << 20,   // m
  kFreeQpCopy = 1u << 21,     // Q
  kResetSift = 1u << 22,      // A
  kMatrixStamp = 1u << 23,    // H
  kFreeBasis = 1u << 24,      // basis data
  kFreeRefiner = 1u << 25,    // refiner data
  kFreeScaling = 1u << 26,    // scale factors
  kQpStart = 1u << 27,        // quadratic start
  kQpCopyFlag = 1u << 28,     // quadratic copy's flag
};

// Letters as in the change table; 'a' stands for All, 'b' basis data,
// 'r' refiner data, 'k' scale factors, 'q' quadratic start, 'f' the quadratic
// copy's flag.
constexpr uint32_t maskOf(std::string_view letters) {
  uint32_t mask = 0;
  for (size_t i = 0; i < letters.size(); ++i) {
    switch (letters[i]) {
    case 'F': mask |= kFreeFixed; break;
    case 'N': mask |= kFreeNode; break;
    case 'S': mask |= kClearStatus; break;
    case 'C':
      mask |= kRowCopyStale;
      if (i + 1 < letters.size() && letters[i + 1] == '+') mask |= kPricingStamp, ++i;
      break;
    case 'X': mask |= kPrimalFlag; break;
    case 'P': mask |= kFreePrimal; break;
    case 'D': mask |= kFreeDual; break;
    case 'd': mask |= kDualNorms; break;
    case 'W': mask |= kFreeWork; break;
    case 'w': mask |= kWorkFlags; break;
    case 'L': mask |= kFreeFactor; break;
    case 'l': mask |= kFactorStale; break;
    case 'O': mask |= kFreeSolution; break;
    case 'R': mask |= kFreeRowCopy; break;
    case 'Y': mask |= kDualFlag; break;
    case 'T': mask |= kFreeStart; break;
    case 'Z': mask |= kFreePresolve; break;
    case 'B': mask |= kFreeBarrier; break;
    case 'M': mask |= kFreeMipSearch; break;
    case 'm': mask |= kFreeMipStart; break;
    case 'Q': mask |= kFreeQpCopy; break;
    case 'A': mask |= kResetSift; break;
    case 'H': mask |= kMatrixStamp; break;
    case 'a': mask |= maskOf("FNSPDWLORTZBMmQA"); break;
    case 'b': mask |= kFreeBasis; break;
    case 'r': mask |= kFreeRefiner; break;
    case 'k': mask |= kFreeScaling; break;
    case 'q': mask |= kQpStart; break;
    case 'f': mask |= kQpCopyFlag; break;
    default: break;
    }
  }
  return mask;
}

constexpr int kEventCount = 64;

struct EventTable {
  uint32_t mask[kEventCount] = {};
  constexpr void set(std::initializer_list<int> events, std::string_view letters) {
    for (int e : events) mask[e] = maskOf(letters);
  }
};

constexpr EventTable makeTable() {
  EventTable t;
  t.set({1}, "FZBMmH");
  t.set({2}, "FLOZBMmH");
  t.set({3, 58}, "FNSC+XdwTZBMmQAH");
  t.set({4}, "FNSCXdwTZBMmf");
  t.set({5}, "NSCXdwTZBMmQ");
  t.set({6}, "FNSC+TZBMmQAH");
  t.set({7, 9, 11, 60}, "aH");
  t.set({8, 10}, "FNSTZBMmQAH");
  t.set({12}, "FNSXdZBMQq");
  t.set({13, 14}, "FNSXdZBMmQ");
  t.set({16}, "abrkH");
  t.set({17, 18, 19, 20}, "aH");
  t.set({23}, "FN");
  t.set({24, 25, 26}, "abqH");
  t.set({27, 62}, "abH");
  t.set({28}, "FNSC+PDWTZBMmQAH");
  t.set({29, 30, 31, 32, 33}, "FNSC+PDWLOTZBMmQAH");
  t.set({34}, "FNSC+PDWLOTZBMmQH");
  t.set({35}, "SC+XDBA");
  t.set({36}, "SXDBA");
  t.set({37, 38}, "SPBA");
  t.set({39}, "SPDWLORA");
  t.set({40, 46, 47, 49, 50}, "SPDWLORBA");
  t.set({41, 42}, "NSCXdlYBZMQA");
  t.set({43}, "SCXdlYBQA");
  t.set({44}, "d");
  t.set({45}, "SdPLORB");
  t.set({51}, "CXdwlYA");
  t.set({52}, "NSZMmA");
  t.set({53}, "CXdA");
  t.set({54, 55}, "XdA");
  t.set({56}, "ab");
  t.set({57}, "PDWLR");
  t.set({61}, "SA");
  t.set({63}, "S");
  return t;
}

constexpr EventTable kEvents = makeTable();

void freeFixedProblem(Environment *env, Problem *lp) {
  Problem *fixed = lp->fixedProblem;
  if (!fixed) return;
  // The fixed LP's basis is the parent's best start when it has none of its own.
  if (!lp->basisData && !lp->mipSearch && fixed->basisData) {
    lp->basisData = fixed->basisData;
    fixed->basisData = nullptr;
  }
  lp->fixedProblem = nullptr;
  freeProblem(env, fixed);
}

} // namespace

void modelChanged(Environment *env, Problem *lp, int event) {
  if (event <= 0 || event >= kEventCount) return;
  const uint32_t m = kEvents.mask[event];
  if (m & kFreeFixed) freeFixedProblem(env, lp);
  if ((m & kFreeNode) && lp->nodeProblem) {
    Problem *node = lp->nodeProblem;
    lp->nodeProblem = nullptr;
    freeProblem(env, node);
  }
  if (m & kClearStatus) lp->status = 0;
  if ((m & kRowCopyStale) && lp->rowCopy) lp->rowCopy->upToDate = false;
  if (m & kPricingStamp) lp->pricingStamp = -1;
  if ((m & kPrimalFlag) && lp->solution) lp->solution->primalComputed = false;
  if (m & kFreePrimal) freePrimalState(lp);
  if (m & kFreeDual) freeDualState(lp);
  if (m & kDualNorms) markDualNormsStale(lp);
  if (m & kFreeWork) freeSimplexWork(lp);
  if (m & kWorkFlags) invalidateSimplexWork(lp);
  if (m & kFreeFactor) freeFactor(lp);
  if ((m & kFactorStale) && lp->factor) lp->factorStale = true;
  if (m & kFreeSolution) envDelete(lp->solution);
  if (m & kFreeRowCopy) envDelete(lp->rowCopy);
  if ((m & kDualFlag) && lp->solution) lp->solution->dualComputed = false;
  if (m & kFreeStart) freeStartVectors(lp);
  if (m & kFreePresolve) freePresolved(lp);
  if (m & kFreeBarrier) freeBarrierSolution(lp);
  if (m & kFreeMipSearch) freeMipSearch(lp);
  if (m & kFreeMipStart) freeMipHeuristicStart(lp);
  if (m & kFreeQpCopy) freeQpCopy(lp);
  if (m & kQpCopyFlag) markQpCopyStale(lp);
  if (m & kResetSift) resetSiftState(lp);
  if (m & kMatrixStamp) lp->lpData->matrixStamp = -1;
  if (m & kFreeBasis) envDelete(lp->basisData);
  if (m & kFreeRefiner) freeRefineData(lp);
  if (m & kFreeScaling) freeScaleFactors(lp);
  if (m & kQpStart) resetQpStart(lp);
}

} // namespace qvn
