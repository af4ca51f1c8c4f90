// The logging members of CVesk4710: demand-log status, log clearing, the logging label and
// the logged-data download.
#include <memory>
#include <string>

#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/core/CVesk4710Internal.h"
#include "vesk4710/dialogs/DownloadDialog.h"
#include "vesk4710/logging/LogDownload.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/NumberText.h"

namespace vesk {

bool CVesk4710::QueryDemandLogStatus() {
    try {
        const std::string reply = detail::ReadSetting(*Session(), SET_DEMAND_LOG_STATUS);
        int16_t first = 0;
        int16_t second = 0;
        const size_t comma = reply.find(',');
        if (comma != std::string::npos) {
            first = CInt16(Val(std::string_view(reply).substr(0, comma)));
            second = CInt16(Val(std::string_view(reply).substr(comma + 1)));
        }
        // A sum beyond 16 bits is an overflow, not a wrap.
        const int16_t points = CInt16(static_cast<double>(first) + second);
        DemandLogPoints(points);
        DemandLogCount(second);
        return true;
    } catch (...) {
        Rethrow("QueryDemandLogStatus");
    }
}

bool CVesk4710::QueryLoggingLabel(std::string& labelname) {
    try {
        labelname = detail::ReadSetting(*Session(), SET_LOGGING_LABEL_READ);
        return true;
    } catch (...) {
        Rethrow("QueryLoggingLabel()");
    }
}

bool CVesk4710::UpdateLoggingLabel(const std::string& labelname) {
    try {
        detail::WriteValue(*Session(), SET_LOGGING_LABEL_WRITE, labelname);
        return true;
    } catch (...) {
        Rethrow("UpdateLoggingLabel");
    }
}

bool CVesk4710::ClearAutoLog() {
    try {
        detail::WriteValue(*Session(), SET_CLEAR_AUTO_LOG, "0");
        return true;
    } catch (...) {
        Rethrow("ClearAutoLog");
    }
}

bool CVesk4710::ClearDemandLog() {
    try {
        detail::WriteSetting(*Session(), SET_CLEAR_DEMAND_LOG);
        return true;
    } catch (...) {
        Rethrow("ClearDemandLog");
    }
}

bool CVesk4710::DownloadLoggedData() {
    try {
        DownloadDialog dialog(shared_from_this());
        ShowDialog(dialog);
        return true;
    } catch (...) {
        Rethrow("DownloadLoggedData");
    }
}

// Reports its own errors and returns false. labelnum is read only; prompt receives whether
// any file was written.
bool CVesk4710::DownloadLog(ITextSplitter& awkParserLines, ITextSplitter& awkParserFields,
                            E4710DownloadLogOption log, E4710DownloadOption opt, int16_t* labelnum,
                            int16_t resol, bool* prompt) {
    DownloadRequest request;
    request.log = log;
    request.opt = opt;
    request.label = labelnum != nullptr ? *labelnum : int16_t{0};
    request.decimals = resol;
    const detail::DownloadRun run =
        detail::RunDownload(*this, awkParserLines, awkParserFields, request, true);
    if (prompt != nullptr) {
        *prompt = !run.result.files.empty();
    }
    return run.ok;
}

}  // namespace vesk
