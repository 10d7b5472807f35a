#include "formats/model_image.h"

#include <algorithm>
#include <cstdio>

#include "model/problem.h"
#include "runtime/channels.h"
#include "runtime/environment.h"
#include "runtime/params.h"

namespace qvn {

int copyLpWithNames(Environment *env, Problem *lp, int numCols, int numRows, int objSense,
                    const double *objCoef, const double *rhs, const char *sense,
                    const int *colStart, const int *colCount, const int *rowIndex,
                    const double *coefValue, const double *lowerBound,
                    const double *upperBound, const double *rangeValue,
                    char *const *colNames, char *const *rowNames);

namespace {

inline uint64_t hashName(const char *name, size_t length) {
  uint64_t h = 1469598103934665603ull;
  for (size_t k = 0; k < length; ++k) {
    h ^= static_cast<unsigned char>(name[k]);
    h *= 1099511628211ull;
  }
  // FNV leaves the low bits of similar names alike: mix before masking.
  h ^= h >> 33;
  h *= 0xff51afd7ed558ccdull;
  h ^= h >> 33;
  return h;
}

inline bool sameName(const char *stored, const char *name, size_t length) {
  return std::strncmp(stored, name, length) == 0 && stored[length] == '\0';
}

} // namespace

int NameIndex::find(const NameList &list, const char *name, size_t length) const {
  if (slot.empty()) return -1;
  const size_t mask = slot.size() - 1;
  const uint64_t h = hashName(name, length);
  const uint32_t bits = static_cast<uint32_t>(h >> 32);
  for (size_t s = h & mask;; s = (s + 1) & mask) {
    const int at = slot[s];
    if (at < 0) return -1;
    if (check[s] == bits && sameName(list.get(at), name, length)) return at;
  }
}

int NameIndex::insert(const NameList &list, int index) {
  if (static_cast<size_t>(used + 1) * 2 > slot.size()) {
    EnvVector<int> grown(std::max<size_t>(64, slot.size() * 2), -1);
    EnvVector<uint32_t> grownCheck(grown.size(), 0);
    const size_t mask = grown.size() - 1;
    for (int at : slot) {
      if (at < 0) continue;
      const char *n = list.get(at);
      const uint64_t h = hashName(n, std::strlen(n));
      size_t s = h & mask;
      while (grown[s] >= 0) s = (s + 1) & mask;
      grown[s] = at;
      grownCheck[s] = static_cast<uint32_t>(h >> 32);
    }
    slot.swap(grown);
    check.swap(grownCheck);
  }
  const char *name = list.get(index);
  const size_t length = std::strlen(name);
  const size_t mask = slot.size() - 1;
  const uint64_t h = hashName(name, length);
  const uint32_t bits = static_cast<uint32_t>(h >> 32);
  size_t s = h & mask;
  for (; slot[s] >= 0; s = (s + 1) & mask)
    if (check[s] == bits && sameName(list.get(slot[s]), name, length)) return slot[s];
  slot[s] = index;
  check[s] = bits;
  ++used;
  return index;
}

void fillDefaultNames(NameList &list, int count, char prefix) {
  list.clear();
  char name[32];
  for (int i = 0; i < count; ++i) {
    const int n = std::snprintf(name, sizeof name, "%c%d", prefix, i + 1);
    list.add(name, static_cast<size_t>(n));
  }
}

namespace {

EnvVector<char *> namePointers(const NameList &list) {
  EnvVector<char *> pointers(static_cast<size_t>(list.size()));
  for (int i = 0; i < list.size(); ++i) pointers[static_cast<size_t>(i)] = const_cast<char *>(list.get(i));
  return pointers;
}

} // namespace

int installModel(Environment *env, Problem *lp, const ModelImage &image, const char *fileName) {
  const bool ranged = std::find(image.sense.begin(), image.sense.end(), 'R') != image.sense.end();
  EnvVector<double> ranges;
  if (ranged) ranges.assign(image.range.begin(), image.range.end());
  ranges.resize(ranged ? static_cast<size_t>(image.numRows) : 0, 0.0);
  EnvVector<char *> colNames, rowNames;
  if (image.hasColNames) colNames = namePointers(image.colNames);
  if (image.hasRowNames) rowNames = namePointers(image.rowNames);
  EnvVector<int> colCount(static_cast<size_t>(image.numCols) + 1, 0);
  for (int j = 0; j < image.numCols; ++j)
    colCount[static_cast<size_t>(j)] = image.colStart[static_cast<size_t>(j) + 1] - image.colStart[static_cast<size_t>(j)];
  // Everything the copy does not take is prepared first, so that nothing can
  // fail once the problem has changed.
  EnvVector<char> ctype;
  if (image.isMip()) {
    // Room for the column capacity the copy will choose (at most the old one,
    // or what is needed plus the larger of its growth step and parameter), so
    // that the types go in without allocating once the problem has changed.
    int64_t ranges = 0;
    for (char s : image.sense) ranges += s == 'R';
    const int64_t bound = std::max<int64_t>(
        lp->lpData->colSpace, image.numCols + ranges + std::max(100, env->generalParams->p1047));
    ctype.reserve(static_cast<size_t>(bound));
    ctype.assign(image.ctype.begin(), image.ctype.end());
  }
  char *objName = image.objName.size() ? envStrdup(image.objName.get(0)) : nullptr;
  char *probName = envStrdup(fileName ? fileName : "");
  if ((image.objName.size() && !objName) || !probName) {
    envFree(objName);
    envFree(probName);
    return QVNERR_NO_MEMORY;
  }
  const double one = 0.0;
  int status;
  try {
    status = copyLpWithNames(
      env, lp, image.numCols, image.numRows, image.objSense,
      image.numCols ? image.obj.data() : &one, image.numRows ? image.rhs.data() : &one,
      image.numRows ? image.sense.data() : "", image.colStart.data(), colCount.data(),
      image.rowIndex.empty() ? &image.colStart[0] : image.rowIndex.data(),
      image.value.empty() ? &one : image.value.data(), image.numCols ? image.lower.data() : &one,
      image.numCols ? image.upper.data() : &one, ranged ? ranges.data() : nullptr,
        image.hasColNames ? colNames.data() : nullptr, image.hasRowNames ? rowNames.data() : nullptr);
  } catch (...) {
    status = QVNERR_NO_MEMORY;
  }
  if (status != 0) {
    envFree(objName);
    envFree(probName);
    return status;
  }
  LpData &d = *lp->lpData;
  // The direct LpData writes below stand in for editing functions that do not
  // exist yet; each is the one place to swap when they do.
  d.objOffset = image.objConstant;  // direct: objective constant
  envFree(d.objName);               // direct: objective name
  d.objName = objName;
  envFree(d.probName);              // direct: problem name (the file name)
  d.probName = probName;
  if (image.isMip()) {              // direct: column types, then the problem type
    ctype.resize(static_cast<size_t>(d.colSpace), 'C');
    d.ctype.swap(ctype);
    recomputeType(lp);
  }
  // Sets, quadratic data, indicators and cut rows have no home in a Problem
  // yet: they stay in the image (the readers are complete) until that API lands.
  const char *shown = fileName ? fileName : "<stdin>";
  if (!image.qValue.empty())
    QVNmsg(env->warningChannel, "Problem %s contains quadratic objective coefficients, ignored.\n", shown);
  if (!image.qconstr.empty())
    QVNmsg(env->warningChannel, "Problem %s contains quadratic constraints, ignored.\n", shown);
  return 0;
}

int imageFromProblem(Environment *env, Problem *lp, ModelImage &image) {
  LpData &d = *lp->lpData;
  if (!d.cache.isEmpty) QVN_TRY(flushCache(env, lp));
  image = ModelImage();
  const int m = d.numRows, n = d.numCols;
  image.numRows = m;
  image.numCols = n;
  image.objSense = d.objSense;
  image.objConstant = d.objOffset;
  if (d.probName) image.probName.add(d.probName);
  if (d.objName) image.objName.add(d.objName);
  const double *rs = d.rowScale, *cs = d.colScale;
  image.sense.assign(d.sense.begin(), d.sense.begin() + m);
  image.rhs.resize(static_cast<size_t>(m));
  bool ranged = false;
  for (int i = 0; i < m; ++i) {
    image.rhs[i] = rs ? d.rhs[i] * rs[i] : d.rhs[i];
    ranged |= d.sense[i] == 'R';
  }
  if (ranged) {
    image.range.assign(static_cast<size_t>(m), 0.0);
    if (!d.rangeValue.empty())
      for (int i = 0; i < m; ++i) image.range[i] = rs ? d.rangeValue[i] * rs[i] : d.rangeValue[i];
  }
  image.obj.resize(static_cast<size_t>(n));
  image.lower.resize(static_cast<size_t>(n));
  image.upper.resize(static_cast<size_t>(n));
  image.colStart.assign(static_cast<size_t>(n) + 1, 0);
  int64_t nz = 0;
  for (int j = 0; j < n; ++j) nz += d.colCount[j];
  image.rowIndex.resize(static_cast<size_t>(nz));
  image.value.resize(static_cast<size_t>(nz));
  int64_t at = 0;
  for (int j = 0; j < n; ++j) {
    const double c = cs ? cs[j] : 1.0;
    image.obj[j] = d.objCoef[j] * c;
    image.lower[j] = cs && d.lowerBound[j] > -kInfinity ? d.lowerBound[j] / c : d.lowerBound[j];
    image.upper[j] = cs && d.upperBound[j] < kInfinity ? d.upperBound[j] / c : d.upperBound[j];
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k, ++at) {
      const int i = d.rowIndex[k];
      image.rowIndex[at] = i;
      image.value[at] = rs ? d.coefValue[k] * c * rs[i] : d.coefValue[k];
    }
    image.colStart[j + 1] = static_cast<int>(at);
  }
  if (!d.ctype.empty()) image.ctype.assign(d.ctype.begin(), d.ctype.begin() + n);
  if (d.colNames.exists) {
    image.hasColNames = true;
    for (int j = 0; j < n; ++j) image.colNames.add(d.colNames.name(j));
  }
  if (d.rowNames.exists) {
    image.hasRowNames = true;
    for (int i = 0; i < m; ++i) image.rowNames.add(d.rowNames.name(i));
  }
  return 0;
}

} // namespace qvn
