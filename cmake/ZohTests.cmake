# zoh_add_tests(<name> SOURCES <files...> LIBS <targets...>)
# One GoogleTest program, registered with CTest as one test per program so that a
# run prints each program's own summary.
function(zoh_add_tests name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  if(NOT ARG_SOURCES OR NOT ZOH_TESTING)
    return()
  endif()
  add_executable(${name} ${ARG_SOURCES})
  zoh_link_test_libs(${name} ${ARG_LIBS} GTest::gtest GTest::gmock GTest::gtest_main
                     Threads::Threads)
  add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
  set_tests_properties(${name} PROPERTIES TIMEOUT 900)
endfunction()

# The *_test.cc files of a folder.
function(zoh_glob_tests out dir)
  file(GLOB found CONFIGURE_DEPENDS "${dir}/*_test.cc")
  set(${out} ${found} PARENT_SCOPE)
endfunction()

# The library sources of a folder (everything but tests).
function(zoh_glob_sources out dir)
  file(GLOB found CONFIGURE_DEPENDS "${dir}/*.cc")
  list(FILTER found EXCLUDE REGEX "_test\\.cc$")
  set(${out} ${found} PARENT_SCOPE)
endfunction()

# zoh_cluster_fixture(<fixture> <state-dir> [launcher options...]): a test
# cluster started once per run as the CTest fixture <fixture>_start/_stop
# (scripts/testcluster.sh); tests that require <fixture> find its ready file
# at <state-dir>/cluster.env.
function(zoh_cluster_fixture fixture state)
  add_test(NAME ${fixture}_start
           COMMAND ${PROJECT_SOURCE_DIR}/scripts/testcluster.sh start ${ZOH_TESTCLUSTER_HOME}
                   ${state} ${ARGN})
  add_test(NAME ${fixture}_stop
           COMMAND ${PROJECT_SOURCE_DIR}/scripts/testcluster.sh stop ${state})
  set_tests_properties(${fixture}_start PROPERTIES FIXTURES_SETUP ${fixture} TIMEOUT 180
                       ENVIRONMENT "JAVA_HOME=${JAVA_HOME}")
  set_tests_properties(${fixture}_stop PROPERTIES FIXTURES_CLEANUP ${fixture} TIMEOUT 60)
endfunction()

# zoh_use_test_cluster(<tests...>): these tests run against the test cluster
# (a real HDFS on loopback) that the run starts once, as the CTest fixture
# "test_cluster" (tests/cluster); they find it through ZOH_TEST_CLUSTER.
function(zoh_use_test_cluster)
  set_tests_properties(${ARGN} PROPERTIES FIXTURES_REQUIRED test_cluster)
  set_property(TEST ${ARGN} APPEND PROPERTY ENVIRONMENT
               "ZOH_TEST_CLUSTER=${ZOH_TESTCLUSTER_STATE}/cluster.env")
endfunction()

# Test programs run on test builds of the shipped libraries: the same sources
# with ZOH_TEST_HOOKS (failure injection, leak counters), under the
# same file names and sonames in ZOH_TEST_LIB_DIR, which the programs' run path
# names first. The shipped libraries neither export a hook nor pay for one.
set(ZOH_TEST_LIB_DIR ${PROJECT_BINARY_DIR}/testlib)
set(ZOH_TEST_BUILDS OFF)
if(ZOH_TESTING OR ZOH_FUZZ)
  set(ZOH_TEST_BUILDS ON)
endif()

# zoh_test_variant(<variant> <shipped>): <variant>, built from <shipped>'s
# sources, becomes its test build.
function(zoh_test_variant variant shipped)
  target_compile_definitions(${variant} PUBLIC ZOH_TEST_HOOKS)
  set_target_properties(${variant} PROPERTIES OUTPUT_NAME ${shipped}
                        LIBRARY_OUTPUT_DIRECTORY ${ZOH_TEST_LIB_DIR}
                        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()

# zoh_link_test_libs(<target> <libs...>): links a test program, with the test
# builds standing in for the shipped libraries that have one.
function(zoh_link_test_libs target)
  set(libs)
  foreach(lib ${ARGN})
    if(TARGET ${lib}_testing)
      list(APPEND libs ${lib}_testing)
    else()
      list(APPEND libs ${lib})
    endif()
  endforeach()
  target_link_libraries(${target} PRIVATE ${libs})
  get_target_property(dir ${target} BINARY_DIR)
  file(RELATIVE_PATH rel ${dir} ${ZOH_TEST_LIB_DIR})
  set_property(TARGET ${target} APPEND PROPERTY BUILD_RPATH "\$ORIGIN/${rel}")
endfunction()
