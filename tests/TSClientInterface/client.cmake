# The tracking client: rigid bodies, tools, the tool list, and the interface to a tool server.
tbr_plugin(ScriptedClientInterface FOLDER "${CMAKE_BINARY_DIR}/tests/plugins"
           SOURCES ../plugins/ScriptedClientInterface.cpp LIBRARIES tbr::Navigation)
foreach(class CaRigidBody CaNormalInfo CaClientDataMixin CaToolType CaToolServer ToolMutex CaTool
              CaInitializableTool)
  tbr_test(${class} LIBRARIES tbr::Navigation Threads::Threads)
endforeach()
tbr_test(CaToolList LIBRARIES tbr::Navigation NEEDS ScriptedClientInterface)
