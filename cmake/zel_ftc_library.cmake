# The shared library: its sources, its public headers, what it exports.
find_package(Boost REQUIRED)

# What a user may include: these headers are installed, and no others. The flat ones have a manual
# page each.
set(ZEL_FTC_FLAT_HEADERS
  zel_ftc_lib.h zel_ftc_types.h
  zel_ftc_check.h zel_ftc_diag.h zel_ftc_guard.h zel_ftc_workers.h)
set(ZEL_FTC_CLASS_HEADERS
  zel_clock.h
  matrix/rvector.h matrix/rmatrix.h matrix/rmatrix30.h matrix/ldd_tool.h
  ft/ZelForceSensorBase.h ft/ZelForceSensorExternal.h
  ft/ZelForceSensorEtherNetUDP.h
  tool/ringbuffermanager.h tool/newestframe.h
  control/ControlBase.h control/MBK_Fhan.h
  robot/ZelForceControlTool.h robot/ZelFTCTool.h)

add_library(zel_ftc SHARED
  zel_ftc_lib.cpp
  zel_ftc_workers.cpp
  diag/check.cpp
  diag/check_contact.cpp
  diag/check_general.cpp
  diag/check_path.cpp
  diag/codes.cpp
  diag/cycleview.cpp
  diag/guard.cpp
  diag/history.cpp
  diag/linkmonitor.cpp
  diag/reasons.cpp
  matrix/rvector.cpp
  matrix/rmatrix.cpp
  matrix/rmatrix_decompositions.cpp
  matrix/rmatrix30.cpp
  matrix/loadmodel.cpp
  matrix/ldd_tool.cpp
  ft/sensor_status.cpp
  ft/sensor_workers.cpp
  ft/ZelForceSensorBase.cpp
  ft/ZelForceSensorExternal.cpp
  ft/ZelForceSensorEtherNetUDP.cpp
  ft/ZelForceSensorEtherNetUDP_protocol.cpp
  tool/ringbuffermanager.cpp
  control/ControlBase.cpp
  control/MBK_Fhan.cpp
  robot/ZelFTCTool_configuration.cpp
  robot/ZelFTCTool_measurement.cpp
  robot/ZelFTCTool_calibration.cpp
  robot/ZelFTCTool_controller.cpp
  robot/ZelFTCTool_correction.cpp
  robot/ZelFTCTool_path.cpp
  robot/ZelFTCTool_monitoring.cpp
  robot/ZelFTCTool_runs.cpp
)
add_library(zel_ftc::zel_ftc ALIAS zel_ftc)
target_include_directories(zel_ftc PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zel_ftc>)
target_sources(zel_ftc PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}
  FILES ${ZEL_FTC_FLAT_HEADERS} ${ZEL_FTC_CLASS_HEADERS})
target_link_libraries(zel_ftc PRIVATE zel_ftc_options Boost::headers Threads::Threads)
# Calls inside the library bind to the library and may be inlined, across files as well.
target_compile_options(zel_ftc PRIVATE -fno-semantic-interposition)
target_link_options(zel_ftc PRIVATE "LINKER:-Bsymbolic-functions")
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug"
   AND NOT ZEL_FTC_SANITIZE)
  set_target_properties(zel_ftc PROPERTIES INTERPROCEDURAL_OPTIMIZATION ON)
endif()
set_target_properties(zel_ftc PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON)
# Standard-library templates are instantiated with default visibility; the map keeps them in.
target_link_options(zel_ftc PRIVATE
  "LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/zel_ftc.map" "LINKER:--no-undefined")
# Every symbol is found when the library is loaded, none in the first control cycle that needs it.
target_link_options(zel_ftc PRIVATE "LINKER:-z,relro,-z,now")
set_target_properties(zel_ftc PROPERTIES LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/zel_ftc.map")
