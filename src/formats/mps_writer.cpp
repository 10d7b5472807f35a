// MPS writer. Names are left-justified in one field width (the longest name,
// at least the four characters of the set labels), so that short names give
// the classic fixed layout; numbers take 23 characters (15 significant
// digits) or, with the long-number parameter off, 12.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "formats/formats.h"
#include "formats/number_format.h"
#include "formats/write_check.h"
#include "runtime/channels.h"
#include "runtime/environment.h"
#include "runtime/errors.h"
#include "runtime/params.h"

namespace qvn {

namespace {

constexpr double kInf = kFileInfinity;
constexpr int kReaderLineLimit = 559;

// A name the reader takes back as one field of the same text: not empty, no
// blank or line end inside, and no '$', which starts a comment, in front.
bool mpsNameStands(const char *name) {
  if (!*name || *name == '$') return false;
  for (const char *p = name; *p; ++p)
    if (std::isspace(static_cast<unsigned char>(*p))) return false;
  return true;
}

// A row so named turns its COLUMNS lines into marker lines.
bool isMarkerWord(const char *name) { return strcasecmp(name, "'MARKER'") == 0; }

struct Entry {
  int col;
  const char *row;
  double value;
};

struct MpsWriter {
  Environment *env;
  const ModelImage &img;
  QvnFile *out = nullptr;
  bool longNumbers = true, pairs = false;
  int width = 4;
  NameList objName;
  NameList colDefault, rowDefault, sosDefault, qcDefault, indDefault, cutDefault, lazyDefault;
  const NameList *cols = nullptr, *rows = nullptr, *sosNames = nullptr, *qcNames = nullptr,
                 *indNames = nullptr, *cutNames = nullptr, *lazyNames = nullptr;
  char number[40];
  const char *nameLine = nullptr;  // a whole NAME line of the caller's, in place of the problem's name

  MpsWriter(Environment *e, const ModelImage &image) : env(e), img(image) {}

  // The table's own names when it has usable ones, else generated names. Row
  // names (`rowLike`) must also not read as a marker.
  const NameList *names(const NameList &own, bool present, NameList &fallback, int count, char prefix,
                        const char *label, bool generic, bool rowLike) {
    if (present && !generic && own.size() >= count) {
      bool stands = !cutNamesRepeat(own);
      for (int i = 0; i < count && stands; ++i)
        stands = mpsNameStands(own.get(i)) && !(rowLike && isMarkerWord(own.get(i)));
      if (stands) return &own;
    }
    if (!generic && count > 0)
      QVNmsg(env->warningChannel, "Default %-6s names %c1, %c2 ... being created.\n", label, prefix, prefix);
    fillDefaultNames(fallback, count, prefix);
    return &fallback;
  }

  // Rows, quadratic and indicator constraints, user cuts and lazy rows share
  // one name space in the file; the objective row joins it under a name that
  // no other row has.
  void settleRowNames(bool generic) {
    const int nq = static_cast<int>(img.qconstr.size()), ni = static_cast<int>(img.indicators.size());
    const NameList *tables[5] = {rows, qcNames, indNames, cutNames, lazyNames};
    NameList all;
    for (const NameList *t : tables)
      for (int i = 0; i < t->size(); ++i) all.add(t->get(i), strnlen(t->get(i), kFileNameMax));
    if (cutNamesRepeat(all)) {
      // Generated names of the five kinds differ in their letters.
      rows = names(rowDefault, false, rowDefault, img.numRows, 'c', "row", generic, true);
      qcNames = names(qcDefault, false, qcDefault, nq, 'q', "quadratic constraint", generic, true);
      indNames = names(indDefault, false, indDefault, ni, 'i', "indicator constraint", generic, true);
      cutNames = names(cutDefault, false, cutDefault, img.userCuts.count, 'u', "user cut", generic, true);
      lazyNames = names(lazyDefault, false, lazyDefault, img.lazyRows.count, 'l', "lazy constraints", generic, true);
      all.clear();
      for (const NameList *t : {rows, qcNames, indNames, cutNames, lazyNames})
        for (int i = 0; i < t->size(); ++i) all.add(t->get(i));
    }
    NameIndex taken;
    for (int i = 0; i < all.size(); ++i) taken.insert(all, i);
    const char *own = (!generic && img.objName.size()) ? img.objName.get(0) : "";
    char candidate[300];
    std::snprintf(candidate, sizeof candidate, "%.255s", own);
    for (int k = 0; !mpsNameStands(candidate) || isMarkerWord(candidate) ||
                    taken.find(all, candidate, std::strlen(candidate)) >= 0;
         ++k)
      std::snprintf(candidate, sizeof candidate, k == 0 ? "obj" : "obj%d", k);
    objName.add(candidate);
  }

  // Columns that stand in a set named like a set type would open a set.
  void settleColumnNames(bool generic) {
    if (cols == &colDefault) return;
    for (int k = 0; k < static_cast<int>(img.sos.member.size()); ++k) {
      const char *name = cols->get(img.sos.member[k]);
      if (std::strlen(name) == 2 && (name[0] == 'S' || name[0] == 's')) {
        cols = names(colDefault, false, colDefault, img.numCols, 'x', "column", generic, false);
        return;
      }
    }
  }

  // A ranged row of an image without range values has the range 0.
  double rangeOf(int i) const { return img.range.empty() ? 0.0 : img.range[i]; }

  void widen(const NameList *list) {
    for (int i = 0; i < list->size(); ++i)
      width = std::max(width, static_cast<int>(std::min<size_t>(std::strlen(list->get(i)), 255)));
  }

  const char *num(double v) {
    char text[40];
    if (longNumbers) {
      formatNumber(v, text);
      std::snprintf(number, sizeof number, "%23s", text);
    } else {
      formatShortNumber(v, text);
      std::snprintf(number, sizeof number, "%12s", text);
    }
    return number;
  }

  // Entries of one column or rim set: one a line in long form, two in short.
  void entries(const char *label, const Entry *list, size_t count) {
    for (size_t k = 0; k < count; ++k) {
      const bool first = !pairs || k % 2 == 0;
      if (first)
        filePrintf(out, "    %-*.255s  %-*.255s  %s", width, label, width, list[k].row, num(list[k].value));
      else
        filePrintf(out, "   %-*.255s  %s", width, list[k].row, num(list[k].value));
      if (!pairs || k % 2 == 1 || k + 1 == count) fileWrite(out, "\n", 1);
    }
  }

  void bound(const char *type, const char *col, const double *value) {
    if (value)
      filePrintf(out, " %s %-*.255s  %-*.255s  %s\n", type, width, "bnd", width, col, num(*value));
    else
      filePrintf(out, " %s %-*.255s  %.255s\n", type, width, "bnd", col);
  }

  void bounds() {
    bool any = false;
    for (int j = 0; j < img.numCols; ++j) {
      const char t = img.ctype.empty() ? 'C' : img.ctype[j];
      // 1e+300 is infinite, and too large a number for the reader.
      double lo = clampInfinite(img.lower[j]), up = clampInfinite(img.upper[j]);
      const char *col = cols->get(j);
      auto head = [&] {
        if (!any) filePuts(out, "BOUNDS\n");
        any = true;
      };
      if (lo == 0.0 && up >= kInf) {
        if (t == 'I') {
          head();
          const double zero = 0.0;
          bound("LI", col, &zero);
        }
        if (t != 'S' && t != 'N') continue;
      }
      head();
      if (t == 'S' || t == 'N') {
        bound("SC", col, &up);
        up = kInf;
      }
      if (lo <= -kInf && up >= kInf) {
        bound("FR", col, nullptr);
      } else if (lo <= -kInf) {
        bound("MI", col, nullptr);
        bound("UP", col, &up);
      } else if (up >= kInf) {
        bound("LO", col, &lo);
      } else if (lo == up) {
        bound("FX", col, &lo);
      } else {
        // A zero lower bound is written before a negative upper one: the reader
        // would otherwise take the lower bound to minus infinity.
        if (lo != 0.0 || up < 0.0) bound("LO", col, &lo);
        bound("UP", col, &up);
      }
    }
  }

  int write(const char *path, bool generic) {
    longNumbers = env->generalParams->mpslongnum != 0;
    QVN_TRY(checkWritableNumbers(env, img, "MPS", longNumbers ? NumberForm::kLong : NumberForm::kShort));
    cols = names(img.colNames, img.hasColNames, colDefault, img.numCols, 'x', "column", generic, false);
    rows = names(img.rowNames, img.hasRowNames, rowDefault, img.numRows, 'c', "row", generic, true);
    sosNames = names(img.sos.names, img.sos.hasNames, sosDefault, img.sos.count, 's', "SOS", generic, false);
    const int nq = static_cast<int>(img.qconstr.size()), ni = static_cast<int>(img.indicators.size());
    qcNames = names(img.qconstrNames, true, qcDefault, nq, 'q', "quadratic constraint", generic, true);
    indNames = names(img.indicatorNames, true, indDefault, ni, 'i', "indicator constraint", generic, true);
    cutNames = names(img.userCuts.names, img.userCuts.hasNames, cutDefault, img.userCuts.count, 'u',
                     "user cut", generic, true);
    lazyNames = names(img.lazyRows.names, img.lazyRows.hasNames, lazyDefault, img.lazyRows.count, 'l',
                      "lazy constraints", generic, true);
    settleRowNames(generic);
    settleColumnNames(generic);
    const char *objective = objName.get(0);
    width = std::max<int>(4, static_cast<int>(std::min<size_t>(std::strlen(objective), 255)));
    for (const NameList *l : {cols, rows, sosNames, qcNames, indNames, cutNames, lazyNames}) widen(l);
    // Two entries a line only while such a line stays within the reader's limit.
    pairs = !longNumbers && 3 * width + 37 <= kReaderLineLimit;

    return writeFrame(env, path, out, [&] { return body(generic, objective); });
  }

  int body(bool generic, const char *objName) {
    const int nq = static_cast<int>(img.qconstr.size()), ni = static_cast<int>(img.indicators.size());
    const char *problem = (!generic && img.probName.size()) ? img.probName.get(0) : "";
    if (nameLine) filePuts(out, nameLine);
    else filePrintf(out, "NAME          %.255s\n", mpsNameStands(problem) ? problem : "");
    // The sense section keeps a maximization one; the reader takes it.
    if (img.objSense == -1) filePuts(out, "OBJSENSE\n    MAX\n");
    filePuts(out, "ROWS\n");
    filePrintf(out, " N  %.255s\n", objName);
    for (int i = 0; i < img.numRows; ++i) {
      char s = img.sense[i];
      if (s == 'R') s = rangeOf(i) >= 0 ? 'G' : 'L';
      filePrintf(out, " %c  %.255s\n", s, rows->get(i));
    }
    for (int k = 0; k < nq; ++k) filePrintf(out, " %c  %.255s\n", img.qconstr[k].sense, qcNames->get(k));
    for (int k = 0; k < ni; ++k) filePrintf(out, " %c  %.255s\n", img.indicators[k].sense, indNames->get(k));
    const RowBlock *blocks[2] = {&img.userCuts, &img.lazyRows};
    const NameList *blockNames[2] = {cutNames, lazyNames};
    const char *blockHeads[2] = {"USERCUTS\n", "LAZYCONS\n"};
    for (int b = 0; b < 2; ++b) {
      if (blocks[b]->count == 0) continue;
      filePuts(out, blockHeads[b]);
      for (int i = 0; i < blocks[b]->count; ++i)
        filePrintf(out, " %c  %.255s\n", blocks[b]->sense[i], blockNames[b]->get(i));
    }

    // Coefficients of rows kept outside the matrix, gathered by column.
    EnvVector<Entry> extra;
    for (int k = 0; k < nq; ++k)
      for (size_t t = 0; t < img.qconstr[k].linIndex.size(); ++t)
        extra.push_back({img.qconstr[k].linIndex[t], qcNames->get(k), img.qconstr[k].linValue[t]});
    for (int k = 0; k < ni; ++k)
      for (size_t t = 0; t < img.indicators[k].index.size(); ++t)
        extra.push_back({img.indicators[k].index[t], indNames->get(k), img.indicators[k].value[t]});
    for (int b = 0; b < 2; ++b)
      for (int i = 0; i < blocks[b]->count; ++i)
        for (int t = blocks[b]->start[i]; t < blocks[b]->start[i + 1]; ++t)
          extra.push_back({blocks[b]->index[t], blockNames[b]->get(i), blocks[b]->value[t]});
    std::stable_sort(extra.begin(), extra.end(), [](const Entry &a, const Entry &b) { return a.col < b.col; });

    filePuts(out, "COLUMNS\n");
    bool inIntegers = false;
    int markers = 0;
    EnvVector<Entry> list;
    size_t next = 0;
    for (int j = 0; j < img.numCols; ++j) {
      const char t = img.ctype.empty() ? 'C' : img.ctype[j];
      const bool integer = t == 'B' || t == 'I' || t == 'N';
      if (integer != inIntegers) {
        filePrintf(out, "    MARK%04d  'MARKER'                 '%s'\n", markers++,
                    integer ? "INTORG" : "INTEND");
        inIntegers = integer;
      }
      list.clear();
      if (img.obj[j] != 0.0) list.push_back({j, objName, img.obj[j]});
      for (int k = img.colStart[j]; k < img.colStart[j + 1]; ++k)
        list.push_back({j, rows->get(img.rowIndex[k]), img.value[k]});
      for (; next < extra.size() && extra[next].col == j; ++next) list.push_back(extra[next]);
      if (list.empty()) list.push_back({j, objName, 0.0});
      entries(cols->get(j), list.data(), list.size());
    }
    if (inIntegers) filePrintf(out, "    MARK%04d  'MARKER'                 'INTEND'\n", markers++);

    filePuts(out, "RHS\n");
    list.clear();
    for (int i = 0; i < img.numRows; ++i)
      if (img.rhs[i] != 0.0) list.push_back({0, rows->get(i), img.rhs[i]});
    for (int k = 0; k < nq; ++k)
      if (img.qconstr[k].rhs != 0.0) list.push_back({0, qcNames->get(k), img.qconstr[k].rhs});
    for (int k = 0; k < ni; ++k)
      if (img.indicators[k].rhs != 0.0) list.push_back({0, indNames->get(k), img.indicators[k].rhs});
    for (int b = 0; b < 2; ++b)
      for (int i = 0; i < blocks[b]->count; ++i)
        if (blocks[b]->rhs[i] != 0.0) list.push_back({0, blockNames[b]->get(i), blocks[b]->rhs[i]});
    entries("rhs", list.data(), list.size());

    list.clear();
    for (int i = 0; i < img.numRows; ++i)
      if (img.sense[i] == 'R') list.push_back({0, rows->get(i), std::fabs(rangeOf(i))});
    if (!list.empty()) {
      filePuts(out, "RANGES\n");
      entries("rng", list.data(), list.size());
    }
    bounds();
    if (img.sos.count > 0) {
      filePuts(out, "SOS\n");
      for (int s = 0; s < img.sos.count; ++s) {
        filePrintf(out, " S%c %s\n", img.sos.type[s], sosNames->get(s));
        for (int k = img.sos.start[s]; k < img.sos.start[s + 1]; ++k)
          filePrintf(out, "    %-*.255s  %s\n", width, cols->get(img.sos.member[k]), num(img.sos.weight[k]));
      }
    }
    if (!img.qValue.empty()) {
      filePuts(out, "QMATRIX\n");
      for (size_t k = 0; k < img.qValue.size(); ++k)
        filePrintf(out, "    %-*.255s  %-*.255s  %s\n", width, cols->get(img.qRow[k]), width,
                    cols->get(img.qCol[k]), num(img.qValue[k]));
    }
    for (int q = 0; q < nq; ++q) {
      filePrintf(out, "QCMATRIX   %.255s\n", qcNames->get(q));
      const QuadConstraint &c = img.qconstr[q];
      for (size_t k = 0; k < c.quadValue.size(); ++k)
        filePrintf(out, "    %-*.255s  %-*.255s  %s\n", width, cols->get(c.quadRow[k]), width,
                    cols->get(c.quadCol[k]), num(c.quadValue[k]));
    }
    if (ni > 0) {
      filePuts(out, "INDICATORS\n");
      for (int k = 0; k < ni; ++k) {
        const Indicator &ind = img.indicators[k];
        const int kind = ind.kind < 0 ? -ind.kind : ind.kind;
        const char *word = kind == 1 ? "IF" : kind == 2 ? "OI" : kind == 3 ? "FF" : "??";
        filePrintf(out, " %s %-*.255s  %-*.255s  %s\n", word, width, indNames->get(k), width,
                    cols->get(ind.column), ind.kind < 0 ? "0" : "1");
      }
    }
    filePuts(out, "ENDATA\n");
    return 0;
  }
};

} // namespace

int writeMpsFile(Environment *env, const ModelImage &image, const char *path, bool genericNames,
                 const char *nameLine) {
  MpsWriter writer(env, image);
  writer.nameLine = nameLine;
  return writer.write(path, genericNames);
}

} // namespace qvn
