// Thousands of random edits through the exported functions, mirrored on a
// plain dense reference model; after each batch every getter must agree.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "model/read_back.h"
#include "support/test_support.h"

namespace qvntest {

namespace {

constexpr double kInf = 1e20;
constexpr int kSizeLimit = 150;

// The dense reference: what the model must read back as.
struct Reference {
  int objSense = 1;
  std::vector<double> obj, lower, upper;
  std::vector<std::string> colNames;  // "" marks a generated name, taken from the model
  std::vector<double> rhs, range;
  std::string sense;
  std::vector<std::string> rowNames;
  bool colNamesExist = true, rowNamesExist = true;
  std::vector<std::vector<double>> a;  // rows x cols
  bool isMip = false;
  std::string ctype;  // one letter per column while isMip
  std::vector<SosSet> sos;
  bool hasQ = false;
  std::vector<std::vector<double>> q;  // cols x cols
  int rows() const { return static_cast<int>(rhs.size()); }
  int cols() const { return static_cast<int>(obj.size()); }

  void addCol(double c, double l, double u, const std::string &name, char type) {
    obj.push_back(c), lower.push_back(std::max(l, -kInf)), upper.push_back(std::min(u, kInf));
    colNames.push_back(name);
    for (auto &row : a) row.push_back(0.0);
    if (isMip) ctype.push_back(type);
    if (hasQ) {
      for (auto &row : q) row.push_back(0.0);
      q.emplace_back(cols(), 0.0);
    }
  }
  void addRow(double b, char s, double r, const std::string &name) {
    rhs.push_back(b), sense.push_back(s), range.push_back(r), rowNames.push_back(name);
    a.emplace_back(cols(), 0.0);
  }
  void deleteRows(const std::vector<int> &flags) {
    int out = 0;
    for (int i = 0; i < rows(); ++i) {
      if (flags[i] == 1) continue;
      rhs[out] = rhs[i], sense[out] = sense[i], range[out] = range[i], rowNames[out] = rowNames[i];
      a[out] = a[i];
      ++out;
    }
    rhs.resize(out), sense.resize(out), range.resize(out), rowNames.resize(out), a.resize(out);
  }
  void deleteCols(const std::vector<int> &flags) {
    std::vector<int> map(cols());
    int out = 0;
    for (int j = 0; j < cols(); ++j) map[j] = flags[j] == 1 ? -1 : out++;
    auto squeeze = [&](auto &v) {
      for (int j = 0; j < static_cast<int>(map.size()); ++j)
        if (map[j] >= 0) v[map[j]] = v[j];
      v.resize(out);
    };
    for (auto &row : a) squeeze(row);
    if (hasQ) {
      for (auto &row : q) squeeze(row);
      squeeze(q);
    }
    if (isMip) squeeze(ctype);
    for (SosSet &s : sos) {
      SosSet kept;
      kept.type = s.type;
      for (size_t k = 0; k < s.members.size(); ++k)
        if (map[s.members[k]] >= 0) kept.members.push_back(map[s.members[k]]), kept.weights.push_back(s.weights[k]);
      s = kept;
    }
    squeeze(obj), squeeze(lower), squeeze(upper), squeeze(colNames);
  }
  // The model as the getters must show it; generated names are taken from `model`.
  ReadBack expected(const ReadBack &model) const {
    ReadBack r;
    r.rows = rows(), r.cols = cols(), r.objSense = objSense;
    r.type = !isMip ? (hasQ ? QVN_PROB_QP : QVN_PROB_LP) : (hasQ ? QVN_PROB_MIQP : QVN_PROB_MILP);
    r.obj = obj, r.lower = lower, r.upper = upper, r.rhs = rhs, r.range = range, r.sense = sense;
    r.columns.assign(cols(), {});
    r.rowsView.assign(rows(), {});
    for (int i = 0; i < rows(); ++i)
      for (int j = 0; j < cols(); ++j)
        if (a[i][j] != 0.0) r.columns[j].push_back({i, a[i][j]}), r.rowsView[i].push_back({j, a[i][j]}), ++r.nonzeros;
    r.hasColNames = colNamesExist && cols() > 0;
    r.hasRowNames = rowNamesExist && rows() > 0;
    if (r.hasColNames) r.colNames = colNames;
    if (r.hasRowNames) r.rowNames = rowNames;
    for (int j = 0; r.hasColNames && j < cols() && j < static_cast<int>(model.colNames.size()); ++j)
      if (colNames[j].empty()) r.colNames[j] = model.colNames[j];
    for (int i = 0; r.hasRowNames && i < rows() && i < static_cast<int>(model.rowNames.size()); ++i)
      if (rowNames[i].empty()) r.rowNames[i] = model.rowNames[i];
    if (cols() > 0 && isMip) r.ctype = ctype;
    r.sos = sos;
    r.hasQ = hasQ && cols() > 0;
    if (r.hasQ) {
      r.q.assign(cols(), {});
      for (int j = 0; j < cols(); ++j)
        for (int i = 0; i < cols(); ++i)
          if (q[i][j] != 0.0) r.q[j].push_back({i, q[i][j]}), ++r.qNonzeros;
    }
    r.objOffset = model.objOffset;
    r.probName = "random";
    return r;
  }
  // Generated names become fixed once read, so that deletions can be followed.
  void adoptGenerated(const ReadBack &model) {
    for (int j = 0; colNamesExist && j < cols(); ++j)
      if (colNames[j].empty() && j < static_cast<int>(model.colNames.size())) colNames[j] = model.colNames[j];
    for (int i = 0; rowNamesExist && i < rows(); ++i)
      if (rowNames[i].empty() && i < static_cast<int>(model.rowNames.size())) rowNames[i] = model.rowNames[i];
  }
};

bool generatedForm(const std::string &name, char letter) {
  return name.size() >= 2 && name[0] == letter &&
         std::all_of(name.begin() + 1, name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

class Editor {
public:
  Editor(QVNENVptr env, QVNLPptr lp, unsigned seed) : env_(env), lp_(lp), rng_(seed) {}

  void step() {
    const int m = ref.rows(), n = ref.cols();
    // Keep the model small: more deletions when it grows.
    const int pick = pickOp(m + n > kSizeLimit);
    switch (pick) {
    case 0: addRows(); break;
    case 1: newRows(); break;
    case 2: addCols(); break;
    case 3: newCols(); break;
    case 4: if (m > 0) delRowRange(); break;
    case 5: if (n > 0) delColRange(); break;
    case 6: if (m > 0) delRowSet(); break;
    case 7: if (n > 0) delColSet(); break;
    case 8: case 9: case 10: if (m > 0 && n > 0) chgCoef(); break;
    case 11: if (m > 0 && n > 0) chgCoefList(); break;
    case 12: if (n > 0) chgBounds(); break;
    case 13: if (n > 0) chgObj(); break;
    case 14: if (m > 0) chgRhsSenseRange(); break;
    case 15: rename(); break;
    case 16: if (n > 0) chgTypes(); break;
    case 17: if (n > 0) chgQ(); break;
    case 18: if (n > 0) sosOp(); break;
    case 19: cacheOp(); break;
    case 20: objSense(); break;
    default: break;
    }
  }

  Reference ref;

private:
  int pickOp(bool shrink) {
    if (shrink && uniform(3) == 0) return 4 + uniform(4);
    if (!shrink && uniform(4) == 0) return uniform(4);  // grow towards the limit
    return uniform(21);
  }
  int uniform(int n) { return static_cast<int>(rng_() % static_cast<unsigned>(n)); }
  double value() { return static_cast<double>(uniform(41) - 20) / 4.0; }
  double nonzero() {
    const double v = value();
    return v == 0.0 ? 1.5 : v;
  }
  char randomSense() { return "LGER"[uniform(4)]; }
  std::string freshName(char kind) { return std::string(1, kind) + "n" + std::to_string(counter_++); }
  // Names for `count` new entries: all given, none given, or a few missing.
  std::vector<std::string> newNames(int count, char kind, bool &given) {
    const int mode = uniform(4);
    given = mode != 0;
    std::vector<std::string> names(count);
    for (auto &s : names) s = (mode == 3 && uniform(3) == 0) ? "" : freshName(kind);
    return names;
  }
  static std::vector<char *> pointers(std::vector<std::string> &names) {
    std::vector<char *> out;
    for (auto &s : names) out.push_back(s.data());
    return out;
  }
  // Reference side of adding named or unnamed entries.
  void noteNames(bool column, bool given, std::vector<std::string> &names) {
    bool &exists = column ? ref.colNamesExist : ref.rowNamesExist;
    auto &store = column ? ref.colNames : ref.rowNames;
    if (names.empty()) return;
    if (!given) {
      for (auto &s : names) s.clear();  // generated when the kind has names
      return;
    }
    if (!exists) {
      exists = true;
      for (auto &s : store) s.clear();  // the old entries get generated names
    }
  }

  void addRows() {
    const int count = 1 + uniform(3), n = ref.cols();
    const int newCols = uniform(4) == 0 ? 1 + uniform(2) : 0;
    bool rowGiven = false, colGiven = false;
    auto rowNames = newNames(count, 'r', rowGiven);
    auto colNames = newNames(newCols, 'c', colGiven);
    std::vector<double> rhs(count);
    std::string sense;
    std::vector<int> start, index;
    std::vector<double> values;
    for (int k = 0; k < count; ++k) {
      rhs[k] = value();
      sense.push_back(randomSense());
      start.push_back(static_cast<int>(index.size()));
      for (int j = 0; j < n + newCols; ++j)
        if (uniform(3) == 0) index.push_back(j), values.push_back(uniform(8) == 0 ? 0.0 : nonzero());
    }
    auto rowPtr = pointers(rowNames), colPtr = pointers(colNames);
    ASSERT_EQ(QVNaddrows(env_, lp_, newCols, count, static_cast<int>(index.size()), rhs.data(), sense.data(),
                         start.data(), index.data(), values.data(), colGiven ? colPtr.data() : nullptr,
                         rowGiven ? rowPtr.data() : nullptr),
              0);
    noteNames(true, colGiven, colNames);
    for (int k = 0; k < newCols; ++k) ref.addCol(0.0, 0.0, kInf, colNames[k], 'C');
    noteNames(false, rowGiven, rowNames);
    for (int k = 0; k < count; ++k) {
      ref.addRow(rhs[k], sense[k], 0.0, rowNames[k]);
      const int end = k + 1 < count ? start[k + 1] : static_cast<int>(index.size());
      for (int p = start[k]; p < end; ++p) ref.a.back()[index[p]] = values[p];
    }
  }

  void newRows() {
    const int count = 1 + uniform(3);
    bool given = false;
    auto names = newNames(count, 'r', given);
    std::vector<double> rhs(count), range(count);
    std::string sense;
    for (int k = 0; k < count; ++k) rhs[k] = value(), range[k] = value(), sense.push_back(randomSense());
    const bool withRange = uniform(2) == 0, withSense = uniform(4) != 0;
    if (!withRange && withSense)
      for (char &s : sense) s = s == 'R' ? 'E' : s;
    auto ptr = pointers(names);
    ASSERT_EQ(QVNnewrows(env_, lp_, count, rhs.data(), withSense ? sense.data() : nullptr,
                         withRange ? range.data() : nullptr, given ? ptr.data() : nullptr),
              0);
    noteNames(false, given, names);
    for (int k = 0; k < count; ++k)
      ref.addRow(rhs[k], withSense ? sense[k] : 'E', withRange ? range[k] : 0.0, names[k]);
  }

  void addCols() {
    const int count = 1 + uniform(3), m = ref.rows();
    bool given = false;
    auto names = newNames(count, 'c', given);
    std::vector<double> obj(count), lower(count), upper(count);
    std::vector<int> start, index;
    std::vector<double> values;
    for (int k = 0; k < count; ++k) {
      obj[k] = value(), lower[k] = -uniform(3), upper[k] = uniform(5) == 0 ? 1e30 : uniform(9);
      start.push_back(static_cast<int>(index.size()));
      for (int i = 0; i < m; ++i)
        if (uniform(3) == 0) index.push_back(i), values.push_back(nonzero());
    }
    auto ptr = pointers(names);
    ASSERT_EQ(QVNaddcols(env_, lp_, count, static_cast<int>(index.size()), obj.data(), start.data(), index.data(),
                         values.data(), lower.data(), upper.data(), given ? ptr.data() : nullptr),
              0);
    noteNames(true, given, names);
    for (int k = 0; k < count; ++k) {
      ref.addCol(obj[k], lower[k], upper[k], names[k], 'C');
      const int end = k + 1 < count ? start[k + 1] : static_cast<int>(index.size());
      for (int p = start[k]; p < end; ++p) ref.a[index[p]].back() = values[p];
    }
  }

  void newCols() {
    const int count = 1 + uniform(3);
    bool given = false;
    auto names = newNames(count, 'c', given);
    std::vector<double> obj(count);
    std::string types;
    for (int k = 0; k < count; ++k) obj[k] = value(), types.push_back("CBI"[uniform(3)]);
    const bool withTypes = uniform(3) == 0;
    auto ptr = pointers(names);
    ASSERT_EQ(QVNnewcols(env_, lp_, count, obj.data(), nullptr, nullptr, withTypes ? types.data() : nullptr,
                         given ? ptr.data() : nullptr),
              0);
    noteNames(true, given, names);
    if (withTypes && !ref.isMip) ref.ctype.assign(ref.cols(), 'C'), ref.isMip = true;
    for (int k = 0; k < count; ++k) ref.addCol(obj[k], 0.0, kInf, names[k], withTypes ? types[k] : 'C');
  }

  std::vector<int> rangeFlags(int count, int begin, int end) {
    std::vector<int> flags(count, 0);
    for (int k = begin; k <= end; ++k) flags[k] = 1;
    return flags;
  }

  void delRowRange() {
    const int m = ref.rows(), begin = uniform(m), end = begin + uniform(std::min(3, m - begin));
    ASSERT_EQ(QVNdelrows(env_, lp_, begin, end), 0);
    ref.deleteRows(rangeFlags(m, begin, end));
  }
  void delColRange() {
    const int n = ref.cols(), begin = uniform(n), end = begin + uniform(std::min(3, n - begin));
    ASSERT_EQ(QVNdelcols(env_, lp_, begin, end), 0);
    ref.deleteCols(rangeFlags(n, begin, end));
  }
  void delRowSet() {
    const int m = ref.rows();
    std::vector<int> flags(m);
    for (int &f : flags) f = uniform(4) == 0 ? 1 : uniform(3) == 0 ? 7 : 0;  // anything but 1 keeps
    std::vector<int> arg = flags;
    ASSERT_EQ(QVNdelsetrows(env_, lp_, arg.data()), 0);
    for (int i = 0, next = 0; i < m; ++i) EXPECT_EQ(arg[i], flags[i] == 1 ? -1 : next++);
    ref.deleteRows(flags);
  }
  void delColSet() {
    const int n = ref.cols();
    std::vector<int> flags(n);
    for (int &f : flags) f = uniform(4) == 0 ? 1 : 0;
    std::vector<int> arg = flags;
    ASSERT_EQ(QVNdelsetcols(env_, lp_, arg.data()), 0);
    for (int j = 0, next = 0; j < n; ++j) EXPECT_EQ(arg[j], flags[j] == 1 ? -1 : next++);
    ref.deleteCols(flags);
  }

  void chgCoef() {
    const int i = uniform(ref.rows() + 1) - 1, j = uniform(ref.cols() + 2) - 2;
    const double v = uniform(3) == 0 ? 0.0 : nonzero();
    if (i == -1 && j < 0) {
      EXPECT_EQ(QVNchgcoef(env_, lp_, i, j, v), QVNERR_NO_RHS_IN_OBJ);
      return;
    }
    if (j == -2 && ref.sense[i] != 'R') {
      EXPECT_EQ(QVNchgcoef(env_, lp_, i, j, v), QVNERR_NO_RNGVAL);
      return;
    }
    ASSERT_EQ(QVNchgcoef(env_, lp_, i, j, v), 0);
    if (i == -1)
      ref.obj[j] = v;
    else if (j == -1)
      ref.rhs[i] = v;
    else if (j == -2)
      ref.range[i] = v;
    else
      ref.a[i][j] = v;
  }

  void chgCoefList() {
    const int count = 1 + uniform(6);
    std::map<std::pair<int, int>, double> pairs;
    for (int k = 0; k < count; ++k) pairs[{uniform(ref.rows()), uniform(ref.cols())}] = uniform(3) ? nonzero() : 0.0;
    std::vector<int> rows, cols;
    std::vector<double> values;
    for (auto &[key, v] : pairs) rows.push_back(key.first), cols.push_back(key.second), values.push_back(v);
    ASSERT_EQ(QVNchgcoeflist(env_, lp_, static_cast<int>(rows.size()), rows.data(), cols.data(), values.data()), 0);
    for (size_t k = 0; k < rows.size(); ++k) ref.a[rows[k]][cols[k]] = values[k];
  }

  void chgBounds() {
    const int count = 1 + uniform(4);
    std::vector<int> idx(count);
    std::string kinds;
    std::vector<double> values(count);
    for (int k = 0; k < count; ++k) {
      idx[k] = uniform(ref.cols());
      kinds.push_back("LUB"[uniform(3)]);
      values[k] = uniform(20) == 0 ? -1e18 : value();
      // An infinite value is ignored (with a warning) for the bound it cannot be.
      if (kinds[k] == 'U' && values[k] <= -1e17) values[k] = 1e18;
    }
    ASSERT_EQ(QVNchgbds(env_, lp_, count, idx.data(), kinds.data(), values.data()), 0);
    for (int k = 0; k < count; ++k) {
      const double v = values[k];
      if (kinds[k] != 'U' && v < 1e17) ref.lower[idx[k]] = v <= -1e17 ? -kInf : v;
      if (kinds[k] != 'L' && v > -1e17) ref.upper[idx[k]] = v >= 1e17 ? kInf : v;
    }
  }

  void chgObj() {
    const int count = 1 + uniform(3);
    std::vector<int> idx(count);
    std::vector<double> values(count);
    for (int k = 0; k < count; ++k) idx[k] = uniform(ref.cols()), values[k] = value();
    ASSERT_EQ(QVNchgobj(env_, lp_, count, idx.data(), values.data()), 0);
    for (int k = 0; k < count; ++k) ref.obj[idx[k]] = values[k];
  }

  void chgRhsSenseRange() {
    const int count = 1 + uniform(3);
    std::vector<int> idx(count);
    std::vector<double> values(count);
    std::string senses;
    for (int k = 0; k < count; ++k) idx[k] = uniform(ref.rows()), values[k] = value(), senses.push_back(randomSense());
    switch (uniform(3)) {
    case 0:
      ASSERT_EQ(QVNchgrhs(env_, lp_, count, idx.data(), values.data()), 0);
      for (int k = 0; k < count; ++k) ref.rhs[idx[k]] = values[k];
      break;
    case 1:
      ASSERT_EQ(QVNchgsense(env_, lp_, count, idx.data(), senses.data()), 0);
      for (int k = 0; k < count; ++k) ref.sense[idx[k]] = senses[k];
      break;
    default: {
      bool allRanged = true;
      for (int k = 0; k < count; ++k) allRanged = allRanged && ref.sense[idx[k]] == 'R';
      ASSERT_EQ(QVNchgrngval(env_, lp_, count, idx.data(), values.data()), allRanged ? 0 : QVNERR_NO_RNGVAL);
      if (allRanged)
        for (int k = 0; k < count; ++k) ref.range[idx[k]] = values[k];
    }
    }
  }

  void rename() {
    const bool column = uniform(2) == 0;
    const int total = column ? ref.cols() : ref.rows();
    if (total == 0) return;
    if (uniform(15) == 0) {
      ASSERT_EQ(QVNdelnames(env_, lp_), 0);
      ref.colNamesExist = ref.rowNamesExist = false;
      return;
    }
    const int index = uniform(total);
    // Shorter and longer names than the old one: in place and at the end of the store.
    std::string name = freshName(column ? 'c' : 'r') + std::string(static_cast<size_t>(uniform(3) * 5), 'z');
    ASSERT_EQ(QVNchgname(env_, lp_, column ? 'c' : 'r', index, name.c_str()), 0);
    bool &exists = column ? ref.colNamesExist : ref.rowNamesExist;
    auto &store = column ? ref.colNames : ref.rowNames;
    if (!exists) {
      exists = true;
      for (auto &s : store) s.clear();
    }
    store[index] = name;
  }

  void chgTypes() {
    if (!ref.isMip || uniform(6) == 0) {
      std::string types;
      for (int j = 0; j < ref.cols(); ++j) types.push_back("CBISN"[uniform(5)]);
      ASSERT_EQ(QVNcopyctype(env_, lp_, types.data()), 0);
      ref.ctype = types;
      ref.isMip = true;
      return;
    }
    const int j = uniform(ref.cols());
    const char to = "CBISN"[uniform(5)];
    ASSERT_EQ(QVNchgctype(env_, lp_, 1, &j, &to), 0);
    const bool wasSemi = ref.ctype[j] == 'S' || ref.ctype[j] == 'N';
    if (wasSemi && to != 'S' && to != 'N') ref.lower[j] = 0.0;
    ref.ctype[j] = to;
  }

  void chgQ() {
    const int n = ref.cols();
    if (!ref.hasQ) {
      if (uniform(2) == 0) {
        std::vector<double> diagonal(n);
        for (double &d : diagonal) d = uniform(2) ? 0.0 : nonzero();
        ASSERT_EQ(QVNcopyqpsep(env_, lp_, diagonal.data()), 0);
        ref.q.assign(n, std::vector<double>(n, 0.0));
        for (int j = 0; j < n; ++j) ref.q[j][j] = diagonal[j];
      } else {
        // A symmetric Q with gaps between the columns.
        ref.q.assign(n, std::vector<double>(n, 0.0));
        for (int i = 0; i < n; ++i)
          for (int j = i; j < n; ++j)
            if (uniform(4) == 0) ref.q[i][j] = ref.q[j][i] = nonzero();
        std::vector<int> start(n), count(n), index;
        std::vector<double> values;
        for (int j = 0; j < n; ++j) {
          start[j] = static_cast<int>(index.size());
          for (int i = 0; i < n; ++i)
            if (ref.q[i][j] != 0.0) index.push_back(i), values.push_back(ref.q[i][j]);
          count[j] = static_cast<int>(index.size()) - start[j];
          index.push_back(0), values.push_back(0.0);  // gap
        }
        ASSERT_EQ(QVNcopyquad(env_, lp_, start.data(), count.data(), index.data(), values.data()), 0);
      }
      ref.hasQ = true;
      return;
    }
    const int i = uniform(n), j = uniform(n);
    const double v = uniform(3) == 0 ? 0.0 : nonzero();
    ASSERT_EQ(QVNchgqpcoef(env_, lp_, i, j, v), 0);
    ref.q[i][j] = ref.q[j][i] = v;
  }

  void sosOp() {
    if (!ref.sos.empty() && uniform(3) == 0) {
      std::vector<int> flags(ref.sos.size());
      for (int &f : flags) f = uniform(2);
      std::vector<SosSet> kept;
      for (size_t s = 0; s < flags.size(); ++s)
        if (flags[s] != 1) kept.push_back(ref.sos[s]);
      ASSERT_EQ(QVNdelsetsos(env_, lp_, flags.data()), 0);
      ref.sos = kept;
      return;
    }
    // One set with distinct weights given out of order; it reads back sorted.
    SosSet set;
    set.type = uniform(2) ? '1' : '2';
    std::vector<int> members;
    for (int j = 0; j < ref.cols(); ++j)
      if (uniform(2)) members.push_back(j);
    std::vector<double> weights;
    for (size_t k = 0; k < members.size(); ++k) weights.push_back(static_cast<double>(members.size() - k) * 1.5);
    int start = 0;
    ASSERT_EQ(QVNaddsos(env_, lp_, 1, static_cast<int>(members.size()), &set.type, &start, members.data(),
                        weights.data(), nullptr),
              0);
    std::vector<std::pair<double, int>> sorted;
    for (size_t k = 0; k < members.size(); ++k) sorted.push_back({weights[k], members[k]});
    std::sort(sorted.begin(), sorted.end());
    for (auto &[w, j] : sorted) set.weights.push_back(w), set.members.push_back(j);
    ref.sos.push_back(set);
  }

  // Pending data through the modelling layer's cache: new columns and rows,
  // and entries on them and on stored ones, in any order.
  void cacheOp() {
    const int count = 1 + uniform(2);
    if (uniform(2) == 0) {
      bool given = false;
      auto names = newNames(count, 'c', given);
      std::vector<double> obj(count), upper(count);
      for (int k = 0; k < count; ++k) obj[k] = value(), upper[k] = 3;
      auto ptr = pointers(names);
      ASSERT_EQ(QVNEcacheNewCols(env_, lp_, count, obj.data(), nullptr, upper.data(), nullptr,
                                 given ? ptr.data() : nullptr),
                0);
      noteNames(true, given, names);
      for (int k = 0; k < count; ++k) ref.addCol(obj[k], 0.0, 3, names[k], 'C');
    } else {
      bool given = false;
      auto names = newNames(count, 'r', given);
      std::vector<double> rhs(count);
      std::string sense;
      for (int k = 0; k < count; ++k) rhs[k] = value(), sense.push_back("LGE"[uniform(3)]);
      auto ptr = pointers(names);
      ASSERT_EQ(QVNEcacheNewRows(env_, lp_, count, rhs.data(), sense.data(), nullptr, given ? ptr.data() : nullptr),
                0);
      noteNames(false, given, names);
      for (int k = 0; k < count; ++k) ref.addRow(rhs[k], sense[k], 0.0, names[k]);
    }
    if (ref.rows() == 0 || ref.cols() == 0) return;
    const int nz = 1 + uniform(4);
    std::vector<int> rows(nz), cols(nz);
    std::vector<double> values(nz);
    for (int k = 0; k < nz; ++k) {
      rows[k] = uniform(ref.rows()), cols[k] = uniform(ref.cols());
      values[k] = uniform(4) == 0 ? 0.0 : nonzero();
    }
    ASSERT_EQ(QVNEcacheNewNZsByNZ(env_, lp_, nz, rows.data(), cols.data(), values.data()), 0);
    for (int k = 0; k < nz; ++k) ref.a[rows[k]][cols[k]] = values[k];
  }

  void objSense() {
    const int sense = uniform(2) ? 1 : -1;
    ASSERT_EQ(QVNchgobjsen(env_, lp_, sense), 0);
    ref.objSense = sense;
  }

  QVNENVptr env_;
  QVNLPptr lp_;
  std::mt19937 rng_;
  int counter_ = 0;
};

using RandomEditTest = EnvFixture;

TEST_F(RandomEditTest, EveryGetterAgreesWithADenseReference) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    // Half the runs without spare room, so that every addition grows the arrays.
    for (int number : {1046, 1047, 1048}) ASSERT_EQ(QVNsetintparam(env, number, seed % 2 ? 0 : -1), 0);
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "random");
    ASSERT_NE(lp, nullptr);
    // Start from a small named model made by QVNcopylpwnames.
    std::vector<double> obj{1, 2}, lb{0, -1}, ub{4, 1e30}, rhs{3}, range{0};
    std::vector<char> sense{'L'};
    std::vector<int> start{0, 1}, count{1, 1}, index{0, 0};
    std::vector<double> value{1, -2};
    std::string c0 = "x0", c1 = "y1", r0 = "row0";
    std::vector<char *> colNames{c0.data(), c1.data()}, rowNames{r0.data()};
    ASSERT_EQ(QVNcopylpwnames(env, lp, 2, 1, QVN_MIN, obj.data(), rhs.data(), sense.data(), start.data(),
                              count.data(), index.data(), value.data(), lb.data(), ub.data(), range.data(),
                              colNames.data(), rowNames.data()),
              0);
    Editor editor(env, lp, seed);
    editor.ref.addCol(1, 0, 4, "x0", 'C');
    editor.ref.addCol(2, -1, 1e30, "y1", 'C');
    editor.ref.addRow(3, 'L', 0, "row0");
    editor.ref.a[0] = {1, -2};
    for (int batch = 0; batch < 60; ++batch) {
      for (int op = 0; op < 25; ++op) {
        editor.step();
        if (HasFatalFailure()) return;
      }
      const ReadBack model = readBack(env, lp);
      const ReadBack expected = editor.ref.expected(model);
      ASSERT_EQ(firstDifference(model, expected), "") << "seed " << seed << " batch " << batch << " names "
          << model.hasColNames << model.hasRowNames << " vs " << expected.hasColNames << expected.hasRowNames;
      for (size_t j = 0; j < model.colNames.size(); ++j)
        if (editor.ref.colNames[j].empty()) {
          EXPECT_TRUE(generatedForm(model.colNames[j], 'x')) << model.colNames[j];
        }
      for (size_t i = 0; i < model.rowNames.size(); ++i)
        if (editor.ref.rowNames[i].empty()) {
          EXPECT_TRUE(generatedForm(model.rowNames[i], 'c')) << model.rowNames[i];
        }
      editor.ref.adoptGenerated(model);
      // Single entries read back through QVNgetcoef as well.
      for (int i = 0; i < model.rows && i < 5; ++i)
        for (int j = 0; j < model.cols && j < 5; ++j) {
          double v = -99;
          ASSERT_EQ(QVNgetcoef(env, lp, i, j, &v), 0);
          EXPECT_EQ(v, editor.ref.a[i][j]);
        }
    }
    takeErrors();
    QVNfreeprob(env, &lp);
  }
}

} // namespace

} // namespace qvntest
