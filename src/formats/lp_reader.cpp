// LP format reader.
//
// Physical lines are read in chunks of at most 560 characters; an overlong
// line is cut at its last sign, the tail carried to the next chunk, which is
// why expressions may span lines and why the term machine keeps its state
// between logical lines. A logical line is cleaned (invalid characters
// dropped with a warning, cut at the first comment or line end), tested for a
// section keyword, and, outside the type and SOS sections, compacted without
// blanks: `2 x1 + 3 x2` reaches the parser as `2x1+3x2`.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "formats/char_classes.h"
#include "formats/formats.h"
#include "formats/number_format.h"
#include "runtime/channels.h"
#include "runtime/environment.h"
#include "runtime/errors.h"

namespace qvn {

namespace {

constexpr int kChunk = 560;
constexpr size_t kNameMax = kFileNameMax;
constexpr int kWarnCap = kWarningCap;
constexpr double kInf = kFileInfinity;
const char kPlaceholder[] = "***********";

enum Token {
  kTokMin = 1, kTokMax = 2, kTokBounds = 4, kTokSos = 5, kTokEnd = 16, kTokLine = 17, kTokEof = 18,
  kTokSubject = 32, kTokUserCuts = 33, kTokLazy = 34, kTokInteger = 65, kTokBinary = 66,
  kTokGeneral = 67, kTokSemi = 68
};

// Term machine states.
enum State {
  kStart, kInTerms, kAfterSign, kAfterCoef, kAfterTerm, kAfterSense, kRowDone, kError,
  kSenseSign = 9, kAfterName = 10,
  // inside brackets
  kQStart = 20, kQAfterSign, kQAfterCoef, kQAfterName, kQAfterStar, kQAfterTerm, kQClosed, kQAfterSlash
};

enum Target { kObjective, kRows, kCuts, kLazy, kIndicatorBody };

bool prefixOf(const char *word, size_t length, const char *full, size_t minimum) {
  return length >= minimum && length <= std::strlen(full) && strncasecmp(word, full, length) == 0;
}

bool wordIs(const char *word, size_t length, const char *const *list) {
  for (; *list; ++list)
    if (std::strlen(*list) == length && strncasecmp(word, *list, length) == 0) return true;
  return false;
}

struct BoundRecord {
  int col;
  char kind;
  double value;
};

struct TypeRecord {
  int col;
  char kind;
};

struct LpReader {
  Environment *env;
  ModelImage &img;
  const char *fileName;
  LineSource in;
  int line = 0;
  char chunk[kChunk + 8];
  char carry[kChunk + 8];
  int carryLength = 0;
  char clean[kChunk + 8];
  char text[kChunk + 8];  // the logical line as the parsers see it

  NameIndex colIndex;
  int nameWarnings = 0;

  // the expression being read
  Target target = kObjective;
  State st = kStart;
  int quadReturn = kAfterTerm;
  bool rowNamed = false;
  char rowName[kNameMax + 1];
  EnvVector<int> termCol;
  EnvVector<double> termValue;
  EnvVector<int> quadA, quadB;
  EnvVector<double> quadValue;
  bool quadOpen = false, quadUsed = false;
  double sign = 1.0, coef = 1.0;
  char sense = 'E';
  bool anyColumn = false;
  EnvVector<int> colMark, colPos;
  int serial = 0;

  RowBlock rows;
  int indicatorPending = -1;  // indicator whose body is being read
  EnvVector<int> objQA, objQB;
  EnvVector<double> objQV;
  EnvVector<BoundRecord> boundRecords;
  EnvVector<TypeRecord> typeRecords;

  LpReader(Environment *e, ModelImage &image, const char *name) : env(e), img(image), fileName(name) {}

  int error(int number) { return reportError(env, number, line); }

  // ---- logical lines ------------------------------------------------------

  // Reads one chunk into `chunk`: 1 complete, 0 end of file, <0 error.
  int readChunk() {
    std::memcpy(chunk, carry, static_cast<size_t>(carryLength));
    const int had = carryLength;
    carryLength = 0;
    const size_t got = in.next(chunk + had, static_cast<size_t>(kChunk - had) + 1);
    int n = had + static_cast<int>(got);
    chunk[n] = '\0';
    if (got == 0) {
      if (had == 0) {
        ++line;
        return 0;
      }
      ++line;
      return 1;  // the tail of a cut line at the end of the file
    }
    if (chunk[n - 1] == '\n' || (n >= 3 && strncasecmp(chunk, "END", 3) == 0)) {
      ++line;
      return 1;
    }
    // An unterminated piece (an overlong line, or a last line without line
    // feed) is cut at its last sign; the tail waits for the next chunk.
    for (int k = n - 1; k >= 1; --k) {
      if (lpIs(chunk[k], CC_Sign)) {
        carryLength = n - k;
        std::memcpy(carry, chunk + k, static_cast<size_t>(carryLength));
        chunk[k] = '\0';
        return 1;
      }
    }
    return reportError(env, QVNERR_NAME_TOO_LONG, line + 1);
  }

  // Drops invalid characters (with a warning) and cuts at the first line end.
  void cleanChunk() {
    int n = 0;
    for (const char *p = chunk; *p; ++p) {
      const uint32_t c = lpClass(*p);
      if (c & CC_LineEnd) break;
      if (!(c & CC_Valid)) {
        QVNmsg(env->warningChannel, "Warning, line %d: Unexpected character code %d skipped.\n", line,
               static_cast<int>(static_cast<signed char>(*p)));
        continue;
      }
      clean[n++] = *p;
    }
    clean[n] = '\0';
  }

  static void compact(const char *from, char *to, bool keepBlanks) {
    for (; *from; ++from) {
      if (lpIs(*from, CC_Blank)) {
        if (keepBlanks) *to++ = ' ';
      } else {
        *to++ = *from;
      }
    }
    *to = '\0';
  }

  // The next logical line: a keyword token (with the text behind it in `text`
  // for the section openers), kTokLine with the line in `text`, or kTokEof.
  int nextLine(int state, bool keepBlanks) {
    for (;;) {
      const int got = readChunk();
      if (got < 0) return got;
      if (got == 0) {
        text[0] = '\0';
        return kTokEof;
      }
      cleanChunk();
      const char *p = clean;
      while (lpIs(*p, CC_Blank)) ++p;
      if (!*p) continue;
      const char *w1 = p;
      while (*p && !lpIs(*p, CC_Blank)) ++p;
      const size_t n1 = static_cast<size_t>(p - w1);
      const char *afterWord = p;
      // a possible second word
      const char *q = p;
      while (lpIs(*q, CC_Blank)) ++q;
      const char *w2 = q;
      while (*q && !lpIs(*q, CC_Blank) && *q != ':') ++q;
      const size_t n2 = static_cast<size_t>(q - w2);
      int tok = 0;
      const char *rest = afterWord;
      static const char *const kSt[] = {"ST", "ST.", "S.T", "S.T.", nullptr};
      static const char *const kInt[] = {"INTEGER", "INTEGERS", "INTS", "INT", nullptr};
      static const char *const kBin[] = {"BINARY", "BINARIES", "BINS", "BIN", nullptr};
      static const char *const kGen[] = {"GENERAL", "GENERALS", "GENS", "GEN", nullptr};
      static const char *const kSemi[] = {"SEMI-CONTINUOUS", "SEMIS", "SEMI", nullptr};
      static const char *const kSosWord[] = {"SOS", nullptr};
      static const char *const kEndWord[] = {"END", nullptr};
      auto pair = [&](const char *a, const char *b) {
        return n1 == std::strlen(a) && strncasecmp(w1, a, n1) == 0 && n2 == std::strlen(b) &&
               strncasecmp(w2, b, n2) == 0;
      };
      if (state == 0 && prefixOf(w1, n1, "minimize", 3)) tok = kTokMin;
      else if (state == 0 && prefixOf(w1, n1, "maximize", 3)) tok = kTokMax;
      else if (state <= 32 && wordIs(w1, n1, kSt)) tok = kTokSubject;
      else if (state <= 32 && (pair("SUBJECT", "TO") || pair("SUCH", "THAT"))) tok = kTokSubject, rest = q;
      else if (state <= 32 && pair("USER", "CUTS")) tok = kTokUserCuts, rest = q;
      else if (state <= 32 && pair("LAZY", "CONSTRAINTS")) tok = kTokLazy, rest = q;
      else if (state <= 32 && prefixOf(w1, n1, "bounds", 4)) tok = kTokBounds;
      else if (state != 16 && wordIs(w1, n1, kInt)) tok = kTokInteger;
      else if (state != 16 && wordIs(w1, n1, kBin)) tok = kTokBinary;
      else if (state != 16 && wordIs(w1, n1, kGen)) tok = kTokGeneral;
      else if (state != 16 && wordIs(w1, n1, kSemi)) tok = kTokSemi;
      else if (state != 16 && wordIs(w1, n1, kSosWord)) tok = kTokSos;
      else if (wordIs(w1, n1, kEndWord)) tok = kTokEnd;
      if (tok == kTokMin || tok == kTokMax || tok == kTokSubject || tok == kTokUserCuts || tok == kTokLazy) {
        compact(rest, text, false);
        return tok;
      }
      if (tok != 0) {
        const char *r = rest;
        while (lpIs(*r, CC_Blank)) ++r;
        if (!*r) {
          text[0] = '\0';
          return tok;
        }
      }
      compact(w1, text, keepBlanks);
      return kTokLine;
    }
  }

  // ---- columns and numbers ------------------------------------------------

  int column(const char *name, size_t length) {
    int j = colIndex.find(img.colNames, name, length);
    if (j >= 0) return j;
    if (img.numCols >= kMaxEntries) return reportError(env, QVNERR_TOO_MANY_COLS);
    j = img.numCols++;
    img.colNames.add(name, length);
    colIndex.insert(img.colNames, j);
    img.obj.push_back(0.0);
    colMark.push_back(-1);
    colPos.push_back(0);
    anyColumn = true;
    return j;
  }

  int convert(const char *from, size_t length, double *value) {
    char t[kChunk + 8];
    std::memcpy(t, from, length);
    t[length] = '\0';
    switch (parseNumber(t, length, false, value)) {
    case kNumberOk: return 0;
    case kNumberExpRange: return reportError(env, QVNERR_BAD_EXPONENT, line, t);
    case kNumberExpNotStarted: return reportError(env, QVNERR_LOOSE_EXPONENT, line, t, "started");
    case kNumberExpNotEnded: return reportError(env, QVNERR_LOOSE_EXPONENT, line, t, "ended");
    default: return reportError(env, QVNERR_BAD_NUMBER, line, t);
    }
  }

  // Reads a name at p; returns the column (or <0 error) and advances p.
  int name(const char *&p) {
    if (lpIs(*p, CC_Delimiter)) return reportError(env, QVNERR_EXPECT_IDENT, line, *p);
    const char *start = p;
    while (!lpIs(*p, CC_Delimiter)) ++p;
    size_t length = static_cast<size_t>(p - start);
    bool moreLetters = false;
    for (size_t k = 1; k < length && !moreLetters; ++k) moreLetters = std::isalpha(static_cast<unsigned char>(start[k])) != 0;
    if ((start[0] == 'e' || start[0] == 'E') &&
        (!moreLetters || std::isdigit(static_cast<unsigned char>(start[1])))) {
      char shown[kNameMax + 1];
      const size_t n = std::min(length, kNameMax);
      std::memcpy(shown, start, n);
      shown[n] = '\0';
      return reportError(env, QVNERR_BAD_IDENT, line, shown);
    }
    if (length > kNameMax) {
      char shown[kNameMax + 1];
      std::memcpy(shown, start, kNameMax);
      shown[kNameMax] = '\0';
      QVNmsg(env->warningChannel, "Warning, line %d: '%s' truncated.\n", line, shown);
      length = kNameMax;
    }
    return column(start, length);
  }

  // ---- the term machine ---------------------------------------------------

  void beginRow() {
    termCol.clear();
    termValue.clear();
    quadA.clear();
    quadB.clear();
    quadValue.clear();
    quadOpen = quadUsed = false;
    rowNamed = false;
    ++serial;
  }

  void addTerm(int j, double value) {
    if (value == 0.0) return;
    if (target == kObjective) {
      img.obj[j] += value;
      return;
    }
    // A column twice in one row: the coefficients are summed into the first.
    if (colMark[j] == serial) {
      termValue[colPos[j]] += value;
      return;
    }
    colMark[j] = serial;
    colPos[j] = static_cast<int>(termCol.size());
    termCol.push_back(j);
    termValue.push_back(value);
  }

  void addQuad(int a, int b, double value) {
    if (value == 0.0) return;
    if (target == kObjective) {
      if (a == b) {
        objQA.push_back(a), objQB.push_back(a), objQV.push_back(value);
      } else {
        objQA.push_back(a), objQB.push_back(b), objQV.push_back(0.5 * value);
        objQA.push_back(b), objQB.push_back(a), objQV.push_back(0.5 * value);
      }
      return;
    }
    quadA.push_back(a);
    quadB.push_back(b);
    quadValue.push_back(value);
  }

  bool quadAllowed() const { return target == kObjective || target == kRows; }

  // Number scan of a coefficient: number characters, giving back a last e/E
  // that has something behind it, so that `3ex` is 3 times `ex`.
  const char *scanCoefficient(const char *p) {
    // A leading e or E starts a name (to be judged by the name rules), never a number.
    if (*p == 'e' || *p == 'E') return p;
    const char *q = p;
    while (lpIs(*q, CC_NumberChar)) ++q;
    if (q > p && lpIs(q[-1], CC_Exponent) && *q) --q;
    return q;
  }

  // After a possible sign: coefficient and name. Sets the state.
  int termBody(const char *&p) {
    if (!*p) {
      st = kAfterSign;
      return 0;
    }
    const char *q = scanCoefficient(p);
    const bool hadNumber = q > p;
    double value = 1.0;
    if (hadNumber) {
      QVN_TRY(convert(p, static_cast<size_t>(q - p), &value));
      p = q;
    }
    coef = sign * value;
    if (!*p) {
      st = hadNumber ? kAfterCoef : kAfterSign;
      return 0;
    }
    if (*p == '[' && !hadNumber) return openQuad(p);
    if (!lpIs(*p, CC_NameStart)) return reportError(env, QVNERR_EXPECT_IDENT, line, *p);
    const int j = name(p);
    if (j < 0) return j;
    addTerm(j, coef);
    st = kAfterTerm;
    return 0;
  }

  int openQuad(const char *&p) {
    if (!quadAllowed()) return error(QVNERR_QUAD_TERM_IN_ROW);
    ++p;
    quadOpen = quadUsed = true;
    st = kQStart;
    return 0;
  }

  int senseAt(const char *&p) {
    if (target == kObjective) return error(QVNERR_RHS_SENSE_IN_OBJ);
    const char a = p[0], b = p[1];
    if ((a == '<' && b == '=') || (a == '=' && b == '<')) sense = 'L', p += 2;
    else if ((a == '>' && b == '=') || (a == '=' && b == '>')) sense = 'G', p += 2;
    else if (a == '<') sense = 'L', ++p;
    else if (a == '>') sense = 'G', ++p;
    else sense = 'E', ++p;
    return rhsAt(p, 1.0);
  }

  // The right-hand side: one number; then an arrow or ignored characters.
  int rhsAt(const char *&p, double rhsSign) {
    if (!*p) {
      st = kAfterSense;
      return 0;
    }
    if (lpIs(*p, CC_Sign)) {
      if (!p[1]) {
        sign = *p == '-' ? -1.0 : 1.0;
        st = kSenseSign;
        return 0;
      }
    }
    const char *start = p, *q = p;
    if (lpIs(*q, CC_Sign)) ++q;
    while (lpIs(*q, CC_NumberChar) && !(lpIs(*q, CC_Sign) && !(q - start >= 1 && lpIs(q[-1], CC_Exponent))))
      ++q;
    const size_t length = static_cast<size_t>(q - start);
    if (length == 0) return error(QVNERR_EXPECT_RHS);
    if (length == 1 && lpIs(*start, CC_Sign)) return reportError(env, QVNERR_EXPECT_NUMBER, line, *q ? *q : ' ');
    double value;
    QVN_TRY(convert(start, length, &value));
    p = q;
    return finishRow(rhsSign * value, p);
  }

  int finishRow(double rhs, const char *&p) {
    // An arrow behind the rhs turns the row into an indicator's condition.
    if (target == kRows && !quadUsed && indicatorPending < 0) {
      int kind = 0;
      if (!std::strncmp(p, "<->", 3)) kind = 3, p += 3;
      else if (!std::strncmp(p, "->", 2)) kind = 1, p += 2;
      else if (!std::strncmp(p, "<-", 2)) kind = 2, p += 2;
      if (kind) return startIndicator(kind, rhs, p);
    }
    if (*p) QVNmsg(env->warningChannel, "Warning, line %d: Characters after RHS value are ignored.\n", line);
    QVN_TRY(storeRow(rhs));
    st = kRowDone;
    return 0;
  }

  int startIndicator(int kind, double rhs, const char *&p) {
    if (termCol.size() >= 2 || sense != 'E' || quadUsed) return error(QVNERR_BAD_INDICATOR);
    const bool one = std::fabs(rhs - 1.0) <= 1e-10, zero = std::fabs(rhs) <= 1e-10;
    if (!one && !zero) return error(QVNERR_BAD_INDICATOR);
    if (termCol.size() == 1 && std::fabs(termValue[0] - 1.0) > 1e-10) return error(QVNERR_BAD_INDICATOR);
    if (termCol.empty()) return error(QVNERR_BAD_INDICATOR);
    Indicator ind;
    ind.column = termCol[0];
    ind.kind = zero ? -kind : kind;
    img.indicators.push_back(std::move(ind));
    img.indicatorNames.add(rowNamed ? rowName : kPlaceholder);
    indicatorPending = static_cast<int>(img.indicators.size()) - 1;
    const bool named = rowNamed;
    beginRow();
    rowNamed = named;
    target = kIndicatorBody;
    st = kInTerms;
    return step(p);
  }

  int storeRow(double rhs) {
    if (target == kIndicatorBody) {
      Indicator &ind = img.indicators[indicatorPending];
      ind.sense = sense;
      ind.rhs = rhs;
      ind.index.assign(termCol.begin(), termCol.end());
      ind.value.assign(termValue.begin(), termValue.end());
      indicatorPending = -1;
      target = kRows;
      return 0;
    }
    if (quadUsed) {
      if (sense == 'E') return error(QVNERR_BAD_QCON_SENSE);
      QuadConstraint q;
      q.sense = sense;
      q.rhs = rhs;
      q.linIndex.assign(termCol.begin(), termCol.end());
      q.linValue.assign(termValue.begin(), termValue.end());
      q.quadRow.assign(quadA.begin(), quadA.end());
      q.quadCol.assign(quadB.begin(), quadB.end());
      q.quadValue.assign(quadValue.begin(), quadValue.end());
      img.qconstr.push_back(std::move(q));
      img.qconstrNames.add(rowNamed ? rowName : kPlaceholder);
      return 0;
    }
    RowBlock &b = target == kCuts ? img.userCuts : target == kLazy ? img.lazyRows : rows;
    if (b.count >= kMaxEntries) return reportError(env, QVNERR_TOO_MANY_ROWS);
    if (b.index.size() + termCol.size() > static_cast<size_t>(kMaxEntries)) return reportError(env, QVNERR_TOO_MANY_COEFFS);
    b.index.insert(b.index.end(), termCol.begin(), termCol.end());
    b.value.insert(b.value.end(), termValue.begin(), termValue.end());
    b.start.push_back(static_cast<int>(b.index.size()));
    b.sense.push_back(sense);
    b.rhs.push_back(rhs);
    b.names.add(rowNamed ? rowName : kPlaceholder);
    b.hasNames = true;
    ++b.count;
    return 0;
  }

  // Quadratic terms: [sign][coef] name ^ 2 | name * name.
  int quadStep(const char *&p) {
    for (;;) {
      const char c = *p;
      switch (st) {
      case kQStart:
        if (!c) return 0;
        if (c == ']') return closeQuad(p);
        if (lpIs(c, CC_Sign)) {
          if (quadSign(p)) return 0;
        } else {
          sign = 1.0;
        }
        QVN_TRY(quadCoefficient(p));
        break;
      case kQAfterSign:
        // a sign ended the previous line
        if (!c) return 0;
        if (lpIs(c, CC_Sign)) return reportError(env, QVNERR_ADJACENT_SIGNS, line - 1, line);
        QVN_TRY(quadCoefficient(p));
        break;
      case kQAfterCoef: {
        if (!c) return 0;
        if (!lpIs(c, CC_NameStart)) return reportError(env, QVNERR_EXPECT_IDENT, line, c);
        const int j = name(p);
        if (j < 0) return j;
        quadFirst = j;
        st = kQAfterName;
        break;
      }
      case kQAfterName:
        if (!c) return 0;
        if (c == '^') {
          ++p;
          if (*p == '+') ++p;
          const char *q = p;
          while (lpIs(*q, CC_Digit)) ++q;
          if (q == p) return error(QVNERR_EXPECT_QUAD_EXPONENT);
          double e;
          QVN_TRY(convert(p, static_cast<size_t>(q - p), &e));
          if (e != 2.0) return error(QVNERR_QUAD_EXPONENT_NOT_2);
          p = q;
          addQuad(quadFirst, quadFirst, coef);
          st = kQAfterTerm;
        } else if (c == '*') {
          ++p;
          st = kQAfterStar;
        } else {
          return error(QVNERR_EXPECT_POWER_OR_TIMES);
        }
        break;
      case kQAfterStar: {
        if (!c) return 0;
        if (!lpIs(c, CC_NameStart)) return reportError(env, QVNERR_EXPECT_IDENT, line, c);
        const int j = name(p);
        if (j < 0) return j;
        addQuad(quadFirst, j, coef);
        st = kQAfterTerm;
        break;
      }
      case kQAfterTerm:
        if (!c) return 0;
        if (c == ']') return closeQuad(p);
        if (!lpIs(c, CC_Sign)) return reportError(env, QVNERR_EXPECT_SIGN, line, c);
        if (quadSign(p)) return 0;
        QVN_TRY(quadCoefficient(p));
        break;
      case kQClosed:
        if (!c) return 0;
        if (c == '/') {
          ++p;
          st = kQAfterSlash;
          break;
        }
        QVNmsg(env->warningChannel, "Warning, line %d: Deprecated format, expecting '] / 2'.\n", line);
        quadOpen = false;
        st = kAfterTerm;
        return 0;
      case kQAfterSlash: {
        if (!c) return 0;
        const char *q = p;
        while (lpIs(*q, CC_NumberChar) && !(q > p && lpIs(*q, CC_Sign))) ++q;
        double d = 0.0;
        if (q == p || convert(p, static_cast<size_t>(q - p), &d) != 0 || std::fabs(d - 2.0) > 1e-10)
          return error(QVNERR_BAD_Q_DIVISOR);
        p = q;
        quadOpen = false;
        st = kAfterTerm;
        return 0;
      }
      default: return 0;
      }
    }
  }

  // Takes the sign at p; true when it ended the line, so the term waits.
  bool quadSign(const char *&p) {
    sign = *p == '-' ? -1.0 : 1.0;
    ++p;
    if (*p) return false;
    st = kQAfterSign;
    return true;
  }

  // Inside brackets, behind an optional sign: the coefficient, then the name.
  int quadCoefficient(const char *&p) {
    const char *q = scanCoefficient(p);
    double value = 1.0;
    if (q > p) {
      QVN_TRY(convert(p, static_cast<size_t>(q - p), &value));
      p = q;
    }
    coef = sign * value;
    st = kQAfterCoef;
    return 0;
  }
  int quadFirst = -1;

  int closeQuad(const char *&p) {
    ++p;
    if (target == kObjective) {
      st = kQClosed;
      return quadStep(p);
    }
    quadOpen = false;
    st = kAfterTerm;
    return 0;
  }

  // Runs the machine over the rest of the current logical line.
  int step(const char *&p) {
    for (;;) {
      if (st >= kQStart) {
        QVN_TRY(quadStep(p));
        if (st >= kQStart) return 0;
        continue;
      }
      const char c = *p;
      switch (st) {
      case kStart:
      case kRowDone:
        if (!c) return 0;
        beginRow();
        if (lpIs(c, CC_NameStart)) {
          const char *q = p;
          while (!lpIs(*q, CC_Delimiter)) ++q;
          if (*q == ':') {
            size_t length = static_cast<size_t>(q - p);
            if (length > kNameMax) {
              std::memcpy(rowName, p, kNameMax);
              rowName[kNameMax] = '\0';
              QVNmsg(env->warningChannel, "Warning, line %d: '%s' truncated.\n", line, rowName);
              length = kNameMax;
            }
            std::memcpy(rowName, p, length);
            rowName[length] = '\0';
            rowNamed = true;
            if (target == kObjective) {
              img.objName.clear();
              img.objName.add(rowName);
            }
            p = q + 1;
          }
        } else if (c == ':') {
          ++p;
        }
        st = *p ? kInTerms : kAfterName;
        sign = 1.0;
        if (!*p) return 0;
        break;
      case kAfterName:
      case kInTerms:
        if (!c) return 0;
        sign = 1.0;
        if (lpIs(c, CC_Sense)) {
          QVN_TRY(senseAt(p));
          break;
        }
        if (c == '[') {
          QVN_TRY(openQuad(p));
          break;
        }
        if (lpIs(c, CC_Sign)) {
          sign = c == '-' ? -1.0 : 1.0;
          ++p;
        }
        QVN_TRY(termBody(p));
        break;
      case kAfterSign:
        // a sign ended the previous line
        if (!c) return 0;
        if (lpIs(c, CC_Sign)) return reportError(env, QVNERR_ADJACENT_SIGNS, line - 1, line);
        if (lpIs(c, CC_Sense)) {
          if (target == kObjective) return error(QVNERR_RHS_SENSE_IN_OBJ);
          return reportError(env, QVNERR_ADJACENT_SIGN_SENSE, line - 1, line);
        }
        if (c == '[') {
          QVN_TRY(openQuad(p));
          break;
        }
        if (lpIs(c, CC_QuadChar)) return reportError(env, QVNERR_ADJACENT_SIGN_QUAD, line - 1, line);
        QVN_TRY(termBody(p));
        break;
      case kAfterCoef: {
        if (!c) return 0;
        if (c == '[') {
          QVN_TRY(openQuad(p));
          break;
        }
        if (!lpIs(c, CC_NameStart)) return error(QVNERR_EXPECT_IDENT_FIRST);
        const int j = name(p);
        if (j < 0) return j;
        addTerm(j, coef);
        st = kAfterTerm;
        break;
      }
      case kAfterTerm:
        if (!c) return 0;
        if (lpIs(c, CC_Sign)) {
          sign = c == '-' ? -1.0 : 1.0;
          ++p;
          if (!*p) {
            st = kAfterSign;
            return 0;
          }
          if (*p == '[') {
            QVN_TRY(openQuad(p));
            break;
          }
          QVN_TRY(termBody(p));
          break;
        }
        if (lpIs(c, CC_Sense)) {
          QVN_TRY(senseAt(p));
          break;
        }
        return reportError(env, target == kObjective ? QVNERR_EXPECT_SIGN : QVNERR_EXPECT_SIGN_OR_SENSE, line, c);
      case kAfterSense:
        if (!c) return 0;
        if (!lpIs(c, CC_NumberChar)) return error(QVNERR_EXPECT_RHS);
        QVN_TRY(rhsAt(p, 1.0));
        break;
      case kSenseSign:
        if (!c) return 0;
        if (lpIs(c, CC_Sign)) return reportError(env, QVNERR_ADJACENT_SIGNS, line - 1, line);
        if (!lpIs(c, CC_NumberChar)) return error(QVNERR_EXPECT_NUMBER_FIRST);
        QVN_TRY(rhsAt(p, sign));
        break;
      default: return 0;
      }
    }
  }

  // A line of the objective or of a row section.
  int feed() {
    const char *p = text;
    if (st == kRowDone && target == kRows && rows.count > 0 && indicatorPending < 0) {
      int kind = 0;
      if (!std::strncmp(p, "<->", 3)) kind = 3;
      else if (!std::strncmp(p, "->", 2)) kind = 1;
      else if (!std::strncmp(p, "<-", 2)) kind = 2;
      if (kind) {
        p += kind == 3 ? 3 : 2;
        // Take the last row back as the indicator's condition.
        const int r = rows.count - 1;
        beginRow();
        for (int k = rows.start[r]; k < rows.start[r + 1]; ++k) {
          termCol.push_back(rows.index[k]);
          termValue.push_back(rows.value[k]);
        }
        sense = rows.sense[r];
        const double rhs = rows.rhs[r];
        std::snprintf(rowName, sizeof rowName, "%s", rows.names.get(r));
        rowNamed = std::strcmp(rowName, kPlaceholder) != 0;
        rows.index.resize(static_cast<size_t>(rows.start[r]));
        rows.value.resize(static_cast<size_t>(rows.start[r]));
        rows.start.pop_back();
        rows.sense.pop_back();
        rows.rhs.pop_back();
        rows.names.offset.pop_back();
        --rows.count;
        return startIndicator(kind, rhs, p);
      }
    }
    return step(p);
  }

  bool rowUnfinished() const { return st != kStart && st != kRowDone; }

  // A keyword arrived: the objective or the row being read ends here.
  void sectionBreak() {
    if (target == kObjective) {
      const bool clean = (st == kAfterTerm && !quadOpen) || st == kStart || st == kRowDone || !anyColumn;
      if (st == kQClosed)
        QVNmsg(env->warningChannel, "Warning, line %d: Deprecated format, expecting '] / 2'.\n", line);
      else if (!clean)
        QVNmsg(env->warningChannel, "Warning, line %d: Objective ended unexpectedly.\n", line);
      st = kStart;
      return;
    }
    if (rowUnfinished()) {
      QVNmsg(env->warningChannel, "Warning, line %d: Unfinished constraint is discarded.\n", line);
      if (target == kIndicatorBody) {
        img.indicators.pop_back();
        img.indicatorNames.offset.pop_back();
        indicatorPending = -1;
      }
    }
    st = kStart;
  }

  // ---- bounds ---------------------------------------------------------------

  void nameWarning(const char *shown, bool numberShape) {
    if (++nameWarnings > kWarnCap) return;
    if (numberShape) QVNmsg(env->warningChannel, "Warning, line %d: '%s' not valid identifier.\n", line, shown);
    else QVNmsg(env->warningChannel, "Warning, line %d: Name '%s' does not exist.\n", line, shown);
  }

  static bool numberShaped(const char *w, size_t n) {
    if (n == 0) return false;
    if ((w[0] == 'e' || w[0] == 'E') && (n == 1 || std::isdigit(static_cast<unsigned char>(w[1])))) return true;
    return lpIs(w[0], CC_NumberChar) && !(w[0] == 'e' || w[0] == 'E');
  }

  // Bound value: a number or an infinity word. 1 converted, 0 not a value, <0 error.
  int boundValue(const char *w, size_t n, double *value, bool mustConvert) {
    size_t k = 0;
    double s = 1.0;
    if (n > 0 && lpIs(w[0], CC_Sign)) {
      s = w[0] == '-' ? -1.0 : 1.0;
      k = 1;
    }
    if ((n - k == 3 && strncasecmp(w + k, "inf", 3) == 0) || (n - k == 8 && strncasecmp(w + k, "infinity", 8) == 0)) {
      *value = s * kInf;
      return 1;
    }
    if (!mustConvert && !numberShaped(w, n)) return 0;
    QVN_TRY(convert(w, n, value));
    *value = clampInfinite(*value);
    return 1;
  }

  static int senseLength(const char *p, char *s) {
    const char a = p[0], b = p[1];
    if ((a == '<' && b == '=') || (a == '=' && b == '<')) return *s = 'L', 2;
    if ((a == '>' && b == '=') || (a == '=' && b == '>')) return *s = 'G', 2;
    if (a == '<') return *s = 'L', 1;
    if (a == '>') return *s = 'G', 1;
    if (a == '=') return *s = 'E', 1;
    return 0;
  }

  int boundColumn(const char *w, size_t n) {
    const int j = colIndex.find(img.colNames, w, n);
    if (j < 0) {
      char shown[kNameMax + 1];
      const size_t m = std::min(n, kNameMax);
      std::memcpy(shown, w, m);
      shown[m] = '\0';
      nameWarning(shown, numberShaped(w, n));
    }
    return j;
  }

  void record(int j, char s, double v, bool valueFirst) {
    // "value <= name" is a lower bound, "name <= value" an upper one.
    char kind = s == 'E' ? 'B' : ((s == 'L') == valueFirst ? 'L' : 'U');
    boundRecords.push_back({j, kind, v});
  }

  int boundLine() {
    const char *p = text;
    const size_t n = std::strlen(p);
    const char *senseAt = nullptr;
    for (const char *q = p; *q; ++q)
      if (lpIs(*q, CC_Sense)) {
        senseAt = q;
        break;
      }
    if (!senseAt) {
      if (n > 4 && strncasecmp(p + n - 4, "free", 4) == 0) {
        const int j = boundColumn(p, n - 4);
        if (j >= 0) {
          boundRecords.push_back({j, 'L', -kInf});
          boundRecords.push_back({j, 'U', kInf});
        }
        return 0;
      }
      return error(QVNERR_NO_BOUND_SENSE);
    }
    if (!lpIs(*p, CC_NameStart) && !lpIs(*p, CC_NumberChar)) return error(QVNERR_NO_BOUND_NUMBER);
    char s1 = 'E';
    const size_t firstLength = static_cast<size_t>(senseAt - p);
    const int l1 = senseLength(senseAt, &s1);
    const char *second = senseAt + l1;
    if (!*second) return error(QVNERR_NO_BOUND_NUMBER);
    double v1 = 0.0;
    int isValue = firstLength ? boundValue(p, firstLength, &v1, false) : 0;
    if (isValue < 0) return isValue;
    if (firstLength == 0) return error(QVNERR_NO_BOUND_NUMBER);
    if (!isValue) {
      // name sense value
      double v;
      const int got = boundValue(second, std::strlen(second), &v, true);
      if (got < 0) return got;
      const int j = boundColumn(p, firstLength);
      if (j >= 0) record(j, s1, v, false);
      return 0;
    }
    // value sense name [sense value]
    const char *q = second;
    while (*q && !lpIs(*q, CC_Sense)) ++q;
    const size_t nameLength = static_cast<size_t>(q - second);
    if (nameLength == 0) return error(QVNERR_NO_BOUND_NUMBER);
    const int j = boundColumn(second, nameLength);
    if (!*q) {
      if (j >= 0) record(j, s1, v1, true);
      return 0;
    }
    char s2 = 'E';
    const int l2 = senseLength(q, &s2);
    const char *third = q + l2;
    if (!*third) return error(QVNERR_NO_BOUND_NUMBER);
    double v2;
    const int got = boundValue(third, std::strlen(third), &v2, true);
    if (got < 0) return got;
    if (s1 == 'E' || s1 != s2)
      QVNmsg(env->warningChannel, "Warning, line %d: Possible sense conflict.\n", line);
    if (j >= 0) {
      record(j, s1, v1, true);
      record(j, s2, v2, false);
    }
    return 0;
  }

  void typeLine(char kind) {
    const char *p = text;
    for (;;) {
      while (*p == ' ') ++p;
      if (!*p) return;
      const char *w = p;
      while (*p && *p != ' ') ++p;
      const int j = boundColumn(w, static_cast<size_t>(p - w));
      if (j >= 0) typeRecords.push_back({j, kind});
    }
  }

  // ---- SOS --------------------------------------------------------------------

  int sosState = 4;
  int sosMember = -1;

  int sosLine() {
    // Tokens: ':' , '::' , words (a sign followed by blanks is joined to what follows).
    // Each token takes its characters and a NUL: at most twice the line.
    char tokens[2 * (kChunk + 8)];
    const char *tok[kChunk + 8];
    int count = 0;
    char *o = tokens;
    const char *p = text;
    while (*p) {
      if (*p == ' ') {
        ++p;
        continue;
      }
      tok[count++] = o;
      if (*p == ':') {
        *o++ = *p++;
        if (*p == ':') *o++ = *p++;
      } else {
        if (lpIs(*p, CC_Sign)) {
          *o++ = *p++;
          while (*p == ' ') ++p;
        }
        while (*p && *p != ' ' && *p != ':') *o++ = *p++;
      }
      *o++ = '\0';
    }
    auto isType = [](const char *t) {
      return (t[0] == 'S' || t[0] == 's') && (t[1] == '1' || t[1] == '2') && !t[2];
    };
    auto is = [](const char *t, const char *w) { return std::strcmp(t, w) == 0; };
    for (int i = 0; i < count;) {
      if (sosState != 5) {
        const bool named = i + 3 < count && is(tok[i + 1], ":") && isType(tok[i + 2]) && is(tok[i + 3], "::");
        const bool unnamed = i + 1 < count && isType(tok[i]) && is(tok[i + 1], "::");
        if (named || unnamed) {
          const char *setName = named ? tok[i] : kPlaceholder;
          img.sos.open(tok[named ? i + 2 : i][1], setName, std::strlen(setName));
          i += named ? 4 : 2;
          sosState = 4;
          continue;
        }
      }
      const char *t = tok[i];
      if (sosState == 2 && is(t, ":")) {
        sosState = 5;
        ++i;
        continue;
      }
      if (sosState == 5) {
        if ((lpIs(t[0], CC_Sign) || lpIs(t[0], CC_Sense)) && !t[1]) return reportError(env, QVNERR_BAD_NUMBER, line, t);
        double w;
        QVN_TRY(convert(t, std::strlen(t), &w));
        if (sosMember >= 0) img.sos.weight.back() = w;
        sosState = 4;
        ++i;
        continue;
      }
      if (!lpIs(t[0], CC_NameStart)) return reportError(env, QVNERR_EXPECT_IDENT, line, t[0]);
      if (img.sos.count == 0) return reportError(env, QVNERR_EXPECT_IDENT, line, t[0]);
      sosMember = boundColumn(t, std::strlen(t));
      if (sosMember >= 0) img.sos.addMember(sosMember, 0.0);
      sosState = 2;
      ++i;
    }
    return 0;
  }

  // ---- assembly -------------------------------------------------------------

  void checkNames(NameList &names, int count, char prefix, const char *word) {
    bool placeholders = false;
    for (int i = 0; i < count && !placeholders; ++i) placeholders = names.get(i)[0] == '*';
    if (placeholders) {
      NameList fixed;
      char generated[32];
      for (int i = 0; i < count; ++i) {
        if (names.get(i)[0] == '*') {
          std::snprintf(generated, sizeof generated, "%c%d", prefix, i + 1);
          fixed.add(generated);
        } else {
          fixed.add(names.get(i));
        }
      }
      names = std::move(fixed);
    }
    NameIndex index;
    int repeats = 0;
    for (int i = 0; i < count; ++i)
      if (index.insert(names, i) != i && ++repeats <= 5)
        QVNmsg(env->warningChannel, "%s '%s' repeats.\n", word, names.get(i));
    if (repeats > 5)
      QVNmsg(env->warningChannel, "%d repeated %c%s warnings not printed.\n", repeats - 5,
             std::tolower(static_cast<unsigned char>(word[0])), word + 1);
  }

  void assemble() {
    const int n = img.numCols, m = rows.count;
    img.numRows = m;
    img.sense.assign(rows.sense.begin(), rows.sense.end());
    img.rhs.assign(rows.rhs.begin(), rows.rhs.end());
    checkNames(rows.names, m, 'c', "Row");
    img.rowNames = std::move(rows.names);
    img.hasRowNames = img.hasColNames = true;
    if (!img.objName.size()) img.objName.add("obj");
    // transpose
    img.colStart.assign(static_cast<size_t>(n) + 1, 0);
    for (int j : rows.index) ++img.colStart[j + 1];
    for (int j = 0; j < n; ++j) img.colStart[j + 1] += img.colStart[j];
    img.rowIndex.resize(rows.index.size());
    img.value.resize(rows.index.size());
    {
      EnvVector<int> fill(img.colStart.begin(), img.colStart.end() - 1);
      for (int i = 0; i < m; ++i)
        for (int k = rows.start[i]; k < rows.start[i + 1]; ++k) {
          const int at = fill[rows.index[k]]++;
          img.rowIndex[at] = i;
          img.value[at] = rows.value[k];
        }
    }
    checkNames(img.userCuts.names, img.userCuts.count, 'u', "User Cut");
    checkNames(img.lazyRows.names, img.lazyRows.count, 'l', "Lazy Constraint");
    checkNames(img.indicatorNames, static_cast<int>(img.indicators.size()), 'i', "Indicator");
    checkNames(img.sos.names, img.sos.count, 's', "SOS");
    checkNames(img.qconstrNames, static_cast<int>(img.qconstr.size()), 'q', "Quadratic constraint");
    // objective Q: merged entries, sorted by row and column
    if (!objQV.empty()) {
      EnvVector<int> order(objQV.size());
      for (size_t k = 0; k < order.size(); ++k) order[k] = static_cast<int>(k);
      std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
        return objQA[a] != objQA[b] ? objQA[a] < objQA[b] : objQB[a] < objQB[b];
      });
      for (int k : order) {
        if (!img.qRow.empty() && img.qRow.back() == objQA[k] && img.qCol.back() == objQB[k]) {
          img.qValue.back() += objQV[k];
          continue;
        }
        img.qRow.push_back(objQA[k]);
        img.qCol.push_back(objQB[k]);
        img.qValue.push_back(objQV[k]);
      }
    }
    // bounds, then types
    img.lower.assign(static_cast<size_t>(n), 0.0);
    img.upper.assign(static_cast<size_t>(n), kInf);
    EnvVector<uint8_t> explicitBound(static_cast<size_t>(n), 0);
    for (const BoundRecord &r : boundRecords) {
      if (r.kind != 'U') img.lower[r.col] = r.value;
      if (r.kind != 'L') img.upper[r.col] = r.value;
      explicitBound[r.col] = 1;
    }
    if (!typeRecords.empty()) {
      img.ctype.assign(static_cast<size_t>(n), 'C');
      bool oddBinary = false;
      for (const TypeRecord &r : typeRecords) {
        char &t = img.ctype[r.col];
        double &lo = img.lower[r.col], &up = img.upper[r.col];
        const bool fixed = std::fabs(up - lo) < 1e-10;
        switch (r.kind) {
        case 'G': t = t == 'S' ? 'N' : 'I'; break;
        case 'S': t = t == 'I' ? 'N' : 'S'; break;
        case 'B':
          t = 'B';
          if (fixed) {
            if (!(std::fabs(lo) < 1e-10 || std::fabs(lo - 1.0) < 1e-10)) oddBinary = true;
          } else if (!explicitBound[r.col]) {
            lo = 0.0;
            up = 1.0;
          } else if (lo != 0.0 || up != 1.0) {
            oddBinary = true;
          }
          break;
        default:  // the INTEGER keyword
          if (explicitBound[r.col]) {
            t = (lo == 0.0 && up == 1.0) ? 'B' : 'I';
          } else {
            up = 1.0;
            t = 'B';
          }
        }
      }
      if (oddBinary)
        QVNmsg(env->warningChannel, "Warning:  Binary variables declared with bounds other than 0 and 1.\n");
    }
    checkIndicatorColumns(env, img);
    defaultSosWeights(env, img);
    if (nameWarnings > kWarnCap)
      QVNmsg(env->warningChannel, "%d name warnings not printed.\n", nameWarnings - kWarnCap);
  }

  // ---- driver ---------------------------------------------------------------

  int run() {
    int tok = nextLine(0, false);
    if (tok < 0) return tok;
    if (tok != kTokMin && tok != kTokMax) return reportErrorAtLine(env, line, QVNERR_NO_OBJ_SENSE);
    img.objSense = tok == kTokMax ? -1 : 1;
    target = kObjective;
    st = kStart;
    {
      const char *p = text;
      QVN_TRY(step(p));
    }
    int last = tok;
    // objective and row sections
    for (;;) {
      tok = nextLine(32, false);
      if (tok < 0) return tok;
      if (tok == kTokLine) {
        QVN_TRY(feed());
        continue;
      }
      last = tok;
      if (tok == kTokSubject || tok == kTokUserCuts || tok == kTokLazy) {
        if (target == kObjective || rowUnfinished()) sectionBreak();
        target = tok == kTokUserCuts ? kCuts : tok == kTokLazy ? kLazy : kRows;
        st = kStart;
        QVN_TRY(feed());
        continue;
      }
      sectionBreak();
      break;
    }
    if (tok == kTokBounds) {
      for (;;) {
        tok = nextLine(65, false);
        if (tok < 0) return tok;
        if (tok != kTokLine) break;
        QVN_TRY(boundLine());
      }
      last = tok;
    }
    while (tok >= kTokInteger && tok <= kTokSemi) {
      const char kind = tok == kTokInteger ? 'I' : tok == kTokBinary ? 'B' : tok == kTokGeneral ? 'G' : 'S';
      for (;;) {
        tok = nextLine(65, true);
        if (tok < 0) return tok;
        if (tok != kTokLine) break;
        typeLine(kind);
      }
      last = tok;
    }
    if (tok == kTokSos) {
      for (;;) {
        tok = nextLine(16, true);
        if (tok < 0) return tok;
        if (tok != kTokLine) break;
        QVN_TRY(sosLine());
      }
      last = tok;
    }
    if (last != kTokEnd) QVNmsg(env->warningChannel, "Warning: 'End' missing.\n");
    assemble();
    return 0;
  }
};

} // namespace

int readLpFile(Environment *env, const char *path, ModelImage &image) {
  image = ModelImage();
  reserveReadHints(env, image);
  LpReader reader(env, image, path);
  return readFrame(env, path, ".lp", image, reader.in, [&] { return reader.run(); });
}

} // namespace qvn
