tbr_test(toolclient LIBRARIES tbrServerTestSupport NEEDS toolclient TSClient FirstLineOfInput)
target_compile_definitions(toolclientTest PRIVATE
  "TBR_TOOLCLIENT=\"$<TARGET_FILE:toolclient>\"" "TBR_MODULES=\"$<TARGET_FILE_DIR:TSClient>\""
  "TBR_FIRST_LINE=\"$<TARGET_FILE:FirstLineOfInput>\"")
