#ifndef ZEL_FTC_CONTROL_CONTROLBASE_H
#define ZEL_FTC_CONTROL_CONTROLBASE_H

#include "zel_ftc_types.h"

/// Common base of the control elements.
class ZEL_FTC_API ControlBase {
 public:
  ControlBase();
};

#endif
