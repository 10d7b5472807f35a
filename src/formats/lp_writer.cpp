// LP format writer. Lines are built from pieces that are never split; a
// piece that would carry a line to 80 characters starts a new line, indented
// under the row's label, so that the reader's line-spanning expressions
// take the file back as it was.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "formats/char_classes.h"
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
constexpr int kLineWidth = 80;

char repairChar(unsigned char c) {
  switch (c) {
  case '[': return '(';
  case ']': return ')';
  case '|': return 'b';
  case '*': return 'a';
  case '^': return 'c';
  case '/': return 'd';
  case ':': return '.';
  case '<': return 'l';
  case '=': return 'e';
  case '>': return 'g';
  case '+': return 'p';
  case '-': return 'm';
  case '\\': return '_';
  default: break;
  }
  if (c == 0 || c == ' ' || (c >= '\t' && c <= '\r')) return '_';
  return static_cast<char>(c);
}

bool firstCharFails(char c) { return !lpIs(c, CC_NameStart) || c == 'e' || c == 'E'; }

} // namespace

bool lpNameNeedsRepair(const char *name) {
  if (!*name || firstCharFails(name[0])) return true;
  for (const char *p = name; *p; ++p)
    if (lpIs(*p, CC_LineEnd | CC_Sign | CC_Blank | CC_Delimiter)) return true;
  return false;
}

void repairLpName(const char *name, char *out) {
  size_t n = 0;
  if (!*name || firstCharFails(name[0])) out[n++] = '_';
  for (const char *p = name; *p && n < 255; ++p) out[n++] = repairChar(static_cast<unsigned char>(*p));
  out[n] = '\0';
}

namespace {

// A name that the reader takes back as written: nothing to repair and no
// character that the reader drops.
bool lpNameStands(const char *name) {
  if (lpNameNeedsRepair(name)) return false;
  for (const char *p = name; *p; ++p)
    if (!lpIs(*p, CC_Valid)) return false;
  return true;
}

// Words that the reader of the type sections takes as a section keyword when
// a name stands alone on a line there.
bool isTypeSectionKeyword(const char *name) {
  static const char *const kWords[] = {"INTEGER", "INTEGERS", "INTS", "INT",  "BINARY", "BINARIES",
                                       "BINS",    "BIN",      "GENERAL", "GENERALS", "GENS", "GEN",
                                       "SEMIS",   "SEMI",     "SOS",  "END"};
  for (const char *w : kWords)
    if (strcasecmp(name, w) == 0) return true;
  return false;
}

// A column so named opens a bound line that the reader takes as a value.
bool isInfinityWord(const char *name) { return strcasecmp(name, "inf") == 0 || strcasecmp(name, "infinity") == 0; }

struct LpWriter {
  Environment *env;
  const ModelImage &img;
  QvnFile *out = nullptr;
  char line[4096];
  int length = 0, indent = 0;
  bool badNumber = false;
  NameList colStore, rowStore, sosStore, qcStore, indStore, cutStore, lazyStore;
  const NameList *cols = nullptr, *rows = nullptr, *sosNames = nullptr, *qcNames = nullptr,
                 *indNames = nullptr, *cutNames = nullptr, *lazyNames = nullptr;
  NameList objName, probName;
  bool repaired = false;

  LpWriter(Environment *e, const ModelImage &image) : env(e), img(image) {}

  // ---- line placing -------------------------------------------------------

  void sendLine() {
    line[length++] = '\n';
    fileWrite(out, line, static_cast<size_t>(length));
    length = 0;
  }

  void piece(const char *text, size_t n) {
    if (length + static_cast<int>(n) >= kLineWidth && length > indent) {
      sendLine();
      std::memset(line, ' ', static_cast<size_t>(indent));
      length = indent;
    }
    if (length + n + 2 > sizeof line) sendLine();  // only a pathological indent gets here
    std::memcpy(line + length, text, n);
    length += static_cast<int>(n);
  }
  void piece(const char *text) { piece(text, std::strlen(text)); }
  void close() {
    if (length > 0) sendLine();
    length = 0;
  }

  // Appends the number text of |v| to `at`.
  char *number(double v, char *at) {
    const int n = formatNumber(std::fabs(v), at);
    if (n < 0) {
      badNumber = true;
      return at + 1;
    }
    return at + n;
  }

  // `name` is one name of at most 255 characters, or "a * b" of two.
  void term(double v, const char *name, bool first, const char *suffix = "") {
    char text[700];
    char *p = text;
    if (v < 0) p += std::sprintf(p, " -");
    else if (!first) p += std::sprintf(p, " +");
    // A coefficient of 1 is left out; one that differs from 1 in its written
    // digits (1.00000000000001) keeps them, so that nothing is lost.
    char digits[40];
    if (std::fabs(std::fabs(v) - 1.0) >= 1e-13 || (formatNumber(std::fabs(v), digits) > 0 && std::strcmp(digits, "1") != 0)) {
      *p++ = ' ';
      p = number(v, p);
    }
    p += std::sprintf(p, " %.515s%s", name, suffix);
    piece(text, static_cast<size_t>(p - text));
  }

  void senseAndRhs(char sense, double rhs) {
    char text[64];
    const char *s = sense == 'L' ? " <= " : sense == 'G' ? " >= " : (sense == 'E' || sense == 'R') ? "  = " : "  ? ";
    char *p = text + std::sprintf(text, "%s", s);
    if (rhs < 0) *p++ = '-';
    if (rhs == 0.0) *p++ = '0';
    else p = number(rhs, p);
    piece(text, static_cast<size_t>(p - text));
  }

  void label(const char *name, int width) {
    char text[300];
    int n = std::max(0, std::snprintf(text, sizeof text, " %.255s:", name));
    while (n < width && n < static_cast<int>(sizeof text) - 1) text[n++] = ' ';
    text[n] = '\0';
    length = 0;
    indent = n;
    piece(text, static_cast<size_t>(n));
  }

  // ---- names --------------------------------------------------------------

  // The names a table is written with: its own, repaired when the repair is
  // on, or generated ones when it has none or when its names cannot stand in
  // the file as they are.
  const NameList *prepare(const NameList &own, bool present, NameList &store, int count, char prefix,
                          const char *message, bool generic, bool repair) {
    if (!present || generic || own.size() < count) return defaults(store, count, prefix, message, !generic);
    const NameList *names = &own;
    bool needed = false;
    for (int i = 0; i < count && !needed; ++i) needed = lpNameNeedsRepair(own.get(i));
    if (needed && repair) {
      char fixed[260];
      for (int i = 0; i < count; ++i) {
        repairLpName(own.get(i), fixed);
        store.add(fixed);
      }
      names = &store;
    }
    for (int i = 0; i < count; ++i)
      if (!lpNameStands(names->get(i))) return defaults(store, count, prefix, message, true);
    repaired |= names == &store;
    return names;
  }

  const NameList *defaults(NameList &store, int count, char prefix, const char *message, bool tell) {
    if (tell && count > 0) QVNmsg(env->warningChannel, "%s", message);
    fillDefaultNames(store, count, prefix);
    return &store;
  }

  // The reader knows a column by its name cut to 255 characters, and a range
  // column by "Rg" and its row's name: when two of these come out equal, or a
  // column name reads as something else in a bound or type line, the columns
  // (and, for equal range names, the rows) are written with generated names.
  void settleColumnNames() {
    NameList ranges;
    auto rangeNames = [&] {
      ranges.clear();
      char rg[300];
      for (int i = 0; i < img.numRows; ++i)
        if (img.sense[i] == 'R') {
          std::snprintf(rg, sizeof rg, "Rg%.255s", rows->get(i));
          ranges.add(rg, strnlen(rg, kFileNameMax));
        }
    };
    rangeNames();
    if (cutNamesRepeat(ranges)) {
      rows = defaults(rowStore, img.numRows, 'c', "Default row names c1, c2 ... being created.\n", true);
      rangeNames();
    }
    NameList all;
    bool clash = false;
    for (int j = 0; j < img.numCols && !clash; ++j) {
      const char *name = cols->get(j);
      all.add(name, strnlen(name, kFileNameMax));
      const char t = img.ctype.empty() ? 'C' : img.ctype[j];
      clash = isInfinityWord(name) || (t != 'C' && isTypeSectionKeyword(name));
    }
    for (int k = 0; k < ranges.size(); ++k) all.add(ranges.get(k));
    if (clash || cutNamesRepeat(all))
      cols = defaults(colStore, img.numCols, 'x', "Default variable names x1, x2 ... being created.\n", true);
  }

  int widthOf(const NameList *names, int count) {
    size_t w = 0;
    for (int i = 0; i < count; ++i) w = std::max(w, std::strlen(names->get(i)));
    return static_cast<int>(std::min<size_t>(w + 2, 32));
  }

  // ---- sections -----------------------------------------------------------

  void objective(const EnvVector<int> &colHasEntries) {
    const bool all = env->generalParams->lpWriteAllColumns == 1;
    const char *name = objName.size() ? objName.get(0) : nullptr;
    label(name ? name : "obj", 0);
    indent = name ? static_cast<int>(std::strlen(name)) + 2 : 5;
    bool first = true;
    for (int j = 0; j < img.numCols; ++j) {
      if (img.obj[j] == 0.0 && colHasEntries[j] && !all) continue;
      term(img.obj[j], cols->get(j), first);
      first = false;
    }
    // Only non-zero Q entries are written, so only they bring their columns in.
    const bool anyQ = std::any_of(img.qValue.begin(), img.qValue.end(), [](double v) { return v != 0.0; });
    if (anyQ) {
      piece(first ? " [" : " + [");
      bool firstQ = true;
      for (size_t k = 0; k < img.qValue.size(); ++k) {
        const int a = img.qRow[k], b = img.qCol[k];
        if (a > b || img.qValue[k] == 0.0) continue;
        if (a == b) {
          term(img.qValue[k], cols->get(a), firstQ, " ^2");
        } else {
          char both[600];
          std::snprintf(both, sizeof both, "%.255s * %.255s", cols->get(a), cols->get(b));
          term(2.0 * img.qValue[k], both, firstQ);
        }
        firstQ = false;
      }
      piece(" ] / 2");
    }
    close();
  }

  void rowBlock(const NameList *names, int count, const EnvVector<int> &start, const EnvVector<int> &index,
                const EnvVector<double> &value, const EnvVector<char> &sense, const EnvVector<double> &rhs,
                const EnvVector<double> *range) {
    const int width = widthOf(names, count);
    for (int i = 0; i < count; ++i) {
      label(names->get(i), width);
      bool first = true;
      for (int k = start[i]; k < start[i + 1]; ++k) {
        term(value[k], cols->get(index[k]), first);
        first = false;
      }
      if (range && sense[i] == 'R') {
        char rg[300];
        std::snprintf(rg, sizeof rg, "Rg%.255s", names->get(i));
        term(-1.0, rg, first);
      }
      senseAndRhs(sense[i], rhs[i]);
      close();
    }
  }

  void boundLine(const char *name, double lo, double up, char type) {
    lo = clampInfinite(lo);  // 1e+300 is infinite, and too large a number for the reader
    up = clampInfinite(up);
    char text[700];
    char *p = text;
    if (up >= kInf && lo <= -kInf) {
      p += std::sprintf(p, "      %.255s Free", name);
    } else if (up >= kInf && type == 'B') {
      *p++ = lo < 0 ? '-' : ' ';
      p = lo == 0.0 ? (*p++ = '0', p) : number(lo, p);
      p += std::sprintf(p, " <= %.255s <= Inf", name);
    } else if (up >= kInf) {
      p += std::sprintf(p, "      %.255s >= ", name);
      if (lo < 0) *p++ = '-';
      p = lo == 0.0 ? (*p++ = '0', p) : number(lo, p);
    } else if (lo <= -kInf) {
      p += std::sprintf(p, " -Inf <= %.255s <= ", name);
      if (up < 0) *p++ = '-';
      p = up == 0.0 ? (*p++ = '0', p) : number(up, p);
    } else if (up == lo) {
      p += std::sprintf(p, "      %.255s = ", name);
      if (lo < 0) *p++ = '-';
      p = lo == 0.0 ? (*p++ = '0', p) : number(lo, p);
    } else {
      *p++ = lo < 0 ? '-' : ' ';
      p = lo == 0.0 ? (*p++ = '0', p) : number(lo, p);
      p += std::sprintf(p, " <= %.255s <= ", name);
      if (up < 0) *p++ = '-';
      p = up == 0.0 ? (*p++ = '0', p) : number(up, p);
    }
    *p++ = '\n';
    fileWrite(out, text, static_cast<size_t>(p - text));
  }

  void bounds() {
    bool needed = img.isMip();
    for (int j = 0; j < img.numCols && !needed; ++j) needed = img.lower[j] != 0.0 || img.upper[j] < kInf;
    for (int i = 0; i < img.numRows && !needed; ++i) needed = img.sense[i] == 'R';
    if (!needed) return;
    filePuts(out, "Bounds\n");
    for (int j = 0; j < img.numCols; ++j) {
      const char t = img.ctype.empty() ? 'C' : img.ctype[j];
      if (img.lower[j] == 0.0 && img.upper[j] >= kInf && t != 'I' && t != 'B') continue;
      boundLine(cols->get(j), img.lower[j], img.upper[j], t);
    }
    for (int i = 0; i < img.numRows; ++i) {
      if (img.sense[i] != 'R') continue;
      char rg[300];
      std::snprintf(rg, sizeof rg, "Rg%.255s", rows->get(i));
      const double r = img.range.empty() ? 0.0 : img.range[i];
      boundLine(rg, r > 0 ? 0.0 : r, r > 0 ? r : 0.0, 'C');
    }
  }

  void typeSection(const char *heading, const char *types) {
    bool any = false;
    length = indent = 0;
    for (int j = 0; j < img.numCols; ++j) {
      if (!std::strchr(types, img.ctype[j])) continue;
      if (!any) filePuts(out, heading);
      any = true;
      char text[300];
      const int n = std::snprintf(text, sizeof text, " %.255s ", cols->get(j));
      piece(text, static_cast<size_t>(n));
    }
    close();
  }

  int write(const char *path, bool generic) {
    QVN_TRY(checkWritableNumbers(env, img, "LP", NumberForm::kLong));
    const bool repair = !generic && env->generalParams->lpRepairNames == 1;
    char fixed[260];
    if (!generic && img.probName.size()) {
      const char *name = img.probName.get(0);
      if (repair && lpNameNeedsRepair(name) && name[0]) {
        repairLpName(name, fixed);
        probName.add(fixed);
        repaired = true;
      } else {
        // A comment line: a line end inside would start a line of model text.
        size_t n = 0;
        while (name[n] && !lpIs(name[n], CC_LineEnd)) ++n;
        probName.add(name, n);
      }
    }
    if (!generic && img.objName.size()) {
      const char *name = img.objName.get(0);
      if (repair && lpNameNeedsRepair(name)) {
        repairLpName(name, fixed);
        name = fixed;
        repaired = true;
      }
      if (lpNameStands(name)) objName.add(name);  // else the label is the default "obj"
    }
    const int nq = static_cast<int>(img.qconstr.size()), ni = static_cast<int>(img.indicators.size());
    cols = prepare(img.colNames, img.hasColNames, colStore, img.numCols, 'x',
                   "Default variable names x1, x2 ... being created.\n", generic, repair);
    rows = prepare(img.rowNames, img.hasRowNames, rowStore, img.numRows, 'c',
                   "Default row names c1, c2 ... being created.\n", generic, repair);
    sosNames = prepare(img.sos.names, img.sos.hasNames, sosStore, img.sos.count, 's',
                       "Default sos names s1, s2 ... being created.\n", generic, repair);
    qcNames = prepare(img.qconstrNames, img.qconstrNames.size() >= nq, qcStore, nq, 'q',
                      "Default quadratic constraint names q1, q2 ... being created.\n", generic, repair);
    indNames = prepare(img.indicatorNames, img.indicatorNames.size() >= ni, indStore, ni, 'i',
                       "Default indicator names i1, i2 ... being created.\n", generic, repair);
    cutNames = prepare(img.userCuts.names, img.userCuts.hasNames, cutStore, img.userCuts.count, 'u',
                       "Default user cut names u1, u2 ... being created.\n", generic, repair);
    lazyNames = prepare(img.lazyRows.names, img.lazyRows.hasNames, lazyStore, img.lazyRows.count, 'l',
                        "Default lazy constraint names l1, l2 ... being created.\n", generic, repair);
    settleColumnNames();
    if (repaired)
      QVNmsg(env->warningChannel, "Warning:  Output names have been modified to conform to LP format.\n");

    // Row-wise copy of the matrix, columns ascending within a row.
    const int m = img.numRows;
    EnvVector<int> start(static_cast<size_t>(m) + 1, 0), index(img.rowIndex.size());
    EnvVector<double> value(img.rowIndex.size());
    EnvVector<int> colHasEntries(static_cast<size_t>(img.numCols), 0);
    for (int r : img.rowIndex) ++start[r + 1];
    for (int i = 0; i < m; ++i) start[i + 1] += start[i];
    {
      EnvVector<int> fill(start.begin(), start.end() - 1);
      for (int j = 0; j < img.numCols; ++j)
        for (int k = img.colStart[j]; k < img.colStart[j + 1]; ++k) {
          const int at = fill[img.rowIndex[k]]++;
          index[at] = j;
          value[at] = img.value[k];
          colHasEntries[j] = 1;
        }
    }
    for (const QuadConstraint &q : img.qconstr) {
      for (int j : q.linIndex) colHasEntries[j] = 1;
      for (size_t k = 0; k < q.quadRow.size(); ++k) colHasEntries[q.quadRow[k]] = colHasEntries[q.quadCol[k]] = 1;
    }
    for (const Indicator &ind : img.indicators) {
      colHasEntries[ind.column] = 1;
      for (int j : ind.index) colHasEntries[j] = 1;
    }
    for (const RowBlock *b : {&img.userCuts, &img.lazyRows})
      for (int j : b->index) colHasEntries[j] = 1;
    for (size_t k = 0; k < img.qRow.size(); ++k)
      if (img.qValue[k] != 0.0) colHasEntries[img.qRow[k]] = colHasEntries[img.qCol[k]] = 1;

    return writeFrame(env, path, out, [&] { return body(start, index, value, colHasEntries); });
  }

  int body(const EnvVector<int> &start, const EnvVector<int> &index, const EnvVector<double> &value,
           const EnvVector<int> &colHasEntries) {
    const int m = img.numRows;
    const int nq = static_cast<int>(img.qconstr.size()), ni = static_cast<int>(img.indicators.size());
    char head[300];
    const int n = std::snprintf(head, sizeof head, "\\Problem name: %.255s\n\n", probName.size() ? probName.get(0) : "");
    fileWrite(out, head, static_cast<size_t>(n));
    filePuts(out, img.objSense == -1 ? "Maximize\n" : "Minimize\n");
    objective(colHasEntries);
    if (m > 0 || nq > 0 || ni > 0) filePuts(out, "Subject To\n");
    rowBlock(rows, m, start, index, value, img.sense, img.rhs, &img.range);
    if (nq > 0) {
      const int width = widthOf(qcNames, nq);
      for (int k = 0; k < nq; ++k) {
        const QuadConstraint &q = img.qconstr[k];
        label(qcNames->get(k), width);
        bool first = true;
        for (size_t t = 0; t < q.linIndex.size(); ++t, first = false) term(q.linValue[t], cols->get(q.linIndex[t]), first);
        piece(first ? " [" : " + [");
        bool firstQ = true;
        for (size_t t = 0; t < q.quadValue.size(); ++t, firstQ = false) {
          if (q.quadRow[t] == q.quadCol[t]) {
            term(q.quadValue[t], cols->get(q.quadRow[t]), firstQ, " ^2");
          } else {
            char both[600];
            std::snprintf(both, sizeof both, "%.255s * %.255s", cols->get(q.quadRow[t]), cols->get(q.quadCol[t]));
            term(q.quadValue[t], both, firstQ);
          }
        }
        piece(" ]");
        senseAndRhs(q.sense, q.rhs);
        close();
      }
    }
    if (ni > 0) {
      const int width = widthOf(indNames, ni);
      for (int k = 0; k < ni; ++k) {
        const Indicator &ind = img.indicators[k];
        label(indNames->get(k), width);
        const int kind = ind.kind < 0 ? -ind.kind : ind.kind;
        char text[300];
        const int len = std::snprintf(text, sizeof text, " %.255s%s%s", cols->get(ind.column),
                                      ind.kind < 0 ? " = 0 " : " = 1 ",
                                      kind == 1 ? "->" : kind == 2 ? "<-" : kind == 3 ? "<->" : "?");
        piece(text, static_cast<size_t>(len));
        for (size_t t = 0; t < ind.index.size(); ++t) term(ind.value[t], cols->get(ind.index[t]), t == 0);
        senseAndRhs(ind.sense, ind.rhs);
        close();
      }
    }
    const RowBlock *blocks[2] = {&img.userCuts, &img.lazyRows};
    const NameList *blockNames[2] = {cutNames, lazyNames};
    const char *heads[2] = {"User Cuts\n", "Lazy Constraints\n"};
    for (int b = 0; b < 2; ++b) {
      if (blocks[b]->count == 0) continue;
      filePuts(out, heads[b]);
      rowBlock(blockNames[b], blocks[b]->count, blocks[b]->start, blocks[b]->index, blocks[b]->value,
               blocks[b]->sense, blocks[b]->rhs, nullptr);
    }
    bounds();
    if (img.isMip()) {
      typeSection("Binaries\n", "B");
      typeSection("Generals\n", "IN");
      typeSection("Semi-Continuous\n", "SN");
    }
    if (img.sos.count > 0) {
      filePuts(out, "SOS\n");
      const int width = widthOf(sosNames, img.sos.count);
      for (int s = 0; s < img.sos.count; ++s) {
        label(sosNames->get(s), width);
        char text[400];
        int len = std::snprintf(text, sizeof text, " S%c ::", img.sos.type[s]);
        piece(text, static_cast<size_t>(len));
        for (int k = img.sos.start[s]; k < img.sos.start[s + 1]; ++k) {
          char *p = text + std::snprintf(text, sizeof text, "  %.255s : ", cols->get(img.sos.member[k]));
          if (img.sos.weight[k] < 0) *p++ = '-';
          p = img.sos.weight[k] == 0.0 ? (*p++ = '0', p) : number(img.sos.weight[k], p);
          piece(text, static_cast<size_t>(p - text));
        }
        close();
      }
    }
    filePuts(out, "End\n");
    if (badNumber) return reportError(env, QVNERR_NOT_REPRESENTABLE);
    return 0;
  }
};

} // namespace

int writeLpFile(Environment *env, const ModelImage &image, const char *path, bool genericNames) {
  LpWriter writer(env, image);
  return writer.write(path, genericNames);
}

} // namespace qvn
