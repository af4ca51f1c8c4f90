#pragma once
// Public enumerations of the 4710 object model and the model's fixed numbers.
#include <cstdint>

#include "vesk4710/platform/SettingIds.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk {

// A units property may also hold 2 (kelvin), which has no enumerator.
enum E4710Units : int32_t {
    UNITS_RAW_VALUE = -2,
    UNITS_NONE = -1,
    UNITS_DEGREESC = 0,
    UNITS_DEGREESF = 1,
};
inline constexpr int32_t kUnitsKelvin = 2;

enum E4710Interval : int32_t {
    INT_AUTO = -1,
    INT_1_SEC = 1,
    INT_2_SEC = 2,
    INT_5_SEC = 5,
    INT_10_SEC = 10,
    INT_30_SEC = 30,
    INT_1_MIN = 60,
};

enum E4710ScanMode : int32_t {
    SM_SIMULTANEOUS = 0,
    SM_SCAN = 1,
};

enum E4710PasscodeState : int32_t {
    PS_ENABLED = 0,
    PS_DISABLED = 1,
};

enum E4710RJCType : int32_t {
    RJC_EXTERNAL = 0,
    RJC_INTERNAL = 1,
};

enum E4710ModuleType : int32_t {
    CT_PRT = 0,
};

enum E4710DownloadOption : int32_t {
    DOWNLOAD_SINGLE_FILE = 0,
    DOWNLOAD_MULTIPLE_FILES = 1,
};

enum E4710DownloadLogOption : int32_t {
    DOWNLOAD_DEMAND_LOG = 0,
    DOWNLOAD_AUTO_LOG = 1,
};

enum EProbeType : int32_t {
    ptUnknown = -1,
    ptPRT = 0,
    ptThermistor = 1,
    ptTC = 2,
};

enum E4710DateFormat : int32_t {
    DTFMT_YYYY_MM_DD = 0,
    DTFMT_MM_DD_YYYY = 1,
    DTFMT_DD_MM_YYYY = 2,
};

enum E4710TimeFormat : int32_t {
    TMFMT_24_HOUR = 0,
    TMFMT_12_HOUR = 1,
};

// The model text every identification must contain.
inline constexpr const char* kModel4710 = "4710";
// Selects this instrument in the communications component.
inline constexpr int32_t kInstrumentCode4710 = 11;
// Serial-port link mode of a normal session.
inline constexpr int32_t kLinkModeSession = 2;
// Oldest firmware the library drives.
inline constexpr double kMinFirmware = 0.06;
// The module array holds at most this many modules; Modules() bounds its index by it.
inline constexpr int16_t kMaxModules = 2;

// Argument-range errors: module-index errors (text 215), channel-selection errors (216).
inline constexpr int32_t kErrInvalidModuleIndex = kObjectErrorBase + 1002;
inline constexpr int32_t kErrInvalidChannel = kObjectErrorBase + 1001;

}  // namespace vesk
