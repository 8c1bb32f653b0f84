# Fails when one of LIBRARIES (a list separated by "|") exports a test hook:
# a defined dynamic symbol with "test" in its name, in any case. Hooks belong
# to the test builds only.
cmake_minimum_required(VERSION 3.25)

string(REPLACE "|" ";" libraries "${LIBRARIES}")
set(found)
foreach(library IN LISTS libraries)
  if(NOT EXISTS "${library}")
    message(FATAL_ERROR "library not built: ${library}")
  endif()
  execute_process(COMMAND "${NM}" -D --defined-only "${library}"
                  OUTPUT_VARIABLE nm_out RESULT_VARIABLE nm_rc)
  if(NOT nm_rc EQUAL 0)
    message(FATAL_ERROR "${NM} failed on ${library}")
  endif()
  string(REPLACE "\n" ";" lines "${nm_out}")
  foreach(line IN LISTS lines)
    string(TOLOWER "${line}" lower)
    if(line MATCHES "^[0-9a-fA-F]+ +[A-Za-z] +(.+)$" AND lower MATCHES "test")
      list(APPEND found "${library}: ${CMAKE_MATCH_1}")
    endif()
  endforeach()
endforeach()

if(found)
  list(JOIN found "\n  " found_text)
  message(FATAL_ERROR "shipped libraries export test hooks:\n  ${found_text}")
endif()
message(STATUS "no test hook in: ${LIBRARIES}")
