#ifndef ZEL_FTC_CONTROL_CONTROLBASE_H
#define ZEL_FTC_CONTROL_CONTROLBASE_H

/// Common base of the control elements.
class ControlBase {
 public:
  ControlBase() = default;
};

#endif
