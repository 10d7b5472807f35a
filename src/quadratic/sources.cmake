list(APPEND QUORVAN_SOURCES
  src/quadratic/qp_api.cpp
  src/quadratic/qp_attachment.cpp
  src/quadratic/qp_certificate.cpp
  src/quadratic/qp_data.cpp
  src/quadratic/qp_optimize.cpp
  src/quadratic/qp_presolve.cpp
)
