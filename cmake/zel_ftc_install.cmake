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
  foreach(program ${programs})
    install(FILES packaging/completion.bash RENAME ${program}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  endforeach()
endif()

# Manual pages, made of what the headers and the programs say of themselves. A build without the
# tools to make them installs none.
set(manual ${PROJECT_BINARY_DIR}/manual)
find_program(ZEL_FTC_PYTHON3 python3)
find_program(ZEL_FTC_HELP2MAN help2man)
if(ZEL_FTC_PYTHON3)
  set(headers ${ZEL_FTC_FLAT_HEADERS})
  list(TRANSFORM headers PREPEND ${PROJECT_SOURCE_DIR}/)
  set(script ${PROJECT_SOURCE_DIR}/docs/man/flat_header.py)
  add_custom_command(OUTPUT ${manual}/headers
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${manual}/man3
    COMMAND ${CMAKE_COMMAND} -E make_directory ${manual}/man3
    COMMAND ${ZEL_FTC_PYTHON3} ${script} ${PROJECT_VERSION} ${manual}/man3 ${headers}
    COMMAND ${CMAKE_COMMAND} -E touch ${manual}/headers
    DEPENDS ${headers} ${script} VERBATIM)
  add_custom_target(manual_headers ALL DEPENDS ${manual}/headers)
  install(DIRECTORY ${manual}/man3 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT development)
endif()
if(ZEL_FTC_HELP2MAN AND programs AND NOT ZEL_FTC_SANITIZE)
  set(script ${PROJECT_SOURCE_DIR}/docs/man/program.sh)
  set(pages)
  foreach(program ${programs})
    list(APPEND pages COMMAND ${script} ${PROJECT_VERSION} ${manual}/man1 $<TARGET_FILE:${program}>)
  endforeach()
  add_custom_command(OUTPUT ${manual}/programs
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${manual}/man1
    COMMAND ${CMAKE_COMMAND} -E make_directory ${manual}/man1
    ${pages}
    COMMAND ${CMAKE_COMMAND} -E touch ${manual}/programs
    DEPENDS ${programs} ${script} VERBATIM)
  add_custom_target(manual_programs ALL DEPENDS ${manual}/programs)
  install(DIRECTORY ${manual}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT tools)
endif()

if(ZEL_FTC_PACKAGE)
  include(cmake/zel_ftc_package.cmake)
endif()
