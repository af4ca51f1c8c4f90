#pragma once
// How the library's values look in Python: enumerations as IntEnum members, dates as
// datetime, 16- and 32-bit integers with the library's own overflow error, and texts that
// keep bytes which are not UTF-8 (an instrument may send any byte) through a round trip.
// Every source of the module includes this header before anything else of pybind11 use, so
// that each type converts the same way everywhere.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
// datetime.h defines PyDateTimeAPI per translation unit; it needs Python.h first.
#include <datetime.h>

#include <cstdint>
#include <limits>
#include <string>

#include "vesk4710/core/Enums.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/Date.h"
#include "vesk4710/support/Dispatch.h"
#include "vesk4710/support/NumberText.h"

namespace vesk::python {

namespace py = pybind11;

// The IntEnum class of E, made once at import (held for the life of the process).
template <class E>
struct EnumClass {
    static inline PyObject* cls = nullptr;
};

// An enumeration value as its IntEnum member; a value without a member (units 2, kelvin)
// stays a plain int.
template <class E>
py::object EnumToPython(E value) {
    const auto number = static_cast<int64_t>(value);
    if (EnumClass<E>::cls != nullptr) {
        py::handle cls(EnumClass<E>::cls);
        py::object members = cls.attr("_value2member_map_");
        py::int_ key(number);
        if (members.contains(key)) {
            return members[key];
        }
    }
    return py::int_(number);
}

// Range-checked integer from a Python int (an IntEnum member or bool is an int too); a float
// rounds half to even as the automation coercion does. Out of range raises error 6.
template <class T>
bool LoadInteger(py::handle src, T& value) {
    PyObject* o = src.ptr();
    if (PyFloat_Check(o)) {
        const double d = PyFloat_AsDouble(o);
        if constexpr (sizeof(T) == 2) {
            value = CInt16(d);
        } else {
            value = CInt32(d);
        }
        return true;
    }
    if (!PyLong_Check(o)) {
        return false;
    }
    int overflow = 0;
    const long long v = PyLong_AsLongLongAndOverflow(o, &overflow);
    if (v == -1 && PyErr_Occurred() != nullptr) {
        PyErr_Clear();
        return false;
    }
    if (overflow != 0 || v < std::numeric_limits<T>::min() || v > std::numeric_limits<T>::max()) {
        throw AutomationError::Runtime(kErrOverflow);
    }
    value = static_cast<T>(v);
    return true;
}

inline void EnsureDateTimeApi() {
    if (PyDateTimeAPI == nullptr) {
        PyDateTime_IMPORT;
    }
}

}  // namespace vesk::python

namespace pybind11::detail {

template <>
class type_caster<int16_t> {
  public:
    PYBIND11_TYPE_CASTER(int16_t, const_name("int"));
    bool load(handle src, bool) { return vesk::python::LoadInteger(src, value); }
    static handle cast(int16_t v, return_value_policy, handle) { return PyLong_FromLong(v); }
};

template <>
class type_caster<int32_t> {
  public:
    PYBIND11_TYPE_CASTER(int32_t, const_name("int"));
    bool load(handle src, bool) { return vesk::python::LoadInteger(src, value); }
    static handle cast(int32_t v, return_value_policy, handle) { return PyLong_FromLong(v); }
};

template <>
class type_caster<std::string> {
  public:
    PYBIND11_TYPE_CASTER(std::string, const_name("str"));
    bool load(handle src, bool) {
        PyObject* o = src.ptr();
        if (PyUnicode_Check(o)) {
            PyObject* bytes = PyUnicode_AsEncodedString(o, "utf-8", "surrogateescape");
            if (bytes == nullptr) {
                PyErr_Clear();
                return false;
            }
            value.assign(PyBytes_AS_STRING(bytes), static_cast<size_t>(PyBytes_GET_SIZE(bytes)));
            Py_DECREF(bytes);
            return true;
        }
        if (PyBytes_Check(o)) {
            value.assign(PyBytes_AS_STRING(o), static_cast<size_t>(PyBytes_GET_SIZE(o)));
            return true;
        }
        return false;
    }
    static handle cast(const std::string& s, return_value_policy, handle) {
        PyObject* o =
            PyUnicode_DecodeUTF8(s.data(), static_cast<Py_ssize_t>(s.size()), "surrogateescape");
        if (o == nullptr) {
            throw error_already_set();
        }
        return o;
    }
};

// Dates: datetime.datetime or datetime.date in; datetime.datetime out (members whose value is
// a calendar date only hand out datetime.date themselves).
template <>
class type_caster<vesk::Date> {
  public:
    PYBIND11_TYPE_CASTER(vesk::Date, const_name("datetime.datetime"));
    bool load(handle src, bool) {
        vesk::python::EnsureDateTimeApi();
        PyObject* o = src.ptr();
        if (PyDateTime_Check(o)) {
            value = vesk::Date::FromYMDHMS(PyDateTime_GET_YEAR(o), PyDateTime_GET_MONTH(o),
                                           PyDateTime_GET_DAY(o), PyDateTime_DATE_GET_HOUR(o),
                                           PyDateTime_DATE_GET_MINUTE(o),
                                           PyDateTime_DATE_GET_SECOND(o));
            return true;
        }
        if (PyDate_Check(o)) {
            value = vesk::Date::FromYMD(PyDateTime_GET_YEAR(o), PyDateTime_GET_MONTH(o),
                                        PyDateTime_GET_DAY(o));
            return true;
        }
        return false;
    }
    static handle cast(const vesk::Date& d, return_value_policy, handle) {
        vesk::python::EnsureDateTimeApi();
        PyObject* o = PyDateTime_FromDateAndTime(d.Year(), d.Month(), d.Day(), d.Hour(), d.Minute(),
                                                 d.Second(), 0);
        if (o == nullptr) {
            throw error_already_set();
        }
        return o;
    }
};

template <class E>
class IntEnumCaster {
  public:
    bool load(handle src, bool) {
        int32_t v = 0;
        if (PyFloat_Check(src.ptr()) || !vesk::python::LoadInteger(src, v)) {
            return false;
        }
        value = static_cast<E>(v);
        return true;
    }
    static handle cast(E v, return_value_policy, handle) {
        return vesk::python::EnumToPython(v).release();
    }
    operator E*() { return &value; }
    operator E&() { return value; }
    template <typename T>
    using cast_op_type = pybind11::detail::cast_op_type<T>;

  protected:
    E value{};
};

}  // namespace pybind11::detail

#define VESK_PY_INT_ENUM(E)                                      \
    namespace pybind11::detail {                                 \
    template <>                                                  \
    class type_caster<vesk::E> : public IntEnumCaster<vesk::E> { \
      public:                                                    \
        static constexpr auto name = const_name(#E);             \
    };                                                           \
    }

VESK_PY_INT_ENUM(E4710Units)
VESK_PY_INT_ENUM(E4710Interval)
VESK_PY_INT_ENUM(E4710ScanMode)
VESK_PY_INT_ENUM(E4710PasscodeState)
VESK_PY_INT_ENUM(E4710RJCType)
VESK_PY_INT_ENUM(E4710ModuleType)
VESK_PY_INT_ENUM(E4710DownloadOption)
VESK_PY_INT_ENUM(E4710DownloadLogOption)
VESK_PY_INT_ENUM(EProbeType)
VESK_PY_INT_ENUM(E4710DateFormat)
VESK_PY_INT_ENUM(E4710TimeFormat)
VESK_PY_INT_ENUM(MemberKind)

namespace vesk::python {

// The calendar date alone, for members whose value is a date without a time.
inline py::object DateOnly(const Date& d) {
    EnsureDateTimeApi();
    PyObject* o = PyDate_FromDate(d.Year(), d.Month(), d.Day());
    if (o == nullptr) {
        throw py::error_already_set();
    }
    return py::reinterpret_steal<py::object>(o);
}

}  // namespace vesk::python
