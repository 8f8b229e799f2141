#include "control/ControlBase.h"

ControlBase::ControlBase() = default;
