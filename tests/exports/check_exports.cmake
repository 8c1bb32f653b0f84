# Compares the defined dynamic symbols of LIBRARY (demangled, so that a name
# exported with the wrong linkage shows up as a mismatch) with the list that
# hosts rely on.
cmake_minimum_required(VERSION 3.25)

if(NOT EXISTS "${LIBRARY}")
  message(FATAL_ERROR "library not built: ${LIBRARY}")
endif()

execute_process(COMMAND "${NM}" -D --defined-only --demangle "${LIBRARY}"
                OUTPUT_VARIABLE nm_out RESULT_VARIABLE nm_rc)
if(NOT nm_rc EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}")
endif()

set(expected
    "zoHadoopCreate(ZobString*)"
    "createRawIO"
    "createDirectoryListing"
    "zox_build_number"
    "zox_build_info"
    "zox_build_version")

# nm lines: "<address> <type> <name>"; names may contain spaces after demangling.
string(REPLACE "\n" ";" lines "${nm_out}")
set(actual)
foreach(line IN LISTS lines)
  if(line MATCHES "^[0-9a-fA-F]+ +([A-Za-z]) +(.+)$")
    list(APPEND actual "${CMAKE_MATCH_2}")
  endif()
endforeach()

set(missing)
foreach(name IN LISTS expected)
  if(NOT name IN_LIST actual)
    list(APPEND missing "${name}")
  endif()
endforeach()
set(unexpected)
foreach(name IN LISTS actual)
  if(NOT name IN_LIST expected)
    list(APPEND unexpected "${name}")
  endif()
endforeach()

if(missing OR unexpected)
  list(JOIN missing "\n  " missing_text)
  list(JOIN unexpected "\n  " unexpected_text)
  message(FATAL_ERROR "exports of ${LIBRARY} differ\n"
                      "missing:\n  ${missing_text}\n"
                      "unexpected:\n  ${unexpected_text}")
endif()
list(LENGTH expected expected_count)
message(STATUS "exports of ${LIBRARY}: exactly the ${expected_count} expected names")
