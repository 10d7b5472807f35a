list(APPEND QUORVAN_SOURCES
  src/simplex/basis_factor.cpp
  src/simplex/dual_simplex.cpp
  src/simplex/engine.cpp
  src/simplex/norms_api.cpp
  src/simplex/optimizer.cpp
  src/simplex/primal_simplex.cpp
  src/simplex/progress.cpp
  src/simplex/quality.cpp
  src/simplex/scaling.cpp
  src/simplex/solution.cpp
  src/simplex/work_lp.cpp
  src/simplex/lu/factor_build.cpp
  src/simplex/lu/factor_loop.cpp
  src/simplex/lu/line_file.cpp
  src/simplex/lu/solve.cpp
  src/simplex/lu/update.cpp
)
