list(APPEND QUORVAN_SOURCES
  src/barrier/barrier_driver.cpp
  src/barrier/barrier_ipm.cpp
  src/barrier/barrier_qp.cpp
  src/barrier/crossover_crash.cpp
  src/barrier/crossover_driver.cpp
  src/barrier/crossover_dual.cpp
  src/barrier/crossover_primal.cpp
  src/barrier/ipm_direction.cpp
  src/barrier/ipm_form.cpp
  src/barrier/ipm_start.cpp
  src/barrier/ipm_stop.cpp
  src/barrier/ordering/cholesky.cpp
  src/barrier/ordering/min_degree.cpp
)
