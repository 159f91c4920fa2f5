# SPDX-License-Identifier: MIT
#
# Runs PROGRAM on ARGUMENTS; it must exit with STATUS and print what the file
# EXPECTED holds.
execute_process(
  COMMAND ${PROGRAM} ${ARGUMENTS}
  OUTPUT_VARIABLE text
  ERROR_VARIABLE messages
  RESULT_VARIABLE status)
file(READ ${EXPECTED} expected)
if(NOT status STREQUAL STATUS OR NOT text STREQUAL expected)
  message(FATAL_ERROR "status ${status}, messages: ${messages}
it printed:\n${text}\nexpected:\n${expected}")
endif()
