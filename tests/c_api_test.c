/* The public header used from C: open, build a 3x4 LP with names, read counts
   back, free everything. Built as C and run under valgrind by the install check. */
#include <stdio.h>
#include <string.h>

#include "quorvan.h"
#include "support/c_check.h"

int main(void) {
  int status = -1;
  QVNENVptr env = QVNopenQUORVAN(&status);
  CHECK(env != NULL && status == 0);
  if (!env) return 1;

  QVNLPptr lp = QVNcreateprob(env, &status, "c-api");
  CHECK(lp != NULL);
  double obj[] = {1, 2, 3, 4};
  double rhs[] = {4, 1, 2};
  char sense[] = {'L', 'G', 'E'};
  int start[] = {0, 2, 4, 5};
  int count[] = {2, 2, 1, 1};
  int index[] = {0, 2, 0, 1, 1, 2};
  double value[] = {1, 1, 2, 1, 1, -1};
  double lower[] = {0, 0, 0, 0};
  double upper[] = {10, QVN_INFBOUND, QVN_INFBOUND, 2};
  char *colNames[] = {"a", "b", "c", "d"};
  char *rowNames[] = {"r1", "r2", "r3"};
  CHECK(QVNcopylpwnames(env, lp, 4, 3, QVN_MIN, obj, rhs, sense, start, count, index, value,
                        lower, upper, NULL, colNames, rowNames) == 0);
  CHECK(QVNgetnumcols(env, lp) == 4);
  CHECK(QVNgetnumrows(env, lp) == 3);
  CHECK(QVNgetnumnz(env, lp) == 6);
  CHECK(QVNgetprobtype(env, lp) == QVN_PROB_LP);

  char text[1024];
  CHECK(QVNgeterrorstring(env, QVNERR_NO_PROBLEM, text) != NULL);
  CHECK(strcmp(text, "QUORVAN Error  1009: No problem exists.\n") == 0);
  CHECK(QVNgetnumcols(env, NULL) == 0);

  int itlim = 0;
  CHECK(QVNsetintparam(env, QVN_PARAM_ITLIM, 123) == 0);
  CHECK(QVNgetintparam(env, QVN_PARAM_ITLIM, &itlim) == 0 && itlim == 123);

  CHECK(QVNfreeprob(env, &lp) == 0 && lp == NULL);
  CHECK(QVNcloseQUORVAN(&env) == 0 && env == NULL);
  return checkSummary("c api");
}
