// CVesk4710Card and CVesk4710Channel: their members under their own names.
#include "python/src/Objects.h"
#include "python/src/PyHost.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/modules/CVesk4710Card.h"

namespace vesk::python {

void RegisterCardAndChannel(py::module_& m) {
    const auto guard = LibraryCall();
    {
        using C = CVesk4710Card;
        auto cls = ClassOf<C, IDispatchable>(m, "CVesk4710Card");
        cls.def(py::init([] { return C::Create(DefaultSessionHost()); }),
                "A module on its own, not part of an instrument (the instrument builds its "
                "modules when it reads the module count).")
            .VESK_RW(FilePath, "Folder of the library's files, handed on to the channels.")
            .def("SetRegistry", &C::SetRegistry, py::arg("value"),
                 "Hands the per-user settings object to the module and its channels.", guard)
            .VESK_RO(Registry, "The per-user settings object, or None.")
            .def("SetBaseUnit", &C::SetBaseUnit, py::arg("value"),
                 "Sets the instrument this module belongs to (kept as a weak reference).", guard)
            .VESK_RO(BaseUnit, "The instrument, or None once it is gone.")
            .VESK_RW(Changed, "Whether a setting of the module changed.")
            .def_property_readonly(
                "ModuleType",
                [](const C& c) {
                    return EnumToPython(
                        static_cast<E4710ModuleType>(RunInLibrary([&] { return c.ModuleType(); })));
                },
                "Kind of module (E4710ModuleType).")
            .def("SetModuleNumber", &C::SetModuleNumber, py::arg("value"),
                 "Sets the module's position in the instrument.", guard)
            .VESK_RO(ModuleNumber, "The module's position in the instrument.")
            .VESK_RO(NumChannels, "Channels on the module.")
            .def("SetStartChannel", &C::SetStartChannel, py::arg("value"),
                 "Sets the instrument-wide number of the module's first channel.", guard)
            .VESK_RO(StartChannel, "Instrument-wide number of the module's first channel.")
            .VESK_RO(ModuleName, "Name of the module.")
            .def("Channels", &C::Channels, py::arg("idx"), "Channel idx of the module (0-based).",
                 guard)
            .def("__repr__", [](const C& c) {
                return "<CVesk4710Card " + std::to_string(c.ModuleNumber()) + " " +
                       std::string(
                           py::repr(py::cast(RunInLibrary([&] { return c.ModuleName(); })))) +
                       ">";
            });
    }
    {
        using C = CVesk4710Channel;
        auto cls = ClassOf<C, IDispatchable>(m, "CVesk4710Channel");
        cls.def(py::init([] { return C::Create(DefaultSessionHost()); }),
                "A channel on its own, not part of an instrument (an instrument's channels "
                "come from GetChannelReference or a module's Channels).")
            .VESK_RW_DATE(CalDate, "The probe's calibration date (datetime.date).")
            .VESK_RW(Enabled, "Whether the channel is switched on.")
            .def("SetModule", &C::SetModule, py::arg("module"),
                 "Sets the module this channel belongs to (kept as a weak reference).", guard)
            .VESK_RO(Module, "The module, or None once it is gone.")
            .VESK_RW(FilePath, "Folder of the probe's files.")
            .def("SetRegistry", &C::SetRegistry, py::arg("registry"),
                 "Hands the per-user settings object to the channel and its probe.", guard)
            .VESK_RO(Registry, "The per-user settings object, or None.")
            .VESK_RW(ProbeLock, "Whether the probe settings are locked on the instrument.")
            .VESK_RW(Resolution, "Decimal places of the channel's readings.")
            .VESK_RW_ENUM(RJCType, E4710RJCType, "Reference-junction compensation (E4710RJCType).")
            .VESK_RW(RJCTemperature, "External reference-junction temperature.")
            .VESK_RW(RJCTemperatureFormat, "Number format of RJCTemperature.")
            .VESK_RW(Changed, "Whether a setting of the channel changed.")
            .def("SetBaseUnit", &C::SetBaseUnit, py::arg("instrument"),
                 "Sets the instrument this channel talks through (kept as a weak reference).",
                 guard)
            .VESK_RO(BaseUnit, "The instrument, or None once it is gone.")
            .VESK_RO(MaxRJCTemperature, "Highest external reference-junction temperature.")
            .VESK_RO(MinRJCTemperature, "Lowest external reference-junction temperature.")
            .VESK_RW(MINOP, "Lower operating limit.")
            .VESK_RW(MAXOP, "Upper operating limit.")
            .VESK_RO(ModuleChannel, "Number of the channel on its module (1-based).")
            .def("SetModuleChannel", &C::SetModuleChannel, py::arg("value"),
                 "Sets the number of the channel on its module.", guard)
            .VESK_RO(ActualChannel, "Instrument-wide channel number (1-based).")
            .def("SetActualChannel", &C::SetActualChannel, py::arg("value"),
                 "Sets the instrument-wide channel number.", guard)
            .VESK_RO(Probe, "The channel's probe (Probe).")
            .VESK_RW_ENUM(ProbeType, EProbeType, "Kind of probe (EProbeType).")
            .VESK_RO(MaxSerialLength, "Longest probe serial number.")
            .def("Edit", &C::Edit, "Opens the channel dialog (needs a toolkit that shows it).",
                 guard)
            .def("SetConversionType", &C::SetConversionType, py::arg("conversionType"),
                 py::arg("tcType"),
                 "Sets the probe's conversion type (-1 to 20) and thermocouple type.", guard)
            .def(
                "QueryInfo", [](C& c, const py::none&) { return c.QueryInfo(nullptr); },
                py::arg("parent") = py::none(),
                "Reads the channel's settings and its probe's coefficients; False after "
                "telling the user what failed.",
                guard)
            .def(
                "UpdateInfo", [](C& c, const py::none&) { return c.UpdateInfo(nullptr); },
                py::arg("parent") = py::none(),
                "Writes every setting and coefficient back and reads each one again, whether "
                "changed or not; the probe serial number among them, so it unlocks with the "
                "instrument's Passcode first. False after telling the user what failed. To "
                "change one unprotected setting, assign it and call its own Update method "
                "(UpdateResolution, UpdateMINOP, ...): no passcode is needed then.",
                guard)
            .def(
                "FillConversionTypeList",
                [](C& c, int32_t probeType) {
                    return FilledList(
                        [&](ListBox& l) { return c.FillConversionTypeList(l, probeType); });
                },
                py::arg("probeType"),
                "The conversion types of a probe type as (text, type) pairs, or None.", guard)
            .def(
                "FillProbeTypeList",
                [](C& c) { return FilledList([&](ListBox& l) { return c.FillProbeTypeList(l); }); },
                "The probe types as (text, type) pairs, or None.", guard)
            .def(
                "FillResolutionList",
                [](C& c) {
                    return FilledList([&](ListBox& l) { return c.FillResolutionList(l); });
                },
                "The resolutions as (text, decimals) pairs, or None.", guard)
            .def(
                "FillRJCTypeList",
                [](C& c) { return FilledList([&](ListBox& l) { return c.FillRJCTypeList(l); }); },
                "The reference-junction types as (text, type) pairs, or None.", guard);

        // Single settings of the channel, outside the automation interface.
        cls.def("QuerySerialNumber", &C::QuerySerialNumber, "Reads the probe serial number.", guard)
            .def("QueryCalDate", &C::QueryCalDate, "Reads the calibration date.", guard)
            .def("QueryConversionType", &C::QueryConversionType, "Reads the conversion type.",
                 guard)
            .def("QueryResolution", &C::QueryResolution, "Reads the resolution.", guard)
            .def("UpdateSerialNumber", &C::UpdateSerialNumber,
                 "Writes the probe serial number (protected: unlock with "
                 "UpdatePasscodeState first).",
                 guard)
            .def("UpdateResolution", &C::UpdateResolution, "Writes the resolution.", guard)
            .def("UpdateCalDate", &C::UpdateCalDate, "Writes the calibration date.", guard)
            .def("QueryMINOP", &C::QueryMINOP, "Reads MINOP.", guard)
            .def("UpdateMINOP", &C::UpdateMINOP, "Writes MINOP.", guard)
            .def("QueryMAXOP", &C::QueryMAXOP, "Reads MAXOP.", guard)
            .def("UpdateMAXOP", &C::UpdateMAXOP, "Writes MAXOP.", guard)
            .def("QueryProbeLock", &C::QueryProbeLock, "Reads the probe lock.", guard)
            .def("UpdateProbeLock", &C::UpdateProbeLock, "Writes the probe lock.", guard)
            .def("QueryRJCType", &C::QueryRJCType, "Reads the reference-junction type.", guard)
            .def("UpdateRJCType", &C::UpdateRJCType, "Writes the reference-junction type.", guard)
            .def("QueryExternalRJCTemperature", &C::QueryExternalRJCTemperature,
                 "Reads the external reference-junction temperature.", guard)
            .def("UpdateExternalRJCTemperature", &C::UpdateExternalRJCTemperature,
                 "Writes the external reference-junction temperature.", guard)
            .def("UpdateConversionType", &C::UpdateConversionType,
                 "Writes the conversion type (protected when conversions are).", guard)
            .def("__repr__", [](const C& c) {
                return "<CVesk4710Channel " +
                       std::to_string(RunInLibrary([&] { return c.ActualChannel(); })) + ">";
            });
    }
}

}  // namespace vesk::python
