list(APPEND QUORVAN_TEST_SOURCES
  diagnostics/conflict_test.cpp
)
