list(APPEND QUORVAN_TEST_SOURCES
  quadratic/qp_data_test.cpp
  quadratic/qp_presolve_test.cpp
)
