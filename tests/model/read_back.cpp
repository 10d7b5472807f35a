#include "model/read_back.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace qvntest {

namespace {

std::vector<std::string> names(QVNENVptr env, QVNLPptr lp, int count, bool column, bool &exists) {
  std::vector<std::string> out;
  exists = false;
  if (count == 0) return out;
  auto get = column ? QVNgetcolname : QVNgetrowname;
  int surplus = 0;
  int status = get(env, lp, nullptr, nullptr, 0, &surplus, 0, count - 1);
  if (status == QVNERR_NO_NAMES) return out;
  EXPECT_EQ(status, QVNERR_NEGATIVE_SURPLUS);
  std::vector<char> store(static_cast<size_t>(-surplus));
  std::vector<char *> pointers(static_cast<size_t>(count));
  EXPECT_EQ(get(env, lp, pointers.data(), store.data(), -surplus, &surplus, 0, count - 1), 0);
  EXPECT_EQ(surplus, 0);
  for (char *p : pointers) out.emplace_back(p ? p : "<null>");
  exists = true;
  return out;
}

} // namespace

ReadBack readBack(QVNENVptr env, QVNLPptr lp) {
  ReadBack r;
  r.cols = QVNgetnumcols(env, lp);
  r.rows = QVNgetnumrows(env, lp);
  r.nonzeros = QVNgetnumnz(env, lp);
  r.objSense = QVNgetobjsen(env, lp);
  r.type = QVNgetprobtype(env, lp);
  const int m = r.rows, n = r.cols;
  r.obj.resize(n), r.lower.resize(n), r.upper.resize(n);
  r.rhs.resize(m), r.range.resize(m), r.sense.assign(static_cast<size_t>(m), '?');
  if (n > 0) {
    EXPECT_EQ(QVNgetobj(env, lp, r.obj.data(), 0, n - 1), 0);
    EXPECT_EQ(QVNgetlb(env, lp, r.lower.data(), 0, n - 1), 0);
    EXPECT_EQ(QVNgetub(env, lp, r.upper.data(), 0, n - 1), 0);
  }
  if (m > 0) {
    EXPECT_EQ(QVNgetrhs(env, lp, r.rhs.data(), 0, m - 1), 0);
    EXPECT_EQ(QVNgetrngval(env, lp, r.range.data(), 0, m - 1), 0);
    EXPECT_EQ(QVNgetsense(env, lp, r.sense.data(), 0, m - 1), 0);
  }
  // Columns through the surplus protocol: count, then exactly enough room.
  r.columns.assign(static_cast<size_t>(n), {});
  if (n > 0) {
    int nz = -1, surplus = 1;
    int status = QVNgetcols(env, lp, &nz, nullptr, nullptr, nullptr, 0, &surplus, 0, n - 1);
    EXPECT_EQ(status, surplus < 0 ? QVNERR_NEGATIVE_SURPLUS : 0);
    EXPECT_EQ(-surplus, r.nonzeros);
    const int space = -surplus;
    std::vector<int> start(n), index(std::max(space, 1));
    std::vector<double> value(std::max(space, 1));
    if (space > 0) {
      EXPECT_EQ(QVNgetcols(env, lp, &nz, start.data(), index.data(), value.data(), space, &surplus, 0, n - 1), 0);
      EXPECT_EQ(nz, space);
      EXPECT_EQ(surplus, 0);
      for (int j = 0; j < n; ++j) {
        const int end = j + 1 < n ? start[j + 1] : nz;
        for (int k = start[j]; k < end; ++k) r.columns[j].push_back({index[k], value[k]});
        std::sort(r.columns[j].begin(), r.columns[j].end());
      }
    }
  }
  r.rowsView.assign(static_cast<size_t>(m), {});
  if (m > 0) {
    int nz = 0, surplus = 0;
    QVNgetrows(env, lp, &nz, nullptr, nullptr, nullptr, 0, &surplus, 0, m - 1);
    const int space = -surplus;
    EXPECT_EQ(space, r.nonzeros);
    std::vector<int> start(m), index(std::max(space, 1));
    std::vector<double> value(std::max(space, 1));
    if (space > 0) {
      EXPECT_EQ(QVNgetrows(env, lp, &nz, start.data(), index.data(), value.data(), space, &surplus, 0, m - 1), 0);
      for (int i = 0; i < m; ++i) {
        const int end = i + 1 < m ? start[i + 1] : nz;
        for (int k = start[i]; k < end; ++k) r.rowsView[i].push_back({index[k], value[k]});
      }
    }
  }
  r.colNames = names(env, lp, n, true, r.hasColNames);
  r.rowNames = names(env, lp, m, false, r.hasRowNames);
  if (n > 0) {
    std::string letters(static_cast<size_t>(n), '?');
    if (QVNgetctype(env, lp, letters.data(), 0, n - 1) == 0) r.ctype = letters;
  }
  const int sets = QVNgetnumsos(env, lp);
  if (sets > 0) {
    int nz = 0, surplus = 0;
    QVNgetsos(env, lp, &nz, nullptr, nullptr, nullptr, nullptr, 0, &surplus, 0, sets - 1);
    const int space = std::max(-surplus, 0);
    std::vector<char> types(sets);
    std::vector<int> starts(sets), members(std::max(space, 1));
    std::vector<double> weights(std::max(space, 1));
    EXPECT_EQ(QVNgetsos(env, lp, &nz, types.data(), starts.data(), members.data(), weights.data(),
                        std::max(space, 1), &surplus, 0, sets - 1), 0);
    for (int s = 0; s < sets; ++s) {
      SosSet set;
      set.type = types[s];
      const int end = s + 1 < sets ? starts[s + 1] : nz;
      set.members.assign(members.begin() + starts[s], members.begin() + end);
      set.weights.assign(weights.begin() + starts[s], weights.begin() + end);
      r.sos.push_back(set);
    }
  }
  double probe = 0;
  r.hasQ = n > 0 ? QVNgetqpcoef(env, lp, 0, 0, &probe) == 0 : false;
  r.qNonzeros = QVNgetnumqpnz(env, lp);
  if (r.hasQ) {
    r.q.assign(static_cast<size_t>(n), {});
    int nz = 0, surplus = 0;
    QVNgetquad(env, lp, &nz, nullptr, nullptr, nullptr, 0, &surplus, 0, n - 1);
    const int space = std::max(-surplus, 1);
    std::vector<int> start(n), index(space);
    std::vector<double> value(space);
    EXPECT_EQ(QVNgetquad(env, lp, &nz, start.data(), index.data(), value.data(), space, &surplus, 0, n - 1), 0);
    EXPECT_EQ(nz, r.qNonzeros);
    for (int j = 0; j < n; ++j) {
      const int end = j + 1 < n ? start[j + 1] : nz;
      for (int k = start[j]; k < end; ++k) r.q[j].push_back({index[k], value[k]});
      std::sort(r.q[j].begin(), r.q[j].end());
    }
  }
  EXPECT_EQ(QVNgetobjoffset(env, lp, &r.objOffset), 0);
  char buffer[256];
  int surplus = 0;
  if (QVNgetprobname(env, lp, buffer, sizeof buffer, &surplus) == 0) r.probName = buffer;
  return r;
}

std::string firstDifference(const ReadBack &a, const ReadBack &b) {
  std::ostringstream out;
#define QVN_DIFF(field)                                   \
  if (!(a.field == b.field)) {                            \
    out << #field << " differs";                          \
    return out.str();                                     \
  }
  if (a.rows != b.rows || a.cols != b.cols || a.nonzeros != b.nonzeros || a.type != b.type) {
    out << "sizes/type " << a.rows << "x" << a.cols << " nz " << a.nonzeros << " type " << a.type << " vs "
        << b.rows << "x" << b.cols << " nz " << b.nonzeros << " type " << b.type;
    return out.str();
  }
  QVN_DIFF(objSense)
  QVN_DIFF(obj) QVN_DIFF(lower) QVN_DIFF(upper) QVN_DIFF(rhs) QVN_DIFF(range) QVN_DIFF(sense)
  for (size_t j = 0; j < std::min(a.columns.size(), b.columns.size()); ++j)
    if (a.columns[j] != b.columns[j]) {
      out << "column " << j << ":";
      for (auto &e : a.columns[j]) out << " " << e.first << ":" << e.second;
      out << " vs";
      for (auto &e : b.columns[j]) out << " " << e.first << ":" << e.second;
      return out.str();
    }
  QVN_DIFF(columns) QVN_DIFF(rowsView) QVN_DIFF(hasColNames) QVN_DIFF(hasRowNames)
  QVN_DIFF(colNames) QVN_DIFF(rowNames) QVN_DIFF(ctype) QVN_DIFF(sos) QVN_DIFF(hasQ) QVN_DIFF(q)
  QVN_DIFF(qNonzeros) QVN_DIFF(objOffset) QVN_DIFF(probName)
#undef QVN_DIFF
  return "";
}

} // namespace qvntest
