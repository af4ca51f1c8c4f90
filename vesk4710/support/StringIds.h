#pragma once
// Named ids of the string table (strings.tsv).
#include <cstdint>

namespace vesk {

inline constexpr int32_t kResErrorOccurredWhile = 101;  // An error occurred while
inline constexpr int32_t kResError = 102;               // Error
inline constexpr int32_t kResPasscodeIncorrect = 103;   // The passcode entered is incorrect.
inline constexpr int32_t kResWrongModel =
    104;  // The connected instrument is not a model '~'. You must con...
inline constexpr int32_t kResReadingSettings = 105;       // Reading ~ settings...
inline constexpr int32_t kResReadingModuleInfo = 106;     // Reading module information...
inline constexpr int32_t kResFailedToQuery = 107;         // Failed to successfully query '~'.
inline constexpr int32_t kResAbortedQuerying = 108;       // Aborted querying information.
inline constexpr int32_t kResAttemptingToQuery = 109;     // attempting to query '~'
inline constexpr int32_t kResUpdatingSettings = 110;      // Updating ~ settings...
inline constexpr int32_t kResFailedToUpdate = 112;        // Failed to successfully update '~'.
inline constexpr int32_t kResAbortedUpdating = 113;       // Aborted updating information.
inline constexpr int32_t kResAttemptingToUpdate = 114;    // attempting to update '~'
inline constexpr int32_t kResAttemptingToInitComm = 115;  // attempting to initialize communications
inline constexpr int32_t kResAttemptingToSetupModules = 116;  // attempting to setup modules
inline constexpr int32_t kResReadingProbeSerials = 118;       // Reading probe serial numbers...
inline constexpr int32_t kResWrongChannelCount =
    119;  // Module number ~ does not have the correct number of chann...
inline constexpr int32_t kResUpdatingModuleSettings = 120;   // Updating module model ~ settings...
inline constexpr int32_t kResChannelSettingsCaption = 123;   // Channel ~ Settings
inline constexpr int32_t kResReadingChannelSettings = 124;   // Reading channel ~ settings...
inline constexpr int32_t kResReadingCoefficients = 125;      // Reading ~ coefficients...
inline constexpr int32_t kResUpdatingChannelSettings = 126;  // Updating channel ~ settings...
inline constexpr int32_t kResUpdatingCoefficients = 128;     // Updating ~ coefficients...
inline constexpr int32_t kResSerial = 131;                   // Serial
inline constexpr int32_t kResIdentification = 132;           // Identification
inline constexpr int32_t kResChannels = 133;                 // Channels
inline constexpr int32_t kResUnits = 139;                    // Units
inline constexpr int32_t kResOK = 144;                       // &OK
inline constexpr int32_t kResCancel = 145;                   // &Cancel
inline constexpr int32_t kResHelp = 146;                     // &Help
inline constexpr int32_t kResCalibration = 149;              // Calibration
inline constexpr int32_t kResCalibrationDate = 155;          // Calibration date
inline constexpr int32_t kResProbeSerialNumber = 161;        // Probe serial number
inline constexpr int32_t kResConversionType = 162;           // Conversion type
inline constexpr int32_t kResRJCType = 166;                  // RJC type
inline constexpr int32_t kResRJCTemperature = 167;           // RJC temperature
inline constexpr int32_t kResModuleList = 170;               // module list
inline constexpr int32_t kResNumberOfModules = 171;          // number of modules
inline constexpr int32_t kResInitialization = 173;           // initialization
inline constexpr int32_t kResLowRangeCoefficients = 176;     // low range coefficients
inline constexpr int32_t kResHighRangeCoefficients = 177;    // high range coefficients
inline constexpr int32_t kResNotConfigured = 180;            // <not configured>
inline constexpr int32_t kResKeepExisting = 182;             // <keep existing>
inline constexpr int32_t kResUnknown = 183;                  // <unknown>
inline constexpr int32_t kResInternal = 184;                 // Internal
inline constexpr int32_t kResExternal = 185;                 // External
inline constexpr int32_t kResOhms = 194;                     // Ohms
inline constexpr int32_t kResKOhms = 195;                    // KOhms
inline constexpr int32_t kResVolts = 196;                    // Volts
inline constexpr int32_t kResRatio = 197;                    // Ratio
inline constexpr int32_t kResWriteChannelChanges =
    198;  // Do you wish to write the changes that have been made to t...
inline constexpr int32_t kResWriteInstrumentChanges =
    201;  // Do you wish to write the changes that have been made to t...
inline constexpr int32_t kResMaxSampleInterval =
    202;  // The maximum setting for the sample interval is ~.
inline constexpr int32_t kResAttemptingToGatherSettings = 209;    // attempting to gather settings
inline constexpr int32_t kResAttemptingToValidateSettings = 210;  // attempting to validate settings
inline constexpr int32_t kResAttemptingToReadSettings = 211;      // attempting to read settings
inline constexpr int32_t kResAttemptingToEditModule = 212;        // attempting to edit module
inline constexpr int32_t kResAttemptingToEditChannel = 213;       // attempting to edit channel
inline constexpr int32_t kResInvalidChannelIndex = 215;           // Invalid channel index
inline constexpr int32_t kResInvalidModuleIndex = 216;            // Invalid module index
inline constexpr int32_t kResNoChangesToApply = 218;              // There are no changes to apply.
inline constexpr int32_t kResUnableToQueryMeasurement =
    219;                                              // Unable to successfully query measurement.
inline constexpr int32_t kResClose = 222;             // &Close
inline constexpr int32_t kResRefresh = 224;           // &Refresh
inline constexpr int32_t kResLogStatusCaption = 225;  // 4710 Log Status
inline constexpr int32_t kResDemandLog = 226;         // Demand log
inline constexpr int32_t kResPercentFull = 227;       // % full
inline constexpr int32_t kResAttemptingToReadLogSettings = 228;  // attempting to read log settings
inline constexpr int32_t kResUnableToReadLogSettings = 229;      // Unable to read log settings.
inline constexpr int32_t kResAttemptingToSetupDialog = 238;      // attempting to setup dialog
inline constexpr int32_t kResAttemptingToDownloadLog = 239;      // attempting to download log data
inline constexpr int32_t kResChannel = 245;                      // Channel
inline constexpr int32_t kResParsingData = 248;                  // Parsing data...
inline constexpr int32_t kResAttemptingToCreateDownloadFile =
    249;                                                    // attempting to create download file
inline constexpr int32_t kResResolution = 250;              // Resolution
inline constexpr int32_t kResAttemptingToSetupScan = 270;   // attempting to setup scan parameters
inline constexpr int32_t kResClearDemandLog = 271;          // Clear &Demand Log
inline constexpr int32_t kResLoggingLabelCaption = 276;     // 4710 Logging Label
inline constexpr int32_t kResLabelName = 277;               // Label name
inline constexpr int32_t kResReset = 279;                   // &Reset
inline constexpr int32_t kResReadingLoggingLabel = 283;     // Reading logging label...
inline constexpr int32_t kResWritingLoggingLabel = 284;     // Writing logging label...
inline constexpr int32_t kResAttemptingToReadLabel = 285;   // attempting to read logging label
inline constexpr int32_t kResAttemptingToWriteLabel = 286;  // attempting to write logging label
inline constexpr int32_t kResLabelNotChanged =
    287;  // The label was not changed so it does not need to be updated.
inline constexpr int32_t kResDownloadAborted =
    290;  // The download has been aborted. If downloading only readin...
inline constexpr int32_t kResOverwriteDownloadFile =
    292;  // The download file '~' already exist. Do you wish to overw...
inline constexpr int32_t kResPasscodeProtection = 308;  // passcode protection
inline constexpr int32_t kResAuto = 316;                // Auto
inline constexpr int32_t kResNoReadingsToDownload =
    337;  // Either there are no readings to download in the selected ...
inline constexpr int32_t kResAttemptingToShowDownloadFiles =
    338;                                                    // attempting to show download files
inline constexpr int32_t kResDownloadedFilesCaption = 339;  // Downloaded files
inline constexpr int32_t kResDownloadedFilesInstructions =
    340;  // The downloaded data was written to the following file(s)....
inline constexpr int32_t kResDownloadFileNotFound =
    341;  // The download file '~' could not be found.
inline constexpr int32_t kResPrintOnDoubleClick =
    342;  // Send file(s) directly to default printer when double-clicked
inline constexpr int32_t kResFileSentToPrinter =
    343;  // The file '~' has been sent to the default printer.
inline constexpr int32_t kResLabelReadAborted =
    344;  // Reading the logging labels was aborted. The OK button on ...
inline constexpr int32_t kResNotConnected = 346;        // <not connected>
inline constexpr int32_t kResExclusiveProbeLock = 347;  // Exclusively lock probe to channel
inline constexpr int32_t kResEnableAutoPowerOff = 348;  // Enable automatic power off
inline constexpr int32_t kResDisableSerialPort = 349;   // Disable serial port communication
inline constexpr int32_t kResRawValue = 366;            // Raw Value

}  // namespace vesk
