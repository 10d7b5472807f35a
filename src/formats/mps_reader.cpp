// MPS reader: free (blank-separated) fields, which also reads the fixed layout
// when names hold no blanks, with the INTORG/SOSORG markers, RANGES, BOUNDS
// and the QMATRIX, QUADOBJ, QCMATRIX, SOS and INDICATORS extensions.
//
// Rows are read into a "reading" table (every ROWS, USERCUTS and LAZYCONS
// entry); once ROWS ends the objective is chosen and ordinary rows get their
// final numbers, so that COLUMNS writes the column-wise matrix directly.
// Rows that move to the quadratic constraint or indicator stores leave the
// matrix in one compaction pass at the end.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <cctype>
#include <strings.h>

#include "formats/char_classes.h"
#include "formats/formats.h"
#include "formats/number_format.h"
#include "runtime/channels.h"
#include "runtime/environment.h"
#include "runtime/errors.h"

namespace qvn {

namespace {

constexpr int kLineLimit = 559;
constexpr size_t kNameMax = kFileNameMax;
constexpr size_t kNumberMax = 25;
constexpr int kWarnCap = kWarningCap;
constexpr double kInf = kFileInfinity;
const char kSetPlaceholder[] = "$$$$$$$$$$$";

enum Section {
  kSecNone = -1, kSecName = 0, kSecObjSense, kSecObjName, kSecRefRow, kSecRows, kSecUserCuts,
  kSecLazyCons, kSecColumns, kSecRhs, kSecRanges, kSecBounds, kSecQuadObj, kSecQcMatrix, kSecSos,
  kSecIndicators, kSecEndata, kSecUnknown
};

struct Head {
  const char *word;
  Section section;
  int variant;  // QMATRIX 0, QUADOBJ 1
};
const Head kHeads[] = {
    {"NAME", kSecName, 0},         {"OBJSENSE", kSecObjSense, 0}, {"OBJSENSE", kSecObjSense, 0},
    {"OBJNAME", kSecObjName, 0},   {"REFROW", kSecRefRow, 0},     {"ROWS", kSecRows, 0},
    {"USERCUTS", kSecUserCuts, 0}, {"LAZYCONS", kSecLazyCons, 0}, {"COLUMNS", kSecColumns, 0},
    {"RHS", kSecRhs, 0},           {"RANGES", kSecRanges, 0},     {"BOUNDS", kSecBounds, 0},
    {"QMATRIX", kSecQuadObj, 0},   {"QUADOBJ", kSecQuadObj, 1},   {"QCMATRIX", kSecQcMatrix, 0},
    {"SOS", kSecSos, 0},           {"INDICATORS", kSecIndicators, 0}, {"ENDATA", kSecEndata, 0}};

enum RowKind : uint8_t { kRowOrdinary, kRowUserCut, kRowLazy, kRowFree, kRowObjective };

struct ReadRow {
  char sense;
  RowKind kind;
  int final;  // ordinary: row number; cut and lazy: number in their block
};

struct Field {
  const char *text;
  size_t length;
};

struct Triplet {
  int row, col;
  double value;
};

struct MpsReader {
  Environment *env;
  ModelImage &img;
  LineSource in;
  int line = 0;
  char buffer[kLineLimit + 8];
  Field field[8];
  int fieldCount = 0;
  char nameA[kNameMax + 1], nameB[kNameMax + 1];
  bool pendingHead = false;  // the current line is a section head not yet handled

  // rows
  NameList rowNames;  // reading rows
  NameIndex rowIndex;
  EnvVector<ReadRow> rows;
  int objRow = -1, refRow = -1, freeRows = 0, rowRepeats = 0;
  NameList objNameWanted, refRowName;
  int ordinaryRows = 0;
  EnvVector<int> finalToReading;
  // columns
  NameIndex colIndex;
  int colRepeats = 0;
  bool inIntegers = false, inSos = false, anyInteger = false;
  EnvVector<int> rowMark;  // last column that had an entry in a reading row
  EnvVector<double> sosRefWeight;
  EnvVector<Triplet> cutEntries, lazyEntries;
  // rim sets
  EnvVector<uint8_t> rimMark;
  NameList rhsSets, rangeSets;
  int objWarnings = 0;
  bool boundSetChosen = false, boundSetWarned = false;
  NameList boundSet;
  EnvVector<uint8_t> boundMark;
  bool boundsFinished = false;
  // tail sections
  int quadVariant = 0;
  EnvVector<int> rowMove;  // per final row: -1 stays, else 2k qconstr k, 2k+1 indicator k
  EnvVector<int> qconstrRow, indicatorRow;
  int quadWarnings = 0, sosWarnings = 0, truncations = 0;
  bool emptyNumbers = false;
  bool setOpen = false;
  bool fixedLayout = false;

  MpsReader(Environment *e, ModelImage &image) : env(e), img(image) {}

  int error(int number) { return reportError(env, number, line); }

  // ---- fields -------------------------------------------------------------

  void truncated(const char *text) {
    if (++truncations <= kWarnCap)
      QVNmsg(env->warningChannel, "Warning, line %d:  '%s' truncated.\n", line, text);
  }

  // Copies field k as a name into `out` (cut at 255 characters).
  const char *name(int k, char *out) {
    const Field &f = field[k];
    const size_t n = std::min(f.length, kNameMax);
    std::memcpy(out, f.text, n);
    out[n] = '\0';
    if (f.length > kNameMax) truncated(out);
    return out;
  }
  size_t nameLength(int k) const { return std::min(field[k].length, kNameMax); }

  int number(int k, double *value) {
    if (k >= fieldCount) {
      emptyNumbers = true;
      *value = 0.0;
      return 0;
    }
    const Field &f = field[k];
    char text[kNumberMax + 1];
    const size_t n = std::min(f.length, kNumberMax);
    std::memcpy(text, f.text, n);
    text[n] = '\0';
    if (f.length > kNumberMax) truncated(text);
    switch (parseNumber(text, n, true, value)) {
    case kNumberOk: return 0;
    case kNumberExpRange: return reportError(env, QVNERR_BAD_EXPONENT, line, text);
    default: return reportError(env, QVNERR_BAD_NUMBER, line, text);
    }
  }

  bool fieldIs(int k, const char *word) const {
    const size_t n = std::strlen(word);
    return k < fieldCount && field[k].length == n && strncasecmp(field[k].text, word, n) == 0;
  }

  // Fixed layout, used once a ROWS line shows a name with blanks: fields in
  // columns 2-3, 5-12, 15-22, 25-36, 40-47, 50-61, trimmed, empty ones left out.
  void splitFixed(char *line) {
    static const int kFrom[6] = {1, 4, 14, 24, 39, 49}, kTo[6] = {3, 12, 22, 36, 47, 61};
    const int n = static_cast<int>(std::strlen(line));
    fieldCount = 0;
    for (int f = 0; f < 6 && kFrom[f] < n; ++f) {
      int a = kFrom[f], b = std::min(kTo[f], n);
      while (a < b && (line[a] == ' ' || line[a] == '\t')) ++a;
      while (b > a && (line[b - 1] == ' ' || line[b - 1] == '\t')) --b;
      if (b == a) continue;
      if (line[a] == '$' && f >= 2) break;
      field[fieldCount++] = {line + a, static_cast<size_t>(b - a)};
    }
  }

  static bool looksFixed(const char *line) {
    return line[0] == ' ' && line[1] != ' ' && (line[2] == ' ' || line[2] != '\0') && line[3] == ' ' &&
           line[4] != ' ' && line[4] != '\0';
  }

  void split(char *p) {
    fieldCount = 0;
    while (fieldCount < 8) {
      while (*p == ' ' || *p == '\t') ++p;
      if (*p == '\0' || *p == '$') break;
      char *start = p;
      while (*p && *p != ' ' && *p != '\t') ++p;
      field[fieldCount++] = {start, static_cast<size_t>(p - start)};
    }
  }

  // ---- lines --------------------------------------------------------------

  // Next meaningful line: 1 data, 2 section head, 0 end of file, <0 error.
  int nextLine() {
    for (;;) {
      size_t n = in.next(buffer, sizeof buffer - 1);
      if (n == 0) return 0;
      ++line;
      const bool complete = buffer[n - 1] == '\n';
      while (n > 0 && (buffer[n - 1] == '\n' || buffer[n - 1] == '\r')) buffer[--n] = '\0';
      if (n > kLineLimit || (!complete && n == sizeof buffer - 2)) {
        return reportError(env, QVNERR_LINE_TOO_LONG, line, kLineLimit);
      }
      if (n == 0 || (mpsClass(buffer[0]) & MC_Comment)) continue;
      bool any = false;
      for (size_t k = 0; k < n && !any; ++k) any = (mpsClass(buffer[k]) & MC_NameChar) != 0;
      if (!any) continue;
      const bool head = buffer[0] != ' ' && buffer[0] != '\t';
      if (fixedLayout && !head) splitFixed(buffer);
      else split(buffer);
      if (fieldCount == 0) continue;
      return head ? 2 : 1;
    }
  }

  Section headOf(int *variant) const {
    for (const Head &h : kHeads) {
      const size_t n = std::strlen(h.word);
      if (strncasecmp(buffer, h.word, n) == 0) {
        *variant = h.variant;
        return h.section;
      }
    }
    return kSecUnknown;
  }

  // ---- ROWS ---------------------------------------------------------------

  int rowLine(Section section) {
    if (!fixedLayout && fieldCount > 2 && looksFixed(buffer)) {
      fixedLayout = true;
      splitFixed(buffer);
    }
    if (fieldCount < 1) return error(QVNERR_NO_ROW_SENSE);
    const char s = static_cast<char>(std::toupper(static_cast<unsigned char>(field[0].text[0])));
    if (section != kSecRows && (s == 'N' || s == 'R')) return error(QVNERR_BAD_LAZY_UCUT);
    if (!(mpsClass(s) & MC_Sense)) return error(QVNERR_NO_ROW_SENSE);
    if (fieldCount < 2) return error(QVNERR_NO_ROW_NAME);
    if (rows.size() >= static_cast<size_t>(kMaxEntries)) return reportError(env, QVNERR_TOO_MANY_ROWS);
    const int at = rowNames.size();
    rowNames.add(name(1, nameA), nameLength(1));
    if (rowIndex.insert(rowNames, at) != at) {
      if (++rowRepeats <= kWarnCap) reportErrorAtLine(env, line, QVNERR_ROW_REPEATS, nameA);
      rowNames.offset.pop_back();
      return 0;
    }
    RowKind kind = s == 'N' ? kRowFree : section == kSecUserCuts ? kRowUserCut
                                         : section == kSecLazyCons ? kRowLazy : kRowOrdinary;
    rows.push_back({s, kind, -1});
    return 0;
  }

  int finishRows() {
    if (rowRepeats > kWarnCap) reportError(env, QVNERR_ROW_REPEATS_HIDDEN, rowRepeats - kWarnCap);
    if (rowRepeats > 0) return -QVNERR_ROW_REPEATS;
    if (objNameWanted.size()) {
      const char *want = objNameWanted.get(0);
      const int r = rowIndex.find(rowNames, want, std::strlen(want));
      if (r >= 0 && rows[r].sense == 'N') objRow = r;
      else QVNmsg(env->warningChannel, "Warning:  Specified objective '%.255s' not found.\n", want);
    }
    for (size_t r = 0; r < rows.size() && objRow < 0; ++r)
      if (rows[r].sense == 'N') objRow = static_cast<int>(r);
    if (objRow < 0) return error(QVNERR_NO_OBJ_ROW);
    rows[objRow].kind = kRowObjective;
    img.objName.add(rowNames.get(objRow));
    int users = 0, lazies = 0;
    for (size_t r = 0; r < rows.size(); ++r) {
      ReadRow &row = rows[r];
      if (row.kind == kRowFree) ++freeRows;
      if (row.kind == kRowOrdinary) {
        row.final = ordinaryRows++;
        finalToReading.push_back(static_cast<int>(r));
        img.sense.push_back(row.sense);
        img.rowNames.add(rowNames.get(static_cast<int>(r)));
      } else if (row.kind == kRowUserCut || row.kind == kRowLazy) {
        RowBlock &b = row.kind == kRowUserCut ? img.userCuts : img.lazyRows;
        row.final = row.kind == kRowUserCut ? users++ : lazies++;
        b.sense.push_back(row.sense);
        b.names.add(rowNames.get(static_cast<int>(r)));
        b.hasNames = true;
        ++b.count;
      }
    }
    img.numRows = ordinaryRows;
    img.hasRowNames = img.hasColNames = true;
    img.rhs.assign(static_cast<size_t>(ordinaryRows), 0.0);
    img.userCuts.rhs.assign(static_cast<size_t>(users), 0.0);
    img.lazyRows.rhs.assign(static_cast<size_t>(lazies), 0.0);
    rowMove.assign(static_cast<size_t>(ordinaryRows), -1);
    rowMark.assign(rows.size(), -1);
    rimMark.assign(rows.size(), 0);
    if (freeRows == 0)
      QVNmsg(env->resultsChannel, "Selected objective  name:  %.255s\n", rowNames.get(objRow));
    else if (freeRows == 1)
      QVNmsg(env->resultsChannel, "Selected objective  name:  %.255s  [1 free row deleted]\n",
             rowNames.get(objRow));
    else
      QVNmsg(env->resultsChannel, "Selected objective  name:  %.255s  [%d free rows deleted]\n",
             rowNames.get(objRow), freeRows);
    if (refRowName.size()) {
      const char *want = refRowName.get(0);
      refRow = rowIndex.find(rowNames, want, std::strlen(want));
    }
    return 0;
  }

  int findRow(int k) {
    return rowIndex.find(rowNames, field[k].text, nameLength(k));
  }

  // ---- COLUMNS ------------------------------------------------------------

  int marker() {
    // "name 'MARKER' word" or "S1 name 'MARKER' word" for a set.
    int wordField = 2;
    char setType[3] = {' ', ' ', 0};
    if (!fieldIs(1, "'MARKER'")) {
      setType[0] = field[0].text[0];
      setType[1] = field[0].text[1];
      wordField = 3;
    }
    if (fieldIs(wordField, "'INTORG'")) {
      if (inIntegers) return error(QVNERR_INTORG_IN_INTEGERS);
      inIntegers = true;
    } else if (fieldIs(wordField, "'INTEND'")) {
      if (!inIntegers) return error(QVNERR_INTEND_OUTSIDE_INTEGERS);
      inIntegers = false;
    } else if (fieldIs(wordField, "'SOSORG'")) {
      if (inSos) return error(QVNERR_SOSORG_IN_SOS);
      char type = '1';
      if (setType[0] != ' ') {
        if ((setType[0] == 'S' || setType[0] == 's') && (setType[1] == '1' || setType[1] == '2'))
          type = setType[1];
        else
          return reportError(env, QVNERR_UNKNOWN_SOS_TYPE, line, setType[0], setType[1]);
      }
      inSos = true;
      openSet(type, wordField == 3 ? 1 : -1);
    } else if (fieldIs(wordField, "'SOSEND'")) {
      if (!inSos) return error(QVNERR_SOSEND_OUTSIDE_SOS);
      inSos = false;
    } else {
      QVNmsg(env->warningChannel, "Line %d:  Unidentified MARKER found. Ignored.\n", line);
    }
    return 0;
  }

  // A set named by field k, or by the placeholder that a generated name replaces.
  void openSet(char type, int k) {
    if (k >= 0) img.sos.open(type, name(k, nameA), nameLength(k));
    else img.sos.open(type, kSetPlaceholder, sizeof kSetPlaceholder - 1);
  }

  int openColumn() {
    if (img.numCols >= kMaxEntries) return reportError(env, QVNERR_TOO_MANY_COLS);
    const int at = img.colNames.size();
    img.colNames.add(name(0, nameA), nameLength(0));
    if (colIndex.insert(img.colNames, at) != at) {
      if (++colRepeats <= kWarnCap) reportErrorAtLine(env, line, QVNERR_COL_REPEATS, nameA);
    }
    ++img.numCols;
    img.obj.push_back(0.0);
    img.lower.push_back(0.0);
    img.upper.push_back(kInf);
    img.colStart.push_back(img.colStart.back());
    if (inIntegers || !img.ctype.empty()) {
      img.ctype.resize(static_cast<size_t>(img.numCols - 1), 'C');
      img.ctype.push_back(inIntegers ? 'B' : 'C');
    }
    if (inSos) {
      img.sos.addMember(img.numCols - 1, 0.0);
      sosRefWeight.push_back(0.0);
    }
    return 0;
  }

  int columnEntry(int nameField, int valueField) {
    const int r = findRow(nameField);
    if (r < 0) return reportError(env, QVNERR_NOT_ROW_NAME, line, name(nameField, nameA));
    double v;
    QVN_TRY(number(valueField, &v));
    const int j = img.numCols - 1;
    if (rowMark[r] == j)
      return reportErrorAtLine(env, line, QVNERR_COL_REPEATED_ROW, img.colNames.get(j), name(nameField, nameB));
    rowMark[r] = j;
    const ReadRow &row = rows[r];
    if (r == refRow && inSos && !sosRefWeight.empty() && img.sos.member.back() == j)
      sosRefWeight.back() = v;
    switch (row.kind) {
    case kRowObjective: img.obj[j] = v; break;
    case kRowFree: break;
    case kRowOrdinary:
      if (img.rowIndex.size() >= static_cast<size_t>(kMaxEntries)) return reportError(env, QVNERR_TOO_MANY_COEFFS);
      img.rowIndex.push_back(row.final);
      img.value.push_back(v);
      ++img.colStart.back();
      break;
    case kRowUserCut: cutEntries.push_back({row.final, j, v}); break;
    case kRowLazy: lazyEntries.push_back({row.final, j, v}); break;
    }
    return 0;
  }

  int columnLine() {
    if (fieldIs(1, "'MARKER'") ||
        (field[0].length == 2 && (field[0].text[0] == 'S' || field[0].text[0] == 's') &&
         fieldIs(2, "'MARKER'")))
      return marker();
    const int j = img.numCols - 1;
    const size_t n = nameLength(0);
    if (j < 0 || std::strncmp(img.colNames.get(j), field[0].text, n) != 0 ||
        img.colNames.get(j)[n] != '\0')
      QVN_TRY(openColumn());
    if (fieldCount < 2) return 0;
    QVN_TRY(columnEntry(1, 2));
    if (fieldCount >= 4) QVN_TRY(columnEntry(3, 4));
    return 0;
  }

  int finishColumns() {
    if (colRepeats > kWarnCap) reportError(env, QVNERR_COL_REPEATS_HIDDEN, colRepeats - kWarnCap);
    if (colRepeats > 0) return -QVNERR_COL_REPEATS;
    if (inSos) inSos = false;
    for (int s = 0; s < img.sos.count; ++s)
      for (int k = img.sos.start[s], w = 1; k < img.sos.start[s + 1]; ++k, ++w)
        img.sos.weight[k] = refRow >= 0 ? sosRefWeight[k] : w;
    if (img.objSense == 1 && !objSenseGiven)
      QVNmsg(env->resultsChannel, "Selected objective sense:  MINIMIZE\n");
    boundMark.assign(static_cast<size_t>(img.numCols), 0);
    return 0;
  }
  bool objSenseGiven = false;

  // ---- RHS and RANGES -------------------------------------------------------

  // Selects the set of a rim line; 1 take the line, 0 skip it, <0 error.
  int rimSet(NameList &seen, const char *label, int setField) {
    const char *set = setField < 0 ? "" : name(setField, nameB);
    if (seen.size() == 0) {
      seen.add(set);
      QVNmsg(env->resultsChannel, "Selected %-10s name:  %.255s\n", label, set);
      return 1;
    }
    if (std::strcmp(seen.get(seen.size() - 1), set) == 0) return seen.size() == 1 ? 1 : 0;
    for (int k = 0; k < seen.size() - 1; ++k)
      if (std::strcmp(seen.get(k), set) == 0) return reportError(env, QVNERR_NAME_REPEATS, line, label, set);
    seen.add(set);
    return 0;
  }

  int rimLine(bool ranges) {
    const bool hasSet = fieldCount % 2 == 1;
    const int first = hasSet ? 1 : 0;
    NameList &seen = ranges ? rangeSets : rhsSets;
    const int take = rimSet(seen, ranges ? "range" : "RHS", hasSet ? 0 : -1);
    if (take <= 0) return take;
    for (int k = first; k < fieldCount && k < first + 4; k += 2) {
      const int r = findRow(k);
      if (r < 0) return reportError(env, QVNERR_NOT_ROW_NAME, line, name(k, nameA));
      double v;
      QVN_TRY(number(k + 1, &v));
      ReadRow &row = rows[r];
      if (row.kind == kRowFree) {
        if (ranges)
          QVNmsg(env->warningChannel, "Warning:  %s '%.255s' value for free row '%.255s' ignored.\n",
                 "RANGES", seen.get(0), rowNames.get(r));
        continue;
      }
      if (row.kind == kRowObjective) {
        if (ranges)
          QVNmsg(env->warningChannel, "Warning:  Objective coefficient in %s section ignored.\n", "RANGES");
        else if (++objWarnings <= kWarnCap)
          QVNmsg(env->warningChannel, "Warning, line %d:  OBJ coefficient in %s section ignored.\n", line,
                 "RHS");
        continue;
      }
      const uint8_t bit = ranges ? 2 : 1;
      if (rimMark[r] & bit)
        return reportErrorAtLine(env, line, QVNERR_ITEM_REPEATED_ROW, ranges ? "RANGES" : "RHS", seen.get(0), rowNames.get(r));
      rimMark[r] |= bit;
      if (!ranges) {
        if (row.kind == kRowOrdinary) img.rhs[row.final] = v;
        else (row.kind == kRowUserCut ? img.userCuts : img.lazyRows).rhs[row.final] = v;
        continue;
      }
      if (row.kind != kRowOrdinary) return error(QVNERR_BAD_LAZY_UCUT);
      if (img.range.empty()) img.range.assign(static_cast<size_t>(ordinaryRows), 0.0);
      double stored = v;
      if (row.sense == 'G') stored = std::fabs(v);
      else if (row.sense == 'L') stored = -std::fabs(v);
      img.range[row.final] = stored;
      img.sense[row.final] = 'R';
    }
    return 0;
  }

  // ---- BOUNDS -------------------------------------------------------------

  int boundLine() {
    if (fieldCount < 2) return error(QVNERR_NO_BOUND_TYPE);
    char type[3] = {0, 0, 0};
    if (field[0].length == 2) {
      type[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(field[0].text[0])));
      type[1] = static_cast<char>(std::toupper(static_cast<unsigned char>(field[0].text[1])));
    }
    static const char *const kValued[] = {"UP", "UI", "LO", "LI", "FX", "SC"};
    static const char *const kBare[] = {"MI", "PL", "FR", "BV"};
    bool valued = false, known = false;
    for (const char *t : kValued) valued |= std::strcmp(type, t) == 0;
    for (const char *t : kBare) known |= std::strcmp(type, t) == 0;
    if (!valued && !known) {
      char word[kNameMax + 1];
      return reportError(env, QVNERR_BAD_BOUND_TYPE, line, name(0, word));
    }
    const bool hasSet = valued ? fieldCount >= 4 : fieldCount >= 3;
    const int colField = hasSet ? 2 : 1;
    if (colField >= fieldCount) return error(QVNERR_NO_BOUND_TYPE);
    const char *set = hasSet ? name(1, nameB) : (boundSet.size() ? boundSet.get(0) : "");
    if (!boundSetChosen) {
      boundSetChosen = true;
      boundSet.add(set);
      QVNmsg(env->resultsChannel, "Selected %-10s name:  %.255s\n", "bound", set);
    } else if (std::strcmp(boundSet.get(0), set) != 0) {
      if (!boundSetWarned)
        QVNmsg(env->warningChannel, "Warning:  More than one bound set specified. "
                                    "Only the first set is used.\n");
      boundSetWarned = true;
      return 0;
    }
    const int j = colIndex.find(img.colNames, field[colField].text, nameLength(colField));
    if (j < 0) return reportError(env, QVNERR_NOT_COL_NAME, line, name(colField, nameA));
    double v = 0.0;
    if (valued) QVN_TRY(number(colField + 1, &v));
    v = clampInfinite(v);
    uint8_t &mark = boundMark[j];
    auto setType = [&](char t) {
      if (img.ctype.empty()) img.ctype.assign(static_cast<size_t>(img.numCols), 'C');
      img.ctype[j] = t;
    };
    const char old = img.ctype.empty() ? 'C' : img.ctype[j];
    if (!std::strcmp(type, "UP") || !std::strcmp(type, "UI") || !std::strcmp(type, "PL") ||
        !std::strcmp(type, "SC")) {
      if (mark & 2) return error(QVNERR_REPEATED_UPPER);
      img.upper[j] = type[0] == 'P' ? kInf : v;
      mark |= 2;
      if (!std::strcmp(type, "UI")) setType('I');
      if (!std::strcmp(type, "SC")) setType(old == 'I' || old == 'B' ? 'N' : 'S');
    } else if (!std::strcmp(type, "LO") || !std::strcmp(type, "LI") || !std::strcmp(type, "MI")) {
      if (mark & 1) return error(QVNERR_REPEATED_LOWER);
      img.lower[j] = type[0] == 'M' ? -kInf : v;
      mark |= 1;
      if (!std::strcmp(type, "LI")) setType(old == 'S' ? 'N' : 'I');
    } else if (!std::strcmp(type, "FR")) {
      if (mark) return error(QVNERR_FR_AFTER_BOUND);
      img.lower[j] = -kInf;
      img.upper[j] = kInf;
      mark = 3;
    } else if (!std::strcmp(type, "FX")) {
      if (mark) return error(QVNERR_FX_AFTER_BOUND);
      img.lower[j] = img.upper[j] = v;
      mark = 3;
    } else {  // BV
      if (mark) return error(QVNERR_BV_AFTER_BOUND);
      img.lower[j] = 0.0;
      img.upper[j] = 1.0;
      mark = 3;
      setType('B');
    }
    return 0;
  }

  void capped(int count, const char *tail) {
    if (count > kWarnCap) QVNmsg(env->warningChannel, tail, count - kWarnCap);
  }

  void finishBounds() {
    if (boundsFinished) return;
    boundsFinished = true;
    const char *set = boundSet.size() ? boundSet.get(0) : "";
    int freeWarn = 0, fixedWarn = 0, minusWarn = 0, scWarn = 0, intWarn = 0;
    for (int j = 0; j < img.numCols; ++j) {
      const uint8_t mark = boundMark[j];
      double &lo = img.lower[j], &up = img.upper[j];
      const char *col = img.colNames.get(j);
      if (lo <= -kInf && !(mark & 2)) {
        if (++freeWarn <= kWarnCap)
          QVNmsg(env->warningChannel, "Warning:  Column '%s' in bound '%s' is Free.\n", col, set);
      } else if (up <= 0.0 && !(mark & 1)) {
        if (up == 0.0) {
          if (++fixedWarn <= kWarnCap)
            QVNmsg(env->warningChannel, "Warning:  Column '%s' in bound '%s' is Fixed.\n", col, set);
        } else {
          lo = -kInf;
          if (++minusWarn <= kWarnCap)
            QVNmsg(env->warningChannel,
                   "Warning:  Lower bound on column '%s' in bound '%s'\n"
                   "          changed to minus infinity.\n", col, set);
        }
      }
    }
    capped(freeWarn, "%d Column-free warnings not printed.\n");
    capped(fixedWarn, "%d Column-fixed warnings not printed.\n");
    capped(minusWarn, "%d Minus-infinity warnings not printed.\n");
    if (img.ctype.empty()) return;
    for (int j = 0; j < img.numCols; ++j) {
      if (img.ctype[j] != 'S' || (boundMark[j] & 1) || !(std::fabs(img.upper[j]) > 1e-10)) continue;
      img.lower[j] = 1.0;
      if (++scWarn <= kWarnCap)
        QVNmsg(env->warningChannel,
               "Warning:  Lower bound of 1.0 assumed for semi-continuous column \n"
               "          '%s' in bound '%s'\n", img.colNames.get(j), set);
    }
    capped(scWarn, "%d semi-continuous bound warnings not printed.\n");
    for (int j = 0; j < img.numCols; ++j) {
      char &t = img.ctype[j];
      if (t == 'C' || t == 'S') continue;
      const uint8_t mark = boundMark[j];
      double &lo = img.lower[j], &up = img.upper[j];
      for (double b : {lo, up}) {
        if (std::fabs(b) >= kInf) continue;
        const double frac = b - std::floor(b + 1e-10);
        if (frac > 1e-10 && frac < 0.9999999999 && ++intWarn <= kWarnCap)
          QVNmsg(env->warningChannel, "Warning:  Non-integral bound value %g for integer column '%.255s'.\n",
                 b, img.colNames.get(j));
      }
      if ((mark & 2) && t != 'N') t = (std::fabs(up - 1.0) <= 1e-10 && lo == 0.0) ? 'B' : 'I';
      if ((mark & 1) && t != 'N') {
        if (lo != 0.0) t = 'I';
        if (!(std::fabs(up - 1.0) <= 1e-10)) t = 'I';
      }
      if (t == 'B') up = 1.0;
    }
    capped(intWarn, "%d Bound-integrality warnings not printed.\n");
  }

  // ---- tail sections ----------------------------------------------------------

  int quadLine() {
    if (fieldCount < 2) return 0;
    const int a = colIndex.find(img.colNames, field[0].text, nameLength(0));
    const int b = colIndex.find(img.colNames, field[1].text, nameLength(1));
    if (a < 0 || b < 0) {
      if (++quadWarnings <= kWarnCap)
        QVNmsg(env->warningChannel, "Warning, line %d:  '%s' is not a variable.\n", line,
               name(a < 0 ? 0 : 1, nameA));
      return 0;
    }
    double v;
    QVN_TRY(number(2, &v));
    if (currentQconstr >= 0) {
      QuadConstraint &q = img.qconstr[currentQconstr];
      q.quadRow.push_back(a);
      q.quadCol.push_back(b);
      q.quadValue.push_back(v);
      return 0;
    }
    img.qRow.push_back(a);
    img.qCol.push_back(b);
    img.qValue.push_back(v);
    if (quadVariant == 1 && a != b) {
      img.qRow.push_back(b);
      img.qCol.push_back(a);
      img.qValue.push_back(v);
    }
    return 0;
  }
  int currentQconstr = -1;

  int qcHead() {
    if (fieldCount < 2) return error(QVNERR_NO_ROW_NAME);
    const int r = findRow(1);
    if (r < 0) return reportError(env, QVNERR_NOT_ROW_NAME, line, name(1, nameA));
    const ReadRow &row = rows[r];
    if (row.kind == kRowUserCut || row.kind == kRowLazy) return error(QVNERR_QUAD_TERM_IN_ROW);
    if (row.kind != kRowOrdinary || (row.sense != 'L' && row.sense != 'G') ||
        img.sense[row.final] == 'R')
      return error(QVNERR_BAD_QCON_SENSE);
    if (rowMove[row.final] >= 0) return reportErrorAtLine(env, line, QVNERR_ROW_REPEATS, rowNames.get(r));
    currentQconstr = static_cast<int>(img.qconstr.size());
    rowMove[row.final] = 2 * currentQconstr;
    img.qconstr.emplace_back();
    img.qconstr.back().sense = row.sense;
    qconstrRow.push_back(row.final);
    return 0;
  }

  int sosLine() {
    if (field[0].length == 2 && (field[0].text[0] == 'S' || field[0].text[0] == 's') && fieldCount <= 2 &&
        !(fieldCount == 2 && colIndex.find(img.colNames, field[0].text, 2) >= 0 &&
          (mpsClass(field[1].text[0]) & MC_Digit))) {
      const char t = field[0].text[1];
      if (t != '1' && t != '2') return reportError(env, QVNERR_UNKNOWN_SOS_TYPE, line, field[0].text[0], t);
      openSet(t, fieldCount == 2 ? 1 : -1);
      setOpen = true;
      return 0;
    }
    if (!setOpen) return error(QVNERR_NO_SOS_TYPE);
    const int j = colIndex.find(img.colNames, field[0].text, nameLength(0));
    double w = 0.0;
    QVN_TRY(number(1, &w));
    if (j < 0) {
      if (++sosWarnings <= kWarnCap)
        QVNmsg(env->warningChannel, "Warning, line %d: '%.255s' is not a variable.\n", line, name(0, nameA));
      return 0;
    }
    img.sos.addMember(j, w);
    return 0;
  }

  int indicatorLine() {
    if (fieldCount < 3) return error(QVNERR_BAD_INDICATOR);
    int kind;
    if (fieldIs(0, "IF")) kind = 1;
    else if (fieldIs(0, "0I")) kind = 2;
    else if (fieldIs(0, "FF")) kind = 3;
    else return error(QVNERR_BAD_INDICATOR);
    const int r = findRow(1);
    if (r < 0) return reportError(env, QVNERR_NOT_ROW_NAME, line, name(1, nameA));
    const ReadRow &row = rows[r];
    if (row.kind == kRowLazy) return error(QVNERR_QUAD_TERM_IN_ROW);
    if (row.kind != kRowOrdinary || img.sense[row.final] == 'R') return error(QVNERR_BAD_INDICATOR);
    double v;
    int j = -1;
    if (fieldCount >= 4) {
      QVN_TRY(number(3, &v));
      j = colIndex.find(img.colNames, field[2].text, nameLength(2));
    } else {
      QVN_TRY(number(2, &v));
    }
    if (std::fabs(v) < 1e-10) kind = -kind;
    else if (std::fabs(v - 1.0) > 1e-10) return error(QVNERR_BAD_INDICATOR);
    if (rowMove[row.final] >= 0) return reportErrorAtLine(env, line, QVNERR_ROW_REPEATS, rowNames.get(r));
    if (j < 0) return reportError(env, 1449, line, fieldCount >= 4 ? name(2, nameA) : "");
    Indicator ind;
    ind.column = j;
    ind.kind = kind;
    ind.sense = row.sense;
    rowMove[row.final] = 2 * static_cast<int>(img.indicators.size()) + 1;
    img.indicators.push_back(std::move(ind));
    indicatorRow.push_back(row.final);
    return 0;
  }

  // ---- assembly -----------------------------------------------------------

  void buildBlock(RowBlock &block, EnvVector<Triplet> &entries) {
    block.start.assign(static_cast<size_t>(block.count) + 1, 0);
    for (const Triplet &t : entries) ++block.start[t.row + 1];
    for (int i = 0; i < block.count; ++i) block.start[i + 1] += block.start[i];
    block.index.resize(entries.size());
    block.value.resize(entries.size());
    EnvVector<int> fill(block.start.begin(), block.start.end() - 1);
    for (const Triplet &t : entries) {
      const int at = fill[t.row]++;
      block.index[at] = t.col;
      block.value[at] = t.value;
    }
  }

  // Moves quadratic-constraint and indicator rows out of the matrix.
  void separateRows() {
    if (img.qconstr.empty() && img.indicators.empty()) return;
    EnvVector<int> newIndex(static_cast<size_t>(img.numRows), -1);
    int kept = 0;
    for (int i = 0; i < img.numRows; ++i)
      if (rowMove[i] < 0) newIndex[i] = kept++;
    int out = 0, begin = 0;
    for (int j = 0; j < img.numCols; ++j) {
      const int end = img.colStart[j + 1];
      for (int k = begin; k < end; ++k) {
        const int i = img.rowIndex[k];
        const int move = rowMove[i];
        if (move < 0) {
          img.rowIndex[out] = newIndex[i];
          img.value[out++] = img.value[k];
        } else if (move % 2 == 0) {
          img.qconstr[move / 2].linIndex.push_back(j);
          img.qconstr[move / 2].linValue.push_back(img.value[k]);
        } else {
          img.indicators[move / 2].index.push_back(j);
          img.indicators[move / 2].value.push_back(img.value[k]);
        }
      }
      begin = end;
      img.colStart[j + 1] = out;
    }
    img.rowIndex.resize(static_cast<size_t>(out));
    img.value.resize(static_cast<size_t>(out));
    for (size_t k = 0; k < img.qconstr.size(); ++k) {
      img.qconstr[k].rhs = img.rhs[qconstrRow[k]];
      img.qconstrNames.add(img.rowNames.get(qconstrRow[k]));
    }
    for (size_t k = 0; k < img.indicators.size(); ++k) {
      img.indicators[k].rhs = img.rhs[indicatorRow[k]];
      img.indicatorNames.add(img.rowNames.get(indicatorRow[k]));
    }
    NameList names;
    EnvVector<char> sense;
    EnvVector<double> rhs, range;
    for (int i = 0; i < img.numRows; ++i) {
      if (newIndex[i] < 0) continue;
      names.add(img.rowNames.get(i));
      sense.push_back(img.sense[i]);
      rhs.push_back(img.rhs[i]);
      if (!img.range.empty()) range.push_back(img.range[i]);
    }
    img.rowNames = std::move(names);
    img.sense.swap(sense);
    img.rhs.swap(rhs);
    img.range.swap(range);
    img.numRows = kept;
  }

  int finish() {
    finishBounds();
    if (emptyNumbers) QVNmsg(env->warningChannel, "Warning:  Empty numeric fields read as zeros.\n");
    capped(objWarnings, "%d OBJ warnings not printed.\n");
    capped(quadWarnings, "%d quadratic matrix warnings not printed.\n");
    capped(sosWarnings, "%d warnings not printed.\n");
    capped(truncations, "%d truncation warning messages not printed.\n");
    if (rhsSets.size() && rhsSets.get(0)[0] == '\0') {
      if (colIndex.find(img.colNames, "rhs", 3) < 0)
        QVNmsg(env->warningChannel, "Warning:  Blank RHS name changed to 'rhs'.\n");
      else
        QVNmsg(env->warningChannel, "Warning:  Blank RHS name unchanged.  Column with "
                                    "name 'rhs' already exists.\n");
    }
    buildBlock(img.userCuts, cutEntries);
    buildBlock(img.lazyRows, lazyEntries);
    separateRows();
    for (int s = 0; s < img.sos.count; ++s)
      if (img.sos.names.get(s)[0] == '$') {
        // Placeholders take generated names once all sets are known.
        NameList names;
        char text[32];
        for (int t = 0; t < img.sos.count; ++t) {
          if (img.sos.names.get(t)[0] == '$') {
            std::snprintf(text, sizeof text, "s%d", t + 1);
            names.add(text);
          } else {
            names.add(img.sos.names.get(t));
          }
        }
        img.sos.names = std::move(names);
        break;
      }
    defaultSosWeights(env, img);
    checkIndicatorColumns(env, img);
    return 0;
  }

  // ---- driver -------------------------------------------------------------

  int objSenseLine() {
    if (field[0].length >= 3 && strncasecmp(field[0].text, "MAX", 3) == 0) {
      img.objSense = -1;
      QVNmsg(env->resultsChannel, "Specified objective sense: MAXIMIZE\n");
    } else if (field[0].length >= 3 && strncasecmp(field[0].text, "MIN", 3) == 0) {
      img.objSense = 1;
      QVNmsg(env->resultsChannel, "Specified objective sense: MINIMIZE\n");
    } else {
      return reportError(env, QVNERR_BAD_OBJ_SENSE_WORD, line, name(0, nameA));
    }
    objSenseGiven = true;
    return 0;
  }

  int run() {
    int kind = nextLine();
    if (kind < 0) return kind;
    int variant = 0;
    if (kind != 2 || headOf(&variant) != kSecName) return error(QVNERR_NO_NAME_SECTION);
    if (fieldCount >= 2) img.probName.add(name(1, nameA), nameLength(1));
    Section section = kSecName;
    int lastHead = kSecName;  // before ROWS: the last head taken
    bool columnsDone = false, rowsSeen = false, ended = false;
    while (!ended) {
      kind = nextLine();
      if (kind < 0) return kind;
      if (kind == 0) break;
      if (kind == 1) {
        int status = 0;
        switch (section) {
        case kSecObjSense: status = objSenseLine(); break;
        case kSecObjName: objNameWanted.clear(); objNameWanted.add(name(0, nameA)); break;
        case kSecRefRow: refRowName.clear(); refRowName.add(name(0, nameA)); break;
        case kSecRows:
        case kSecUserCuts:
        case kSecLazyCons: status = rowLine(section); break;
        case kSecColumns: status = columnLine(); break;
        case kSecRhs: status = rimLine(false); break;
        case kSecRanges: status = rimLine(true); break;
        case kSecBounds: status = boundLine(); break;
        case kSecQuadObj:
        case kSecQcMatrix: status = quadLine(); break;
        case kSecSos: status = sosLine(); break;
        case kSecIndicators: status = indicatorLine(); break;
        default: break;  // data of a skipped section
        }
        if (status != 0) return status;
        continue;
      }
      Section next = headOf(&variant);
      // Heads before COLUMNS: out-of-order ones are skipped with their data.
      if (!rowsSeen) {
        if (next == kSecUnknown || next == kSecName || (next > kSecRows && next != kSecColumns) ||
            (next <= lastHead && next != kSecRows)) {
          if (next >= kSecColumns && next != kSecUnknown) return error(QVNERR_NO_ROWS_SECTION);
          char word[kNameMax + 1];
          QVNmsg(env->warningChannel, "Warning, line %d:  %s section illegal or out of order.\n", line,
                 name(0, word));
          section = kSecUnknown;
          continue;
        }
        if (next == kSecColumns) return error(QVNERR_NO_ROWS_SECTION);
        section = next;
        lastHead = next;
        if (next == kSecObjSense && fieldCount >= 2) {
          // "OBJSENSE MAX" on the head line itself.
          field[0] = field[1];
          fieldCount = 1;
          QVN_TRY(objSenseLine());
        }
        rowsSeen = next == kSecRows;
        continue;
      }
      if (!columnsDone && section != kSecColumns) {
        if (next == kSecUserCuts || next == kSecLazyCons) {
          section = next;
          continue;
        }
        if (next != kSecColumns) return error(QVNERR_NO_COLUMNS_SECTION);
        QVN_TRY(finishRows());
        section = kSecColumns;
        continue;
      }
      if (section == kSecColumns) {
        QVN_TRY(finishColumns());
        columnsDone = true;
        if (next != kSecRhs) {
          QVNmsg(env->warningChannel, "Warning, line %d:  %s section missing or ", line, "RHS");
          QVNmsg(env->warningChannel, "out of order.\n");
          section = kSecRhs;
        }
      }
      currentQconstr = -1;
      setOpen = false;
      if (section == kSecRhs) {
        if (next == kSecRhs && !rhsSets.size()) { section = next; continue; }
        if (next < kSecRanges || next > kSecEndata) return error(QVNERR_EXPECT_RANGES_TO_ENDATA);
      } else if (section == kSecRanges || section == kSecBounds) {
        if (next == kSecRanges) return error(QVNERR_RANGES_OUT_OF_ORDER);
        if (next == kSecBounds && section == kSecRanges) { section = next; continue; }
        if (next < kSecQuadObj || next > kSecEndata) return error(QVNERR_EXPECT_QMATRIX_OR_ENDATA);
      } else if (section >= kSecQuadObj) {
        // The tail sections come in any order: the writer puts SOS before QMATRIX.
        const bool ok = next >= kSecQuadObj && next <= kSecEndata;
        if (!ok) return error(section == kSecIndicators ? QVNERR_EXPECT_ENDATA : QVNERR_EXPECT_QMATRIX_OR_ENDATA);
      }
      if (next >= kSecQuadObj) finishBounds();
      section = next;
      if (next == kSecEndata) ended = true;
      else if (next == kSecQuadObj) {
        quadVariant = variant;
        if (fieldCount >= 2) QVNmsg(env->warningChannel, "Warning:  Line %d row name ignored\n", line);
      } else if (next == kSecQcMatrix) {
        QVN_TRY(qcHead());
      }
    }
    if (!columnsDone) {
      if (!rowsSeen) return error(QVNERR_NO_ROWS_SECTION);
      if (section != kSecColumns) return error(QVNERR_NO_COLUMNS_SECTION);
      QVN_TRY(finishColumns());
    }
    if (!ended) QVNmsg(env->warningChannel, "Warning, line %d:  'ENDATA' missing.\n", line);
    return finish();
  }
};

} // namespace

void defaultSosWeights(Environment *env, SosSets &sos) {
  int told = 0;
  for (int s = 0; s < sos.count; ++s) {
    bool allZero = true;
    for (int k = sos.start[s]; k < sos.start[s + 1]; ++k) allZero &= std::fabs(sos.weight[k]) < 1e-13;
    if (!allZero || sos.start[s] == sos.start[s + 1]) continue;
    for (int k = sos.start[s], w = 1; k < sos.start[s + 1]; ++k, ++w) sos.weight[k] = w;
    if (++told <= 5) QVNmsg(env->warningChannel, "Default weights 1, 2,... generated for set number %d.\n", s + 1);
    else if (told == 6) QVNmsg(env->warningChannel, "Default weight warnings in excess of 5 not printed.\n");
  }
}

void defaultSosWeights(Environment *env, ModelImage &image) { defaultSosWeights(env, image.sos); }

void checkIndicatorColumns(Environment *env, ModelImage &image) {
  if (image.indicators.empty()) return;
  EnvVector<int> cols;
  for (const Indicator &ind : image.indicators) cols.push_back(ind.column);
  std::sort(cols.begin(), cols.end());
  cols.erase(std::unique(cols.begin(), cols.end()), cols.end());
  if (image.ctype.empty()) image.ctype.assign(static_cast<size_t>(image.numCols), 'C');
  int warnings = 0;
  auto warn = [&](const char *text, int j) {
    if (++warnings <= kWarnCap) QVNmsg(env->warningChannel, text, image.colNames.get(j));
  };
  for (int j : cols) {
    char &t = image.ctype[j];
    if (t == 'B') continue;
    double &lo = image.lower[j], &up = image.upper[j];
    if (std::fabs(up - lo) < 1e-10) {
      if (!(std::fabs(up) <= 1e-10 || std::fabs(up - 1.0) <= 1e-10))
        warn("Warning: indicator variable '%.255s' is fixed to other than 0.0 or 1.0.\n", j);
    } else {
      if (up < kInf && std::fabs(up - 1.0) > 1e-10)
        warn("Warning: indicator variable '%.255s' has upper bound other than 1.0.\n", j);
      if (up >= kInf) up = 1.0;
      if ((t == 'N' || t == 'S') && lo <= 1.0000000001) {
        lo = 0.0;
        t = 'B';
        continue;
      }
      if (std::fabs(lo) > 1e-10) warn("Warning: indicator variable '%.255s' has lower bound other than 0.0.\n", j);
    }
    t = 'B';
  }
  if (warnings > kWarnCap)
    QVNmsg(env->warningChannel, "%d indicator variable warnings not printed.\n", warnings - kWarnCap);
}

int readMpsFile(Environment *env, const char *path, ModelImage &image) {
  image = ModelImage();
  reserveReadHints(env, image);
  MpsReader reader(env, image);
  return readFrame(env, path, ".mps", image, reader.in, [&] { return reader.run(); });
}

} // namespace qvn
