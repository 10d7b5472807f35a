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
  src/barrier/ordering/amd.cpp
  src/barrier/ordering/amf.cpp
  src/barrier/ordering/cholesky.cpp
  src/barrier/ordering/dense_columns.cpp
  src/barrier/ordering/elimination_tree.cpp
  src/barrier/ordering/min_degree.cpp
  src/barrier/ordering/nested_dissection.cpp
  src/barrier/ordering/numeric.cpp
  src/barrier/ordering/ordering_table.cpp
  src/barrier/ordering/out_of_core.cpp
  src/barrier/ordering/quotient_graph.cpp
)
# The dense kernels of the factor are written for the vectorizer, which -O2
# leaves off for loops of unknown length.
set_source_files_properties(src/barrier/ordering/numeric.cpp PROPERTIES COMPILE_OPTIONS "-O3")
