list(APPEND QUORVAN_SOURCES
  src/network/dimacs.cpp
  src/network/net_debug.cpp
  src/network/net_api.cpp
  src/network/net_hybrid.cpp
  src/network/net_pivot.cpp
  src/network/net_pricing.cpp
  src/network/net_problem.cpp
  src/network/net_simplex.cpp
  src/network/net_solution_api.cpp
)
