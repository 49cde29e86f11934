# Installs BUILD_TREE into an empty folder, then configures, builds and runs CONSUMER against that alone. Programs for
# another system are built with its TOOLCHAIN and run by its EMULATOR.
function(step)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\nfailed (${result}):\n${output}")
  endif()
endfunction()

set(toolchain "")
if(TOOLCHAIN)
  set(toolchain "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}")
endif()
file(REMOVE_RECURSE "${WORK}")
step(${CMAKE_COMMAND} --install "${BUILD_TREE}" --prefix "${WORK}/prefix" --config "${CONFIGURATION}")
# Installed somewhere else than it was built for: the package must not depend on its place.
file(RENAME "${WORK}/prefix" "${WORK}/moved")
step(${CMAKE_COMMAND} -S "${CONSUMER}" -B "${WORK}/build" -G "${GENERATOR}" "-DCMAKE_PREFIX_PATH=${WORK}/moved"
     "-DCMAKE_BUILD_TYPE=${CONFIGURATION}" "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${FLAGS}"
     "-DEXPECTED_PREFIX=${WORK}/moved" ${toolchain})
step(${CMAKE_COMMAND} --build "${WORK}/build" --config "${CONFIGURATION}")
set(ENV{TBR_WINE_PATH} "${WORK}/moved/bin") # as an installation on Windows is in PATH
step(${EMULATOR} "${WORK}/build/bin/consumer${SUFFIX}")

# The installed programs find their libraries from where they are, too.
file(GLOB programs "${WORK}/moved/bin/*")
list(FILTER programs EXCLUDE REGEX "\\.dll$")
foreach(program ${programs})
  step(${EMULATOR} "${program}" --version)
endforeach()
