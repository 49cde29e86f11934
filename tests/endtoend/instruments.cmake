# The instruments of a tool box that is a client of a server process, and the example that shows them.
tbr_test(Instruments LIBRARIES tbrServerTestSupport tbr::Navigation NEEDS TSClient SimulatedCamera LABELS endtoend)
target_compile_definitions(InstrumentsTest PRIVATE "TBR_MODULES=\"$<TARGET_FILE_DIR:TSClient>\"")
if(TBR_BUILD_EXAMPLES)
  add_dependencies(InstrumentsTest navigation)
  target_compile_definitions(InstrumentsTest PRIVATE
    "TBR_NAVIGATION_EXAMPLE=\"$<TARGET_FILE:navigation>\""
    "TBR_NAVIGATION_SETTINGS=\"${CMAKE_BINARY_DIR}/examples/navigation/navigation.ini\"")
endif()
if(TBR_BUILD_BENCHMARKS)
  # Its figures mean nothing here; it fails when an update does not move every instrument.
  add_dependencies(InstrumentsTest instrument_moves)
  add_test(NAME instrument_moves COMMAND instrument_moves --tools 32 --pairs 1 --seconds 0.05)
  set_tests_properties(instrument_moves PROPERTIES TIMEOUT 300 LABELS endtoend)
endif()

find_package(Python3 COMPONENTS Interpreter QUIET)
if(Python3_FOUND)
  add_test(NAME InstrumentDrawings COMMAND Python3::Interpreter "${CMAKE_SOURCE_DIR}/docs/draw_instruments.py" --check)
endif()
