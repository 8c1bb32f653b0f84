# zoh_add_tests(<name> SOURCES <files...> LIBS <targets...>)
# One GoogleTest program, registered with CTest as one test per program so that a
# run prints each program's own summary.
function(zoh_add_tests name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  if(NOT ARG_SOURCES OR NOT ZOH_TESTING)
    return()
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gmock
                        GTest::gtest_main Threads::Threads)
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

# zoh_use_test_cluster(<tests...>): these tests run against the test cluster
# (a real HDFS on loopback) that the run starts once, as the CTest fixture
# "test_cluster" (tests/cluster); they find it through ZOH_TEST_CLUSTER.
function(zoh_use_test_cluster)
  set_tests_properties(${ARGN} PROPERTIES FIXTURES_REQUIRED test_cluster)
  set_property(TEST ${ARGN} APPEND PROPERTY ENVIRONMENT
               "ZOH_TEST_CLUSTER=${ZOH_TESTCLUSTER_STATE}/cluster.env")
endfunction()
