# Debian's spdlog as headers alone: its library is one for Linux. ./check --windows puts these headers, and those of
# fmt that they need, into a folder without the building system's others.
if(NOT TARGET spdlog::spdlog)
  add_library(spdlog::spdlog INTERFACE IMPORTED)
  set_target_properties(spdlog::spdlog PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${TBR_WINDOWS_CACHE}/headers"
    INTERFACE_COMPILE_DEFINITIONS "FMT_HEADER_ONLY")
endif()
