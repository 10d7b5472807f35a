/* The check macro of the tests written in C: a failed check prints where it
   failed and is counted, and the run goes on so one run shows every failure. */
#ifndef QUORVAN_TESTS_C_CHECK_H
#define QUORVAN_TESTS_C_CHECK_H
#include <stdio.h>

static int failures = 0;
#define CHECK(cond)                                                             \
  do {                                                                          \
    if (!(cond)) {                                                              \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                               \
    }                                                                           \
  } while (0)

/* The exit code of a C test: 0 only when every check held. */
static int checkSummary(const char *suite) {
  if (failures == 0) printf("%s: all checks passed\n", suite);
  return failures ? 1 : 0;
}
#endif
