list(APPEND QUORVAN_SOURCES
  src/presolve/aggregator.cpp
  src/presolve/crush.cpp
  src/presolve/dependent_rows.cpp
  src/presolve/driver.cpp
  src/presolve/mip_reductions.cpp
  src/presolve/dualize.cpp
  src/presolve/optimize_presolved.cpp
  src/presolve/postsolve.cpp
  src/presolve/presolve_api.cpp
  src/presolve/presolve_attachment.cpp
  src/presolve/presolved_rows.cpp
  src/presolve/reductions_cols.cpp
  src/presolve/reductions_rows.cpp
  src/presolve/work_matrix.cpp
)
