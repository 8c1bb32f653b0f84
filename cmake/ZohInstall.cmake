# Installation: the libraries with versioned sonames, one include directory
# that is enough on its own, the proxy home, the tools, an exported CMake
# package (find_package(ZOHadoopClient)) and a pkg-config file. The installed
# tree is relocatable: every path in it is relative to where it lands.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ZOH_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/zohadoop)
set(ZOH_INSTALL_PROXYDIR ${CMAKE_INSTALL_DATADIR}/zohadoop/proxies)
set(ZOH_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZOHadoopClient)
set(ZOH_LIBRARIES zohadoop zobruntime zojni_jvm)

foreach(lib ${ZOH_LIBRARIES})
  set_target_properties(${lib} PROPERTIES VERSION ${PROJECT_VERSION}
                        SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "$ORIGIN")
  # Source-tree include directories hold for the build only; installed
  # consumers get the one include directory.
  get_target_property(dirs ${lib} INTERFACE_INCLUDE_DIRECTORIES)
  set(wrapped)
  foreach(dir ${dirs})
    list(APPEND wrapped "$<BUILD_INTERFACE:${dir}>")
  endforeach()
  set_target_properties(${lib} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${wrapped}")
  target_include_directories(${lib} INTERFACE
                             $<INSTALL_INTERFACE:${ZOH_INSTALL_INCLUDEDIR}>)
endforeach()

# The bridge finds the proxy home beside itself wherever the installed tree
# moves (bridge/jvm/CMakeLists.txt does the same for the build tree).
file(RELATIVE_PATH ZOH_INSTALLED_PROXY_HOME
     ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}
     ${CMAKE_INSTALL_PREFIX}/${ZOH_INSTALL_PROXYDIR})
target_compile_definitions(zojni_jvm PRIVATE
                           ZOH_INSTALLED_PROXY_HOME="${ZOH_INSTALLED_PROXY_HOME}")

# What a program links: the library, its runtime and the JVM bridge.
add_library(zohadoop_program INTERFACE)
target_link_libraries(zohadoop_program INTERFACE zohadoop zojni_jvm zobruntime)
set_target_properties(zohadoop_program PROPERTIES EXPORT_NAME program)
# The same names for a project that embeds this one with add_subdirectory.
add_library(ZOHadoopClient::program ALIAS zohadoop_program)
foreach(lib ${ZOH_LIBRARIES})
  add_library(ZOHadoopClient::${lib} ALIAS ${lib})
endforeach()

install(TARGETS ${ZOH_LIBRARIES} zohadoop_program EXPORT ZOHadoopClientTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ ${PROJECT_SOURCE_DIR}/platform/
        DESTINATION ${ZOH_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
# The whole proxy home as the proxy build leaves it, whatever it holds.
install(DIRECTORY ${ZOH_PROXY_HOME}/ DESTINATION ${ZOH_INSTALL_PROXYDIR})

foreach(tool zohadoop-fs zohadoop-tour)
  if(TARGET ${tool})
    set_target_properties(${tool} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()

install(EXPORT ZOHadoopClientTargets NAMESPACE ZOHadoopClient::
        DESTINATION ${ZOH_INSTALL_CMAKEDIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ZOHadoopClientConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/ZOHadoopClientConfig.cmake
                              INSTALL_DESTINATION ${ZOH_INSTALL_CMAKEDIR}
                              PATH_VARS ZOH_INSTALL_PROXYDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZOHadoopClientConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZOHadoopClientConfig.cmake
              ${PROJECT_BINARY_DIR}/ZOHadoopClientConfigVersion.cmake
        DESTINATION ${ZOH_INSTALL_CMAKEDIR})

# pkg-config: ${pcfiledir} keeps it relocatable too.
file(RELATIVE_PATH ZOH_PC_TO_PREFIX
     ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${CMAKE_CURRENT_LIST_DIR}/zohadoop.pc.in ${PROJECT_BINARY_DIR}/zohadoop.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zohadoop.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
