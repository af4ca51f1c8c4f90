// The enumerations as IntEnum classes with the exact names and values, their members also at
// module level (as a type library publishes them), and the message-box constants.
#include <initializer_list>
#include <utility>

#include "python/src/Objects.h"
#include "vesk4710/platform/IUiServices.h"

namespace vesk::python {

namespace {

template <class E>
void AddEnum(py::module_& m, const char* name, const char* doc,
             std::initializer_list<std::pair<const char*, E>> members, bool exportMembers = true) {
    py::list items;
    for (const auto& [key, value] : members) {
        items.append(py::make_tuple(key, static_cast<int64_t>(value)));
    }
    py::object intEnum = py::module_::import("enum").attr("IntEnum");
    py::object cls = intEnum(name, items, py::arg("module") = m.attr("__name__"));
    cls.attr("__doc__") = doc;
    EnumClass<E>::cls = cls.inc_ref().ptr();
    m.attr(name) = cls;
    if (exportMembers) {
        for (const auto& [key, value] : members) {
            m.attr(key) = cls.attr(key);
        }
    }
}

}  // namespace

void RegisterEnums(py::module_& m) {
    AddEnum<E4710Units>(m, "E4710Units",
                        "Measurement units. A units property may also hold kelvin, which has "
                        "no member: it reads as the plain int 2, the module's UNITS_KELVIN.",
                        {{"UNITS_RAW_VALUE", UNITS_RAW_VALUE},
                         {"UNITS_NONE", UNITS_NONE},
                         {"UNITS_DEGREESC", UNITS_DEGREESC},
                         {"UNITS_DEGREESF", UNITS_DEGREESF}});
    // Kelvin, which the instrument offers beside the enumeration's members.
    m.attr("UNITS_KELVIN") = py::int_(2);
    AddEnum<E4710Interval>(m, "E4710Interval", "Measurement interval in seconds.",
                           {{"INT_AUTO", INT_AUTO},
                            {"INT_1_SEC", INT_1_SEC},
                            {"INT_2_SEC", INT_2_SEC},
                            {"INT_5_SEC", INT_5_SEC},
                            {"INT_10_SEC", INT_10_SEC},
                            {"INT_30_SEC", INT_30_SEC},
                            {"INT_1_MIN", INT_1_MIN}});
    AddEnum<E4710ScanMode>(m, "E4710ScanMode", "How the channels are measured.",
                           {{"SM_SIMULTANEOUS", SM_SIMULTANEOUS}, {"SM_SCAN", SM_SCAN}});
    AddEnum<E4710PasscodeState>(m, "E4710PasscodeState",
                                "Whether a passcode protection is in force.",
                                {{"PS_ENABLED", PS_ENABLED}, {"PS_DISABLED", PS_DISABLED}});
    AddEnum<E4710RJCType>(m, "E4710RJCType", "Reference-junction compensation of a thermocouple.",
                          {{"RJC_EXTERNAL", RJC_EXTERNAL}, {"RJC_INTERNAL", RJC_INTERNAL}});
    AddEnum<E4710ModuleType>(m, "E4710ModuleType", "Kind of input module.", {{"CT_PRT", CT_PRT}});
    AddEnum<E4710DownloadOption>(m, "E4710DownloadOption",
                                 "One output file per download, or one per logging label.",
                                 {{"DOWNLOAD_SINGLE_FILE", DOWNLOAD_SINGLE_FILE},
                                  {"DOWNLOAD_MULTIPLE_FILES", DOWNLOAD_MULTIPLE_FILES}});
    AddEnum<E4710DownloadLogOption>(
        m, "E4710DownloadLogOption", "Which reading log a download reads.",
        {{"DOWNLOAD_DEMAND_LOG", DOWNLOAD_DEMAND_LOG}, {"DOWNLOAD_AUTO_LOG", DOWNLOAD_AUTO_LOG}});
    AddEnum<EProbeType>(m, "EProbeType", "Kind of probe on a channel.",
                        {{"ptUnknown", ptUnknown},
                         {"ptPRT", ptPRT},
                         {"ptThermistor", ptThermistor},
                         {"ptTC", ptTC}});
    AddEnum<E4710DateFormat>(m, "E4710DateFormat", "The instrument's date format.",
                             {{"DTFMT_YYYY_MM_DD", DTFMT_YYYY_MM_DD},
                              {"DTFMT_MM_DD_YYYY", DTFMT_MM_DD_YYYY},
                              {"DTFMT_DD_MM_YYYY", DTFMT_DD_MM_YYYY}});
    AddEnum<E4710TimeFormat>(m, "E4710TimeFormat", "The instrument's time format.",
                             {{"TMFMT_24_HOUR", TMFMT_24_HOUR}, {"TMFMT_12_HOUR", TMFMT_12_HOUR}});
    // Late-bound member kinds stay inside their class: Get/Set would shadow nothing useful.
    AddEnum<MemberKind>(m, "MemberKind", "How a member of a class is reached late-bound.",
                        {{"Method", MemberKind::Method},
                         {"Get", MemberKind::Get},
                         {"Let", MemberKind::Let},
                         {"Set", MemberKind::Set}},
                        false);

    // Message-box styles and answers, for message callbacks.
    m.attr("MB_OK_ONLY") = py::int_(static_cast<int32_t>(kMbOkOnly));
    m.attr("MB_YES_NO") = py::int_(static_cast<int32_t>(kMbYesNo));
    m.attr("MB_CRITICAL") = py::int_(static_cast<int32_t>(kMbCritical));
    m.attr("MB_QUESTION") = py::int_(static_cast<int32_t>(kMbQuestion));
    m.attr("MB_INFORMATION") = py::int_(static_cast<int32_t>(kMbInformation));
    m.attr("ANSWER_OK") = py::int_(static_cast<int32_t>(kAnsOk));
    m.attr("ANSWER_CANCEL") = py::int_(static_cast<int32_t>(kAnsCancel));
    m.attr("ANSWER_YES") = py::int_(static_cast<int32_t>(kAnsYes));
    m.attr("ANSWER_NO") = py::int_(static_cast<int32_t>(kAnsNo));
}

}  // namespace vesk::python
