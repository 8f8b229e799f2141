# Debian packages, one per install component. Built and looked at by scripts/package.
set(ZEL_FTC_MAINTAINER "zel_ftc developers <zel-ftc@zel-ftc.invalid>" CACHE STRING
    "Who answers for the packages: name <mail address>")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zel-ftc)
set(CPACK_PACKAGE_CONTACT ${ZEL_FTC_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
get_cmake_property(CPACK_COMPONENTS_ALL COMPONENTS)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

set(this_version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
# The date of the packages is that of the last change, so that the same sources give the same files.
execute_process(COMMAND git log -1 --format=%cD WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
                OUTPUT_VARIABLE package_date OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
set(library libzel-ftc${PROJECT_VERSION_MAJOR})
set(exact_library "${library} (= ${this_version})")
# What packages of programs that link the library depend on; the dynamic linker gets to know it.
configure_file(packaging/shlibs.in ${PROJECT_BINARY_DIR}/packaging/shlibs @ONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${PROJECT_BINARY_DIR}/packaging/shlibs ${PROJECT_SOURCE_DIR}/packaging/triggers)

set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(about
"Six-axis force/torque readings and the pose of a robot in, the corrected
pose out, once per control cycle: the tool approaches a surface until
contact, pushes a part home, or follows a line or an arc while it holds a
contact force.")

# zel_package(component name section summary text [dependencies]): the package of a component.
function(zel_package component name section summary text)
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_COMPONENT_${key}_DESCRIPTION "${summary}\n${about}\n\n${text}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${ARGN}" PARENT_SCOPE)

  # No licence has been chosen: the file says that, and nothing else.
  set(folder ${PROJECT_BINARY_DIR}/packaging/${name})
  configure_file(packaging/copyright.in ${folder}/copyright @ONLY)
  configure_file(packaging/changelog.in ${folder}/changelog.Debian @ONLY)
  configure_file(CHANGELOG.md ${folder}/changelog COPYONLY)
  execute_process(COMMAND gzip -9nf ${folder}/changelog ${folder}/changelog.Debian
                  COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${folder}/copyright ${folder}/changelog.gz ${folder}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endfunction()

zel_package(runtime ${library} libs
"force control for robot motion controllers"
"This package holds the shared library that a controller is linked to.")
zel_package(development libzel-ftc-dev libdevel
"force control for robot motion controllers (development files)"
"This package holds the headers, their manual pages, what CMake and
pkg-config need to find the library, and a whole approach in plain C as a
first example."
"${exact_library}")
zel_package(tools zel-ftc-tools utils
"force control for robot motion controllers (programs)"
"This package holds the command line programs, among them a simulated
force/torque sensor for experiments without hardware."
"${exact_library}")
if("python" IN_LIST CPACK_COMPONENTS_ALL)
  zel_package(python python3-zel-ftc python
"force control for robot motion controllers (Python module)"
"This package holds the module for experiments and analysis in Python."
"${exact_library}, python3 (>= 3.11), python3 (<< 3.12), python3-numpy")
endif()
include(CPack)
