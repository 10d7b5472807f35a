list(APPEND QUORVAN_TEST_SOURCES
  simplex/advanced_basis_test.cpp
  simplex/lp_relaxation_test.cpp
  simplex/sensitivity_test.cpp
  simplex/sifting_test.cpp
  simplex/lp_solve_test.cpp
  simplex/netlib_test.cpp
  simplex/primal_pricing_test.cpp
  simplex/progress_test.cpp
  simplex/result_guard_test.cpp
  simplex/simplex_debug_test.cpp
  simplex/pricing_test.cpp
  simplex/pivot_row_test.cpp
  simplex/lu_factor_test.cpp
  simplex/lu_stress_test.cpp
  simplex/lu_update_test.cpp
  simplex/lu_hyper_test.cpp
)
