#include "formats/write_check.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "formats/formats.h"
#include "formats/number_format.h"
#include "runtime/channels.h"
#include "runtime/environment.h"
#include "runtime/errors.h"

namespace qvn {

namespace {

// Converts back what the writer would print; false when the text is no number
// of the file formats (NaN, infinity, an exponent above 37).
bool writtenValue(double value, NumberForm form, double *back) {
  if (!std::isfinite(value)) return false;
  char text[64];
  const int n = form == NumberForm::kLong ? formatNumber(value, text) : formatShortNumber(value, text);
  if (n < 0) return false;
  return parseNumber(text, static_cast<size_t>(n), false, back) == kNumberOk && std::isfinite(*back);
}

bool boundReadsBack(double value, NumberForm form) {
  if (std::isnan(value)) return false;
  if (std::fabs(value) >= kFileInfinity) return true;  // written as infinity
  double back;
  // 9.9999999999999999e19 prints as 1e+20, which is infinite.
  return writtenValue(value, form, &back) && std::fabs(back) < kFileInfinity &&
         (back == 0.0) == (value == 0.0);
}

// Whose number it is, told only when it is refused: a column, a row, or the
// k-th entry of another kind.
struct Owner {
  const char *kind;  // null for the objective offset
  int index;
  const NameList *names;
};

struct Checker {
  Environment *env;
  const ModelImage &img;
  const char *format;
  NumberForm form;
  bool lp;

  int refuse(const char *what, const Owner &o, double value) {
    char owner[300] = "";
    if (o.kind && o.names && o.index < o.names->size())
      std::snprintf(owner, sizeof owner, " of %s '%.255s'", o.kind, o.names->get(o.index));
    else if (o.kind)
      std::snprintf(owner, sizeof owner, " of %s %d", o.kind, o.index + 1);
    QVNmsg(env->warningChannel, "Warning:  %s%s (%.17g) cannot be written in %s format.\n", what, owner, value,
           format);
    return reportError(env, QVNERR_NOT_REPRESENTABLE);
  }

  Owner col(int j) const { return {"column", j, img.hasColNames ? &img.colNames : nullptr}; }
  Owner row(int i) const { return {"row", i, img.hasRowNames ? &img.rowNames : nullptr}; }

  int value(double v, const char *what, const Owner &o) {
    double back;
    // A value that comes back as zero is a term that vanishes.
    if (!writtenValue(v, form, &back) || ((back == 0.0) != (v == 0.0))) return refuse(what, o, v);
    return 0;
  }

  int bound(double v, const char *what, const Owner &o) { return boundReadsBack(v, form) ? 0 : refuse(what, o, v); }

  int rowBlock(const RowBlock &b, const char *kind) {
    for (int i = 0; i < b.count; ++i) {
      const Owner o{kind, i, b.hasNames ? &b.names : nullptr};
      QVN_TRY(value(b.rhs[i], "Right-hand side", o));
      for (int k = b.start[i]; k < b.start[i + 1]; ++k) QVN_TRY(value(b.value[k], "Coefficient", o));
    }
    return 0;
  }

  int run() {
    if (img.objConstant != 0.0) return refuse("Objective offset", {nullptr, 0, nullptr}, img.objConstant);
    for (int j = 0; j < img.numCols; ++j) {
      QVN_TRY(value(img.obj[j], "Objective coefficient", col(j)));
      QVN_TRY(bound(img.lower[j], "Lower bound", col(j)));
      QVN_TRY(bound(img.upper[j], "Upper bound", col(j)));
      for (int k = img.colStart[j]; k < img.colStart[j + 1]; ++k)
        QVN_TRY(value(img.value[k], "Coefficient", col(j)));
    }
    for (int i = 0; i < img.numRows; ++i) {
      QVN_TRY(value(img.rhs[i], "Right-hand side", row(i)));
      if (img.sense[i] != 'R') continue;
      // LP carries a range as a bound of its range column, MPS as a number.
      const double r = img.range.empty() ? 0.0 : img.range[i];
      QVN_TRY(lp ? bound(r, "Range", row(i)) : value(r, "Range", row(i)));
    }
    // LP writes an off-diagonal Q entry doubled, MPS as it is.
    const double offDiagonal = lp ? 2.0 : 1.0;
    for (size_t k = 0; k < img.qValue.size(); ++k)
      QVN_TRY(value(img.qRow[k] == img.qCol[k] ? img.qValue[k] : offDiagonal * img.qValue[k],
                    "Quadratic coefficient", col(img.qCol[k])));
    for (size_t c = 0; c < img.qconstr.size(); ++c) {
      const QuadConstraint &q = img.qconstr[c];
      const Owner o{"quadratic constraint", static_cast<int>(c), &img.qconstrNames};
      QVN_TRY(value(q.rhs, "Right-hand side", o));
      for (double v : q.linValue) QVN_TRY(value(v, "Coefficient", o));
      for (double v : q.quadValue) QVN_TRY(value(v, "Quadratic coefficient", o));
    }
    for (size_t c = 0; c < img.indicators.size(); ++c) {
      const Indicator &ind = img.indicators[c];
      const Owner o{"indicator constraint", static_cast<int>(c), &img.indicatorNames};
      QVN_TRY(value(ind.rhs, "Right-hand side", o));
      for (double v : ind.value) QVN_TRY(value(v, "Coefficient", o));
    }
    QVN_TRY(rowBlock(img.userCuts, "user cut"));
    QVN_TRY(rowBlock(img.lazyRows, "lazy constraint"));
    for (size_t k = 0; k < img.sos.weight.size(); ++k)
      QVN_TRY(value(img.sos.weight[k], "SOS weight", col(img.sos.member[k])));
    return 0;
  }
};

} // namespace

int checkWritableNumbers(Environment *env, const ModelImage &img, const char *format, NumberForm form) {
  Checker c{env, img, format, form, std::strcmp(format, "LP") == 0};
  return c.run();
}

bool cutNamesRepeat(const NameList &names) {
  NameList cut;
  NameIndex index;
  for (int i = 0; i < names.size(); ++i) {
    const char *name = names.get(i);
    cut.add(name, strnlen(name, kFileNameMax));
    if (index.insert(cut, i) != i) return true;
  }
  return false;
}

} // namespace qvn
