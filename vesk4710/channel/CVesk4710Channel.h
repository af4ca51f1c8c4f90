#pragma once
// One measurement input of the readout: its probe (serial number, calibration date,
// conversion coefficients), its own instrument settings and the change flag the settings
// dialog and the instrument consult.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vesk4710/platform/Host.h"
#include "vesk4710/support/Date.h"
#include "vesk4710/support/Dispatch.h"

namespace vesk {

class CVesk4710;
class CVesk4710Card;
class IProgress;

class CVesk4710Channel : public IDispatchable,
                         public std::enable_shared_from_this<CVesk4710Channel> {
  public:
    static std::shared_ptr<CVesk4710Channel> Create(std::shared_ptr<Host> host = Host::Default());
    ~CVesk4710Channel() override;
    CVesk4710Channel(const CVesk4710Channel&) = delete;
    CVesk4710Channel& operator=(const CVesk4710Channel&) = delete;

    static const std::vector<MemberInfo>& MemberTable();
    Variant Invoke(const std::string& name, MemberKind kind, std::vector<Variant>& args) override;
    std::string ClassName() const override;
    const std::vector<MemberInfo>& Members() const override;

    // ---- Automation interface, in interface order ----
    Date CalDate() const;
    void CalDate(Date value);
    bool Enabled() const;
    void Enabled(bool value);
    void SetModule(std::shared_ptr<CVesk4710Card> module);
    std::shared_ptr<CVesk4710Card> Module() const;  // empty once the module is gone
    std::string FilePath() const;
    void FilePath(const std::string& value);
    void SetRegistry(std::shared_ptr<IRegistry> registry);
    std::shared_ptr<IRegistry> Registry() const;
    bool ProbeLock() const;
    void ProbeLock(bool value);
    int16_t Resolution() const;
    void Resolution(int16_t value);
    int32_t RJCType() const;
    void RJCType(int32_t value);
    double RJCTemperature() const;
    void RJCTemperature(double value);
    std::string RJCTemperatureFormat() const;
    void RJCTemperatureFormat(const std::string& value);
    bool Changed() const;
    void Changed(bool value);
    void SetBaseUnit(std::shared_ptr<CVesk4710> instrument);
    std::shared_ptr<CVesk4710> BaseUnit() const;  // empty once the instrument is gone
    double MaxRJCTemperature() const;
    double MinRJCTemperature() const;
    int16_t MINOP() const;
    void MINOP(int16_t value);
    int16_t MAXOP() const;
    void MAXOP(int16_t value);
    int16_t ModuleChannel() const;
    void SetModuleChannel(int16_t value);
    int16_t ActualChannel() const;
    void SetActualChannel(int16_t value);
    std::shared_ptr<IProbe> Probe() const;
    int32_t ProbeType() const;
    void ProbeType(int32_t value);
    int16_t MaxSerialLength() const;

    bool Edit();
    bool SetConversionType(int32_t conversionType, int32_t tcType);
    bool QueryInfo(IForm* parent = nullptr);
    bool UpdateInfo(IForm* parent = nullptr);
    bool FillConversionTypeList(IListControl& list, int32_t probeType);
    bool FillProbeTypeList(IListControl& list);
    bool FillResolutionList(IListControl& list);
    bool FillRJCTypeList(IListControl& list);

    // ---- Library-internal operations (the instrument, the module and the channel dialog
    // call them; not part of the automation interface). Each reports its own failure
    // and returns false. ----
    bool QuerySerialNumber();
    bool QueryCalDate();
    bool QueryConversionType();
    bool QueryProbeLock();
    bool QueryResolution();
    bool QueryRJCType();
    bool QueryExternalRJCTemperature();
    bool QueryMINOP();
    bool QueryMAXOP();
    // Reads a named channel parameter silently: false (value untouched) on any failure.
    bool QueryCoefficient(const std::string& name, double& value);

    bool UpdateSerialNumber();
    bool UpdateConversionType();
    bool UpdateCalDate();
    bool UpdateRJCType();
    bool UpdateExternalRJCTemperature();
    bool UpdateResolution();
    bool UpdateMINOP();
    bool UpdateMAXOP();
    bool UpdateProbeLock();
    // Writes a named channel parameter silently: false on any failure.
    bool UpdateCoefficient(const std::string& name, double value, const std::string& format);
    // The coefficients of the probe's conversion, by its family (none for the others).
    bool UpdateCoefficients(IForm* parent = nullptr);

    Host& GetHost() const { return *host_; }

  private:
    explicit CVesk4710Channel(std::shared_ptr<Host> host);
    void Initialize();

    // The instrument this channel talks through: BaseUnit, else the module's instrument.
    std::shared_ptr<CVesk4710> Instrument() const;
    // The instrument's communications with params cleared and "Channel" set; raises a
    // clear error when the instrument or its session is gone.
    std::shared_ptr<ICommunications> BeginRequest() const;
    std::string ReadChannelSetting(int32_t id, const std::string& paramName = {});
    void WriteChannelSetting(int32_t id, const std::string& value,
                             const std::string& paramName = {});
    // Inside a catch block: reports the pending error as this channel's operation.
    void ReportFailure(const std::string& operation, int32_t phraseId,
                       const std::string& item) const;

    // Coefficient families: false on a failed read/write (message already shown) or abort.
    bool QueryITS90Coefficients(IForm* parent);
    bool QueryRangeCoefficients(IForm* parent, IConversionRange& range, bool lowRange);
    bool QueryCVDCoefficients(IForm* parent);
    bool QueryPT100Coefficients(IForm* parent);
    bool QueryThermistorCoefficients(IForm* parent);
    bool QueryThermocoupleCoefficients(IForm* parent);
    bool UpdateITS90Coefficients(IForm* parent);
    bool UpdateRangeCoefficients(IForm* parent, IConversionRange& range, bool lowRange);
    bool UpdateCVDCoefficients(IForm* parent);
    bool UpdatePT100Coefficients(IForm* parent);
    bool UpdateThermistorCoefficients(IForm* parent);
    bool UpdateThermocoupleCoefficients(IForm* parent);

    std::unique_ptr<IProgress> OpenProgress(IForm* parent, const std::string& title,
                                            double stepPercent);
    // One step of a coefficient family: false after a failure message or an abort.
    bool CoefficientStep(IProgress& progress, bool ok, int32_t failTextId, const std::string& item);
    // Moves each named coefficient in order with transfer(index, name), one step each.
    bool WalkCoefficients(IProgress& progress, int32_t failTextId,
                          const std::vector<std::string>& names, const std::string& family,
                          const std::function<bool(int32_t, const std::string&)>& transfer);

    std::shared_ptr<Host> host_;
    Date calDate_;
    bool enabled_ = false;
    std::weak_ptr<CVesk4710Card> module_;
    std::string filePath_;
    std::shared_ptr<IRegistry> registry_;
    bool probeLock_ = false;
    int16_t resolution_ = 0;
    int32_t rjcType_ = 0;
    double rjcTemperature_ = 0.0;
    std::string rjcTemperatureFormat_;
    bool changed_ = false;
    std::weak_ptr<CVesk4710> baseUnit_;
    int16_t minop_ = 0;
    int16_t maxop_ = 0;
    int16_t moduleChannel_ = 0;
    int16_t actualChannel_ = 0;
    std::shared_ptr<IProbe> probe_;
    int32_t probeType_ = 0;
    // Set when the user cancelled a progress display of the running QueryInfo/UpdateInfo.
    bool aborted_ = false;
};

}  // namespace vesk
