#pragma once
// Pieces every class binding shares: automation values, the late-bound base class, the
// surroundings' objects (settings, probe, list, grid) and the enumerations.
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "python/src/Casters.h"
#include "python/src/Errors.h"
#include "vesk4710/support/DispatchBinder.h"
#include "vesk4710/support/Variant.h"

namespace vesk::python {

using DispatchClass = py::class_<IDispatchable, std::shared_ptr<IDispatchable>>;

// Automation values: None, bool, int, float, str, date/datetime and the module's objects.
Variant ToVariant(py::handle value);
py::object FromVariant(const Variant& value);

// The items a list filler wrote, as (text, data) pairs.
py::list ListItems(const ListBox& list);

// The entries a filler writes into a fresh list. A filler that answers false has reported
// its failure already: None then.
// Fillers run as library calls (without the GIL); the list is built with it.
template <class F>
auto FilledList(F&& fill) {
    auto list = ListBox::Create();
    if constexpr (std::is_void_v<std::invoke_result_t<F&, ListBox&>>) {
        fill(*list);
        py::gil_scoped_acquire gil;
        return ListItems(*list);
    } else {
        const bool filled = fill(*list);
        py::gil_scoped_acquire gil;
        return filled ? py::object(ListItems(*list)) : py::object(py::none());
    }
}

// Property accessors by name for the class C in scope; the setter takes what the getter
// gives.
#define VESK_RW(Name, doc)                                                        \
    def_property(                                                                 \
        #Name, [](const C& c) { return RunInLibrary([&] { return c.Name(); }); }, \
        [](C& c, decltype(std::declval<const C&>().Name()) v) {                   \
            InLibrary in;                                                         \
            c.Name(std::move(v));                                                 \
        },                                                                        \
        doc)
#define VESK_RO(Name, doc) \
    def_property_readonly( \
        #Name, [](const C& c) { return RunInLibrary([&] { return c.Name(); }); }, doc)
// A date property as datetime.date; an int property with named values as its IntEnum E.
#define VESK_RW_DATE(Name, doc)                                                             \
    def_property(                                                                           \
        #Name, [](const C& c) { return DateOnly(RunInLibrary([&] { return c.Name(); })); }, \
        [](C& c, Date v) {                                                                  \
            InLibrary in;                                                                   \
            c.Name(v);                                                                      \
        },                                                                                  \
        doc)
#define VESK_RW_ENUM(Name, E, doc)                                                       \
    def_property(                                                                        \
        #Name,                                                                           \
        [](const C& c) {                                                                 \
            return EnumToPython(static_cast<E>(RunInLibrary([&] { return c.Name(); }))); \
        },                                                                               \
        [](C& c, int32_t v) {                                                            \
            InLibrary in;                                                                \
            c.Name(v);                                                                   \
        },                                                                               \
        doc)

// The python class registered for C, for adding members after all classes exist.
template <class C, class... Bases>
py::class_<C, Bases..., std::shared_ptr<C>> ClassOf(py::module_& m, const char* name) {
    return py::reinterpret_borrow<py::class_<C, Bases..., std::shared_ptr<C>>>(m.attr(name));
}

void RegisterEnums(py::module_& m);
// Dispatch, MemberInfo, Registry, Probe, Conversion, ConversionRange, ListBox,
// CalibrationGrid.
void RegisterObjects(py::module_& m);
void RegisterInstrument(py::module_& m);
void RegisterCardAndChannel(py::module_& m);
void RegisterSession(py::module_& m);
void RegisterRecorder(py::module_& m);
void RegisterStatistics(py::module_& m);

}  // namespace vesk::python
