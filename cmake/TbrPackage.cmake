# cpack makes a file to unpack anywhere: programs, libraries, plug-ins, headers, CMake package and documents. That for
# Windows brings along the DLLs that the programs need.
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DATADIR}/tbrNavigation)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DATADIR}/tbrNavigation/docs PATTERN "*.py" EXCLUDE)

if(WIN32)
  # Of imported libraries, the DLL of the configuration that is built.
  install(FILES $<TARGET_FILE:Qt5::Core> $<TARGET_FILE:Qt5::Concurrent> DESTINATION ${CMAKE_INSTALL_BINDIR})
  if(MINGW)
    foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
      execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll} OUTPUT_VARIABLE file
                      OUTPUT_STRIP_TRAILING_WHITESPACE)
      if(NOT IS_ABSOLUTE "${file}")
        message(FATAL_ERROR "the compiler has no ${dll}")
      endif()
      install(FILES "${file}" DESTINATION ${CMAKE_INSTALL_BINDIR})
    endforeach()
  else()
    include(InstallRequiredSystemLibraries)
  endif()
endif()

set(CPACK_PACKAGE_NAME tbrNavigation)
set(CPACK_PACKAGE_VENDOR "tbrNavigation developers")
set(CPACK_GENERATOR TGZ)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME windows-x86_64)
endif()
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
