# Windows x86-64 with Debian's cross compiler (threads of the "posix" kind). What the system's packages do not have for
# Windows stands in TBR_WINDOWS_CACHE; ./check --windows builds it there once.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

if(NOT TBR_WINDOWS_CACHE)
  if(DEFINED ENV{TBR_WINDOWS_CACHE})
    set(TBR_WINDOWS_CACHE "$ENV{TBR_WINDOWS_CACHE}")
  elseif(DEFINED ENV{XDG_CACHE_HOME})
    set(TBR_WINDOWS_CACHE "$ENV{XDG_CACHE_HOME}/tbrNavigation/windows")
  else()
    set(TBR_WINDOWS_CACHE "$ENV{HOME}/.cache/tbrNavigation/windows")
  endif()
endif()
set(TBR_WINDOWS_CACHE "${TBR_WINDOWS_CACHE}" CACHE PATH "Where Qt and GoogleTest for Windows are")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TBR_WINDOWS_CACHE)

# Libraries and headers never come from the building system's own folders; programs that the build runs always do.
# What CMAKE_PREFIX_PATH names counts as Windows' own.
set(CMAKE_FIND_ROOT_PATH "${TBR_WINDOWS_CACHE}" /usr/x86_64-w64-mingw32 ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(Qt5_DIR "${TBR_WINDOWS_CACHE}/qt/lib/cmake/Qt5" CACHE PATH "")
set(GTest_DIR "${TBR_WINDOWS_CACHE}/googletest/lib/cmake/GTest" CACHE PATH "")
set(spdlog_DIR "${CMAKE_CURRENT_LIST_DIR}/spdlog" CACHE PATH "")
set(Eigen3_DIR /usr/share/eigen3/cmake CACHE PATH "") # headers alone, in a folder of their own

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/wine.sh")
