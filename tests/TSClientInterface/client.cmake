# The tracking client: rigid bodies, tools, the tool list, and the interface to a tool server.
foreach(class CaRigidBody CaNormalInfo CaClientDataMixin CaToolType CaToolServer CaTool CaInitializableTool)
  tbr_test(${class} LIBRARIES tbr::Navigation Threads::Threads)
endforeach()
