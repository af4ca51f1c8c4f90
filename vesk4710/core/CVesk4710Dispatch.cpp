// Late-bound access to the instrument object: one line per member, in interface order.
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/DispatchBinder.h"

namespace vesk {

namespace {

using namespace dispatch;
using C = CVesk4710;
using K = MemberKind;

// The splitters are the caller's by reference; nothing asks for the host's own.
Variant CallDownloadLog(C& self, std::vector<ArgRef>& a) {
    std::shared_ptr<ITextSplitter> splitters[2];
    for (int i = 0; i < 2; ++i) {
        splitters[i] = Unwrap<ITextSplitter>(a[static_cast<std::size_t>(i)].value);
        if (!splitters[i]) {
            splitters[i] = self.GetHost().CreateTextSplitter();
        }
    }
    Slot<E4710DownloadLogOption> log(a[2]);
    Slot<E4710DownloadOption> opt(a[3]);
    Slot<int16_t*> label(a[4]);
    Slot<int16_t> resol(a[5]);
    Slot<bool*> prompt(a[6]);
    const bool ok = self.DownloadLog(*splitters[0], *splitters[1], log.Get(), opt.Get(),
                                     label.Get(), resol.Get(), prompt.Get());
    label.WriteBack(a[4]);
    prompt.WriteBack(a[6]);
    return Variant(ok);
}

}  // namespace

Variant CVesk4710::Invoke(const std::string& name, MemberKind kind, std::vector<Variant>& args) {
    static const Binder<C> binder(
        MemberTable(),
        {
            {"DVCICommError", K::Let, Let<int32_t>(&C::DVCICommError)},
            {"DVCICommError", K::Get, Get<int32_t>(&C::DVCICommError)},
            {"DateFormat", K::Get, Get<E4710DateFormat>(&C::DateFormat)},
            {"TimeFormat", K::Get, Get<E4710TimeFormat>(&C::TimeFormat)},
            {"DateTimeStamp", K::Let, Let<bool>(&C::DateTimeStamp)},
            {"DateTimeStamp", K::Get, Get<bool>(&C::DateTimeStamp)},
            {"Passcode", K::Let, Let<const std::string&>(&C::Passcode)},
            {"Passcode", K::Get, Get<std::string>(&C::Passcode)},
            {"ScanChannels", K::Let, Let<const std::string&>(&C::ScanChannels)},
            {"ScanChannels", K::Get, Get<std::string>(&C::ScanChannels)},
            {"ScanMode", K::Let, Let<E4710ScanMode>(&C::ScanMode)},
            {"ScanMode", K::Get, Get<E4710ScanMode>(&C::ScanMode)},
            {"DemandLogCount", K::Let, Let<int16_t>(&C::DemandLogCount)},
            {"DemandLogCount", K::Get, Get<int16_t>(&C::DemandLogCount)},
            {"DemandLogPoints", K::Get, Get<int16_t>(&C::DemandLogPoints)},
            {"AutoPower", K::Let, Let<bool>(&C::AutoPower)},
            {"AutoPower", K::Get, Get<bool>(&C::AutoPower)},
            {"DisableSerial", K::Let, Let<bool>(&C::DisableSerial)},
            {"DisableSerial", K::Get, Get<bool>(&C::DisableSerial)},
            {"FilePath", K::Let, Let<const std::string&>(&C::FilePath)},
            {"FilePath", K::Get, Get<std::string>(&C::FilePath)},
            {"SystemClock", K::Let, Let<Date>(&C::SystemClock)},
            {"SystemClock", K::Get, Get<Date>(&C::SystemClock)},
            {"HelpFile", K::Let, Let<const std::string&>(&C::HelpFile)},
            {"HelpFile", K::Get, Get<std::string>(&C::HelpFile)},
            {"SetRegistry", K::Method, Method(&C::SetRegistry)},
            {"Registry", K::Get, Get<std::shared_ptr<IRegistry>>(&C::Registry)},
            {"InitializeCommunications", K::Method,
             Method(&C::InitializeCommunications, "", int32_t{1}, int32_t{6})},
            {"Changed", K::Let, Let<bool>(&C::Changed)},
            {"Changed", K::Get, Get<bool>(&C::Changed)},
            {"AllowSetSerial", K::Let, Let<bool>(&C::AllowSetSerial)},
            {"AllowSetSerial", K::Get, Get<bool>(&C::AllowSetSerial)},
            {"ReadAfterApply", K::Let, Let<bool>(&C::ReadAfterApply)},
            {"ReadAfterApply", K::Get, Get<bool>(&C::ReadAfterApply)},
            {"Resolution", K::Get, Get<int16_t>(&C::Resolution)},
            {"Resolution", K::Let, Let<int16_t>(&C::Resolution)},
            {"ValidatePasscode", K::Method, Method(&C::ValidatePasscode)},
            {"UpdatePasscodeState", K::Method, Method(&C::UpdatePasscodeState, false)},
            {"ProtectConversion", K::Let, Let<bool>(&C::ProtectConversion)},
            {"ProtectConversion", K::Get, Get<bool>(&C::ProtectConversion)},
            {"ProtectCalParams", K::Let, Let<bool>(&C::ProtectCalParams)},
            {"ProtectCalParams", K::Get, Get<bool>(&C::ProtectCalParams)},
            {"PasscodeState", K::Let, Let<E4710PasscodeState>(&C::PasscodeState)},
            {"PasscodeState", K::Get, Get<E4710PasscodeState>(&C::PasscodeState)},
            {"ConvPasscodeState", K::Let, Let<E4710PasscodeState>(&C::ConvPasscodeState)},
            {"ConvPasscodeState", K::Get, Get<E4710PasscodeState>(&C::ConvPasscodeState)},
            {"CalDate", K::Let, Let<Date>(&C::CalDate)},
            {"CalDate", K::Get, Get<Date>(&C::CalDate)},
            {"CalParamPasscodeState", K::Let, Let<E4710PasscodeState>(&C::CalParamPasscodeState)},
            {"CalParamPasscodeState", K::Get, Get<E4710PasscodeState>(&C::CalParamPasscodeState)},
            {"LogSessionInterval", K::Let, Let<int16_t>(&C::LogSessionInterval)},
            {"LogSessionInterval", K::Get, Get<int16_t>(&C::LogSessionInterval)},
            {"MaxInterval", K::Get, Get<E4710Interval>(&C::MaxInterval)},
            {"MinInterval", K::Get, Get<E4710Interval>(&C::MinInterval)},
            {"MaxResolution", K::Get, Get<int16_t>(&C::MaxResolution)},
            {"MinResolution", K::Get, Get<int16_t>(&C::MinResolution)},
            {"MaxLabelLength", K::Get, Get<int16_t>(&C::MaxLabelLength)},
            {"NumLoggingLabels", K::Get, Get<int16_t>(&C::NumLoggingLabels)},
            {"QueryChannelInfo", K::Method, Method(&C::QueryChannelInfo)},
            {"QueryChannelState", K::Method, Method(&C::QueryChannelState)},
            {"QueryInfo", K::Method, Method(&C::QueryInfo, Nothing{}, false, false)},
            {"QueryIdentification", K::Method, Method(&C::QueryIdentification, true)},
            {"VerifyMinimumFirmware", K::Method, Method(&C::VerifyMinimumFirmware)},
            {"MinFirmwareRequired", K::Get, Get<double>(&C::MinFirmwareRequired)},
            {"QueryUnits", K::Method, Method(&C::QueryUnits)},
            {"QueryMeasurement", K::Method, Method(&C::QueryMeasurement, int16_t{-1}, false)},
            {"QueryDemandLogStatus", K::Method, Method(&C::QueryDemandLogStatus)},
            {"QueryLoggingLabel", K::Method, Method(&C::QueryLoggingLabel)},
            {"UpdateInfo", K::Method, Method(&C::UpdateInfo, Nothing{}, false, false)},
            {"ClearAutoLog", K::Method, Method(&C::ClearAutoLog)},
            {"ClearDemandLog", K::Method, Method(&C::ClearDemandLog)},
            {"UpdateUnits", K::Method, Method(&C::UpdateUnits)},
            {"UpdateResolution", K::Method, Method(&C::UpdateResolution)},
            {"StartMeasure", K::Method, Method(&C::StartMeasure)},
            {"StopMeasure", K::Method, Method(&C::StopMeasure)},
            {"UpdateInterval", K::Method, Method(&C::UpdateInterval, Nothing{})},
            {"UpdateScanSeqDelay", K::Method, Method(&C::UpdateScanSeqDelay)},
            {"UpdateScanChannelList", K::Method, Method(&C::UpdateScanChannelList)},
            {"UpdateScanMode", K::Method, Method(&C::UpdateScanMode, false, false)},
            {"UpdateLoggingLabel", K::Method, Method(&C::UpdateLoggingLabel)},
            {"InitializeCommunicationSettings", K::Method,
             Method(&C::InitializeCommunicationSettings)},
            {"HasScanSeqDelay", K::Get, Get<bool>(&C::HasScanSeqDelay)},
            {"SelectedChannel", K::Let, Let<int16_t>(&C::SelectedChannel)},
            {"SelectedChannel", K::Get, Get<int16_t>(&C::SelectedChannel)},
            {"Firmware", K::Get, Get<double>(&C::Firmware)},
            {"NumChannels", K::Get, Get<int16_t>(&C::NumChannels)},
            {"Units", K::Let, Let<E4710Units>(&C::Units)},
            {"Units", K::Get, Get<E4710Units>(&C::Units)},
            {"NumModules", K::Get, Get<int16_t>(&C::NumModules)},
            {"Edit", K::Method, Method(&C::Edit)},
            {"ViewLogStatus", K::Method, Method(&C::ViewLogStatus)},
            {"EditLogLabels", K::Method, Method(&C::EditLogLabels)},
            {"DownloadLoggedData", K::Method, Method(&C::DownloadLoggedData)},
            {"DownloadLog", K::Method,
             Custom<C>(
                 2, 7,
                 {Variant(int32_t{DOWNLOAD_DEMAND_LOG}), Variant(int32_t{DOWNLOAD_SINGLE_FILE}),
                  Variant(int16_t{0}), Variant(int16_t{-1}), Variant(false)},
                 CallDownloadLog)},
            {"Identification", K::Get, Get<std::string>(&C::Identification)},
            {"Serial", K::Let, Let<const std::string&>(&C::Serial)},
            {"Serial", K::Get, Get<std::string>(&C::Serial)},
            {"Model", K::Get, Get<std::string>(&C::Model)},
            {"Modules", K::Get, Method(&C::Modules)},
            {"Interval", K::Let, Let<E4710Interval>(&C::Interval)},
            {"Interval", K::Get, Get<E4710Interval>(&C::Interval)},
            {"ScanSeqDelay", K::Let, Let<int16_t>(&C::ScanSeqDelay)},
            {"ScanSeqDelay", K::Get, Get<int16_t>(&C::ScanSeqDelay)},
            {"FillRTLSUnitsList", K::Method, Method(&C::FillRTLSUnitsList, false)},
            {"FillUnitsList", K::Method, Method(&C::FillUnitsList, false)},
            {"FillChannelList", K::Method, Method(&C::FillChannelList)},
            {"GetChannelReference", K::Method, Method(&C::GetChannelReference)},
            {"Communications", K::Get, Get<std::shared_ptr<ICommunications>>(&C::Communications)},
        },
        ClassName());
    return binder.Invoke(*this, name, kind, args);
}

}  // namespace vesk
