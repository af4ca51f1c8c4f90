// vesk4710.Statistics: the statistics and stability verdict the desktop app and `vesk4710
// watch` use, for scripts that take their own readings. Times are seconds since the epoch, as
// time.time() gives them.
#include <cmath>
#include <optional>

#include "components/statistics/WindowStatistics.h"
#include "python/src/Objects.h"

namespace vesk::python {

namespace {

using stats::WindowStatistics;

stats::TimeMs Ms(double seconds) {
    if (!std::isfinite(seconds)) {
        throw py::value_error("a time must be a finite number of seconds");
    }
    return static_cast<stats::TimeMs>(std::llround(seconds * 1000.0));
}

double Seconds(stats::TimeMs ms) {
    return static_cast<double>(ms) / 1000.0;
}

// A summary field, None before the first reading.
template <double stats::Summary::*Field>
std::optional<double> Of(const WindowStatistics& s) {
    const auto sum = s.Current();
    return sum ? std::optional<double>((*sum).*Field) : std::nullopt;
}

stats::Limits Checked(double maxSd, double maxDrift) {
    if (!(maxSd >= 0.0) || !(maxDrift >= 0.0)) {
        throw py::value_error("max_sd and max_drift must not be negative");
    }
    return {maxSd, maxDrift};
}

}  // namespace

void RegisterStatistics(py::module_& m) {
    using C = WindowStatistics;
    py::class_<C>(m, "Statistics",
                  "Minimum, maximum, mean, standard deviation and drift of one channel's readings "
                  "over a moving window of seconds, and whether the channel is stable: a whole "
                  "window of readings whose standard deviation is at most max_sd and whose drift "
                  "is at most max_drift per minute (both in the readings' unit).")
        .def(py::init([](double window, double maxSd, double maxDrift) {
                 return C(Ms(window), Checked(maxSd, maxDrift));
             }),
             py::arg("window") = 600.0, py::arg("max_sd") = 0.001, py::arg("max_drift") = 0.0005)
        .def(
            "add", [](C& s, double time, double value) { return s.Add(Ms(time), value); },
            py::arg("time"), py::arg("value"),
            "Takes a reading at time (seconds since the epoch). False, and nothing taken, for a "
            "reading older than the newest or not a number.")
        .def("clear", &C::Clear, "Forgets every reading.")
        .def_property(
            "window", [](const C& s) { return Seconds(s.Window()); },
            [](C& s, double seconds) { s.Window(Ms(seconds)); },
            "Seconds of readings the statistics cover (at least 1).")
        .def_property(
            "max_sd", [](const C& s) { return s.GetLimits().maxStdDev; },
            [](C& s, double v) { s.SetLimits(Checked(v, s.GetLimits().maxDriftPerMinute)); },
            "Largest standard deviation that is stable.")
        .def_property(
            "max_drift", [](const C& s) { return s.GetLimits().maxDriftPerMinute; },
            [](C& s, double v) { s.SetLimits(Checked(s.GetLimits().maxStdDev, v)); },
            "Largest drift per minute, either sign, that is stable.")
        .def_property_readonly(
            "count", [](const C& s) { return s.Current() ? s.Current()->count : 0; },
            "Readings in the window.")
        .def_property_readonly("minimum", &Of<&stats::Summary::minimum>, "None before a reading.")
        .def_property_readonly("maximum", &Of<&stats::Summary::maximum>, "None before a reading.")
        .def_property_readonly("mean", &Of<&stats::Summary::mean>, "None before a reading.")
        .def_property_readonly("stdev", &Of<&stats::Summary::stdDev>,
                               "Sample standard deviation (n - 1); None before a reading.")
        .def_property_readonly("drift", &Of<&stats::Summary::driftPerMinute>,
                               "Slope of the least-squares line per minute; None before a reading.")
        .def_property_readonly(
            "state", [](const C& s) { return stats::StabilityName(s.State()); },
            "'collecting' until the readings cover a window, then 'stable' or 'unstable'.")
        .def_property_readonly("stable",
                               [](const C& s) { return s.State() == stats::Stability::kStable; })
        .def_property_readonly(
            "stable_since",
            [](const C& s) {
                const auto since = s.StableSince();
                return since ? std::optional<double>(Seconds(*since)) : std::nullopt;
            },
            "Time of the reading since which it has been stable; None when it is not.")
        .def(
            "stable_for", [](const C& s, double now) { return Seconds(s.StableFor(Ms(now))); },
            py::arg("now"), "Seconds it has been stable at now; 0 when it is not.");
}

}  // namespace vesk::python
