/* Bad numbers met at the C boundary: a NaN parameter value, NaN model data
   with the data check off, and crossed bounds. None may end in "optimal".
   Built as C. */
#include <math.h>
#include <stdio.h>

#include "quorvan.h"
#include "support/c_check.h"

/* min x + y, x + y >= 2, 0 <= x, y <= 10: optimum 2. */
static int load(QVNENVptr env, QVNLPptr lp, double lowerX, double upperX) {
  double obj[] = {1, 1}, rhs[] = {2}, value[] = {1, 1};
  double lower[] = {lowerX, 0}, upper[] = {upperX, 10};
  char sense[] = {'G'};
  int start[] = {0, 1}, count[] = {1, 1}, index[] = {0, 0};
  return QVNcopylp(env, lp, 2, 1, QVN_MIN, obj, rhs, sense, start, count, index, value, lower, upper, NULL);
}

int main(void) {
  int status = -1;
  QVNENVptr env = QVNopenQUORVAN(&status);
  CHECK(env != NULL && status == 0);
  if (!env) return 1;
  QVNLPptr lp = QVNcreateprob(env, &status, "c-wrong-answers");
  CHECK(lp != NULL);

  /* Should a NaN tolerance get through, the solves below stop all the same. */
  CHECK(QVNsetintparam(env, QVN_PARAM_ITLIM, 1000) == 0);
  double epopt = 0, objulim = 0;
  CHECK(QVNsetdblparam(env, QVN_PARAM_EPOPT, NAN) == QVNERR_PARAM_TOO_SMALL);
  CHECK(QVNsetdblparam(env, QVN_PARAM_OBJULIM, NAN) == QVNERR_PARAM_TOO_SMALL);
  CHECK(QVNgetdblparam(env, QVN_PARAM_EPOPT, &epopt) == 0 && epopt == 1e-6);
  CHECK(QVNgetdblparam(env, QVN_PARAM_OBJULIM, &objulim) == 0 && objulim == 1e75);

  double objective = 0;
  CHECK(load(env, lp, 0, 10) == 0);
  CHECK(QVNlpopt(env, lp) == 0 && QVNgetstat(env, lp) == QVN_STAT_OPTIMAL);
  CHECK(QVNgetobjval(env, lp, &objective) == 0 && objective > 2 - 1e-9 && objective < 2 + 1e-9);

  CHECK(QVNchgcoef(env, lp, -1, 0, NAN) == 0);
  CHECK(QVNlpopt(env, lp) == QVNERR_NAN);
  CHECK(QVNgetstat(env, lp) != QVN_STAT_OPTIMAL);

  CHECK(load(env, lp, 3, 1) == 0); /* 3 <= x <= 1 leaves no point */
  CHECK(QVNsetintparam(env, QVN_PARAM_PREIND, 0) == 0);
  CHECK(QVNprimopt(env, lp) == 0 && QVNgetstat(env, lp) == QVN_STAT_INFEASIBLE);
  CHECK(QVNsetintparam(env, QVN_PARAM_PREIND, 1) == 0);
  CHECK(QVNdualopt(env, lp) == 0 && QVNgetstat(env, lp) == QVN_STAT_INFEASIBLE);

  CHECK(QVNfreeprob(env, &lp) == 0);
  CHECK(QVNcloseQUORVAN(&env) == 0);
  return checkSummary("c wrong answers");
}
