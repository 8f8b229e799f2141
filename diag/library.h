// The library-wide objects as the flat interface and its diagnosis see them. Internal: not
// installed.
#ifndef ZEL_FTC_DIAG_LIBRARY_H
#define ZEL_FTC_DIAG_LIBRARY_H

#include "ft/ZelForceSensorBase.h"
#include "robot/ZelFTCTool.h"
#include "robot/ZelForceControlTool.h"
#include "zel_ftc_lib.h"

namespace zel {

inline bool isOpen() {
  return m_zelftcclass != nullptr && m_zelftsensorclass != nullptr;
}

/// Only while open.
inline ZelForceControlTool& tool() {
  return *static_cast<ZelForceControlTool*>(m_zelftcclass);
}
inline ZelSensor& sensor() {
  return *static_cast<ZelSensor*>(m_zelftsensorclass);
}

/// For the operations that the concrete class adds to the interface, and for its members.
inline ZelFTCTool& concreteTool() {
  return static_cast<ZelFTCTool&>(tool());
}

}  // namespace zel

#endif
