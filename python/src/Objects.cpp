// Automation values, the late-bound base class and the objects around the instrument.
#include "python/src/Objects.h"

#include <cctype>
#include <limits>

#include "vesk4710/calibration/CalibrationGrid.h"
#include "vesk4710/platform/IProbe.h"
#include "vesk4710/platform/IRegistry.h"

namespace vesk::python {

namespace {

MemberKind KindFromText(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    if (text == "method") {
        return MemberKind::Method;
    }
    if (text == "get") {
        return MemberKind::Get;
    }
    if (text == "let") {
        return MemberKind::Let;
    }
    if (text == "set") {
        return MemberKind::Set;
    }
    throw py::value_error("kind is one of 'method', 'get', 'let', 'set'");
}

// No kind given: a method if there is one, else reading the property.
MemberKind ResolveKind(const IDispatchable& self, const std::string& name, const py::object& kind) {
    if (kind.is_none()) {
        for (MemberKind k :
             {MemberKind::Method, MemberKind::Get, MemberKind::Let, MemberKind::Set}) {
            if (FindMember(self.Members(), name, k) != nullptr) {
                return k;
            }
        }
        return MemberKind::Method;  // unknown: the object raises its own error 438
    }
    if (py::isinstance<py::str>(kind)) {
        return KindFromText(kind.cast<std::string>());
    }
    return kind.cast<MemberKind>();
}

py::object Invoke(IDispatchable& self, const std::string& name, MemberKind kind,
                  const py::args& args, bool byref) {
    std::vector<Variant> values;
    values.reserve(args.size());
    for (py::handle a : args) {
        values.push_back(ToVariant(a));
    }
    Variant result;
    {
        InLibrary in;  // as for the members called by name
        result = self.Invoke(name, kind, values);
    }
    py::object out = FromVariant(result);
    if (!byref) {
        return out;
    }
    py::list after;
    for (const Variant& v : values) {
        after.append(FromVariant(v));
    }
    return py::make_tuple(out, after);
}

template <class T>
std::shared_ptr<T> Unforeign(const std::shared_ptr<IDispatchable>& object) {
    if (auto* foreign = dynamic_cast<ForeignObject<T>*>(object.get())) {
        return foreign->Get();
    }
    return nullptr;
}

// A part of an object handed out for as long as Python keeps it: it keeps its owner alive.
template <class Part, class Owner>
std::shared_ptr<Part> PartOf(const std::shared_ptr<Owner>& owner, Part& part) {
    return std::shared_ptr<Part>(owner, &part);
}

// The coefficient members a conversion and each of its ranges have.
template <class T>
py::class_<T, std::shared_ptr<T>> DefCoefficients(py::class_<T, std::shared_ptr<T>> cls) {
    return cls
        .def("Coefficients",
             InLibraryCall(py::overload_cast<int32_t>(&T::Coefficients, py::const_)),
             py::arg("index"), "Coefficient number index.")
        .def("SetCoefficients", InLibraryCall(py::overload_cast<int32_t, double>(&T::Coefficients)),
             py::arg("index"), py::arg("value"), "Sets coefficient number index.")
        .def_property_readonly("NumCoefficients", InLibraryCall(&T::NumCoefficients),
                               "Number of coefficients.")
        .def_property("ValueFormat",
                      InLibraryCall(py::overload_cast<>(&T::ValueFormat, py::const_)),
                      InLibraryCall(py::overload_cast<const std::string&>(&T::ValueFormat)),
                      "Number format of the coefficients.");
}

}  // namespace

Variant ToVariant(py::handle value) {
    PyObject* o = value.ptr();
    if (value.is_none()) {
        return {};
    }
    if (PyBool_Check(o)) {
        return Variant(o == Py_True);
    }
    if (PyLong_Check(o)) {
        int overflow = 0;
        const long long v = PyLong_AsLongLongAndOverflow(o, &overflow);
        if (overflow == 0 && v >= std::numeric_limits<int16_t>::min() &&
            v <= std::numeric_limits<int16_t>::max()) {
            return Variant(static_cast<int16_t>(v));
        }
        if (overflow == 0 && v >= std::numeric_limits<int32_t>::min() &&
            v <= std::numeric_limits<int32_t>::max()) {
            return Variant(static_cast<int32_t>(v));
        }
        // Wider than a Long: a Double, as an automation client would pass it.
        return Variant(PyLong_AsDouble(o));
    }
    if (PyFloat_Check(o)) {
        return Variant(PyFloat_AsDouble(o));
    }
    if (PyUnicode_Check(o) || PyBytes_Check(o)) {
        return Variant(value.cast<std::string>());
    }
    EnsureDateTimeApi();
    if (PyDate_Check(o)) {
        return Variant(value.cast<Date>());
    }
    if (py::isinstance<IDispatchable>(value)) {
        return Variant(value.cast<std::shared_ptr<IDispatchable>>());
    }
    if (py::isinstance<IRegistry>(value)) {
        return dispatch::Wrap(value.cast<std::shared_ptr<IRegistry>>());
    }
    if (py::isinstance<IProbe>(value)) {
        return dispatch::Wrap(value.cast<std::shared_ptr<IProbe>>());
    }
    throw AutomationError(kErrTypeMismatch,
                          RuntimeErrorText(kErrTypeMismatch) + ": " +
                              std::string(py::str(py::type::of(value).attr("__name__"))) +
                              " has no automation value");
}

py::object FromVariant(const Variant& value) {
    const auto& v = value.Value();
    switch (value.Type()) {
        case VariantType::Empty:
            return py::none();
        case VariantType::Integer:
            return py::int_(std::get<int16_t>(v));
        case VariantType::Long:
            return py::int_(std::get<int32_t>(v));
        case VariantType::Double:
            return py::float_(std::get<double>(v));
        case VariantType::Boolean:
            return py::bool_(std::get<bool>(v));
        case VariantType::String:
            return py::cast(std::get<std::string>(v));
        case VariantType::Date: {
            const Date d = std::get<Date>(v);
            return d.TimePart() == 0.0 ? DateOnly(d) : py::cast(d);
        }
        case VariantType::Object: {
            const auto& object = std::get<std::shared_ptr<IDispatchable>>(v);
            if (!object) {
                return py::none();
            }
            if (auto registry = Unforeign<IRegistry>(object)) {
                return py::cast(registry);
            }
            if (auto probe = Unforeign<IProbe>(object)) {
                return py::cast(probe);
            }
            return py::cast(object);
        }
    }
    return py::none();
}

py::list ListItems(const ListBox& list) {
    py::list items;
    for (const auto& item : list.Items()) {
        items.append(py::make_tuple(item.text, item.data));
    }
    return items;
}

void RegisterObjects(py::module_& m) {
    const auto guard = py::call_guard<RaiseKept>();

    py::class_<MemberInfo>(m, "MemberInfo", "One entry of a class's member table.")
        .def_readonly("name", &MemberInfo::name, "Member name.")
        .def_readonly("kind", &MemberInfo::kind, "Method, Get, Let or Set.")
        .def_readonly("dispid", &MemberInfo::dispid,
                      "Dispatch id: the member's 1-based position in the interface; the "
                      "accessors of one property share it.")
        .def("__repr__", [](const MemberInfo& info) {
            return "MemberInfo(" + info.name + ", " +
                   std::string(py::str(py::cast(info.kind).attr("name"))) + ", " +
                   std::to_string(info.dispid) + ")";
        });

    DispatchClass(m, "Dispatch",
                  "An object with a late-bound interface: members by name with automation "
                  "values, as scripting clients call them. The instrument, module and "
                  "channel classes derive from it; other objects a late-bound call hands out "
                  "(the communications object, lists) come back as this class.")
        .def_property_readonly("class_name", &IDispatchable::ClassName,
                               "The automation class name.")
        .def(
            "members", [](const IDispatchable& self) { return self.Members(); },
            "The member table in interface order.")
        .def(
            "invoke",
            [](IDispatchable& self, const std::string& name, const py::args& args,
               const py::object& kind, bool byref) {
                return Invoke(self, name, ResolveKind(self, name, kind), args, byref);
            },
            py::arg("name"), py::arg("kind") = py::none(), py::arg("byref") = false,
            "Calls a member by name (case-insensitive) with automation values.\n\n"
            "kind is 'method', 'get', 'let', 'set' or a MemberKind; by default a method, "
            "else a property read. Arguments left out take the member's defaults. With "
            "byref=True the result comes back as (result, arguments after the call), so "
            "that by-reference arguments can be read back.",
            guard)
        .def(
            "put",
            [](IDispatchable& self, const std::string& name, const py::args& args) {
                const bool let = FindMember(self.Members(), name, MemberKind::Let) != nullptr ||
                                 FindMember(self.Members(), name, MemberKind::Set) == nullptr;
                Invoke(self, name, let ? MemberKind::Let : MemberKind::Set, args, false);
            },
            py::arg("name"),
            "Writes a property by name: put('Resolution', 4). Indexed properties take "
            "their index first.",
            guard);

    py::class_<ListBox, IDispatchable, std::shared_ptr<ListBox>>(
        m, "ListBox", "A list in memory that list fillers write into.")
        .def(py::init(&ListBox::Create), "An empty list.")
        .def(
            "items", [](const ListBox& list) { return ListItems(list); },
            "The entries as (text, data) pairs.");

    py::class_<IRegistry, std::shared_ptr<IRegistry>>(
        m, "Registry", "Per-user settings: named values and dialog form state.")
        .def("ReadValue", InLibraryCall(&IRegistry::ReadValue), py::arg("name"),
             py::arg("section") = 0, py::arg("rootKey") = kHKeyCurrentUser,
             py::arg("defaultValue") = "", py::arg("subkey") = "",
             "A value, or defaultValue when it is not set.")
        .def("WriteValue", InLibraryCall(&IRegistry::WriteValue), py::arg("name"),
             py::arg("section"), py::arg("rootKey"), py::arg("value"), py::arg("subkey") = "",
             "Stores a value.")
        .def(
            "get",
            [](IRegistry& r, const std::string& name, const std::string& defaultValue) {
                InLibrary in;
                return r.ReadValue(name, 0, kHKeyCurrentUser, defaultValue);
            },
            py::arg("name"), py::arg("default") = "",
            "A value of the current user's settings, such as 'DownloadFolder'.")
        .def(
            "set",
            [](IRegistry& r, const std::string& name, const std::string& value) {
                InLibrary in;
                r.WriteValue(name, 0, kHKeyCurrentUser, value);
            },
            py::arg("name"), py::arg("value"), "Stores a value of the current user's settings.");

    DefCoefficients(
        py::class_<IConversionRange, std::shared_ptr<IConversionRange>>(
            m, "ConversionRange", "The coefficients of one range of a two-range conversion."))
        .def_property(
            "Range", InLibraryCall(py::overload_cast<>(&IConversionRange::Range, py::const_)),
            InLibraryCall(py::overload_cast<int32_t>(&IConversionRange::Range)), "Selected range.")
        .def_property(
            "MinRange", InLibraryCall(py::overload_cast<>(&IConversionRange::MinRange, py::const_)),
            InLibraryCall(py::overload_cast<int32_t>(&IConversionRange::MinRange)), "Lowest range.")
        .def_property("MaxRange",
                      InLibraryCall(py::overload_cast<>(&IConversionRange::MaxRange, py::const_)),
                      InLibraryCall(py::overload_cast<int32_t>(&IConversionRange::MaxRange)),
                      "Highest range.");

    DefCoefficients(py::class_<IConversion, std::shared_ptr<IConversion>>(
                        m, "Conversion", "A probe's coefficient set for one conversion type."))
        .def_property("UsePolynomial",
                      InLibraryCall(py::overload_cast<>(&IConversion::UsePolynomial, py::const_)),
                      InLibraryCall(py::overload_cast<bool>(&IConversion::UsePolynomial)),
                      "Whether the polynomial form is used.")
        .def_property("RTPW", InLibraryCall(py::overload_cast<>(&IConversion::RTPW, py::const_)),
                      InLibraryCall(py::overload_cast<double>(&IConversion::RTPW)),
                      "Resistance at the triple point of water, ohms.")
        .def_property("TCType",
                      InLibraryCall(py::overload_cast<>(&IConversion::TCType, py::const_)),
                      InLibraryCall(py::overload_cast<int32_t>(&IConversion::TCType)),
                      "Thermocouple type index.")
        .def(
            "LowRange",
            [](const std::shared_ptr<IConversion>& c) {
                InLibrary in;
                return PartOf(c, c->LowRange());
            },
            "The low range's coefficients.")
        .def(
            "HighRange",
            [](const std::shared_ptr<IConversion>& c) {
                InLibrary in;
                return PartOf(c, c->HighRange());
            },
            "The high range's coefficients.");

    py::class_<IProbe, std::shared_ptr<IProbe>>(
        m, "Probe", "The probe of a channel: serial number, conversion type and coefficients.")
        .def_property("Serial", InLibraryCall(py::overload_cast<>(&IProbe::Serial, py::const_)),
                      InLibraryCall(py::overload_cast<const std::string&>(&IProbe::Serial)),
                      "Probe serial number.")
        .def_property("ConversionType",
                      InLibraryCall(py::overload_cast<>(&IProbe::ConversionType, py::const_)),
                      InLibraryCall(py::overload_cast<int32_t>(&IProbe::ConversionType)),
                      "Conversion type number (-1 to 20).")
        .def_property("Changed", InLibraryCall(py::overload_cast<>(&IProbe::Changed, py::const_)),
                      InLibraryCall(py::overload_cast<bool>(&IProbe::Changed)),
                      "Whether the probe changed.")
        .def_property("FilePath", InLibraryCall(py::overload_cast<>(&IProbe::FilePath, py::const_)),
                      InLibraryCall(py::overload_cast<const std::string&>(&IProbe::FilePath)),
                      "Folder of the probe's files.")
        .def(
            "ActiveConversion",
            [](const std::shared_ptr<IProbe>& p) {
                InLibrary in;
                return PartOf(p, p->ActiveConversion());
            },
            "The coefficient set of the current conversion type.")
        .def(
            "ConversionOf",
            [](const std::shared_ptr<IProbe>& p, int32_t type) {
                if (type < -1 || type > 20) {
                    throw AutomationError::Runtime(kErrSubscriptOutOfRange);
                }
                InLibrary in;
                return PartOf(p, p->ConversionOf(type));
            },
            py::arg("type"), "The coefficient set kept for one conversion type (-1 to 20).");

    py::class_<CalibrationGrid, std::shared_ptr<CalibrationGrid>>(
        m, "CalibrationGrid",
        "The calibration-parameter grid: range names, headings, then one row per "
        "adjustment point.")
        .def(py::init<>(), "A grid laid out for calibration parameters.")
        .def_property_readonly(
            "Rows", [](const CalibrationGrid& g) { return RunInLibrary([&] { return g.Rows(); }); },
            "Number of rows.")
        .def_property_readonly(
            "Cols", [](const CalibrationGrid& g) { return RunInLibrary([&] { return g.Cols(); }); },
            "Number of columns.")
        .def(
            "TextMatrix",
            [](const CalibrationGrid& g, int32_t row, int32_t col) {
                return RunInLibrary([&] { return g.TextMatrix(row, col); });
            },
            py::arg("row"), py::arg("col"), "The text of one cell (0-based).")
        .def(
            "SetTextMatrix",
            [](CalibrationGrid& g, int32_t row, int32_t col, const std::string& text) {
                InLibrary in;
                g.TextMatrix(row, col, text);
            },
            py::arg("row"), py::arg("col"), py::arg("text"), "Sets the text of one cell.")
        .def(
            "cells",
            [](const CalibrationGrid& g) {
                const auto cells = RunInLibrary([&] {
                    std::vector<std::vector<std::string>> all(g.Rows());
                    for (int32_t r = 0; r < g.Rows(); ++r) {
                        for (int32_t c = 0; c < g.Cols(); ++c) {
                            all[r].push_back(g.TextMatrix(r, c));
                        }
                    }
                    return all;
                });
                py::list rows;
                for (const auto& cellsOfRow : cells) {
                    py::list row;
                    for (const std::string& text : cellsOfRow) {
                        row.append(py::cast(text));
                    }
                    rows.append(row);
                }
                return rows;
            },
            "Every cell, row by row.");
}

}  // namespace vesk::python
