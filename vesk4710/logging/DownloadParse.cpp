// Parsing the transferred lines into output files: one per download or one per logging label,
// and the note that marks them incomplete when something was left out.
#include <string>
#include <string_view>

#include "vesk4710/logging/DownloadInternal.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::detail::download {

namespace {

// Fields of a transfer line: seq, date, time, channel, label number, label, value, unit.
constexpr int32_t kReadingFields = 8;
constexpr int32_t kFieldLabel = 6;

// A line that holds nothing but line ends counts as blank.
bool IsBlank(std::string_view line) {
    for (char c : line) {
        if (c != '\r' && c != '\n') {
            return false;
        }
    }
    return true;
}

// A line as an error message may quote it: short, control bytes shown as '?'.
std::string Excerpt(std::string_view line) {
    constexpr size_t kMax = 60;
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) {
        line.remove_suffix(1);
    }
    std::string out;
    for (char c : line.substr(0, kMax)) {
        const auto u = static_cast<unsigned char>(c);
        out.push_back(u < 0x20 || u == 0x7F ? '?' : c);
    }
    return line.size() > kMax ? out + "..." : out;
}

}  // namespace

std::shared_ptr<IOutputFile> Download::NewFile(const std::string& label) {
    const int32_t saved = phrase_;
    phrase_ = kResAttemptingToCreateDownloadFile;
    auto file = host_.CreateOutputFile();
    if (!file) {
        throw AutomationError(kErrObjectRequired, "The output file component is missing");
    }
    // Without a client registry the host's settings still give the download folder.
    file->SetRegistry(inst_.Registry() ? inst_.Registry() : host_.CreateRegistry());
    OutputFileSpec spec;
    spec.model = inst_.Model().empty() ? std::string(kModel4710) : inst_.Model();
    spec.serial = inst_.Serial();
    spec.log = req_.log == DOWNLOAD_AUTO_LOG ? "auto" : "demand";
    spec.label = label;
    spec.downloadTime = downloadTime_;
    spec.valueFormat = format_;
    file->Create(spec);
    result_.files.push_back(file);
    phrase_ = saved;
    return file;
}

void Download::Parse() {
    const bool multiple = req_.opt == DOWNLOAD_MULTIPLE_FILES;
    const int32_t n = lines_.NF();
    if (multiple) {
        trace_.Line({"Creating multiple files..."});
    } else {
        trace_.Line({"Creating single file..."});
        trace_.Line({"Preparing single file..."});
        std::string label;
        if (req_.label != 0) {
            // Every line carries the chosen label; name the file after it.
            for (int32_t i = 1; i <= n && label.empty(); ++i) {
                if (!IsBlank(lines_.f(i))) {
                    fields_.L(std::string(lines_.f(i)));
                    label = std::string(fields_.f(kFieldLabel));
                }
            }
            if (label.empty()) {
                label = "#" + std::string(Num(req_.label));
            }
        }
        NewFile(label);
    }

    const int32_t progressEvery = n >= 100 ? n / 100 : 1;
    for (int32_t i = 1; i <= n; ++i) {
        ParseLine(i);
        ui_.DoEvents();
        if (progress_ && i % progressEvery == 0) {
            progress_->Status(LoadResString(kResParsingData), 100.0 * i / n);
            if (!progress_->Continue()) {
                trace_.Line({"Download cancelled at line ", Num(i), "..."});
                result_.outcome = DownloadOutcome::Cancelled;
                cancelledAt_ = "writing was cancelled after line " + std::string(Num(i)) + " of " +
                               std::string(Num(n));
                break;
            }
        }
    }
    trace_.Line({multiple ? "Closing all files..." : "Closing file..."});
    phrase_ = kResAttemptingToDownloadLog;
    Finish();
}

void Download::ParseLine(int32_t i) {
    const std::string_view line = lines_.f(i);
    if (IsBlank(line)) {
        return;
    }
    const bool multiple = req_.opt == DOWNLOAD_MULTIPLE_FILES;
    trace_.Line({"Parsing line ", Num(i), "..."});
    fields_.L(std::string(line));
    const int32_t nf = fields_.NF();
    trace_.Line({"Fields: ", Num(nf)});
    row_.clear();
    for (int32_t j = 1; j <= nf; ++j) {
        row_.push_back(fields_.f(j));
    }
    const Num total(nf);
    for (int32_t j = 1; j <= nf; ++j) {
        trace_.Line({"Field ", Num(j), " of ", total, ": ", row_[static_cast<size_t>(j - 1)]});
    }
    // The piece after the line end is no field. Any other count than a reading's (garbled,
    // cut short, a label with a comma that did not travel quoted) would shift the columns.
    const int32_t own = nf - (line.back() == '\r' || line.back() == '\n' ? 1 : 0);
    if (own != kReadingFields) {
        trace_.Line({"Line ", Num(i), " is not a reading; skipped..."});
        if (result_.skipped++ == 0) {
            firstSkipped_ = "line " + std::string(Num(i)) + " has " + std::string(Num(own)) +
                            " fields where a reading has " + std::string(Num(kReadingFields)) +
                            ": \"" + Excerpt(line) + "\"";
        }
        return;
    }

    IOutputFile* target = nullptr;
    if (multiple) {
        trace_.Line({"Determining file index to write to..."});
        const std::string_view label = row_[kFieldLabel - 1];
        auto it = byLabel_.find(label);
        if (it == byLabel_.end()) {
            trace_.Line({"Creating new file..."});
            trace_.Line({"Preparing new file..."});
            std::string name(label);
            if (name.empty()) {
                name = "#" + std::string(row_[kFieldLabel - 2]);
            }
            NewFile(name);
            it = byLabel_.emplace(std::string(label), result_.files.size() - 1).first;
        }
        target = result_.files[it->second].get();
        trace_.Line({"Writing to file ", Num(static_cast<int64_t>(it->second) + 1), "..."});
    } else {
        target = result_.files.front().get();
    }

    trace_.Line({"Updating file..."});
    target->WriteReading(row_);
    ++result_.readings;
}

std::string Download::Received() const {
    return "incomplete download: " + std::string(Num(result_.readings)) + " readings received; ";
}

std::string Download::KeptIn() const {
    return rawWritten_ ? "; every line received is kept in '" + result_.rawPath + "'"
                       : std::string();
}

void Download::Finish() {
    std::string why;
    const auto add = [&why](const std::string& part) {
        if (!part.empty()) {
            why += why.empty() ? part : "; " + part;
        }
    };
    add(endedEarly_.empty() ? std::string() : "the transfer ended early (" + endedEarly_ + ")");
    add(cancelledAt_);
    if (result_.skipped > 0) {
        add(std::string(Num(result_.skipped)) + " lines received were not readings (" +
            firstSkipped_ + ")");
    }
    if (!why.empty()) {
        result_.note = Received() + why + KeptIn();
        trace_.Line({"Download incomplete: ", result_.note});
        for (auto& file : result_.files) {
            file->WriteComment(result_.note);
        }
    }
    for (auto& file : result_.files) {
        file->Close();
    }
    if (!endedEarly_.empty()) {
        result_.outcome = DownloadOutcome::EndedEarly;
        result_.message = "The transfer ended early (" + endedEarly_ + "); the " +
                          std::string(Num(result_.readings)) +
                          " readings received were written to files marked incomplete" + KeptIn();
    } else if (result_.outcome == DownloadOutcome::Written && result_.skipped > 0) {
        result_.outcome = DownloadOutcome::NotReadings;
        result_.message = std::string(Num(result_.skipped)) +
                          " lines received were not readings and are left out of the files, " +
                          "which are marked incomplete: " + firstSkipped_ + KeptIn();
    }
}

void Download::CloseAll(const std::string& why) noexcept {
    // What was written stays, marked: the files are all that holds the readings when the raw
    // copy failed too.
    for (auto& file : result_.files) {
        try {
            file->WriteComment(Received() + why);
            file->Close();
        } catch (...) {
            // Already on the error path; the first error is the one reported.
        }
    }
}

}  // namespace vesk::detail::download
