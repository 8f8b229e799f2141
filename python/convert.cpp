#include "python/convert.h"

namespace zel::python {

void refuse(const zel_ftc_reason& reason) {
  const py::object type = py::module_::import("zel_ftc.error").attr("Error");
  PyErr_SetObject(type.ptr(), type(reason).ptr());
  throw py::error_already_set();
}

void require(int result) {
  if (result == 1) return;
  zel_ftc_reason reason = {};
  zel_ftc_lastReason(&reason);
  refuse(reason);
}

bool done(int result, const char* function) {
  if (result < 0) {
    zel_ftc_reason reason = {};
    reason.kind = ZEL_REASON_NOT_OPEN;
    reason.result = result;
    reason.function = function;
    reason.argument = reason.unit = "";
    reason.element = -1;
    refuse(reason);
  }
  return result == 1;
}

}  // namespace zel::python
