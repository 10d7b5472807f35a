list(APPEND QUORVAN_TEST_SOURCES
  model/problem_test.cpp
)
