list(APPEND QUORVAN_SOURCES
  src/mip/branch_infeasibility.cpp
  src/mip/branch_pseudo_reduced.cpp
  src/mip/branch_pseudocost.cpp
  src/mip/branch_registry.cpp
  src/mip/branch_strong.cpp
  src/mip/incumbent.cpp
  src/mip/mip_api.cpp
  src/mip/mip_attachment.cpp
  src/mip/mip_driver.cpp
  src/mip/mip_log.cpp
  src/mip/mip_start.cpp
  src/mip/node_file.cpp
  src/mip/node_loop.cpp
  src/mip/node_store.cpp
  src/mip/plugins.cpp
)
