#include "python/convert.h"

namespace zel::python {

std::string describe(const py::object& record) {
  const py::object type = py::type::of(record);
  std::string text;
  for (const auto& [name, attribute] : py::dict(type.attr("__dict__").attr("copy")())) {
    if (!PyObject_TypeCheck(attribute.ptr(), &PyProperty_Type)) continue;
    text += fmt::format("{}{}={}", text.empty() ? "" : ", ", std::string(py::str(name)),
                        std::string(py::repr(record.attr(name))));
  }
  return fmt::format("{}({})", std::string(py::str(type.attr("__name__"))), text);
}

}  // namespace zel::python
