list(APPEND QUORVAN_TEST_SOURCES
  mip/cuts/cut_pool_test.cpp
  mip/cuts/cut_validity_test.cpp
  mip/heuristics_test.cpp
  mip/mip_callback_test.cpp
  mip/mip_check.cpp
  mip/mip_cli_test.cpp
  mip/mip_failure_test.cpp
  mip/mip_log_test.cpp
  mip/mip_models.cpp
  mip/mip_presolve_test.cpp
  mip/mip_sets_start_test.cpp
  mip/mip_solve_test.cpp
  mip/mip_status_test.cpp
  mip/miplib_test.cpp
  mip/node_file_test.cpp
  mip/node_store_test.cpp
)
