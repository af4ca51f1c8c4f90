#include "host/InstrumentRequests.h"

#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "components/comm/CommErrors.h"
#include "components/comm/Communications.h"
#include "components/comm/Protocol.h"
#include "components/comm/Text.h"
#include "components/readingfile/ReadingFile.h"
#include "vesk4710/core/Enums.h"
#include "vesk4710/platform/Host.h"
#include "vesk4710/platform/IOutputFile.h"
#include "vesk4710/platform/ITextSplitter.h"
#include "vesk4710/support/Date.h"
#include "vesk4710/support/NumberText.h"

namespace vesk {

namespace {

// A whole number, spaces around it allowed; nothing else.
std::optional<int64_t> WholeNumber(std::string_view text) {
    const size_t begin = text.find_first_not_of(' ');
    const size_t end = text.find_last_not_of(" \r\n");
    if (begin == std::string_view::npos) {
        return std::nullopt;
    }
    return comm::ParseWhole<int64_t>(text.substr(begin, end + 1 - begin));
}

}  // namespace

bool ChannelIsOn(CVesk4710& inst, int16_t channel) {
    auto comm = inst.Communications();
    comm->params().ClearAll();
    comm->params().Channel(std::to_string(channel));
    const std::string reply = comm->ReadSetting(SET_CHANNEL_STATE, true, "");
    const auto state = WholeNumber(reply);
    if (!state) {
        throw AutomationError(comm::kCommMalformedReply,
                              "The state of channel " + std::to_string(channel) + " \"" +
                                  comm::Printable(reply, 40) + "\" is not a whole number",
                              "ChannelIsOn");
    }
    // Bit 0 clear: the channel is on.
    return (*state & 1) == 0;
}

int32_t LogHeld(CVesk4710& inst, int32_t id, const std::string& log, const std::string& source) {
    auto comm = inst.Communications();
    comm->params().ClearAll();
    const std::string reply = comm->ReadSetting(id, true, "");
    const size_t comma = reply.find(',');
    const auto free = WholeNumber(std::string_view(reply).substr(0, comma));
    const auto held = comma == std::string::npos
                          ? std::nullopt
                          : WholeNumber(std::string_view(reply).substr(comma + 1));
    if (!free || !held || *free < 0 || *held < 0 || *held > INT32_MAX) {
        throw AutomationError(comm::kCommMalformedReply,
                              "The instrument's " + log + "-log status \"" +
                                  comm::Printable(reply, 40) + "\" is not two counts (free,held)",
                              source);
    }
    return static_cast<int32_t>(*held);
}

DownloadResult DownloadAutoLog(CVesk4710& inst, const DownloadRequest& request,
                               const std::string& source) {
    Host& host = inst.GetHost();
    DownloadResult result;
    result.count = LogHeld(inst, SET_AUTO_LOG_STATUS, "automatic", source);
    if (result.count == 0) {
        result.outcome = DownloadOutcome::NoReadings;
        return result;
    }
    auto comm = inst.Communications();
    comm->params().ClearAll();
    const TransferResult transfer = comm->Transfer(SET_AUTO_LOG_TRANSFER, result.count, "");

    auto lines = host.CreateTextSplitter();
    auto fields = host.CreateTextSplitter();
    lines->FS("\r");
    lines->L(transfer.text);
    fields->FS(",");
    fields->Quote('"');
    const std::string downloadTime = Date::Now().IsoDateTime();
    const bool multiple = request.opt == DOWNLOAD_MULTIPLE_FILES;
    std::map<std::string, std::shared_ptr<IOutputFile>> byLabel;
    auto fileFor = [&](const std::string& label) {
        auto& file = byLabel[multiple ? label : std::string()];
        if (!file) {
            file = host.CreateOutputFile();
            file->SetRegistry(inst.Registry() ? inst.Registry() : host.CreateRegistry());
            OutputFileSpec spec;
            spec.model = inst.Model().empty() ? std::string(kModel4710) : inst.Model();
            spec.serial = inst.Serial();
            spec.log = "auto";
            spec.label = multiple ? label : std::string();
            spec.downloadTime = downloadTime;
            spec.valueFormat = ReadingFormat(request.decimals);
            file->Create(spec);
            result.files.push_back(file);
        }
        return file;
    };
    int32_t written = 0;
    int32_t notReadings = 0;
    const std::string wanted = std::to_string(request.label);
    for (int32_t i = 1; i <= lines->NF(); ++i) {
        if (lines->f(i).empty()) {
            continue;
        }
        ++result.lines;
        fields->L(std::string(lines->f(i)));
        if (fields->NF() != 8) {
            ++notReadings;
            continue;
        }
        if (request.label > 0 && fields->f(5) != wanted) {
            continue;
        }
        std::vector<std::string_view> row;
        for (int32_t f = 1; f <= 8; ++f) {
            row.push_back(fields->f(f));
        }
        fileFor(std::string(fields->f(6)))->WriteReading(row);
        ++written;
    }
    std::string why;
    if (transfer.endedEarly) {
        why = "the transfer ended early (" + transfer.reason + ")";
        result.outcome = DownloadOutcome::EndedEarly;
    }
    if (notReadings > 0) {
        why += (why.empty() ? "" : "; ") + std::to_string(notReadings) +
               " lines received were not readings";
        if (result.outcome == DownloadOutcome::Written) {
            result.outcome = DownloadOutcome::NotReadings;
        }
    }
    if (!why.empty()) {
        result.note = fmt::format("incomplete download: {} readings received; {}", written, why);
        result.message = "The automatic log's download is incomplete: " + why;
        for (auto& [label, file] : byLabel) {
            file->WriteComment(result.note);
        }
    }
    for (auto& [label, file] : byLabel) {
        file->Close();
    }
    result.readings = written;
    result.skipped = notReadings;
    if (written == 0 && why.empty()) {
        result.outcome = DownloadOutcome::NoReadings;
    }
    return result;
}

std::string MeasurementText(CVesk4710& inst, int16_t chan, bool waitForNew, double* value) {
    const auto* link = dynamic_cast<const comm::Communications*>(inst.Communications().get());
    const uint64_t since = link != nullptr ? link->RequestCount() : 0;
    const double number = inst.QueryMeasurement(chan, waitForNew);
    if (value != nullptr) {
        *value = number;
    }
    const auto reply = link != nullptr ? link->LastRead() : std::nullopt;
    if (!reply || reply->request <= since ||
        (reply->id != SET_TEMPERATURE && reply->id != SET_RAW_VALUE &&
         reply->id != SET_RAW_MILLI)) {
        return fmt::format("{}", number);
    }
    const size_t begin = reply->text.find_first_not_of(' ');
    const size_t end = reply->text.find_last_not_of(' ');
    const std::string sent =
        begin == std::string::npos ? std::string() : reply->text.substr(begin, end - begin + 1);
    const auto text = reply->id == SET_RAW_MILLI ? files::ShiftDecimal(sent, -3)
                                                 : std::optional<std::string>(sent);
    if (!text || !IsNumeric(*text) || text->find(',') != std::string::npos ||
        std::fabs(Val(*text) - number) > 1e-9 * std::max(1.0, std::fabs(number))) {
        throw AutomationError(comm::kCommMalformedReply,
                              "The reading \"" + comm::Printable(sent, 40) + "\" of channel " +
                                  std::to_string(chan) + " is not a number",
                              "MeasurementText");
    }
    return *text;
}

}  // namespace vesk
