# The client-interface module: its parts one by one, the client, and the plug-in as it is loaded from disk.
foreach(class RemoteError Connection PacketExchange TSClient)
  tbr_test(${class} LIBRARIES TSClientCore Threads::Threads)
endforeach()

tbr_test(TSClientFactory LIBRARIES tbr::Navigation NEEDS TSClient)
target_compile_definitions(TSClientFactoryTest PRIVATE TSCLIENT_PLUGIN="$<TARGET_FILE:TSClient>")
