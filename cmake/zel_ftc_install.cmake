# What `cmake --install` puts where, in components that can be installed one by one:
#   runtime      the library
#   development  headers, the way to find them (CMake, pkg-config), manual pages, the first example
#   tools        programs, their manual pages and shell completion
#   python       the Python module (python/)
include(CMakePackageConfigHelpers)

set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/zel_ftc)
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS zel_ftc EXPORT zel_ftc
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zel_ftc COMPONENT development)

# Both ways to find the library work wherever the prefix is moved to. docs/versioning.md promises
# what makes every later version of the same major number do.
install(EXPORT zel_ftc FILE zel_ftcConfig.cmake NAMESPACE zel_ftc::
  DESTINATION ${config_folder} COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zel_ftcConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zel_ftcConfigVersion.cmake
  DESTINATION ${config_folder} COMPONENT development)
file(RELATIVE_PATH to_prefix
  ${CMAKE_INSTALL_PREFIX}/${pkgconfig_folder} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" to_prefix ${to_prefix})
configure_file(cmake/zel_ftc.pc.in ${PROJECT_BINARY_DIR}/zel_ftc.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zel_ftc.pc
  DESTINATION ${pkgconfig_folder} COMPONENT development)
install(FILES examples/first_contact.c
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libzel-ftc-dev/examples COMPONENT development)

# The programs find the library beside them under any prefix.
set(programs)
foreach(program zelftc zel_sensor_sim)
  if(TARGET ${program})
    list(APPEND programs ${program})
  endif()
endforeach()
if(programs)
  file(RELATIVE_PATH to_libraries
    ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(${programs} PROPERTIES INSTALL_RPATH "$ORIGIN/${to_libraries}")
  install(TARGETS ${programs} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()

if(ZEL_FTC_PACKAGE)
  include(cmake/zel_ftc_package.cmake)
endif()
