// Between Python and the library: arrays of numbers, enumerations, records, refusals.
#ifndef ZEL_FTC_PYTHON_CONVERT_H
#define ZEL_FTC_PYTHON_CONVERT_H

#include <fmt/format.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>
#include <string>

#include "tool/plaintext.h"
#include "zel_ftc_check.h"
#include "zel_ftc_diag.h"
#include "zel_ftc_guard.h"
#include "zel_ftc_types.h"
#include "zel_ftc_workers.h"

namespace zel::python {

namespace py = pybind11;

/// An argument that holds numbers: an array, a list, a tuple. What it must be tells `numbers`.
class ArrayLike : public py::object {
 public:
  PYBIND11_OBJECT_DEFAULT(ArrayLike, object, isAnything)

 private:
  static bool isAnything(PyObject*) { return true; }
};

/// A result of numbers.
class Array : public py::array_t<double> {
 public:
  using py::array_t<double>::array_t;
  template <std::size_t N>
  explicit Array(const std::array<double, N>& values) : py::array_t<double>(N, values.data()) {}
};

/// The N numbers of an argument. Throws TypeError for what holds no real numbers and ValueError for
/// another shape; both name the argument.
template <std::size_t N>
std::array<double, N> numbers(const ArrayLike& source, const char* name) {
  const auto array = py::array::ensure(source);
  if (!array) throw py::type_error(fmt::format("{}: {} numbers wanted", name, N));
  const char kind = array.dtype().kind();
  if (kind != 'f' && kind != 'i' && kind != 'u') {
    throw py::type_error(fmt::format("{}: {} real numbers wanted, not {}", name, N,
                                     std::string(py::str(array.dtype()))));
  }
  if (array.ndim() != 1 || array.shape(0) != N) {
    throw py::value_error(fmt::format("{}: shape ({},) wanted, not {}", name, N,
                                      std::string(py::str(array.attr("shape")))));
  }
  const auto doubles = py::array_t<double, py::array::forcecast>::ensure(array).unchecked<1>();
  std::array<double, N> values;
  for (std::size_t i = 0; i < N; ++i) values[i] = doubles(static_cast<py::ssize_t>(i));
  return values;
}

/// name=value of every property, for a look at a record.
std::string describe(const py::object& record);

/// A class with a readable look.
template <typename T>
py::class_<T> record(const py::module_& module, const char* name, const char* doc) {
  py::class_<T> type(module, name, doc);
  type.def("__repr__", &describe);
  return type;
}

/// Raises zel_ftc.Error with this reason.
[[noreturn]] void refuse(const zel_ftc_reason& reason);

/// Raises zel_ftc.Error with the last reason unless a function of zel_ftc_lib.h returned 1.
void require(int result);

/// The functions of the other flat headers leave no reason: raises zel_ftc.Error when the library
/// is not open. True when the function returned 1.
bool done(int result, const char* function);

/// The member of an enumeration of the module; a number that is none stays a number.
py::object member(const char* enumeration, int value);
bool isNumber(py::handle source, int& value);

// What each source file adds to the module.
void addEnumerations(py::module_& module);
void addDiagnosis(py::module_& module);
void addInterface(py::module_& module);
void addLoadTool(py::module_& module);

}  // namespace zel::python

namespace pybind11::detail {

template <>
struct handle_type_name<zel::python::ArrayLike> {
  static constexpr auto name = const_name("numpy.typing.ArrayLike");
};
template <>
struct handle_type_name<zel::python::Array> {
  static constexpr auto name = const_name("numpy.typing.NDArray[numpy.float64]");
};

/// Enumerations of C are classes of Python's enum.IntEnum.
#define ZEL_PYTHON_ENUM(E)                                           \
  template <>                                                        \
  struct type_caster<E> {                                            \
    PYBIND11_TYPE_CASTER(E, const_name(#E));                         \
    bool load(handle source, bool) {                                 \
      int number = 0;                                                \
      if (!zel::python::isNumber(source, number)) return false;      \
      value = static_cast<E>(number);                                \
      return true;                                                   \
    }                                                                \
    static handle cast(E e, return_value_policy, handle) {           \
      return zel::python::member(#E, static_cast<int>(e)).release(); \
    }                                                                \
  }
ZEL_PYTHON_ENUM(ZelCheck);
ZEL_PYTHON_ENUM(ZelCodeSpace);
ZEL_PYTHON_ENUM(ZelDirection);
ZEL_PYTHON_ENUM(ZelGuardAction);
ZEL_PYTHON_ENUM(ZelGuardLimit);
ZEL_PYTHON_ENUM(ZelInfoCode);
ZEL_PYTHON_ENUM(ZelMinValueName);
ZEL_PYTHON_ENUM(ZelRcs);
ZEL_PYTHON_ENUM(ZelReasonKind);
ZEL_PYTHON_ENUM(ZelRelation);
ZEL_PYTHON_ENUM(ZelRunKind);
ZEL_PYTHON_ENUM(ZelSeverity);
ZEL_PYTHON_ENUM(ZelWhyKind);
ZEL_PYTHON_ENUM(ZelWorker);
ZEL_PYTHON_ENUM(ZelWorkerPolicy);
ZEL_PYTHON_ENUM(ZelWorkerStep);
#undef ZEL_PYTHON_ENUM

}  // namespace pybind11::detail

#endif
