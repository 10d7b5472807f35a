#include "formats/model_image.h"

#include <algorithm>
#include <cstdio>

#include "formats/formats.h"
#include "model/copy.h"
#include "model/mip_data.h"
#include "model/problem.h"
#include "quadratic/qp_data.h"
#include "runtime/channels.h"
#include "runtime/environment.h"

namespace qvn {

static_assert(kFileInfinity == kInfinity, "files and the model share one infinity");

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
  EnvVector<char *> pointers(static_cast<size_t>(std::max(list.size(), 1)), nullptr);
  for (int i = 0; i < list.size(); ++i) pointers[static_cast<size_t>(i)] = const_cast<char *>(list.get(i));
  return pointers;
}

// An exported function called from inside a frame has printed its error
// already: negated, the outer frame does not print it again.
int inner(int status) { return status > 0 ? -status : status; }

// Matrix, bounds, senses and names.
int installMatrix(Environment *env, Problem *lp, const ModelImage &image) {
  const bool ranged = std::find(image.sense.begin(), image.sense.end(), 'R') != image.sense.end();
  EnvVector<double> ranges;
  if (ranged) {
    ranges.assign(image.range.begin(), image.range.end());
    ranges.resize(static_cast<size_t>(image.numRows), 0.0);
  }
  EnvVector<char *> colNames, rowNames;
  if (image.hasColNames) colNames = namePointers(image.colNames);
  if (image.hasRowNames) rowNames = namePointers(image.rowNames);
  EnvVector<int> colCount(static_cast<size_t>(image.numCols) + 1, 0);
  for (int j = 0; j < image.numCols; ++j)
    colCount[static_cast<size_t>(j)] = image.colStart[static_cast<size_t>(j) + 1] - image.colStart[static_cast<size_t>(j)];
  const double none = 0.0;
  return copyLpWithNames(
      env, lp, image.numCols, image.numRows, image.objSense, image.numCols ? image.obj.data() : &none,
      image.numRows ? image.rhs.data() : &none, image.numRows ? image.sense.data() : "",
      image.colStart.data(), colCount.data(), image.rowIndex.empty() ? &image.colStart[0] : image.rowIndex.data(),
      image.value.empty() ? &none : image.value.data(), image.numCols ? image.lower.data() : &none,
      image.numCols ? image.upper.data() : &none, ranged ? ranges.data() : nullptr,
      image.hasColNames ? colNames.data() : nullptr, image.hasRowNames ? rowNames.data() : nullptr);
}

int installSos(Environment *env, Problem *lp, const SosSets &sos) {
  // The model keeps one start per set; the image has the closing one too.
  EnvVector<char *> names;
  if (sos.hasNames) names = namePointers(sos.names);
  const double noWeight = 0.0;
  const int none = 0;
  return inner(QVNcopysos(env, lp, sos.count, static_cast<int>(sos.member.size()), sos.type.data(),
                          sos.start.data(), sos.member.empty() ? &none : sos.member.data(),
                          sos.weight.empty() ? &noWeight : sos.weight.data(),
                          sos.hasNames ? names.data() : nullptr));
}

// The objective Q from its entries, column by column; a pair given twice is 5011.
int installQuad(Environment *env, Problem *lp, const ModelImage &image) {
  const int n = image.numCols;
  const size_t nz = image.qValue.size();
  EnvVector<int> start(static_cast<size_t>(n) + 1, 0), count(static_cast<size_t>(std::max(n, 1)), 0);
  for (size_t k = 0; k < nz; ++k) ++start[static_cast<size_t>(image.qCol[k]) + 1];
  for (int j = 0; j < n; ++j) start[j + 1] += start[j];
  EnvVector<int> index(std::max<size_t>(nz, 1), 0);
  EnvVector<double> value(std::max<size_t>(nz, 1), 0.0);
  for (size_t k = 0; k < nz; ++k) {
    const int j = image.qCol[k];
    const int at = start[j] + count[j]++;
    index[at] = image.qRow[k];
    value[at] = image.qValue[k];
  }
  EnvVector<int> seen(static_cast<size_t>(std::max(n, 1)), -1);
  for (int j = 0; j < n; ++j)
    for (int k = start[j]; k < start[j] + count[j]; ++k) {
      if (seen[index[k]] == j)
        return reportError(env, 5011, "objective", image.colNames.size() > index[k] ? image.colNames.get(index[k]) : "",
                           image.colNames.size() > j ? image.colNames.get(j) : "");
      seen[index[k]] = j;
    }
  return inner(QVNcopyquad(env, lp, start.data(), count.data(), index.data(), value.data()));
}

// User cuts or lazy constraints of the image; the model keeps them beside its rows.
int installRowSet(Environment *env, Problem *lp, const RowBlock &b, bool lazy) {
  EnvVector<char *> names;
  if (b.hasNames) names = namePointers(b.names);
  const int nz = static_cast<int>(b.index.size());
  const int none = 0;
  const double noValue = 0.0;
  const int *index = nz > 0 ? b.index.data() : &none;
  const double *value = nz > 0 ? b.value.data() : &noValue;
  char **rowNames = b.hasNames ? names.data() : nullptr;
  return inner(lazy ? QVNaddlazyconstraints(env, lp, b.count, nz, b.rhs.data(), b.sense.data(), b.start.data(),
                                            index, value, rowNames)
                    : QVNaddusercuts(env, lp, b.count, nz, b.rhs.data(), b.sense.data(), b.start.data(), index,
                                     value, rowNames));
}

// Builds the complete model in `staged` through the model's own functions.
int buildModel(Environment *env, Problem *staged, const ModelImage &image) {
  QVN_TRY(installMatrix(env, staged, image));
  if (image.isMip()) QVN_TRY(inner(QVNcopyctype(env, staged, image.ctype.data())));
  if (image.sos.count > 0) QVN_TRY(installSos(env, staged, image.sos));
  if (!image.qValue.empty()) QVN_TRY(installQuad(env, staged, image));
  if (image.userCuts.count > 0) QVN_TRY(installRowSet(env, staged, image.userCuts, false));
  if (image.lazyRows.count > 0) QVN_TRY(installRowSet(env, staged, image.lazyRows, true));
  if (image.objConstant != 0.0) QVN_TRY(inner(QVNchgobjoffset(env, staged, image.objConstant)));
  if (image.objName.size()) QVN_TRY(inner(QVNcopyobjname(env, staged, image.objName.get(0))));
  return 0;
}

} // namespace

int installModel(Environment *env, Problem *lp, const ModelImage &image, const char *fileName) {
  if (isFixedType(lp->probType) || isNodeType(lp->probType)) return QVNERR_NOT_ONE_PROBLEM;
  // The new model is built aside in a problem of its own and moved in whole,
  // so a failure at any step leaves `lp` as it was.
  Problem *staged = nullptr;
  QVN_TRY(createProblem(env, fileName ? fileName : "", &staged));
  const int status = runCaught([&] { return buildModel(env, staged, image); });
  if (status == 0) adoptModel(env, lp, staged);
  freeProblem(env, staged);
  if (status != 0) return status;
  // What a Problem cannot hold yet is dropped with a warning.
  const char *shown = fileName ? fileName : "<stdin>";
  if (!image.qconstr.empty())
    QVNmsg(env->warningChannel, "Problem %s contains quadratic constraints, ignored.\n", shown);
  if (!image.indicators.empty())
    QVNmsg(env->warningChannel, "Problem %s contains indicator constraints, ignored.\n", shown);
  return 0;
}

namespace {

void sosFromProblem(const Problem *lp, SosSets &sets) {
  const SosData *sos = heldSos(lp);
  if (!sos) return;
  sets.count = sos->count;
  sets.type.assign(sos->type.begin(), sos->type.begin() + sos->count);
  sets.start.assign(sos->start.begin(), sos->start.begin() + sos->count + 1);
  sets.member.assign(sos->member.begin(), sos->member.begin() + sets.start.back());
  sets.weight.assign(sos->weight.begin(), sos->weight.begin() + sets.start.back());
  sets.hasNames = sos->names.exists;
  if (sets.hasNames)
    for (int s = 0; s < sos->count; ++s) sets.names.add(sos->names.name(s));
}

void rowSetFromProblem(const ModelRowSet *rows, RowBlock &b) {
  if (!rows || rows->count == 0) return;
  b.count = rows->count;
  b.sense.assign(rows->sense.begin(), rows->sense.end());
  b.rhs.assign(rows->rhs.begin(), rows->rhs.end());
  b.start.assign(rows->start.begin(), rows->start.end());
  b.index.assign(rows->index.begin(), rows->index.end());
  b.value.assign(rows->value.begin(), rows->value.end());
  b.hasNames = rows->names.exists;
  if (b.hasNames)
    for (int r = 0; r < rows->count; ++r) b.names.add(rows->names.name(r));
}

// Q as the entries of the whole symmetric matrix.
int quadFromProblem(Environment *env, Problem *lp, ModelImage &image) {
  const int n = image.numCols;
  const int nz = QVNgetnumqpnz(env, lp);
  if (nz == 0 || n == 0) return 0;
  EnvVector<int> start(static_cast<size_t>(n));
  image.qRow.resize(static_cast<size_t>(nz));
  image.qValue.resize(static_cast<size_t>(nz));
  int got = 0, surplus = 0;
  QVN_TRY(inner(QVNgetquad(env, lp, &got, start.data(), image.qRow.data(), image.qValue.data(), nz, &surplus,
                           0, n - 1)));
  image.qCol.resize(static_cast<size_t>(got));
  for (int j = 0; j < n; ++j)
    for (int k = start[j]; k < (j + 1 < n ? start[j + 1] : got); ++k) image.qCol[k] = j;
  return 0;
}

} // namespace

int imageFromProblem(Environment *env, Problem *lp, ModelImage &image) {
  LpData &d = *lp->lpData;
  if (!d.cache.isEmpty) QVN_TRY(flushCache(env, lp));
  image = ModelImage();
  const int m = d.numRows, n = d.numCols;
  image.numRows = m;
  image.numCols = n;
  image.objSense = d.objSense;
  QVN_TRY(inner(QVNgetobjoffset(env, lp, &image.objConstant)));
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
  if (!d.ctype.empty()) {
    image.ctype.resize(static_cast<size_t>(n));
    if (n > 0) QVN_TRY(inner(QVNgetctype(env, lp, image.ctype.data(), 0, n - 1)));
  }
  if (d.colNames.exists) {
    image.hasColNames = true;
    for (int j = 0; j < n; ++j) image.colNames.add(d.colNames.name(j));
  }
  if (d.rowNames.exists) {
    image.hasRowNames = true;
    for (int i = 0; i < m; ++i) image.rowNames.add(d.rowNames.name(i));
  }
  sosFromProblem(lp, image.sos);
  if (lp->mipData) {
    rowSetFromProblem(lp->mipData->userCuts, image.userCuts);
    rowSetFromProblem(lp->mipData->lazyConstraints, image.lazyRows);
  }
  return quadFromProblem(env, lp, image);
}

} // namespace qvn
