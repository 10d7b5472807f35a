#include "formats/format_test_support.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace qvntest {

namespace {
void collect(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }
} // namespace

void FormatFixture::SetUp() {
  EnvFixture::SetUp();
  QVNCHANNELptr resultsChannel = nullptr, warningChannel = nullptr;
  ASSERT_EQ(QVNgetchannels(env, &resultsChannel, &warningChannel, nullptr, nullptr), 0);
  ASSERT_EQ(QVNaddfuncdest(env, warningChannel, &warnings, collect), 0);
  ASSERT_EQ(QVNaddfuncdest(env, resultsChannel, &results, collect), 0);
  const auto *info = ::testing::UnitTest::GetInstance()->current_test_info();
  dir = (std::filesystem::temp_directory_path() /
         ("qvn_formats_" + std::to_string(::getpid()) + "_" + info->test_suite_name() + "_" + info->name()))
            .string();
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
}

void FormatFixture::TearDown() {
  EnvFixture::TearDown();
  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
}

std::string FormatFixture::path(const std::string &name) const { return dir + "/" + name; }

std::string FormatFixture::writeFile(const std::string &name, const std::string &content) {
  const std::string p = path(name);
  std::ofstream out(p, std::ios::binary);
  out << content;
  return p;
}

int FormatFixture::readText(const std::string &name, const std::string &content, qvn::ModelImage &image,
                            const char *type) {
  const std::string p = writeFile(name, content);
  const int status = qvn::readModelImage(env, p.c_str(), type, image);
  return status < 0 ? -status : status;
}

std::string FormatFixture::takeWarnings() {
  std::string out;
  out.swap(warnings);
  return out;
}

std::string FormatFixture::takeResults() {
  std::string out;
  out.swap(results);
  return out;
}

int countOf(const std::string &text, const std::string &piece) {
  int n = 0;
  for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + piece.size())) ++n;
  return n;
}

int columnNamed(const qvn::ModelImage &m, const char *name) {
  for (int j = 0; j < m.numCols; ++j)
    if (std::string(m.colNames.get(j)) == name) return j;
  return -1;
}

namespace {

bool close(double a, double b, double tol) {
  if (a == b) return true;
  if (std::fabs(a) >= 1e20 && std::fabs(b) >= 1e20) return (a > 0) == (b > 0);
  return std::fabs(a - b) <= tol * std::max(1.0, std::max(std::fabs(a), std::fabs(b)));
}

char typeOf(const qvn::ModelImage &m, int j) {
  const char t = m.ctype.empty() ? 'C' : m.ctype[j];
  // An integer column within [0, 1] is a binary one in every format.
  if (t == 'I' && m.lower[j] == 0.0 && m.upper[j] == 1.0) return 'B';
  return t;
}

std::map<std::string, double> columnEntries(const qvn::ModelImage &m, int j, bool byName) {
  std::map<std::string, double> entries;
  for (int k = m.colStart[j]; k < m.colStart[j + 1]; ++k) {
    const int i = m.rowIndex[k];
    if (m.value[k] == 0.0) continue;  // explicit zeros are not kept by every format
    entries[byName ? std::string(m.rowNames.get(i)) : std::to_string(i)] += m.value[k];
  }
  return entries;
}

} // namespace

std::string compareModels(const qvn::ModelImage &a, const qvn::ModelImage &b, const CompareOptions &o) {
  std::ostringstream d;
  int faults = 0;
  auto fault = [&](const std::string &what) {
    if (++faults <= 8) d << what << "\n";
  };
  if (a.objSense != b.objSense) fault("objective sense differs");
  if (a.numRows != b.numRows) fault("rows " + std::to_string(a.numRows) + " vs " + std::to_string(b.numRows));
  if (a.numCols != b.numCols) fault("columns " + std::to_string(a.numCols) + " vs " + std::to_string(b.numCols));
  auto nonzeros = [](const qvn::ModelImage &m) {
    return std::count_if(m.value.begin(), m.value.end(), [](double v) { return v != 0.0; });
  };
  if (nonzeros(a) != nonzeros(b))
    fault("nonzeros " + std::to_string(nonzeros(a)) + " vs " + std::to_string(nonzeros(b)));
  if (faults) return d.str();
  const bool rowsByName = o.byName && !o.rowsInOrder;
  std::map<std::string, int> rowOf, colOf;
  for (int i = 0; i < b.numRows; ++i) rowOf[b.rowNames.get(i)] = i;
  for (int j = 0; j < b.numCols; ++j) colOf[b.colNames.get(j)] = j;
  for (int i = 0; i < a.numRows; ++i) {
    const std::string name = a.rowNames.get(i);
    int k = i;
    if (rowsByName) {
      auto it = rowOf.find(name);
      if (it == rowOf.end()) {
        fault("row " + name + " missing");
        continue;
      }
      k = it->second;
    } else if (name != b.rowNames.get(i)) {
      fault("row name " + name + " vs " + b.rowNames.get(i));
    }
    if (a.sense[i] != b.sense[k]) fault("row " + name + " sense " + a.sense[i] + " vs " + b.sense[k]);
    if (!close(a.rhs[i], b.rhs[k], o.tolerance))
      fault("row " + name + " rhs " + std::to_string(a.rhs[i]) + " vs " + std::to_string(b.rhs[k]));
    if (a.sense[i] == 'R' && !close(a.range[i], b.range[k], o.tolerance)) fault("row " + name + " range");
  }
  for (int j = 0; j < a.numCols; ++j) {
    const std::string name = a.colNames.get(j);
    int k = j;
    if (o.byName) {
      auto it = colOf.find(name);
      if (it == colOf.end()) {
        fault("column " + name + " missing");
        continue;
      }
      k = it->second;
    } else if (name != b.colNames.get(j)) {
      fault("column name " + name + " vs " + b.colNames.get(j));
    }
    if (!close(a.obj[j], b.obj[k], o.tolerance)) fault("column " + name + " objective");
    if (!close(a.lower[j], b.lower[k], o.tolerance))
      fault("column " + name + " lower " + std::to_string(a.lower[j]) + " vs " + std::to_string(b.lower[k]));
    if (!close(a.upper[j], b.upper[k], o.tolerance))
      fault("column " + name + " upper " + std::to_string(a.upper[j]) + " vs " + std::to_string(b.upper[k]));
    if (typeOf(a, j) != typeOf(b, k)) fault("column " + name + " type " + typeOf(a, j) + " vs " + typeOf(b, k));
    const auto ea = columnEntries(a, j, rowsByName), eb = columnEntries(b, k, rowsByName);
    if (ea.size() != eb.size()) {
      fault("column " + name + " entry count");
      continue;
    }
    for (auto ia = ea.begin(), ib = eb.begin(); ia != ea.end(); ++ia, ++ib)
      if (ia->first != ib->first || !close(ia->second, ib->second, o.tolerance))
        fault("column " + name + " entry in row " + ia->first);
  }
  // Q as a map over name (or index) pairs; explicit zeros do not count.
  auto colKey = [&](const qvn::ModelImage &m, int j) {
    return o.byName ? std::string(m.colNames.get(j)) : std::to_string(j);
  };
  auto quad = [&](const qvn::ModelImage &m) {
    std::map<std::pair<std::string, std::string>, double> q;
    for (size_t k = 0; k < m.qValue.size(); ++k)
      if (m.qValue[k] != 0.0) q[{colKey(m, m.qRow[k]), colKey(m, m.qCol[k])}] += m.qValue[k];
    return q;
  };
  const auto qa = quad(a), qb = quad(b);
  if (qa.size() != qb.size()) fault("Q entries " + std::to_string(qa.size()) + " vs " + std::to_string(qb.size()));
  else
    for (auto ia = qa.begin(), ib = qb.begin(); ia != qa.end(); ++ia, ++ib)
      if (ia->first != ib->first || !close(ia->second, ib->second, o.tolerance))
        fault("Q entry " + ia->first.first + "," + ia->first.second);
  // Sets in order, with type, name, members and weights.
  if (a.sos.count != b.sos.count) {
    fault("sets " + std::to_string(a.sos.count) + " vs " + std::to_string(b.sos.count));
    return d.str();
  }
  for (int s = 0; s < a.sos.count; ++s) {
    const std::string name = a.sos.hasNames ? a.sos.names.get(s) : std::to_string(s);
    if (a.sos.type[s] != b.sos.type[s]) fault("set " + name + " type");
    if (a.sos.hasNames && b.sos.hasNames && name != b.sos.names.get(s)) fault("set name " + name);
    if (a.sos.start[s + 1] - a.sos.start[s] != b.sos.start[s + 1] - b.sos.start[s]) {
      fault("set " + name + " size");
      continue;
    }
    for (int k = a.sos.start[s], l = b.sos.start[s]; k < a.sos.start[s + 1]; ++k, ++l)
      if (colKey(a, a.sos.member[k]) != colKey(b, b.sos.member[l]) || !close(a.sos.weight[k], b.sos.weight[l], o.tolerance))
        fault("set " + name + " member " + colKey(a, a.sos.member[k]));
  }
  return d.str();
}

qvn::ModelImage lpView(const qvn::ModelImage &m, bool *namesCollide) {
  qvn::ModelImage v;
  *namesCollide = false;
  auto repaired = [&](const qvn::NameList &names, int count) {
    bool needed = false;
    for (int i = 0; i < count; ++i) needed |= qvn::lpNameNeedsRepair(names.get(i));
    qvn::NameList out;
    char fixed[260];
    for (int i = 0; i < count; ++i) {
      if (needed) qvn::repairLpName(names.get(i), fixed);
      else std::snprintf(fixed, sizeof fixed, "%.255s", names.get(i));
      out.add(fixed);
    }
    std::set<std::string> seen;
    for (int i = 0; i < count; ++i) *namesCollide |= !seen.insert(out.get(i)).second;
    return out;
  };
  v.objSense = m.objSense;
  v.numRows = m.numRows;
  v.rowNames = repaired(m.rowNames, m.numRows);
  v.hasRowNames = v.hasColNames = true;
  v.colNames = repaired(m.colNames, m.numCols);
  v.numCols = m.numCols;
  v.obj = m.obj;
  v.lower = m.lower;
  v.upper = m.upper;
  v.ctype = m.ctype;
  v.colStart = m.colStart;
  v.rowIndex = m.rowIndex;
  v.value = m.value;
  v.rhs = m.rhs;
  v.sos = m.sos;
  v.qRow = m.qRow;
  v.qCol = m.qCol;
  v.qValue = m.qValue;
  for (int i = 0; i < m.numRows; ++i) {
    const char s = m.sense[i];
    v.sense.push_back(s == 'R' ? 'E' : s);
    if (s != 'R') continue;
    const double r = m.range[i];
    v.colNames.add((std::string("Rg") + v.rowNames.get(i)).substr(0, 255).c_str());
    ++v.numCols;
    v.obj.push_back(0.0);
    v.lower.push_back(r > 0 ? 0.0 : r);
    v.upper.push_back(r > 0 ? r : 0.0);
    if (!v.ctype.empty()) v.ctype.push_back('C');
    v.rowIndex.push_back(i);
    v.value.push_back(-1.0);
    v.colStart.push_back(static_cast<int>(v.rowIndex.size()));
  }
  return v;
}

namespace {

qvn::NameList generated(int count, char prefix) {
  qvn::NameList names;
  for (int i = 0; i < count; ++i) names.add((prefix + std::to_string(i + 1)).c_str());
  return names;
}

qvn::NameList cut(const qvn::NameList &names) {
  qvn::NameList out;
  for (int i = 0; i < names.size(); ++i) out.add(std::string(names.get(i)).substr(0, 255).c_str());
  return out;
}

} // namespace

std::string compareRoundTrip(const qvn::ModelImage &original, const qvn::ModelImage &back, bool lp,
                             double tolerance) {
  std::string first;
  for (int naming = 0; naming < 4; ++naming) {
    qvn::ModelImage named = original;
    const bool genericCols = (naming & 1) || !original.hasColNames;
    const bool genericRows = (naming & 2) || !original.hasRowNames;
    named.colNames = genericCols ? generated(original.numCols, 'x') : cut(original.colNames);
    named.rowNames = genericRows ? generated(original.numRows, 'c') : cut(original.rowNames);
    named.hasColNames = named.hasRowNames = true;
    std::string d;
    if (lp) {
      bool collide = false;
      // LP gives columns back in the order they first appear: match them by name
      d = compareModels(lpView(named, &collide), back, {true, tolerance, true});
    } else {
      d = compareModels(named, back, {false, tolerance});
    }
    if (d.empty()) return d;
    if (naming == 0) first = d;
  }
  return first;
}

} // namespace qvntest
