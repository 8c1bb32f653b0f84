# cmake -DBUILD_DIR= -DAPP_DIR= -DWORK_DIR= -DGENERATOR= -DCXX= [-DCXX_FLAGS=] -P ...
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${APP_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_INSTALL_PREFIX=${prefix})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${CMAKE_COMMAND} --install ${WORK_DIR}/build)

# Nothing may still point into the build tree or the old prefix.
file(RENAME ${prefix} ${WORK_DIR}/moved)
set(data ${WORK_DIR}/data.txt)
string(RANDOM LENGTH 5000 expected)
file(WRITE ${data} "${expected}")
execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=ZOH_PROXY_HOME
                        ${WORK_DIR}/moved/bin/zoh_consumer ${data}
                RESULT_VARIABLE rc OUTPUT_VARIABLE actual ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT actual STREQUAL expected)
  string(LENGTH "${actual}" got)
  message(FATAL_ERROR "the consumer from the moved prefix read ${got} bytes (status ${rc}): ${err}")
endif()
find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${WORK_DIR}/moved/lib/pkgconfig
                          ${PKG_CONFIG} --cflags zohadoop OUTPUT_VARIABLE cflags)
  if(NOT cflags MATCHES "moved/lib/pkgconfig/../../include/zohadoop")
    message(FATAL_ERROR "pkg-config from the moved prefix: ${cflags}")
  endif()
endif()
message(STATUS "consumer read all 5000 bytes from the moved prefix")
file(REMOVE_RECURSE ${WORK_DIR})
