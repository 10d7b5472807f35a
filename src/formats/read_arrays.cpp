// QVNlpread, QVNmpsread and their "m" and "q" forms: a model file into flat
// arrays that the caller owns, without a Problem. The file is read by the
// same readers as QVNreadcopyprob, so both give the same model; the arrays
// come from QVNmalloc, sized to what was read plus the room the caller asks.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "formats/formats.h"
#include "runtime/frame.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

// Every output place of the entry points; the groups a form does not return
// are null.
struct ReadOutputs {
  int *numCols = nullptr, *numRows = nullptr, *objSense = nullptr;
  double **obj = nullptr, **rhs = nullptr;
  char **sense = nullptr;
  double **range = nullptr;
  int **colStart = nullptr, **colCount = nullptr, **rowIndex = nullptr;
  double **coefValue = nullptr, **lower = nullptr, **upper = nullptr;
  char *objName = nullptr, *rhsName = nullptr;
  char ***colNames = nullptr, **colStore = nullptr, ***rowNames = nullptr, **rowStore = nullptr;
  int *colExtra = nullptr, *rowExtra = nullptr, *nzExtra = nullptr, *colNameExtra = nullptr, *rowNameExtra = nullptr;
  bool mip = false;
  char **ctype = nullptr;
  int *sosCount = nullptr, *sosNz = nullptr;
  char **sosType = nullptr;
  int **sosStart = nullptr, **sosIndex = nullptr;
  double **sosWeight = nullptr;
  bool quad = false;
  int **qmatbeg = nullptr, **qmatcnt = nullptr, **qmatind = nullptr;
  double **qmatval = nullptr;
  int *qnz = nullptr;
};

// Allocations of one call, freed together unless the call succeeds.
struct Owned {
  EnvVector<void *> blocks;
  bool failed = false;
  template <class T> T *take(int64_t count) {
    void *p = QVNmalloc(static_cast<size_t>(std::max<int64_t>(count, 1)) * sizeof(T));
    if (!p) {
      failed = true;
      return nullptr;
    }
    blocks.push_back(p);
    return static_cast<T *>(p);
  }
  void release() {
    for (void *p : blocks) QVNfree(p);
    blocks.clear();
  }
};

int requiredMissing(const ReadOutputs &o) {
  const void *required[] = {o.numCols, o.numRows, o.objSense, o.obj,   o.rhs,       o.sense,
                            o.range,   o.colStart, o.colCount, o.rowIndex, o.coefValue, o.lower, o.upper};
  for (const void *p : required)
    if (!p) return QVNERR_NULL_POINTER;
  if (o.mip && (!o.ctype || !o.sosCount || !o.sosNz || !o.sosType || !o.sosStart || !o.sosIndex || !o.sosWeight))
    return QVNERR_NULL_POINTER;
  if (o.quad && (!o.qmatbeg || !o.qmatcnt || !o.qmatind || !o.qmatval || !o.qnz)) return QVNERR_NULL_POINTER;
  return 0;
}

int extraOf(const int *p) { return p ? *p : 0; }

// Names into one caller-owned store and pointers into it.
void putNames(Owned &own, const NameList &list, int count, int extra, int byteExtra, char ***names, char **store,
              int *extraOut, int *byteExtraOut) {
  const int64_t bytes = static_cast<int64_t>(list.text.size());
  char **pointers = own.take<char *>(int64_t{count} + extra);
  char *text = own.take<char>(bytes + byteExtra);
  if (own.failed) return;
  std::memcpy(text, list.text.data(), static_cast<size_t>(bytes));
  for (int i = 0; i < count; ++i) pointers[i] = text + list.offset[static_cast<size_t>(i)];
  for (int i = count; i < count + extra; ++i) pointers[i] = nullptr;
  *names = pointers;
  *store = text;
  if (extraOut) *extraOut = std::max(count + extra, 1);
  if (byteExtraOut) *byteExtraOut = static_cast<int>(std::max<int64_t>(bytes + byteExtra, 1));
}

// The symmetric Q triplets as columns sorted by row.
void putQuadratic(Owned &own, const ModelImage &img, int colRoom, const ReadOutputs &o) {
  const int64_t nz = static_cast<int64_t>(img.qValue.size());
  int *beg = own.take<int>(colRoom), *cnt = own.take<int>(colRoom), *ind = own.take<int>(nz);
  double *val = own.take<double>(nz);
  if (own.failed) return;
  std::fill(cnt, cnt + colRoom, 0);
  for (int64_t k = 0; k < nz; ++k) ++cnt[img.qCol[static_cast<size_t>(k)]];
  int run = 0;
  for (int j = 0; j < colRoom; ++j) beg[j] = run, run += cnt[j];
  EnvVector<int64_t> order(static_cast<size_t>(std::max<int64_t>(nz, 1)));
  for (int64_t k = 0; k < nz; ++k) order[static_cast<size_t>(k)] = k;
  std::sort(order.begin(), order.begin() + nz, [&](int64_t a, int64_t b) {
    const int ca = img.qCol[static_cast<size_t>(a)], cb = img.qCol[static_cast<size_t>(b)];
    return ca != cb ? ca < cb : img.qRow[static_cast<size_t>(a)] < img.qRow[static_cast<size_t>(b)];
  });
  for (int64_t k = 0; k < nz; ++k) {
    const size_t e = static_cast<size_t>(order[static_cast<size_t>(k)]);
    ind[k] = img.qRow[e];
    val[k] = img.qValue[e];
  }
  *o.qmatbeg = beg, *o.qmatcnt = cnt, *o.qmatind = ind, *o.qmatval = val, *o.qnz = static_cast<int>(nz);
}

void putSets(Owned &own, const ModelImage &img, const ReadOutputs &o) {
  const SosSets &s = img.sos;
  const int nz = s.count > 0 ? s.start[static_cast<size_t>(s.count)] : 0;
  char *type = own.take<char>(s.count);
  int *start = own.take<int>(int64_t{s.count} + 1), *member = own.take<int>(nz);
  double *weight = own.take<double>(nz);
  if (own.failed) return;
  std::copy(s.type.begin(), s.type.begin() + s.count, type);
  std::copy(s.start.begin(), s.start.begin() + s.count + 1, start);
  std::copy(s.member.begin(), s.member.begin() + nz, member);
  std::copy(s.weight.begin(), s.weight.begin() + nz, weight);
  *o.sosCount = s.count, *o.sosNz = nz;
  *o.sosType = type, *o.sosStart = start, *o.sosIndex = member, *o.sosWeight = weight;
}

// The image into the caller's arrays: all or nothing.
int putImage(const ModelImage &img, const ReadOutputs &o) {
  const int n = img.numCols, m = img.numRows;
  const int colRoom = n + extraOf(o.colExtra), rowRoom = m + extraOf(o.rowExtra);
  const int64_t nz = img.numNonzeros(), nzRoom = nz + extraOf(o.nzExtra);
  Owned own;
  int status = runCaught([&]() -> int {
    double *obj = own.take<double>(colRoom), *lower = own.take<double>(colRoom), *upper = own.take<double>(colRoom);
    int *start = own.take<int>(colRoom), *count = own.take<int>(colRoom), *index = own.take<int>(nzRoom);
    double *value = own.take<double>(nzRoom), *rhs = own.take<double>(rowRoom), *range = own.take<double>(rowRoom);
    char *sense = own.take<char>(rowRoom);
    if (own.failed) return QVNERR_NO_MEMORY;
    std::copy(img.obj.begin(), img.obj.begin() + n, obj);
    std::copy(img.lower.begin(), img.lower.begin() + n, lower);
    std::copy(img.upper.begin(), img.upper.begin() + n, upper);
    for (int j = 0; j < n; ++j) {
      start[j] = img.colStart[static_cast<size_t>(j)];
      count[j] = img.colStart[static_cast<size_t>(j) + 1] - start[j];
    }
    std::copy(img.rowIndex.begin(), img.rowIndex.begin() + nz, index);
    std::copy(img.value.begin(), img.value.begin() + nz, value);
    std::copy(img.rhs.begin(), img.rhs.begin() + m, rhs);
    std::copy(img.sense.begin(), img.sense.begin() + m, sense);
    for (int i = 0; i < m; ++i) range[i] = img.range.empty() || img.sense[static_cast<size_t>(i)] != 'R' ? 0.0 : img.range[static_cast<size_t>(i)];
    NameList colDefault, rowDefault;
    if (!img.hasColNames) fillDefaultNames(colDefault, n, 'x');
    if (!img.hasRowNames) fillDefaultNames(rowDefault, m, 'c');
    if (o.colNames && o.colStore)
      putNames(own, img.hasColNames ? img.colNames : colDefault, n, extraOf(o.colExtra), extraOf(o.colNameExtra),
               o.colNames, o.colStore, nullptr, o.colNameExtra);
    if (o.rowNames && o.rowStore)
      putNames(own, img.hasRowNames ? img.rowNames : rowDefault, m, extraOf(o.rowExtra), extraOf(o.rowNameExtra),
               o.rowNames, o.rowStore, nullptr, o.rowNameExtra);
    if (o.mip) {
      char *ctype = own.take<char>(colRoom);
      if (own.failed) return QVNERR_NO_MEMORY;
      std::fill(ctype, ctype + colRoom, 'C');
      if (img.isMip()) std::copy(img.ctype.begin(), img.ctype.begin() + n, ctype);
      *o.ctype = ctype;
      putSets(own, img, o);
    }
    if (o.quad) putQuadratic(own, img, colRoom, o);
    if (own.failed) return QVNERR_NO_MEMORY;
    *o.numCols = n, *o.numRows = m, *o.objSense = img.objSense;
    *o.obj = obj, *o.lower = lower, *o.upper = upper, *o.colStart = start, *o.colCount = count;
    *o.rowIndex = index, *o.coefValue = value, *o.rhs = rhs, *o.range = range, *o.sense = sense;
    if (o.colExtra) *o.colExtra = std::max(colRoom, 1);
    if (o.rowExtra) *o.rowExtra = std::max(rowRoom, 1);
    if (o.nzExtra) *o.nzExtra = static_cast<int>(std::max<int64_t>(nzRoom, 1));
    if (o.objName) std::snprintf(o.objName, 256, "%s", img.objName.size() > 0 ? img.objName.get(0) : "obj");
    if (o.rhsName) std::snprintf(o.rhsName, 256, "%s", "rhs");
    return 0;
  });
  if (status != 0) own.release();
  return status;
}

} // namespace

namespace qvn {

void reserveReadHints(Environment *env, ModelImage &image) {
  // Hints, never limits: a file beyond them grows the arrays, and a hint far
  // beyond any file must not claim memory it will not use.
  constexpr int kMostReserved = 1 << 20;
  const GeneralParams &gp = *env->generalParams;
  auto hint = [&](int value) { return static_cast<size_t>(std::clamp(value, 1, kMostReserved)); };
  const size_t cols = hint(gp.colreadlim), rows = hint(gp.rowreadlim), nzs = hint(gp.nzreadlim);
  image.obj.reserve(cols), image.lower.reserve(cols), image.upper.reserve(cols), image.colStart.reserve(cols + 1);
  image.sense.reserve(rows), image.rhs.reserve(rows);
  image.rowIndex.reserve(nzs), image.value.reserve(nzs);
}

} // namespace qvn

namespace {

// What the form does not return is read and checked, then dropped with a warning.
void warnDropped(Environment *env, const ModelImage &img, const ReadOutputs &o, const char *fileName) {
  if (!o.mip && (img.isMip() || img.sos.count > 0))
    QVNmsg(env->warningChannel, "Problem %s contains integer variable declarations, ignored.\n", fileName);
  if (!o.quad && !img.qValue.empty())
    QVNmsg(env->warningChannel, "Problem %s contains quadratic objective coefficients, ignored.\n", fileName);
  if (!img.qconstr.empty())
    QVNmsg(env->warningChannel, "Problem %s contains quadratic constraints, ignored.\n", fileName);
}

int readArrays(const Environment *cenv, const char *fileName, bool mps, const ReadOutputs &o) {
  auto *env = const_cast<Environment *>(cenv);
  return guarded(env, [&]() -> int {
    if (!fileName || !*fileName) return QVNERR_NULL_POINTER;
    QVN_TRY(requiredMissing(o));
    const int *extras[] = {o.colExtra, o.rowExtra, o.nzExtra, o.colNameExtra, o.rowNameExtra};
    for (const int *e : extras)
      if (e && *e < 0) return QVNERR_BAD_ARGUMENT;
    ModelImage img;
    QVN_TRY(mps ? readMpsFile(env, fileName, img) : readLpFile(env, fileName, img));
    warnDropped(env, img, o, fileName);
    return putImage(img, o);
  });
}

} // namespace

namespace {

ReadOutputs baseOutputs(QVN_READ_ARRAY_ARGS) {
  (void)env, (void)fileName;
  ReadOutputs o{};
  o.numCols = numColsOut, o.numRows = numRowsOut, o.objSense = objSenseOut;
  o.obj = objOut, o.rhs = rhsOut, o.sense = senseOut, o.range = rangeOut;
  o.colStart = colStartOut, o.colCount = colCountOut, o.rowIndex = rowIndexOut, o.coefValue = coefValueOut;
  o.lower = lowerOut, o.upper = upperOut, o.objName = objNameOut, o.rhsName = rhsNameOut;
  o.colNames = colNamesOut, o.colStore = colStoreOut, o.rowNames = rowNamesOut, o.rowStore = rowStoreOut;
  o.colExtra = colExtra, o.rowExtra = rowExtra, o.nzExtra = nzExtra;
  o.colNameExtra = colNameExtra, o.rowNameExtra = rowNameExtra;
  return o;
}

void mipOutputs(ReadOutputs &o, QVN_READ_MIP_ARGS) {
  o.mip = true;
  o.ctype = ctypeOut, o.sosCount = sosCountOut, o.sosNz = sosNzOut, o.sosType = sosTypeOut;
  o.sosStart = sosStartOut, o.sosIndex = sosIndexOut, o.sosWeight = sosWeightOut;
}

void quadOutputs(ReadOutputs &o, QVN_READ_QUAD_ARGS) {
  o.quad = true;
  o.qmatbeg = qmatbegOut, o.qmatcnt = qmatcntOut, o.qmatind = qmatindOut, o.qmatval = qmatvalOut, o.qnz = qnzOut;
}

} // namespace

// The plain arguments passed on under their own names.
#define QVN_READ_ARRAY_PASS                                                                                        \
  env, fileName, numColsOut, numRowsOut, objSenseOut, objOut, rhsOut, senseOut, rangeOut, colStartOut, colCountOut, \
      rowIndexOut, coefValueOut, lowerOut, upperOut, objNameOut, rhsNameOut, colNamesOut, colStoreOut, rowNamesOut,  \
      rowStoreOut, colExtra, rowExtra, nzExtra, colNameExtra, rowNameExtra
#define QVN_MIP_NAMES ctypeOut, sosCountOut, sosNzOut, sosTypeOut, sosStartOut, sosIndexOut, sosWeightOut
#define QVN_QUAD_NAMES qmatbegOut, qmatcntOut, qmatindOut, qmatvalOut, qnzOut

extern "C" {

QVN_API int QVNlpread(QVN_READ_ARRAY_ARGS, QVN_READ_MIP_ARGS, QVN_READ_QUAD_ARGS) {
  ReadOutputs o = baseOutputs(QVN_READ_ARRAY_PASS);
  mipOutputs(o, QVN_MIP_NAMES);
  quadOutputs(o, QVN_QUAD_NAMES);
  return readArrays(env, fileName, false, o);
}

QVN_API int QVNlpmread(QVN_READ_ARRAY_ARGS, QVN_READ_MIP_ARGS) {
  ReadOutputs o = baseOutputs(QVN_READ_ARRAY_PASS);
  mipOutputs(o, QVN_MIP_NAMES);
  return readArrays(env, fileName, false, o);
}

QVN_API int QVNlpqread(QVN_READ_ARRAY_ARGS, QVN_READ_QUAD_ARGS) {
  ReadOutputs o = baseOutputs(QVN_READ_ARRAY_PASS);
  quadOutputs(o, QVN_QUAD_NAMES);
  return readArrays(env, fileName, false, o);
}

QVN_API int QVNmpsread(QVN_READ_ARRAY_ARGS, QVN_READ_MIP_ARGS, QVN_READ_QUAD_ARGS) {
  ReadOutputs o = baseOutputs(QVN_READ_ARRAY_PASS);
  mipOutputs(o, QVN_MIP_NAMES);
  quadOutputs(o, QVN_QUAD_NAMES);
  return readArrays(env, fileName, true, o);
}

QVN_API int QVNmpsmread(QVN_READ_ARRAY_ARGS, QVN_READ_MIP_ARGS) {
  ReadOutputs o = baseOutputs(QVN_READ_ARRAY_PASS);
  mipOutputs(o, QVN_MIP_NAMES);
  return readArrays(env, fileName, true, o);
}

QVN_API int QVNmpsqread(QVN_READ_ARRAY_ARGS, QVN_READ_QUAD_ARGS) {
  ReadOutputs o = baseOutputs(QVN_READ_ARRAY_PASS);
  quadOutputs(o, QVN_QUAD_NAMES);
  return readArrays(env, fileName, true, o);
}

} // extern "C"
