# One compiler setting for every target of this build.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_AUTOMOC ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

# A build tree is laid out as an installation is: programs find their plug-ins in ../modules.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(TBR_MODULE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/modules")

find_program(TBR_CCACHE ccache)
if(TBR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${TBR_CCACHE}")
endif()

if(TBR_SANITIZE)
  # With sanitizers GCC takes the standard library's own variables for uninitialised.
  add_compile_options(-fsanitize=${TBR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
                      $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  add_link_options(-fsanitize=${TBR_SANITIZE})
endif()

if(TBR_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    message(FATAL_ERROR "TBR_FUZZ needs clang: libFuzzer comes with it")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link) # lets the fuzzer see which code an input reaches
endif()

# Our own code builds without a warning; libraries of others are seen as system headers.
function(tbr_warnings target)
  if(MSVC)
    # Exported classes with members and bases of the standard library (all sides use the same runtime), and constants
    # that are defined outside of their class for other compilers.
    target_compile_options(${target} PRIVATE /W4 /permissive- /utf-8 /wd4251 /wd4275 /wd5041)
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion
                                             "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")
  endif()
  if(TBR_WARNINGS_ARE_ERRORS)
    target_compile_options(${target} PRIVATE $<IF:$<CXX_COMPILER_ID:MSVC>,/WX,-Werror>)
  endif()
endfunction()
