#pragma once
// One 4710 readout: the cached instrument settings, the communications session, the module
// tree and every instrument-level query and update.
//
// Its members are defined in the sources named CVesk4710<Part>.cpp:
//   CVesk4710.cpp             creation, session (communications, passcode), properties
//   CVesk4710Info.cpp         identification, whole-instrument query and update
//   CVesk4710Settings.cpp     single settings: one query or update each
//   CVesk4710Measure.cpp      measuring on and off, channel state, readings, units lists
//   CVesk4710Calibration.cpp  calibration parameters by range, calibration date
//   CVesk4710Logging.cpp      demand-log status, clearing, logging label, download
//   CVesk4710Topology.cpp     the module tree, channel numbering and selection
//   CVesk4710Dispatch.cpp     the member table and late-bound calls
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vesk4710/calibration/CalibrationGrid.h"
#include "vesk4710/core/Enums.h"
#include "vesk4710/platform/Host.h"
#include "vesk4710/support/Date.h"
#include "vesk4710/support/Dispatch.h"

namespace vesk {

class CVesk4710Card;
class CVesk4710Channel;

// Splits an identification "maker, model, serial, firmware" into its last three fields.
// Unparsed fields stay "<unknown>" (firmware 0).
void ExtractModSerFWFromID(const std::string& id, std::string& model, std::string& serial,
                           double& firmware);

class CVesk4710 : public IDispatchable, public std::enable_shared_from_this<CVesk4710> {
  public:
    static std::shared_ptr<CVesk4710> Create(std::shared_ptr<Host> host = Host::Default());
    ~CVesk4710() override;
    CVesk4710(const CVesk4710&) = delete;
    CVesk4710& operator=(const CVesk4710&) = delete;

    Host& GetHost();

    std::string ClassName() const override { return "CVesk4710"; }
    const std::vector<MemberInfo>& Members() const override { return MemberTable(); }
    // The automation interface in order; accessors of one property share its dispatch id.
    static const std::vector<MemberInfo>& MemberTable();
    Variant Invoke(const std::string& name, MemberKind kind, std::vector<Variant>& args) override;

    // --- automation interface, in interface order ---
    void DVCICommError(int32_t value);                   // 1
    int32_t DVCICommError() const;                       //
    E4710DateFormat DateFormat() const;                  // 2
    E4710TimeFormat TimeFormat() const;                  // 3
    void DateTimeStamp(bool value);                      // 4
    bool DateTimeStamp() const;                          //
    void Passcode(const std::string& value);             // 5
    std::string Passcode() const;                        //
    void ScanChannels(const std::string& value);         // 6
    std::string ScanChannels() const;                    //
    void ScanMode(E4710ScanMode value);                  // 7
    E4710ScanMode ScanMode() const;                      //
    void DemandLogCount(int16_t value);                  // 8
    int16_t DemandLogCount() const;                      //
    int16_t DemandLogPoints() const;                     // 9
    void AutoPower(bool value);                          // 10
    bool AutoPower() const;                              //
    void DisableSerial(bool value);                      // 11
    bool DisableSerial() const;                          //
    void FilePath(const std::string& value);             // 12
    std::string FilePath() const;                        //
    void SystemClock(Date value);                        // 13
    Date SystemClock() const;                            //
    void HelpFile(const std::string& value);             // 14
    std::string HelpFile() const;                        //
    void SetRegistry(std::shared_ptr<IRegistry> vData);  // 15
    std::shared_ptr<IRegistry> Registry() const;         // 16
    bool InitializeCommunications(const std::string& fp = "", int32_t cp = 1,
                                  int32_t br = 6);                                // 17
    void Changed(bool value);                                                     // 18
    bool Changed() const;                                                         //
    void AllowSetSerial(bool value);                                              // 19
    bool AllowSetSerial() const;                                                  //
    void ReadAfterApply(bool value);                                              // 20
    bool ReadAfterApply() const;                                                  //
    int16_t Resolution() const;                                                   // 21
    void Resolution(int16_t value);                                               //
    bool ValidatePasscode(IForm* frm);                                            // 22
    bool UpdatePasscodeState(const std::string& passcode, bool disable = false);  // 23
    void ProtectConversion(bool value);                                           // 24
    bool ProtectConversion() const;                                               //
    void ProtectCalParams(bool value);                                            // 25
    bool ProtectCalParams() const;                                                //
    void PasscodeState(E4710PasscodeState value);                                 // 26
    E4710PasscodeState PasscodeState() const;                                     //
    void ConvPasscodeState(E4710PasscodeState value);                             // 27
    E4710PasscodeState ConvPasscodeState() const;                                 //
    void CalDate(Date value);                                                     // 28
    Date CalDate() const;                                                         //
    void CalParamPasscodeState(E4710PasscodeState value);                         // 29
    E4710PasscodeState CalParamPasscodeState() const;                             //
    void LogSessionInterval(int16_t value);                                       // 30
    int16_t LogSessionInterval() const;                                           //
    E4710Interval MaxInterval() const;                                            // 31
    E4710Interval MinInterval() const;                                            // 32
    int16_t MaxResolution() const;                                                // 33
    int16_t MinResolution() const;                                                // 34
    int16_t MaxLabelLength() const;                                               // 35
    int16_t NumLoggingLabels() const;                                             // 36
    bool QueryChannelInfo();                                                      // 37
    bool QueryChannelState(int16_t idx);                                          // 38
    bool QueryInfo(IForm* frm = nullptr, bool inclchannels = false,
                   bool inclmodules = false);                             // 39
    bool QueryIdentification(bool setprops = true);                       // 40
    bool VerifyMinimumFirmware();                                         // 41
    double MinFirmwareRequired() const;                                   // 42
    bool QueryUnits();                                                    // 43
    double QueryMeasurement(int16_t chan = -1, bool waitfornew = false);  // 44
    bool QueryDemandLogStatus();                                          // 45 (logging)
    bool QueryLoggingLabel(std::string& labelname);                       // 46 (logging)
    bool UpdateInfo(IForm* frm = nullptr, bool inclchannels = false,
                    bool inclmodules = false);                        // 47
    bool ClearAutoLog();                                              // 48 (logging)
    bool ClearDemandLog();                                            // 49 (logging)
    bool UpdateUnits();                                               // 50
    bool UpdateResolution();                                          // 51
    bool StartMeasure();                                              // 52
    bool StopMeasure();                                               // 53
    bool UpdateInterval(IForm* frm = nullptr);                        // 54
    bool UpdateScanSeqDelay();                                        // 55
    bool UpdateScanChannelList();                                     // 56
    bool UpdateScanMode(bool override = false, bool scmode = false);  // 57
    bool UpdateLoggingLabel(const std::string& labelname);            // 58 (logging)
    bool InitializeCommunicationSettings();                           // 59
    bool HasScanSeqDelay() const;                                     // 60
    void SelectedChannel(int16_t value);                              // 61
    int16_t SelectedChannel() const;                                  //
    double Firmware() const;                                          // 62
    int16_t NumChannels() const;                                      // 63
    void Units(E4710Units value);                                     // 64
    E4710Units Units() const;                                         //
    int16_t NumModules() const;                                       // 65
    bool Edit();                                                      // 66
    bool ViewLogStatus();                                             // 67
    bool EditLogLabels();                                             // 68
    bool DownloadLoggedData();                                        // 69 (logging)
    // 70 (logging). labelnum and prompt are in/out arguments; null stands for the defaults
    // 0 and false.
    bool DownloadLog(ITextSplitter& awkParserLines, ITextSplitter& awkParserFields,
                     E4710DownloadLogOption log = DOWNLOAD_DEMAND_LOG,
                     E4710DownloadOption opt = DOWNLOAD_SINGLE_FILE, int16_t* labelnum = nullptr,
                     int16_t resol = -1, bool* prompt = nullptr);
    std::string Identification() const;                                    // 71
    void Serial(const std::string& value);                                 // 72
    std::string Serial() const;                                            //
    std::string Model() const;                                             // 73
    std::shared_ptr<CVesk4710Card> Modules(int16_t idx) const;             // 74
    void Interval(E4710Interval value);                                    // 75
    E4710Interval Interval() const;                                        //
    void ScanSeqDelay(int16_t value);                                      // 76
    int16_t ScanSeqDelay() const;                                          //
    void FillRTLSUnitsList(IListControl& lst, bool keepexisting = false);  // 77
    void FillUnitsList(IListControl& lst, bool keepexisting = false);      // 78
    void FillChannelList(IListControl& lst);                               // 79
    std::shared_ptr<CVesk4710Channel> GetChannelReference(int16_t chn);    // 80
    std::shared_ptr<ICommunications> Communications() const;               // 81

    // --- operations outside the automation interface (settings dialog, CLI, tests) ---
    bool QueryScanMode();
    bool QueryScanChannelList();
    bool QueryInterval();
    bool QueryAutoPower();
    bool UpdateAutoPower();
    bool UpdateDisableSerial();
    bool UpdateSerialNumber();
    // Conversion protection, calibration-parameter protection and passcode state.
    bool QueryPasscodeProtection();
    bool QueryProtectConversion();
    bool QueryProtectCalParams();
    bool QueryPasscodeState();
    bool QueryModuleList();
    bool QueryNumModules();
    bool QueryNumChannels();
    // The module list text as last read, kept verbatim.
    const std::string& ModuleList() const;
    // A lock (setting 4) failed twice and the instrument may be left unlocked; the next
    // request of this object or its channels locks it first (LockIfLeftUnlocked).
    bool LeftUnlocked() const { return leftUnlocked_; }
    void LockIfLeftUnlocked() const;

    // Calibration parameters and dates.
    bool FillCalibrationGrid(IGridControl& grid);
    bool UpdateCalParameters(IGridControl& grid);
    bool QueryCalibrationDate();
    bool UpdateCalibrationDate();
    std::string ConvDate(const std::string& text);
    // The grid used when no form (or a form without a grid) is given.
    vesk::CalibrationGrid& CalibrationGrid();
    const vesk::CalibrationGrid& CalibrationGrid() const;

  private:
    explicit CVesk4710(std::shared_ptr<Host> host);
    void Initialize();

    // Internal setters.
    void DateFormat(E4710DateFormat value);
    void TimeFormat(E4710TimeFormat value);
    void DemandLogPoints(int16_t value);
    void HasScanSeqDelay(bool value);
    void Firmware(double value);
    void NumChannels(int16_t value);
    void NumModules(int16_t value);
    void Identification(const std::string& value);
    void Model(const std::string& value);
    void Communications(std::shared_ptr<ICommunications> value);

    // The session's communications object, held for one request; raises when there is no
    // session yet. An instrument left unlocked is locked first.
    std::shared_ptr<ICommunications> Session() const;
    std::shared_ptr<ICommunications> Connection() const;
    // Setting 4, tried once more when it fails (a dropped link is opened again by the next
    // request); until it works the instrument counts as left unlocked.
    void Lock() const;
    // The grid of frm, or our own.
    IGridControl& GridOf(IForm* frm);
    // Re-raises the pending error with this object's source, help file and help context,
    // saying so when the instrument is left unlocked.
    [[noreturn]] void Rethrow(const char* member) const;
    bool ShowDialog(IDialogLogic& dialog);

    // Members go in reverse: the modules with their channels first, then the settings object,
    // then the session, and the host that made them last.
    std::shared_ptr<Host> host_;
    std::shared_ptr<ICommunications> comm_;
    std::shared_ptr<IRegistry> registry_;
    std::vector<std::shared_ptr<CVesk4710Card>> modules_;
    std::unique_ptr<vesk::CalibrationGrid> calGrid_;
    // Our own grid holds instrument data only once filled; before that it is not written.
    bool calGridFilled_ = false;
    mutable bool leftUnlocked_ = false;

    int32_t dvciCommError_ = 0;
    E4710DateFormat dateFormat_ = DTFMT_YYYY_MM_DD;
    E4710TimeFormat timeFormat_ = TMFMT_24_HOUR;
    bool dateTimeStamp_ = false;
    std::string passcode_;
    std::string scanChannels_;
    E4710ScanMode scanMode_ = SM_SIMULTANEOUS;
    int16_t demandLogCount_ = 0;
    int16_t demandLogPoints_ = 0;
    bool autoPower_ = false;
    bool disableSerial_ = false;
    std::string filePath_;
    Date systemClock_;
    bool changed_ = false;
    bool allowSetSerial_ = false;
    bool readAfterApply_ = false;
    int16_t resolution_ = 0;
    bool protectConversion_ = false;
    bool protectCalParams_ = false;
    E4710PasscodeState passcodeState_ = PS_ENABLED;
    E4710PasscodeState convPasscodeState_ = PS_ENABLED;
    E4710PasscodeState calParamPasscodeState_ = PS_ENABLED;
    Date calDate_;
    int16_t logSessionInterval_ = 0;
    bool hasScanSeqDelay_ = false;
    int16_t selectedChannel_ = 0;
    double firmware_ = 0.0;
    int16_t numChannels_ = 0;
    E4710Units units_ = UNITS_DEGREESC;
    int16_t numModules_ = 0;
    std::string identification_;
    std::string serial_;
    std::string model_;
    std::string moduleList_;
    E4710Interval interval_ = static_cast<E4710Interval>(0);
    int16_t scanSeqDelay_ = 0;
};

}  // namespace vesk
