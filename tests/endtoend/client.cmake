# The tracking client with its real client-interface module.
tbr_test(Client LIBRARIES tbrServerTestSupport tbr::Navigation Threads::Threads NEEDS TSClient SimulatedCamera
         LABELS endtoend)
target_compile_definitions(ClientTest PRIVATE "TBR_MODULES=\"$<TARGET_FILE_DIR:TSClient>\"")

# The examples as they are built with everything else, with the settings that are written for them.
tbr_test(TrackingExample LIBRARIES tbrServerTestSupport NEEDS TSClient tracking LABELS endtoend)
target_compile_definitions(TrackingExampleTest PRIVATE
  "TBR_TRACKING=\"$<TARGET_FILE:tracking>\"" "TBR_EXAMPLE_SETTINGS=\"${CMAKE_BINARY_DIR}/examples/client.ini\"")
tbr_test(ReconnectingExample LIBRARIES tbrServerTestSupport NEEDS TSClient reconnecting LABELS endtoend)
target_compile_definitions(ReconnectingExampleTest PRIVATE
  "TBR_RECONNECTING=\"$<TARGET_FILE:reconnecting>\""
  "TBR_EXAMPLE_SETTINGS=\"${CMAKE_BINARY_DIR}/examples/client.ini\"")

# The same against a server in the hands of the test, which does everything wrong that a server can; and what it takes.
foreach(name HostileServer ClientMemory)
  tbr_test(${name} LIBRARIES tbr::Navigation Threads::Threads NEEDS TSClient LABELS endtoend)
  target_compile_definitions(${name}Test PRIVATE "TBR_MODULES=\"$<TARGET_FILE_DIR:TSClient>\"")
endforeach()
