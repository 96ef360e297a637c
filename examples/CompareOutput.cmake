# Runs PROGRAM on the file INPUT and fails unless it prints exactly the text of the file EXPECTED, nothing on standard
# error, and exits with 0.
execute_process(COMMAND ${PROGRAM} INPUT_FILE ${INPUT} OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE status)
file(READ ${EXPECTED} expected)
if(NOT status EQUAL 0 OR NOT errors STREQUAL "" OR NOT output STREQUAL expected)
  message(FATAL_ERROR "status ${status}\n--- expected\n${expected}--- got\n${output}--- errors\n${errors}")
endif()
