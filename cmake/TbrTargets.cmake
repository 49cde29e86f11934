# Helpers that keep each folder's CMakeLists.txt to a statement of what the target needs.

function(tbr_require helper value name)
  if("${value}" STREQUAL "")
    message(FATAL_ERROR "${helper}: ${name} is missing")
  endif()
endfunction()

# tbr_library(tbrCore ALIAS Core PUBLIC ... PRIVATE ...): a shared library of all sources below src/.
# A source that ends in Posix.cpp or Windows.cpp belongs to that platform alone.
function(tbr_library target)
  cmake_parse_arguments(ARG "" "ALIAS" "PUBLIC;PRIVATE" ${ARGN})
  tbr_require(tbr_library "${ARG_ALIAS}" ALIAS)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS src/*.cpp src/*.h)
  if(WIN32)
    list(FILTER sources EXCLUDE REGEX "Posix\\.cpp$")
  else()
    list(FILTER sources EXCLUDE REGEX "Windows\\.cpp$")
  endif()
  if(TBR_FUZZ) # fuzz/ brings the platform of sockets in memory
    list(FILTER sources EXCLUDE REGEX "/SocketPlatform(Posix|Windows)\\.cpp$")
  endif()
  add_library(${target} SHARED ${sources})
  add_library(tbr::${ARG_ALIAS} ALIAS ${target})
  tbr_warnings(${target})
  target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/src>"
                                              "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/tbrNavigation>")
  target_link_libraries(${target} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
  string(TOUPPER "${ARG_ALIAS}" upper)
  target_compile_definitions(${target} PRIVATE TBR_BUILDING_${upper})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${ARG_ALIAS} VERSION ${PROJECT_VERSION}
                        SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "$ORIGIN")
  if(WIN32) # the same name whichever compiler builds it
    set_target_properties(${target} PROPERTIES PREFIX "")
  endif()
  install(TARGETS ${target} EXPORT tbrNavigationTargets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(DIRECTORY src/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tbrNavigation FILES_MATCHING PATTERN "*.h")
endfunction()

# tbr_plugin(Name SOURCES ... LIBRARIES ... [FOLDER dir]): a loadable module, Name.so without prefix.
# Modules of the product land in modules/ and are installed; those with a FOLDER serve tests only.
function(tbr_plugin target)
  cmake_parse_arguments(ARG "" "FOLDER" "SOURCES;LIBRARIES" ${ARGN})
  tbr_require(tbr_plugin "${ARG_SOURCES}" SOURCES)
  add_library(${target} MODULE ${ARG_SOURCES})
  tbr_warnings(${target})
  target_link_libraries(${target} PRIVATE ${ARG_LIBRARIES})
  set(folder "${TBR_MODULE_OUTPUT_DIRECTORY}")
  if(ARG_FOLDER)
    set(folder "${ARG_FOLDER}")
  else()
    install(TARGETS ${target} LIBRARY DESTINATION lib/tbrNavigation/modules)
  endif()
  set_target_properties(${target} PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY "${folder}" INSTALL_RPATH "$ORIGIN/../..")
endfunction()

# tbr_program(name SOURCES ... LIBRARIES ...): an installed program.
function(tbr_program target)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  tbr_require(tbr_program "${ARG_SOURCES}" SOURCES)
  add_executable(${target} ${ARG_SOURCES})
  tbr_warnings(${target})
  target_link_libraries(${target} PRIVATE ${ARG_LIBRARIES})
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endfunction()

# tbr_test(ClassName LIBRARIES ... [NEEDS target...] [LABELS ...] [TIMEOUT s] [LONG]): the test program of
# ClassNameTest.cpp. NEEDS names programs and plug-ins that must be built before the test runs. A LONG test runs for
# minutes: only ./check --long (ctest -C Long) runs it.
function(tbr_test name)
  cmake_parse_arguments(ARG "SERIAL;LONG" "TIMEOUT" "LIBRARIES;NEEDS;SOURCES;LABELS" ${ARGN})
  tbr_require(tbr_test "${ARG_LIBRARIES}" LIBRARIES)
  add_executable(${name}Test ${name}Test.cpp ${ARG_SOURCES})
  tbr_warnings(${name}Test)
  target_link_libraries(${name}Test PRIVATE ${ARG_LIBRARIES} tbrTestSupport)
  set_target_properties(${name}Test PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  if(ARG_NEEDS)
    add_dependencies(${name}Test ${ARG_NEEDS})
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
    if(CMAKE_CROSSCOMPILING) # each system call goes through an emulator then
      set(ARG_TIMEOUT 1200)
    endif()
  endif()
  set(configurations)
  if(ARG_LONG)
    set(configurations CONFIGURATIONS Long)
    list(APPEND ARG_LABELS long)
  endif()
  add_test(NAME ${name} ${configurations} COMMAND ${name}Test)
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}"
    ENVIRONMENT "TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/tsan.supp;UBSAN_OPTIONS=print_stacktrace=1;LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/lsan.supp")
  if(ARG_SERIAL)
    set_tests_properties(${name} PROPERTIES RUN_SERIAL TRUE)
  endif()
endfunction()

# tbr_strict_races(ClassName): the thread sanitizer reports races on threads of Qt, too, which tests/tsan.supp leaves out.
# For tests in which nothing but pthread_create(), std::mutex and atomics orders what threads share.
function(tbr_strict_races name)
  get_test_property(${name} ENVIRONMENT environment)
  string(REPLACE "/tsan.supp" "/tsan-churn.supp" environment "${environment}")
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "${environment}")
endfunction()

# tbr_long_variant(ClassName EFFORT n): the tests of tbr_test(ClassName) once more among the LONG ones, with n times as
# many rounds (support/Effort.h).
function(tbr_long_variant name)
  cmake_parse_arguments(ARG "" "EFFORT" "" ${ARGN})
  tbr_require(tbr_long_variant "${ARG_EFFORT}" EFFORT)
  add_test(NAME ${name}Long CONFIGURATIONS Long COMMAND ${name}Test)
  get_test_property(${name} ENVIRONMENT environment)
  set_tests_properties(${name}Long PROPERTIES TIMEOUT 1200 LABELS long
    ENVIRONMENT "${environment};TBR_TEST_EFFORT=${ARG_EFFORT}")
endfunction()
