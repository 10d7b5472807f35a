list(APPEND QUORVAN_TEST_SOURCES
  quadratic/qp_data_test.cpp
)
