#pragma once
// Public enumerations of the 4710 object model and the model's fixed numbers.
#include <cstdint>

#include "vesk4710/support/AutomationError.h"

namespace vesk {

// A units property may also hold 2 (kelvin), which has no enumerator.
enum E4710Units : int32_t {
    UNITS_RAW_VALUE = -2,
    UNITS_NONE = -1,
    UNITS_DEGREESC = 0,
    UNITS_DEGREESF = 1,
};

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

// Setting identifiers of the instrument object.
enum E4710Setting : int32_t {
    SET_INIT_INTERFACE = 0,
    SET_PASSCODE = 2,
    SET_PASSCODE_STATE = 3,
    SET_PASSCODE_LOCK = 4,
    SET_CONV_PROTECTION = 5,
    SET_START_MEASURE = 10,
    SET_STOP_MEASURE = 11,
    SET_TEMPERATURE = 12,
    SET_RAW_VALUE = 13,
    SET_RAW_MILLI = 14,
    SET_READING_STATE = 15,
    SET_IDENTIFICATION = 18,
    SET_SERIAL = 23,
    SET_INTERVAL_READ = 32,
    SET_INTERVAL_WRITE = 33,
    SET_SCAN_SEQ_DELAY = 39,
    SET_MODULE_LIST = 40,
    SET_NUM_MODULES = 41,
    SET_NUM_CHANNELS = 43,
    SET_SCAN_LIST_READ = 46,
    SET_SCAN_LIST_WRITE = 47,
    SET_SCAN_MODE_READ = 56,
    SET_SCAN_MODE_WRITE = 57,
    SET_RESOLUTION = 67,
    SET_CAL_DATE_READ = 72,
    SET_CAL_DATE_WRITE = 73,
    SET_CAL_RANGE = 77,
    SET_CAL_COUNT_READ = 78,
    SET_CAL_COUNT_WRITE = 79,
    SET_CAL_VALUE_READ = 80,
    SET_CAL_VALUE_WRITE = 81,
    SET_CAL_REFERENCE_READ = 82,
    SET_CAL_REFERENCE_WRITE = 83,
    SET_CHANNEL_STATE = 88,
    SET_UNITS_READ = 168,
    SET_UNITS_WRITE = 169,
    SET_DEMAND_LOG_STATUS = 280,
    SET_CLEAR_AUTO_LOG = 283,
    SET_CLEAR_DEMAND_LOG = 284,
    SET_LOGGING_LABEL_READ = 285,
    SET_LOGGING_LABEL_WRITE = 286,
    SET_LOGGING_LABEL_LIST = 287,
    SET_AUTO_POWER_READ = 304,
    SET_AUTO_POWER_WRITE = 305,
    SET_DISABLE_SERIAL = 306,
    SET_TRANSFER_ALL = 278,
    SET_TRANSFER_LABEL = 279,
};

}  // namespace vesk
