/* Calls a careless or hostile caller makes, from C: foreign and freed handles,
   null name entries, counts near INT_MAX, null outputs, odd arguments. Each
   call must give its error number, change nothing and never crash; under the
   sanitizer build a read of freed memory fails the run. */
#include <limits.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "quorvan.h"
#include "support/c_check.h"

/* min x + y  s.t.  x + y >= 2,  x - y <= 1,  0 <= x <= 10, 0 <= y: every point
   on x + y = 2 inside the bounds is optimal, objective 2. */
static int buildSmall(QVNENVptr env, QVNLPptr lp, char **colNames) {
  double obj[] = {1, 1};
  double rhs[] = {2, 1};
  char sense[] = {'G', 'L'};
  int start[] = {0, 2};
  int count[] = {2, 2};
  int index[] = {0, 1, 0, 1};
  double value[] = {1, 1, 1, -1};
  double lower[] = {0, 0};
  double upper[] = {10, QVN_INFBOUND};
  return QVNcopylpwnames(env, lp, 2, 2, QVN_MIN, obj, rhs, sense, start, count, index, value, lower,
                         upper, NULL, colNames, NULL);
}

/* The optimum of buildSmall, checked from the returned point alone. */
static void checkSmallOptimum(QVNENVptr env, QVNLPptr lp) {
  int status = 0;
  double objective = 0, x[2] = {-1, -1};
  CHECK(QVNlpopt(env, lp) == 0);
  CHECK(QVNsolution(env, lp, &status, &objective, x, NULL, NULL, NULL) == 0);
  CHECK(status == QVN_STAT_OPTIMAL);
  CHECK(fabs(objective - 2) < 1e-9);
  CHECK(fabs(x[0] + x[1] - 2) < 1e-9 && x[0] - x[1] <= 1 + 1e-9);
  CHECK(x[0] >= -1e-9 && x[0] <= 10 + 1e-9 && x[1] >= -1e-9);
}

/* A Problem answers to the Environment that made it, and to no other: not to a
   second root, whose close must then leave the problem whole. */
static void foreignProblem(void) {
  int status = 0;
  QVNENVptr a = QVNopenQUORVAN(&status);
  QVNENVptr b = QVNopenQUORVAN(&status);
  QVNLPptr lp = QVNcreateprob(a, &status, "owned-by-a");
  CHECK(a && b && lp && buildSmall(a, lp, NULL) == 0);
  double one = 1, obj[2] = {0, 0};
  int index = 0;
  CHECK(QVNlpopt(b, lp) == QVNERR_NO_PROBLEM);
  CHECK(QVNgetnumcols(b, lp) == 0);
  CHECK(QVNgetobj(b, lp, obj, 0, 1) == QVNERR_NO_PROBLEM);
  CHECK(QVNchgobj(b, lp, 1, &index, &one) == QVNERR_NO_PROBLEM);
  CHECK(QVNdelrows(b, lp, 0, 0) == QVNERR_NO_PROBLEM);
  CHECK(QVNchgprobtype(b, lp, QVN_PROB_MILP) == QVNERR_NO_PROBLEM);
  CHECK(QVNcloneprob(b, lp, &status) == NULL && status == QVNERR_NO_PROBLEM);
  CHECK(buildSmall(b, lp, NULL) == QVNERR_NO_PROBLEM);
  QVNLPptr other = lp;
  CHECK(QVNfreeprob(b, &other) == QVNERR_BAD_ARGUMENT && other == lp);
  CHECK(QVNcloseQUORVAN(&b) == 0);
  /* Nothing of the refused calls stuck: a is whole and solves as before. */
  CHECK(QVNgetnumcols(a, lp) == 2 && QVNgetnumrows(a, lp) == 2);
  CHECK(QVNgetobj(a, lp, obj, 0, 1) == 0 && obj[0] == 1 && obj[1] == 1);
  CHECK(QVNgetprobtype(a, lp) == QVN_PROB_LP);
  checkSmallOptimum(a, lp);
  CHECK(QVNfreeprob(a, &lp) == 0);
  CHECK(QVNcloseQUORVAN(&a) == 0);
}

/* A copy of a freed handle is refused by the Environment's list before any of
   its memory is read; a child's the same through its parent. */
static void freedHandles(void) {
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  QVNLPptr lp = QVNcreateprob(env, &status, "freed");
  QVNLPptr stale = lp;
  CHECK(buildSmall(env, lp, NULL) == 0);
  CHECK(QVNfreeprob(env, &lp) == 0 && lp == NULL);
  double values[2];
  CHECK(QVNgetnumcols(env, stale) == 0);
  CHECK(QVNgetprobtype(env, stale) == -1);
  CHECK(QVNgetobj(env, stale, values, 0, 1) == QVNERR_NO_PROBLEM);
  CHECK(QVNlpopt(env, stale) == QVNERR_NO_PROBLEM);
  CHECK(buildSmall(env, stale, NULL) == QVNERR_NO_PROBLEM);
  CHECK(QVNfreeprob(env, &stale) == QVNERR_BAD_ARGUMENT);

  QVNENVptr child = QVNparenv(env, &status);
  QVNENVptr staleChild = child;
  CHECK(child && QVNfreeparenv(env, &child) == 0 && child == NULL);
  CHECK(QVNfreeparenv(env, &staleChild) == QVNERR_BAD_ARGUMENT);
  /* A closed root clears the caller's pointer, which every call then refuses. */
  CHECK(QVNcloseQUORVAN(&env) == 0 && env == NULL);
  CHECK(QVNgetnumcols(env, stale) == 0);
  CHECK(QVNcloseQUORVAN(&env) == QVNERR_NO_ENVIRONMENT);
}

/* A null entry in a name array: refused with its index under the data check,
   else given a generated name that continues after the given ones. */
static void nullNameEntry(void) {
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  QVNLPptr lp = QVNcreateprob(env, &status, "names");
  char *names[] = {"x7", NULL};
  CHECK(buildSmall(env, lp, names) == 0);
  char *got[2] = {NULL, NULL};
  char store[32];
  int surplus = 0;
  CHECK(QVNgetcolname(env, lp, got, store, sizeof store, &surplus, 0, 1) == 0);
  CHECK(got[0] && strcmp(got[0], "x7") == 0);
  CHECK(got[1] && strcmp(got[1], "x8") == 0);

  char *kept[] = {"kept", "too"};
  CHECK(buildSmall(env, lp, kept) == 0);
  CHECK(QVNsetintparam(env, QVN_PARAM_DATACHECK, 1) == 0);
  CHECK(buildSmall(env, lp, names) == 1224);
  CHECK(QVNgetcolname(env, lp, got, store, sizeof store, &surplus, 0, 1) == 0);
  CHECK(got[0] && strcmp(got[0], "kept") == 0);
  CHECK(QVNfreeprob(env, &lp) == 0);
  CHECK(QVNcloseQUORVAN(&env) == 0);
}

/* Counts whose sum with the model's would pass the int range are refused
   before anything is computed from them, and the model stays as it was. */
static void hugeCounts(void) {
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  QVNLPptr lp = QVNcreateprob(env, &status, "huge");
  CHECK(buildSmall(env, lp, NULL) == 0);
  const int near = INT_MAX - 1;
  CHECK(QVNnewcols(env, lp, near, NULL, NULL, NULL, NULL, NULL) == QVNERR_LIMITS_TOO_BIG);
  CHECK(QVNnewrows(env, lp, near, NULL, NULL, NULL, NULL) == QVNERR_LIMITS_TOO_BIG);
  CHECK(QVNaddcols(env, lp, near, 0, NULL, NULL, NULL, NULL, NULL, NULL, NULL) == QVNERR_LIMITS_TOO_BIG);
  CHECK(QVNaddrows(env, lp, near, 1, 0, NULL, NULL, NULL, NULL, NULL, NULL, NULL) ==
        QVNERR_LIMITS_TOO_BIG);
  CHECK(QVNaddrows(env, lp, 0, near, 0, NULL, NULL, NULL, NULL, NULL, NULL, NULL) ==
        QVNERR_LIMITS_TOO_BIG);
  CHECK(QVNEcacheNewCols(env, lp, near, NULL, NULL, NULL, NULL, NULL) == QVNERR_LIMITS_TOO_BIG);
  CHECK(QVNEcacheNewRows(env, lp, near, NULL, NULL, NULL, NULL) == QVNERR_LIMITS_TOO_BIG);
  CHECK(QVNgetnumcols(env, lp) == 2 && QVNgetnumrows(env, lp) == 2);
  checkSmallOptimum(env, lp);
  CHECK(QVNfreeprob(env, &lp) == 0);
  CHECK(QVNcloseQUORVAN(&env) == 0);
}

/* Calls that succeed by their contract although they look odd: a null output
   of a parameter getter is allowed (only the number is tested); an objective
   sense other than -1 or 1 is refused only under the data check; a type word
   that names no format leaves the choice to the file's content; an empty
   range reads nothing and succeeds, where a deletion calls it out of range. */
static void oddButAllowed(void) {
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  QVNLPptr lp = QVNcreateprob(env, &status, "odd");
  CHECK(buildSmall(env, lp, NULL) == 0);
  char buffer[1024];
  CHECK(QVNgetintparam(env, QVN_PARAM_ITLIM, NULL) == 0);
  CHECK(QVNgetdblparam(env, QVN_PARAM_EPOPT, NULL) == 0);
  CHECK(QVNgetstrparam(env, QVN_PARAM_WORKDIR, NULL) == 0);
  CHECK(QVNinfointparam(env, QVN_PARAM_ITLIM, NULL, NULL, NULL) == 0);
  CHECK(QVNgetparamname(env, QVN_PARAM_ITLIM, NULL) == 0);
  CHECK(QVNgetintparam(env, 999, NULL) == QVNERR_BAD_PARAM_NUM);
  CHECK(QVNgetparamname(env, QVN_PARAM_ITLIM, buffer) == 0 && strstr(buffer, "ITLIM") != NULL);

  CHECK(QVNchgobjsen(env, lp, 2) == 0 && QVNgetobjsen(env, lp) == QVN_MIN);
  CHECK(QVNchgobjsen(env, lp, -7) == 0 && QVNgetobjsen(env, lp) == QVN_MAX);
  CHECK(QVNsetintparam(env, QVN_PARAM_DATACHECK, 1) == 0);
  CHECK(QVNchgobjsen(env, lp, 0) == QVNERR_BAD_ARGUMENT && QVNgetobjsen(env, lp) == QVN_MAX);
  CHECK(QVNchgobjsen(env, lp, 2) == QVNERR_BAD_ARGUMENT && QVNgetobjsen(env, lp) == QVN_MAX);
  CHECK(QVNchgobjsen(env, lp, QVN_MIN) == 0);
  CHECK(QVNsetintparam(env, QVN_PARAM_DATACHECK, 0) == 0);

  FILE *f = fopen("bad_calls_xyz.txt", "w");
  CHECK(f != NULL);
  if (f) {
    fputs("Minimize\n obj: 2 a + b\nSubject To\n c1: a + b >= 3\nEnd\n", f);
    fclose(f);
  }
  CHECK(QVNreadcopyprob(env, lp, "bad_calls_xyz.txt", "XYZ") == 0);
  CHECK(QVNgetnumcols(env, lp) == 2 && QVNgetnumrows(env, lp) == 1);
  f = fopen("bad_calls_xyz.txt", "w");
  if (f) {
    fputs("#not a model\n", f);
    fclose(f);
  }
  CHECK(QVNreadcopyprob(env, lp, "bad_calls_xyz.txt", "XYZ") == QVNERR_BAD_FILETYPE);
  CHECK(QVNgetnumcols(env, lp) == 2 && QVNgetnumrows(env, lp) == 1);
  remove("bad_calls_xyz.txt");

  double values[2] = {-5, -5};
  CHECK(QVNgetobj(env, lp, values, 1, 0) == 0 && values[0] == -5);
  CHECK(QVNgetrhs(env, lp, values, 0, -1) == 0 && values[0] == -5);
  CHECK(QVNgetobj(env, lp, values, -1, 0) == QVNERR_INDEX_RANGE);
  CHECK(QVNgetobj(env, lp, values, 0, 2) == QVNERR_INDEX_RANGE);
  CHECK(QVNdelcols(env, lp, 1, 0) == QVNERR_INDEX_RANGE);
  CHECK(QVNdelrows(env, lp, 0, 1) == QVNERR_INDEX_RANGE);
  CHECK(QVNgetnumcols(env, lp) == 2 && QVNgetnumrows(env, lp) == 1);
  CHECK(QVNfreeprob(env, &lp) == 0);
  CHECK(QVNcloseQUORVAN(&env) == 0);
}

int main(void) {
  foreignProblem();
  freedHandles();
  nullNameEntry();
  hugeCounts();
  oddButAllowed();
  return checkSummary("bad calls");
}
