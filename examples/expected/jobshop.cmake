# SPDX-License-Identifier: MIT
#
# Which shortest schedule comes out may change with the search; its length may
# not, and its chart must hold what the table says: on each of the six machines
# of ft06 the durations of its six jobs.
execute_process(
  COMMAND ${PROGRAM} ${TABLE} --svg ${SVG}
  OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
if(NOT text MATCHES "^makespan 55\njob A starts at")
  message(FATAL_ERROR "${text}")
endif()
set(loads 40 26 26 22 40 43)
set(sums "")
string(REGEX MATCHALL "machine [0-9]+ +[A-Z.]+" rows "${text}")
foreach(row IN LISTS rows)
  string(REGEX REPLACE "machine [0-9]+ +" "" row "${row}")
  string(REPLACE "." "" row "${row}")
  string(LENGTH "${row}" sum)
  list(APPEND sums ${sum})
endforeach()
if(NOT sums STREQUAL loads)
  message(FATAL_ERROR "loads ${sums}, not ${loads}, of:\n${text}")
endif()
file(READ ${SVG} svg)
string(REGEX MATCHALL "<rect " rectangles "${svg}")
list(LENGTH rectangles count)
if(NOT count EQUAL 36 OR NOT svg MATCHES "</svg>\n$")
  message(FATAL_ERROR "${count} rectangles in:\n${svg}")
endif()
