"""Type stubs of the vesk4710 module: the 4710 readout's classes, enumerations and errors."""

import datetime
from enum import IntEnum
from typing import Any, Callable

__version__: str

OBJECT_ERROR_BASE: int

class AutomationError(Exception):
    """An error of the 4710 library, with the fields automation errors carry."""

    number: int
    description: str
    source: str
    help_file: str
    help_context: int
    def __init__(self, number: int, description: str = "", source: str = "",
                 help_file: str = "", help_context: int = 0) -> None: ...

class E4710Units(IntEnum):
    UNITS_RAW_VALUE = -2
    UNITS_NONE = -1
    UNITS_DEGREESC = 0
    UNITS_DEGREESF = 1

class E4710Interval(IntEnum):
    INT_AUTO = -1
    INT_1_SEC = 1
    INT_2_SEC = 2
    INT_5_SEC = 5
    INT_10_SEC = 10
    INT_30_SEC = 30
    INT_1_MIN = 60

class E4710ScanMode(IntEnum):
    SM_SIMULTANEOUS = 0
    SM_SCAN = 1

class E4710PasscodeState(IntEnum):
    PS_ENABLED = 0
    PS_DISABLED = 1

class E4710RJCType(IntEnum):
    RJC_EXTERNAL = 0
    RJC_INTERNAL = 1

class E4710ModuleType(IntEnum):
    CT_PRT = 0

class E4710DownloadOption(IntEnum):
    DOWNLOAD_SINGLE_FILE = 0
    DOWNLOAD_MULTIPLE_FILES = 1

class E4710DownloadLogOption(IntEnum):
    DOWNLOAD_DEMAND_LOG = 0
    DOWNLOAD_AUTO_LOG = 1

class EProbeType(IntEnum):
    ptUnknown = -1
    ptPRT = 0
    ptThermistor = 1
    ptTC = 2

class E4710DateFormat(IntEnum):
    DTFMT_YYYY_MM_DD = 0
    DTFMT_MM_DD_YYYY = 1
    DTFMT_DD_MM_YYYY = 2

class E4710TimeFormat(IntEnum):
    TMFMT_24_HOUR = 0
    TMFMT_12_HOUR = 1

class MemberKind(IntEnum):
    Method = 0
    Get = 1
    Let = 2
    Set = 3

UNITS_RAW_VALUE: E4710Units
UNITS_NONE: E4710Units
UNITS_DEGREESC: E4710Units
UNITS_DEGREESF: E4710Units
UNITS_KELVIN: int
INT_AUTO: E4710Interval
INT_1_SEC: E4710Interval
INT_2_SEC: E4710Interval
INT_5_SEC: E4710Interval
INT_10_SEC: E4710Interval
INT_30_SEC: E4710Interval
INT_1_MIN: E4710Interval
SM_SIMULTANEOUS: E4710ScanMode
SM_SCAN: E4710ScanMode
PS_ENABLED: E4710PasscodeState
PS_DISABLED: E4710PasscodeState
RJC_EXTERNAL: E4710RJCType
RJC_INTERNAL: E4710RJCType
CT_PRT: E4710ModuleType
DOWNLOAD_SINGLE_FILE: E4710DownloadOption
DOWNLOAD_MULTIPLE_FILES: E4710DownloadOption
DOWNLOAD_DEMAND_LOG: E4710DownloadLogOption
DOWNLOAD_AUTO_LOG: E4710DownloadLogOption
ptUnknown: EProbeType
ptPRT: EProbeType
ptThermistor: EProbeType
ptTC: EProbeType
DTFMT_YYYY_MM_DD: E4710DateFormat
DTFMT_MM_DD_YYYY: E4710DateFormat
DTFMT_DD_MM_YYYY: E4710DateFormat
TMFMT_24_HOUR: E4710TimeFormat
TMFMT_12_HOUR: E4710TimeFormat
MB_OK_ONLY: int
MB_YES_NO: int
MB_CRITICAL: int
MB_QUESTION: int
MB_INFORMATION: int
ANSWER_OK: int
ANSWER_CANCEL: int
ANSWER_YES: int
ANSWER_NO: int

class Dispatch:
    """An object with a late-bound interface: members by name with automation values, as scripting clients call them. The instrument, module and channel classes derive from it; other objects a late-bound call hands out (the communications object, lists) come back as this class."""

    @property
    def class_name(self) -> str:
        """The automation class name."""
        ...

    def members(self) -> list[MemberInfo]:
        """The member table in interface order."""
        ...

    def invoke(self, name: str, *args: Any, kind: str | MemberKind | None = None, byref: bool = False) -> Any:
        """Calls a member by name (case-insensitive) with automation values.

        kind is 'method', 'get', 'let', 'set' or a MemberKind; by default a method, else a property read. Arguments left out take the member's defaults. With byref=True the result comes back as (result, arguments after the call), so that by-reference arguments can be read back.
        """
        ...

    def put(self, name: str, *args: Any) -> None:
        """Writes a property by name: put('Resolution', 4). Indexed properties take their index first."""
        ...


class MemberInfo:
    """One entry of a class's member table."""

    @property
    def name(self) -> str:
        """Member name."""
        ...

    @property
    def kind(self) -> MemberKind:
        """Method, Get, Let or Set."""
        ...

    @property
    def dispid(self) -> int:
        """Dispatch id: the member's 1-based position in the interface; the accessors of one property share it."""
        ...


class ListBox(Dispatch):
    """A list in memory that list fillers write into."""

    def __init__(self) -> None:
        """An empty list."""
        ...

    def items(self) -> list[tuple[str, int]]:
        """The entries as (text, data) pairs."""
        ...


class Registry:
    """Per-user settings: named values and dialog form state."""

    def ReadValue(self, name: str, section: int = 0, rootKey: int = ..., defaultValue: str = '', subkey: str = '') -> str:
        """A value, or defaultValue when it is not set."""
        ...

    def WriteValue(self, name: str, section: int, rootKey: int, value: str, subkey: str = '') -> None:
        """Stores a value."""
        ...

    def get(self, name: str, default: str = '') -> str:
        """A value of the current user's settings, such as 'DownloadFolder'."""
        ...

    def set(self, name: str, value: str) -> None:
        """Stores a value of the current user's settings."""
        ...


class ConversionRange:
    """The coefficients of one range of a two-range conversion."""

    def Coefficients(self, index: int) -> float:
        """Coefficient number index."""
        ...

    def SetCoefficients(self, index: int, value: float) -> None:
        """Sets coefficient number index."""
        ...

    @property
    def NumCoefficients(self) -> int:
        """Number of coefficients."""
        ...

    @property
    def ValueFormat(self) -> str:
        """Number format of the coefficients."""
        ...

    @ValueFormat.setter
    def ValueFormat(self, value: str) -> None: ...

    @property
    def Range(self) -> int:
        """Selected range."""
        ...

    @Range.setter
    def Range(self, value: int) -> None: ...

    @property
    def MinRange(self) -> int:
        """Lowest range."""
        ...

    @MinRange.setter
    def MinRange(self, value: int) -> None: ...

    @property
    def MaxRange(self) -> int:
        """Highest range."""
        ...

    @MaxRange.setter
    def MaxRange(self, value: int) -> None: ...


class Conversion:
    """A probe's coefficient set for one conversion type."""

    def Coefficients(self, index: int) -> float:
        """Coefficient number index."""
        ...

    def SetCoefficients(self, index: int, value: float) -> None:
        """Sets coefficient number index."""
        ...

    @property
    def NumCoefficients(self) -> int:
        """Number of coefficients."""
        ...

    @property
    def ValueFormat(self) -> str:
        """Number format of the coefficients."""
        ...

    @ValueFormat.setter
    def ValueFormat(self, value: str) -> None: ...

    @property
    def UsePolynomial(self) -> bool:
        """Whether the polynomial form is used."""
        ...

    @UsePolynomial.setter
    def UsePolynomial(self, value: bool) -> None: ...

    @property
    def RTPW(self) -> float:
        """Resistance at the triple point of water, ohms."""
        ...

    @RTPW.setter
    def RTPW(self, value: float) -> None: ...

    @property
    def TCType(self) -> int:
        """Thermocouple type index."""
        ...

    @TCType.setter
    def TCType(self, value: int) -> None: ...

    def LowRange(self) -> ConversionRange:
        """The low range's coefficients."""
        ...

    def HighRange(self) -> ConversionRange:
        """The high range's coefficients."""
        ...


class Probe:
    """The probe of a channel: serial number, conversion type and coefficients."""

    @property
    def Serial(self) -> str:
        """Probe serial number."""
        ...

    @Serial.setter
    def Serial(self, value: str) -> None: ...

    @property
    def ConversionType(self) -> int:
        """Conversion type number (-1 to 20)."""
        ...

    @ConversionType.setter
    def ConversionType(self, value: int) -> None: ...

    @property
    def Changed(self) -> bool:
        """Whether the probe changed."""
        ...

    @Changed.setter
    def Changed(self, value: bool) -> None: ...

    @property
    def FilePath(self) -> str:
        """Folder of the probe's files."""
        ...

    @FilePath.setter
    def FilePath(self, value: str) -> None: ...

    def ActiveConversion(self) -> Conversion:
        """The coefficient set of the current conversion type."""
        ...

    def ConversionOf(self, type: int) -> Conversion:
        """The coefficient set kept for one conversion type (-1 to 20)."""
        ...


class CalibrationGrid:
    """The calibration-parameter grid: range names, headings, then one row per adjustment point."""

    def __init__(self) -> None:
        """A grid laid out for calibration parameters."""
        ...

    @property
    def Rows(self) -> int:
        """Number of rows."""
        ...

    @property
    def Cols(self) -> int:
        """Number of columns."""
        ...

    def TextMatrix(self, row: int, col: int) -> str:
        """The text of one cell (0-based)."""
        ...

    def SetTextMatrix(self, row: int, col: int, text: str) -> None:
        """Sets the text of one cell."""
        ...

    def cells(self) -> list[list[str]]:
        """Every cell, row by row."""
        ...


# Members named like these classes shadow them inside class bodies.
_Registry = Registry
_Probe = Probe
_CalibrationGrid = CalibrationGrid

class CVesk4710(Dispatch):
    """One 4710 readout: cached settings, the communications session, the modules and channels, readings, logs and calibration parameters."""

    def __init__(self, *, device: str = 'sim', baud: int = 9600, trace: str | None = None, timeout_ms: int = 2000, settings: str | None = None, passcodes: list[str] = [], assume_yes: bool = False, assume_no: bool = False, console: bool = True, passcode: Callable[[], str | None] | None = None, progress: Callable[[str, float], bool | None] | None = None, message: Callable[[str, int, str], int | None] | None = None) -> None:
        """A new instrument object; no session is open yet (see InitializeCommunications, or vesk4710.connect which does both).

        device      'sim' (the embedded simulator), 'sim:N' (simulator on port N), a serial device path such as '/dev/ttyUSB0', or 'tcp://HOST:PORT'
        baud        baud rate of a serial device
        trace       file to write an I/O trace of every command and reply to
        timeout_ms  reply time-out
        settings    per-user settings file (default: the user's own)
        passcodes   answers to the passcode prompt, in turn
        assume_yes, assume_no  answer every question so
        console     False writes nothing to the terminal: no prompts, messages or progress bars
        passcode    callable () -> str | None asked for the passcode (None cancels)
        progress    callable (text, percent) -> bool | None told of progress; returning False cancels the operation
        message     callable (prompt, style, caption) -> int | None shown every message box; an int is the answer (ANSWER_OK, ANSWER_YES, ...), None passes the box on to the console

        A callback that raises ends the operation; the exception is raised again when the call returns.
        """
        ...

    @property
    def DVCICommError(self) -> int:
        """Help context given to communications errors."""
        ...

    @DVCICommError.setter
    def DVCICommError(self, value: int) -> None: ...

    @property
    def DateFormat(self) -> E4710DateFormat:
        """The instrument's date format (E4710DateFormat)."""
        ...

    @property
    def TimeFormat(self) -> E4710TimeFormat:
        """The instrument's time format (E4710TimeFormat)."""
        ...

    @property
    def DateTimeStamp(self) -> bool:
        """Whether readings carry a date and time stamp."""
        ...

    @DateTimeStamp.setter
    def DateTimeStamp(self, value: bool) -> None: ...

    @property
    def Passcode(self) -> str:
        """The passcode presented to unlock protected settings."""
        ...

    @Passcode.setter
    def Passcode(self, value: str) -> None: ...

    @property
    def ScanChannels(self) -> str:
        """The scan channel list, such as '1,2'."""
        ...

    @ScanChannels.setter
    def ScanChannels(self, value: str) -> None: ...

    @property
    def ScanMode(self) -> E4710ScanMode:
        """Simultaneous or scanned measurement (E4710ScanMode)."""
        ...

    @ScanMode.setter
    def ScanMode(self, value: E4710ScanMode) -> None: ...

    @property
    def DemandLogCount(self) -> int:
        """Readings held in the demand log."""
        ...

    @DemandLogCount.setter
    def DemandLogCount(self, value: int) -> None: ...

    @property
    def DemandLogPoints(self) -> int:
        """Capacity of the demand log."""
        ...

    @property
    def AutoPower(self) -> bool:
        """Automatic power-off."""
        ...

    @AutoPower.setter
    def AutoPower(self, value: bool) -> None: ...

    @property
    def DisableSerial(self) -> bool:
        """Whether the serial interface is disabled."""
        ...

    @DisableSerial.setter
    def DisableSerial(self, value: bool) -> None: ...

    @property
    def FilePath(self) -> str:
        """Folder of the library's files, handed on to modules and channels."""
        ...

    @FilePath.setter
    def FilePath(self, value: str) -> None: ...

    @property
    def SystemClock(self) -> datetime.datetime:
        """The instrument's clock (datetime.datetime)."""
        ...

    @SystemClock.setter
    def SystemClock(self, value: datetime.datetime) -> None: ...

    @property
    def HelpFile(self) -> str:
        """Help file named by the errors this object raises."""
        ...

    @HelpFile.setter
    def HelpFile(self, value: str) -> None: ...

    def SetRegistry(self, vData: _Registry | None) -> None:
        """Hands the per-user settings object to the instrument."""
        ...

    @property
    def Registry(self) -> _Registry | None:
        """The per-user settings object (Registry), or None."""
        ...

    def InitializeCommunications(self, fp: str = '', cp: int = 1, br: int = 6) -> bool:
        """Opens the communications session: folder, port number, baud-rate code."""
        ...

    @property
    def Changed(self) -> bool:
        """Whether a setting changed since the last update."""
        ...

    @Changed.setter
    def Changed(self, value: bool) -> None: ...

    @property
    def AllowSetSerial(self) -> bool:
        """Whether the serial number may be written."""
        ...

    @AllowSetSerial.setter
    def AllowSetSerial(self, value: bool) -> None: ...

    @property
    def ReadAfterApply(self) -> bool:
        """Whether settings are read back after an update."""
        ...

    @ReadAfterApply.setter
    def ReadAfterApply(self, value: bool) -> None: ...

    @property
    def Resolution(self) -> int:
        """Number of decimal places of readings."""
        ...

    @Resolution.setter
    def Resolution(self, value: int) -> None: ...

    def ValidatePasscode(self, frm: None = None) -> bool:
        """Prompts for the passcode until the instrument accepts one; False when cancelled."""
        ...

    def UpdatePasscodeState(self, passcode: str, disable: bool = False) -> bool:
        """Unlocks the instrument with passcode, or locks it again with disable=True."""
        ...

    @property
    def ProtectConversion(self) -> bool:
        """Whether conversion settings are passcode protected."""
        ...

    @ProtectConversion.setter
    def ProtectConversion(self, value: bool) -> None: ...

    @property
    def ProtectCalParams(self) -> bool:
        """Whether calibration parameters are passcode protected."""
        ...

    @ProtectCalParams.setter
    def ProtectCalParams(self, value: bool) -> None: ...

    @property
    def PasscodeState(self) -> E4710PasscodeState:
        """Passcode protection of the settings (E4710PasscodeState)."""
        ...

    @PasscodeState.setter
    def PasscodeState(self, value: E4710PasscodeState) -> None: ...

    @property
    def ConvPasscodeState(self) -> E4710PasscodeState:
        """Passcode protection of conversions (E4710PasscodeState)."""
        ...

    @ConvPasscodeState.setter
    def ConvPasscodeState(self, value: E4710PasscodeState) -> None: ...

    @property
    def CalDate(self) -> datetime.date:
        """The instrument's calibration date (datetime.date)."""
        ...

    @CalDate.setter
    def CalDate(self, value: datetime.date) -> None: ...

    @property
    def CalParamPasscodeState(self) -> E4710PasscodeState:
        """Passcode protection of calibration parameters (E4710PasscodeState)."""
        ...

    @CalParamPasscodeState.setter
    def CalParamPasscodeState(self, value: E4710PasscodeState) -> None: ...

    @property
    def LogSessionInterval(self) -> int:
        """Interval of the logging session."""
        ...

    @LogSessionInterval.setter
    def LogSessionInterval(self, value: int) -> None: ...

    @property
    def MaxInterval(self) -> E4710Interval:
        """Longest measurement interval (E4710Interval)."""
        ...

    @property
    def MinInterval(self) -> E4710Interval:
        """Shortest measurement interval (E4710Interval)."""
        ...

    @property
    def MaxResolution(self) -> int:
        """Largest resolution."""
        ...

    @property
    def MinResolution(self) -> int:
        """Smallest resolution."""
        ...

    @property
    def MaxLabelLength(self) -> int:
        """Longest logging label."""
        ...

    @property
    def NumLoggingLabels(self) -> int:
        """Number of logging labels."""
        ...

    def QueryChannelInfo(self) -> bool:
        """Reads every channel's settings."""
        ...

    def QueryChannelState(self, idx: int) -> bool:
        """Reads whether a channel is switched on."""
        ...

    def QueryInfo(self, frm: None = None, inclchannels: bool = False, inclmodules: bool = False) -> bool:
        """Reads the device information: identification, protection, channels, modules, units, calibration, and every switched-on channel. False after telling the user which step failed (another model, a step that reports failure, a cancel); an error raised inside a step is raised again as AutomationError with the source 'CVesk4710 - QueryInfo'."""
        ...

    def QueryIdentification(self, setprops: bool = True) -> bool:
        """Reads the identification; with setprops also model, serial and firmware."""
        ...

    def VerifyMinimumFirmware(self) -> bool:
        """Whether the firmware is at least 0.06; shows no message."""
        ...

    @property
    def MinFirmwareRequired(self) -> float:
        """Oldest firmware the library drives."""
        ...

    def QueryUnits(self) -> bool:
        """Reads the measurement units."""
        ...

    def QueryMeasurement(self, chan: int = -1, waitfornew: bool = False) -> float:
        """A reading of channel chan (-1: the selected channel) in the units set (raw: ohms, or millivolts for a thermocouple's emf); with waitfornew, waits for a new one (Ctrl-C ends the wait). measurement_text() gives the digits the instrument sent."""
        ...

    def QueryDemandLogStatus(self) -> bool:
        """Reads the demand log's count and capacity."""
        ...

    def QueryLoggingLabel(self) -> tuple[bool, str]:
        """Reads the current logging label; returns (ok, label)."""
        ...

    def UpdateInfo(self, frm: None = None, inclchannels: bool = False, inclmodules: bool = False) -> bool:
        """Writes the instrument's settings back in a fixed order, changed or not, unlocking first when needed; raises AutomationError (source 'CVesk4710 - UpdateInfo') when a step fails. A property assigned in Python reaches the instrument only through this or its own Update method."""
        ...

    def ClearAutoLog(self) -> bool:
        """Clears the automatic log."""
        ...

    def ClearDemandLog(self) -> bool:
        """Clears the demand log."""
        ...

    def UpdateUnits(self) -> bool:
        """Writes the units."""
        ...

    def UpdateResolution(self) -> bool:
        """Writes the resolution."""
        ...

    def StartMeasure(self) -> bool:
        """Starts measuring."""
        ...

    def StopMeasure(self) -> bool:
        """Stops measuring."""
        ...

    def UpdateInterval(self, frm: None = None) -> bool:
        """Writes the measurement interval."""
        ...

    def UpdateScanSeqDelay(self) -> bool:
        """Writes the scan sequence delay."""
        ...

    def UpdateScanChannelList(self) -> bool:
        """Writes the scan channel list."""
        ...

    def UpdateScanMode(self, override: bool = False, scmode: bool = False) -> bool:
        """Writes ScanMode; with override True nothing is sent (and the result is True); scmode is ignored."""
        ...

    def UpdateLoggingLabel(self, labelname: str) -> bool:
        """Writes the logging label."""
        ...

    def InitializeCommunicationSettings(self) -> bool:
        """Initialises the instrument's interface for a session."""
        ...

    @property
    def HasScanSeqDelay(self) -> bool:
        """Whether the instrument has a scan sequence delay."""
        ...

    @property
    def SelectedChannel(self) -> int:
        """The selected channel as a 0-based index (0 is channel 1), -1 for none."""
        ...

    @SelectedChannel.setter
    def SelectedChannel(self, value: int) -> None: ...

    @property
    def Firmware(self) -> float:
        """Firmware version."""
        ...

    @property
    def NumChannels(self) -> int:
        """Number of channels."""
        ...

    @property
    def Units(self) -> E4710Units | int:
        """Measurement units (E4710Units), or UNITS_KELVIN (the plain int 2)."""
        ...

    @Units.setter
    def Units(self, value: E4710Units | int) -> None: ...

    @property
    def NumModules(self) -> int:
        """Number of modules."""
        ...

    def Edit(self) -> bool:
        """Opens the settings dialog (needs a toolkit that shows it)."""
        ...

    def ViewLogStatus(self) -> bool:
        """Opens the log status dialog."""
        ...

    def EditLogLabels(self) -> bool:
        """Opens the logging label dialog."""
        ...

    def DownloadLoggedData(self) -> bool:
        """Opens the download dialog."""
        ...

    def DownloadLog(self, awkParserLines: None = None, awkParserFields: None = None, log: E4710DownloadLogOption = E4710DownloadLogOption.DOWNLOAD_DEMAND_LOG, opt: E4710DownloadOption = E4710DownloadOption.DOWNLOAD_SINGLE_FILE, labelnum: int = 0, resol: int = -1, prompt: bool = False) -> tuple[bool, int, bool]:
        """Downloads a log into output files in the DownloadFolder setting's folder (default: the user's documents), telling the user the outcome. labelnum 0 takes every reading, n the readings of label n; resol is the decimals written (-1 keeps them as received). The text splitters are the library's own. Returns (ok, labelnum, prompt): prompt says whether any file was written."""
        ...

    @property
    def Identification(self) -> str:
        """The identification text as read."""
        ...

    @property
    def Serial(self) -> str:
        """Instrument serial number."""
        ...

    @Serial.setter
    def Serial(self, value: str) -> None: ...

    @property
    def Model(self) -> str:
        """Model text."""
        ...

    def Modules(self, idx: int) -> CVesk4710Card:
        """Module number idx (0-based)."""
        ...

    @property
    def Interval(self) -> E4710Interval:
        """Measurement interval (E4710Interval)."""
        ...

    @Interval.setter
    def Interval(self, value: E4710Interval) -> None: ...

    @property
    def ScanSeqDelay(self) -> int:
        """Scan sequence delay."""
        ...

    @ScanSeqDelay.setter
    def ScanSeqDelay(self, value: int) -> None: ...

    def FillRTLSUnitsList(self) -> list[tuple[str, int]]:
        """The units offered for readings as (text, data) pairs."""
        ...

    def FillUnitsList(self) -> list[tuple[str, int]]:
        """The units as (text, data) pairs."""
        ...

    def FillChannelList(self) -> list[tuple[str, int]]:
        """The channels as (text, channel number) pairs."""
        ...

    def GetChannelReference(self, chn: int) -> CVesk4710Channel | None:
        """The channel with instrument-wide number chn (1-based), or None."""
        ...

    @property
    def Communications(self) -> Dispatch | None:
        """The session's communications object (opaque), or None."""
        ...

    def QueryScanMode(self) -> bool:
        """Reads the scan mode."""
        ...

    def QueryScanChannelList(self) -> bool:
        """Reads the scan channel list."""
        ...

    def QueryInterval(self) -> bool:
        """Reads the measurement interval."""
        ...

    def QueryAutoPower(self) -> bool:
        """Reads automatic power-off."""
        ...

    def UpdateAutoPower(self) -> bool:
        """Writes automatic power-off."""
        ...

    def UpdateDisableSerial(self) -> bool:
        """Writes DisableSerial."""
        ...

    def UpdateSerialNumber(self) -> bool:
        """Writes the serial number."""
        ...

    def QueryPasscodeProtection(self) -> bool:
        """Reads every passcode protection state."""
        ...

    def QueryProtectConversion(self) -> bool:
        """Reads the conversion protection."""
        ...

    def QueryProtectCalParams(self) -> bool:
        """Reads the calibration-parameter protection."""
        ...

    def QueryPasscodeState(self) -> bool:
        """Reads the passcode state."""
        ...

    def QueryModuleList(self) -> bool:
        """Reads the module list."""
        ...

    def QueryNumModules(self) -> bool:
        """Reads the module count and builds the modules with their channels."""
        ...

    def QueryNumChannels(self) -> bool:
        """Reads the channel count."""
        ...

    @property
    def ModuleList(self) -> str:
        """The module list text as last read."""
        ...

    def QueryCalibrationDate(self) -> bool:
        """Reads the calibration date."""
        ...

    def UpdateCalibrationDate(self) -> bool:
        """Writes the calibration date."""
        ...

    def CalibrationGrid(self) -> _CalibrationGrid:
        """The instrument's own calibration grid, which FillCalibrationGrid fills when given no grid."""
        ...

    def FillCalibrationGrid(self, grid: _CalibrationGrid | None = None) -> bool:
        """Reads the calibration parameters into grid (default: the instrument's own)."""
        ...

    def UpdateCalParameters(self, grid: _CalibrationGrid | None = None) -> bool:
        """Writes the calibration parameters of grid (default: the instrument's own)."""
        ...

    def DownloadLogFiles(self, log: E4710DownloadLogOption = E4710DownloadLogOption.DOWNLOAD_DEMAND_LOG, opt: E4710DownloadOption = E4710DownloadOption.DOWNLOAD_SINGLE_FILE, labelnum: int = 0, resol: int = -1) -> DownloadResult:
        """DownloadLog for scripts: no messages, no dialog; returns a DownloadResult naming the files written, and raises AutomationError on failure."""
        ...


class CVesk4710Card(Dispatch):
    """One input module of the readout and the channels it carries."""

    def __init__(self) -> None:
        """A module on its own, not part of an instrument (the instrument builds its modules when it reads the module count)."""
        ...

    @property
    def FilePath(self) -> str:
        """Folder of the library's files, handed on to the channels."""
        ...

    @FilePath.setter
    def FilePath(self, value: str) -> None: ...

    def SetRegistry(self, value: _Registry | None) -> None:
        """Hands the per-user settings object to the module and its channels."""
        ...

    @property
    def Registry(self) -> _Registry | None:
        """The per-user settings object, or None."""
        ...

    def SetBaseUnit(self, value: CVesk4710 | None) -> None:
        """Sets the instrument this module belongs to (kept as a weak reference)."""
        ...

    @property
    def BaseUnit(self) -> CVesk4710 | None:
        """The instrument, or None once it is gone."""
        ...

    @property
    def Changed(self) -> bool:
        """Whether a setting of the module changed."""
        ...

    @Changed.setter
    def Changed(self, value: bool) -> None: ...

    @property
    def ModuleType(self) -> E4710ModuleType | int:
        """Kind of module (E4710ModuleType)."""
        ...

    def SetModuleNumber(self, value: int) -> None:
        """Sets the module's position in the instrument."""
        ...

    @property
    def ModuleNumber(self) -> int:
        """The module's position in the instrument."""
        ...

    @property
    def NumChannels(self) -> int:
        """Channels on the module."""
        ...

    def SetStartChannel(self, value: int) -> None:
        """Sets the instrument-wide number of the module's first channel."""
        ...

    @property
    def StartChannel(self) -> int:
        """Instrument-wide number of the module's first channel."""
        ...

    @property
    def ModuleName(self) -> str:
        """Name of the module."""
        ...

    def Channels(self, idx: int) -> CVesk4710Channel:
        """Channel idx of the module (0-based)."""
        ...


class CVesk4710Channel(Dispatch):
    """One measurement input: its probe and the settings the instrument keeps for it. A channel refers to its module and instrument weakly: once they are gone its operations fail with the library's error (reported, returning False) instead of reaching a dead object."""

    def __init__(self) -> None:
        """A channel on its own, not part of an instrument (an instrument's channels come from GetChannelReference or a module's Channels)."""
        ...

    @property
    def CalDate(self) -> datetime.date:
        """The probe's calibration date (datetime.date)."""
        ...

    @CalDate.setter
    def CalDate(self, value: datetime.date) -> None: ...

    @property
    def Enabled(self) -> bool:
        """Whether the channel is switched on."""
        ...

    @Enabled.setter
    def Enabled(self, value: bool) -> None: ...

    def SetModule(self, module: CVesk4710Card | None) -> None:
        """Sets the module this channel belongs to (kept as a weak reference)."""
        ...

    @property
    def Module(self) -> CVesk4710Card | None:
        """The module, or None once it is gone."""
        ...

    @property
    def FilePath(self) -> str:
        """Folder of the probe's files."""
        ...

    @FilePath.setter
    def FilePath(self, value: str) -> None: ...

    def SetRegistry(self, registry: _Registry | None) -> None:
        """Hands the per-user settings object to the channel and its probe."""
        ...

    @property
    def Registry(self) -> _Registry | None:
        """The per-user settings object, or None."""
        ...

    @property
    def ProbeLock(self) -> bool:
        """Whether the probe settings are locked on the instrument."""
        ...

    @ProbeLock.setter
    def ProbeLock(self, value: bool) -> None: ...

    @property
    def Resolution(self) -> int:
        """Decimal places of the channel's readings."""
        ...

    @Resolution.setter
    def Resolution(self, value: int) -> None: ...

    @property
    def RJCType(self) -> E4710RJCType | int:
        """Reference-junction compensation (E4710RJCType)."""
        ...

    @RJCType.setter
    def RJCType(self, value: int) -> None: ...

    @property
    def RJCTemperature(self) -> float:
        """External reference-junction temperature."""
        ...

    @RJCTemperature.setter
    def RJCTemperature(self, value: float) -> None: ...

    @property
    def RJCTemperatureFormat(self) -> str:
        """Number format of RJCTemperature."""
        ...

    @RJCTemperatureFormat.setter
    def RJCTemperatureFormat(self, value: str) -> None: ...

    @property
    def Changed(self) -> bool:
        """Whether a setting of the channel changed."""
        ...

    @Changed.setter
    def Changed(self, value: bool) -> None: ...

    def SetBaseUnit(self, instrument: CVesk4710 | None) -> None:
        """Sets the instrument this channel talks through (kept as a weak reference)."""
        ...

    @property
    def BaseUnit(self) -> CVesk4710 | None:
        """The instrument, or None once it is gone."""
        ...

    @property
    def MaxRJCTemperature(self) -> float:
        """Highest external reference-junction temperature."""
        ...

    @property
    def MinRJCTemperature(self) -> float:
        """Lowest external reference-junction temperature."""
        ...

    @property
    def MINOP(self) -> int:
        """Lower operating limit."""
        ...

    @MINOP.setter
    def MINOP(self, value: int) -> None: ...

    @property
    def MAXOP(self) -> int:
        """Upper operating limit."""
        ...

    @MAXOP.setter
    def MAXOP(self, value: int) -> None: ...

    @property
    def ModuleChannel(self) -> int:
        """Number of the channel on its module (1-based)."""
        ...

    def SetModuleChannel(self, value: int) -> None:
        """Sets the number of the channel on its module."""
        ...

    @property
    def ActualChannel(self) -> int:
        """Instrument-wide channel number (1-based)."""
        ...

    def SetActualChannel(self, value: int) -> None:
        """Sets the instrument-wide channel number."""
        ...

    @property
    def Probe(self) -> _Probe:
        """The channel's probe (Probe)."""
        ...

    @property
    def ProbeType(self) -> EProbeType | int:
        """Kind of probe (EProbeType)."""
        ...

    @ProbeType.setter
    def ProbeType(self, value: int) -> None: ...

    @property
    def MaxSerialLength(self) -> int:
        """Longest probe serial number."""
        ...

    def Edit(self) -> bool:
        """Opens the channel dialog (needs a toolkit that shows it)."""
        ...

    def SetConversionType(self, conversionType: int, tcType: int) -> bool:
        """Sets the probe's conversion type (-1 to 20) and thermocouple type."""
        ...

    def QueryInfo(self, parent: None = None) -> bool:
        """Reads the channel's settings and its probe's coefficients; False after telling the user what failed."""
        ...

    def UpdateInfo(self, parent: None = None) -> bool:
        """Writes every setting and coefficient back and reads each one again, whether changed or not; the probe serial number among them, so it unlocks with the instrument's Passcode first. False after telling the user what failed. To change one unprotected setting, assign it and call its own Update method (UpdateResolution, UpdateMINOP, ...): no passcode is needed then."""
        ...

    def FillConversionTypeList(self, probeType: int) -> list[tuple[str, int]] | None:
        """The conversion types of a probe type as (text, type) pairs, or None."""
        ...

    def FillProbeTypeList(self) -> list[tuple[str, int]] | None:
        """The probe types as (text, type) pairs, or None."""
        ...

    def FillResolutionList(self) -> list[tuple[str, int]] | None:
        """The resolutions as (text, decimals) pairs, or None."""
        ...

    def FillRJCTypeList(self) -> list[tuple[str, int]] | None:
        """The reference-junction types as (text, type) pairs, or None."""
        ...

    def QuerySerialNumber(self) -> bool:
        """Reads the probe serial number."""
        ...

    def QueryCalDate(self) -> bool:
        """Reads the calibration date."""
        ...

    def QueryConversionType(self) -> bool:
        """Reads the conversion type."""
        ...

    def QueryResolution(self) -> bool:
        """Reads the resolution."""
        ...

    def UpdateSerialNumber(self) -> bool:
        """Writes the probe serial number (protected: unlock with UpdatePasscodeState first)."""
        ...

    def UpdateResolution(self) -> bool:
        """Writes the resolution."""
        ...

    def UpdateCalDate(self) -> bool:
        """Writes the calibration date."""
        ...

    def QueryMINOP(self) -> bool:
        """Reads MINOP."""
        ...

    def UpdateMINOP(self) -> bool:
        """Writes MINOP."""
        ...

    def QueryMAXOP(self) -> bool:
        """Reads MAXOP."""
        ...

    def UpdateMAXOP(self) -> bool:
        """Writes MAXOP."""
        ...

    def QueryProbeLock(self) -> bool:
        """Reads the probe lock."""
        ...

    def UpdateProbeLock(self) -> bool:
        """Writes the probe lock."""
        ...

    def QueryRJCType(self) -> bool:
        """Reads the reference-junction type."""
        ...

    def UpdateRJCType(self) -> bool:
        """Writes the reference-junction type."""
        ...

    def QueryExternalRJCTemperature(self) -> bool:
        """Reads the external reference-junction temperature."""
        ...

    def UpdateExternalRJCTemperature(self) -> bool:
        """Writes the external reference-junction temperature."""
        ...

    def UpdateConversionType(self) -> bool:
        """Writes the conversion type (protected when conversions are)."""
        ...


class Statistics:
    """Minimum, maximum, mean, standard deviation and drift of one channel's readings over a moving window of seconds, and whether the channel is stable: a whole window of readings whose standard deviation is at most max_sd and whose drift is at most max_drift per minute (both in the readings' unit)."""

    def __init__(self, window: float = 600.0, max_sd: float = 0.001, max_drift: float = 0.0005) -> None: ...

    def add(self, time: float, value: float) -> bool:
        """Takes a reading at time (seconds since the epoch). False, and nothing taken, for a reading older than the newest or not a number."""
        ...

    def clear(self) -> None:
        """Forgets every reading."""
        ...

    window: float
    """Seconds of readings the statistics cover (at least 1)."""
    max_sd: float
    """Largest standard deviation that is stable."""
    max_drift: float
    """Largest drift per minute, either sign, that is stable."""

    @property
    def count(self) -> int:
        """Readings in the window."""
        ...

    @property
    def minimum(self) -> float | None: ...

    @property
    def maximum(self) -> float | None: ...

    @property
    def mean(self) -> float | None: ...

    @property
    def stdev(self) -> float | None:
        """Sample standard deviation (n - 1); None before a reading."""
        ...

    @property
    def drift(self) -> float | None:
        """Slope of the least-squares line per minute; None before a reading."""
        ...

    @property
    def state(self) -> str:
        """'collecting' until the readings cover a window, then 'stable' or 'unstable'."""
        ...

    @property
    def stable(self) -> bool: ...

    @property
    def stable_since(self) -> float | None:
        """Time of the reading since which it has been stable; None when it is not."""
        ...

    def stable_for(self, now: float) -> float:
        """Seconds it has been stable at now; 0 when it is not."""
        ...


class DownloadResult:
    """What a download wrote."""

    @property
    def outcome(self) -> str:
        """'written', 'no_readings', 'aborted', 'ended_early', 'cancelled' or 'not_readings'."""
        ...

    @property
    def files(self) -> list[str]:
        """Paths of the output files, in creation order."""
        ...

    @property
    def count(self) -> int:
        """Readings the instrument reported."""
        ...

    @property
    def lines(self) -> int:
        """Lines received."""
        ...

    @property
    def readings(self) -> int:
        """Readings written."""
        ...

    @property
    def skipped(self) -> int:
        """Lines that were not readings (kept in the raw file)."""
        ...

    @property
    def trace_path(self) -> str:
        """The download trace file."""
        ...

    @property
    def raw_path(self) -> str:
        """The raw transfer file."""
        ...

    @property
    def note(self) -> str:
        """The comment line marking the files incomplete; empty when complete."""
        ...

    @property
    def message(self) -> str:
        """What the user would have been told."""
        ...


class Recorder:
    """Records readings into a database on threads of its own, as `vesk4710 record` does, and shares each instrument on its endpoint meanwhile. Use it as a context manager or call start() and stop()."""

    def __init__(self, database: str, device: str = 'sim', channels: list[int] = [], every: str = '1s', name: str = '', serve: str = '', baud: int = 9600, timeout_ms: int = 2000) -> None:
        """One instrument. every: '1s', '500ms', '2m' or 'new'; channels: empty for every channel that is on; serve: 'tcp://127.0.0.1:PORT' (0 picks one) or 'unix:PATH'. Raises AutomationError for a value that cannot work."""
        ...

    @staticmethod
    def from_config(path: str) -> Recorder:
        """The instruments and database of a recorder's TOML file."""
        ...

    def start(self) -> None:
        """Opens the database and starts recording; raises AutomationError."""
        ...

    def stop(self) -> None:
        """Stops recording with every reading committed; raises AutomationError when readings could not be stored."""
        ...

    @property
    def running(self) -> bool:
        """True between start() and stop()."""
        ...

    @property
    def endpoints(self) -> list[str]:
        """Each instrument's endpoint ('' when not shared), as a device for connect()."""
        ...

    @property
    def rounds(self) -> int:
        """Rounds of readings taken so far."""
        ...

    @property
    def metrics_address(self) -> str:
        """host:port of /metrics while served ([prometheus] in the configuration file), else ''."""
        ...

    @property
    def database(self) -> str:
        """The database file."""
        ...

    def status(self) -> list[dict[str, Any]]:
        """Per instrument: name, device, serial, state (recording, gap, stopped), since, readings, last_reading, last_error, gap_since, gap_reason (times in seconds since 1970, UTC)."""
        ...



def connect(device: str = 'sim', baud: int = 9600, trace: str | None = None, **kwargs: Any) -> CVesk4710:
    """A CVesk4710 with its communications session open (InitializeCommunications done); call QueryInfo() next to read the instrument.

    device  'sim' (the embedded simulator), 'sim:N', a serial device path, or 'tcp://HOST:PORT'
    baud    baud rate of a serial device
    trace   file for an I/O trace of every command and reply
    Further keywords are those of CVesk4710(): timeout_ms, settings, passcodes, assume_yes, assume_no, console, passcode, progress, message.
    """
    ...


def read_channel_states(instrument: CVesk4710) -> list[int]:
    """Asks each channel for its own state, sets every channel's Enabled to it and reads the probe serial number of each channel that is on; returns the numbers of those channels. Call it after QueryInfo(): QueryChannelState and QueryInfo judge every channel by the first one's state."""
    ...


def measurement_text(instrument: CVesk4710, chan: int = -1, waitfornew: bool = False) -> str:
    """QueryMeasurement's reading as the instrument sent it, trailing zeros kept ('25.0100'); emf in millivolts like QueryMeasurement. Raises AutomationError when the reply is no number, where QueryMeasurement would return 0."""
    ...


def download_auto_log(instrument: CVesk4710, opt: E4710DownloadOption = E4710DownloadOption.DOWNLOAD_SINGLE_FILE, labelnum: int = 0, resol: int = -1) -> DownloadResult:
    """Downloads the automatic log into files in the download folder, named and written like DownloadLogFiles' (which covers the demand log); returns a DownloadResult. outcome is 'no_readings' when the log (or label labelnum) holds none. Raises AutomationError when the link or a file fails."""
    ...
