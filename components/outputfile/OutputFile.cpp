#include "components/outputfile/OutputFile.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "components/comm/Text.h"
#include "components/outputfile/ProgramRunner.h"
#include "components/readingfile/ReadingFile.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/RegistryKeys.h"
#include "vesk4710/support/StringIds.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace fs = std::filesystem;

namespace {

constexpr size_t kFlushSize = 1 << 16;
constexpr int kMaxNameTries = 1000;
constexpr int32_t kViewWaitMs = 10000;
constexpr int32_t kPrintWaitMs = 30000;
constexpr const char* kRegPrinterName = "PrinterName";

// Fields and settings are trimmed of tabs as well as spaces.
std::string_view TrimField(std::string_view s) {
    return Trim(s, " \t");
}

bool IsAsciiAlnum(unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

uint32_t Fnv1a(std::string_view text) {
    uint32_t h = 2166136261u;
    for (unsigned char c : text) {
        h ^= c;
        h *= 16777619u;
    }
    return h;
}

std::string Hex8(uint32_t v) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out(8, '0');
    for (int i = 7; i >= 0; --i) {
        out[static_cast<size_t>(i)] = kDigits[v & 0xF];
        v >>= 4;
    }
    return out;
}

// Whole text is one number (the instrument's readings use a period).
bool ParseNumber(std::string_view text, double& value) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    const auto parsed = comm::ParseWhole<double>(text);
    if (parsed) {
        value = *parsed;
    }
    return parsed.has_value();
}

// A whole number goes out as one; anything else as quoted text.
void AppendWhole(std::string& out, std::string_view text) {
    const bool digits =
        !text.empty() && text.size() <= 9 && text.find_first_not_of("0123456789") == text.npos;
    OutputFile::AppendCsv(out, text, !digits);
}

std::string ErrnoText(int err) {
    return std::error_code(err, std::generic_category()).message();
}

std::string OutputTail(const std::string& output) {
    std::string_view t = TrimField(output);
    while (!t.empty() && (t.back() == '\n' || t.back() == '\r')) {
        t.remove_suffix(1);
    }
    return t.empty() ? std::string() : ": " + std::string(t);
}

}  // namespace

std::shared_ptr<OutputFile> OutputFile::Create(std::shared_ptr<IRegistry> registry, IUiServices& ui,
                                               IFileSystem& files) {
    return std::shared_ptr<OutputFile>(new OutputFile(std::move(registry), ui, files));
}

OutputFile::OutputFile(std::shared_ptr<IRegistry> registry, IUiServices& ui, IFileSystem& files)
    : registry_(std::move(registry)), ui_(ui), files_(files) {}

OutputFile::~OutputFile() {
    // A file never closed is an unfinished one.
    Discard();
}

void OutputFile::Discard() noexcept {
    if (file_) {
        try {
            file_->Close();
        } catch (...) {
            // Its text is being thrown away anyway.
        }
        file_.reset();
    }
    buffer_.clear();
    if (!tempPath_.empty()) {
        std::error_code ec;
        fs::remove(tempPath_, ec);
        tempPath_.clear();
    }
}

void OutputFile::SetRegistry(std::shared_ptr<IRegistry> registry) {
    registry_ = std::move(registry);
}

std::shared_ptr<IRegistry> OutputFile::Registry() const {
    return registry_;
}

std::string OutputFile::Folder() const {
    return folder_;
}

std::string OutputFile::FileName() const {
    return name_;
}

std::string OutputFile::Path() const {
    if (name_.empty()) {
        return {};
    }
    return (fs::path(folder_) / name_).string();
}

[[noreturn]] void OutputFile::Fail(const char* member, std::string description,
                                   int32_t number) const {
    throw AutomationError(number, std::move(description), std::string("OutputFile - ") + member);
}

std::string OutputFile::DownloadFolder(IRegistry* registry, IFileSystem& files) {
    std::string folder;
    if (registry != nullptr) {
        folder = std::string(
            TrimField(registry->ReadValue(kRegDownloadFolder, 0, kHKeyCurrentUser, "")));
    }
    if (!folder.empty()) {
        if (folder == "~" || folder.rfind("~/", 0) == 0) {
            folder = files.GetSpecialFolder(SpecialFolder::Home) + folder.substr(1);
        } else if (fs::path(folder).is_relative()) {
            folder = (fs::path(files.GetSpecialFolder(SpecialFolder::Home)) / folder).string();
        }
        return fs::path(folder).lexically_normal().string();
    }
    std::error_code ec;
    std::string documents = files.GetSpecialFolder(SpecialFolder::Documents);
    if (!documents.empty() && fs::is_directory(documents, ec)) {
        return documents;
    }
    return files.GetSpecialFolder(SpecialFolder::Home);
}

std::string OutputFile::SafeNamePart(std::string_view text, size_t maxLength) {
    std::string out;
    bool lossy = false;
    for (unsigned char c : text) {
        if (IsAsciiAlnum(c) || c == '-' || c == '_') {
            out.push_back(static_cast<char>(c));
        } else {
            // Separators, dots, spaces, control and non-ASCII bytes never reach a file name.
            out.push_back('_');
            lossy = true;
        }
    }
    if (out.size() > maxLength) {
        out.resize(maxLength);
        lossy = true;
    }
    if (lossy) {
        out += "-" + Hex8(Fnv1a(text));
    }
    return out;
}

std::string OutputFile::MakeFileName(const OutputFileSpec& spec) {
    std::string name = SafeNamePart(spec.model.empty() ? std::string("4710") : spec.model);
    name += "_" + SafeNamePart(spec.log.empty() ? std::string("log") : spec.log);
    name += spec.label.empty() ? std::string("_all") : "_label-" + SafeNamePart(spec.label);
    std::string digits;
    for (char c : spec.downloadTime) {
        if (c >= '0' && c <= '9') {
            digits.push_back(c);
        }
    }
    if (digits.size() == 14) {
        name += "_" + digits.substr(0, 8) + "-" + digits.substr(8);
    } else if (!spec.downloadTime.empty()) {
        name += "_" + SafeNamePart(spec.downloadTime);
    }
    return name + ".csv";
}

void OutputFile::AppendCsv(std::string& out, std::string_view field, bool text) {
    files::AppendCsvField(out, field, text);
}

void OutputFile::Create(const OutputFileSpec& spec) {
    if (file_) {
        Close();
    }
    const std::string folder = DownloadFolder(registry_.get(), files_);
    std::error_code ec;
    if (!fs::exists(folder, ec)) {
        fs::create_directories(folder, ec);
        if (ec) {
            Fail("Create",
                 "The download folder '" + folder + "' cannot be created: " + ec.message(),
                 kErrDownloadFolder);
        }
    } else if (!fs::is_directory(folder, ec)) {
        Fail("Create", "The download folder '" + folder + "' is not a folder", kErrDownloadFolder);
    }
    const std::string name = MakeFileName(spec);
    const fs::path path = fs::path(folder) / name;
    // The name is one sanitised component, so the path cannot leave the folder; check anyway.
    if (path.parent_path() != fs::path(folder) || path.filename() != name) {
        Fail("Create", "Refusing the download file name '" + name + "'", kErrPathNotFound);
    }
    // Hidden, and unique among the writers of this folder (processes and files).
    static std::atomic<uint32_t> serial{0};
    const std::string temp = (fs::path(folder) / ("." + name + "." + std::to_string(::getpid()) +
                                                  "-" + std::to_string(++serial) + ".part"))
                                 .string();
    try {
        file_ = files_.CreateTextFile(temp);
        tempPath_ = temp;
    } catch (...) {
        const PendingError e = CapturePendingError();
        Fail("Create",
             "The download file '" + path.string() + "' cannot be created: " + e.description,
             e.number != 0 ? e.number : kErrPermissionDenied);
    }
    folder_ = folder;
    name_ = name;
    format_ = spec.valueFormat;
    readings_ = 0;
    buffer_.clear();

    const std::string_view when = spec.downloadTime;
    const auto downloaded = when.size() == 19
                                ? files::IsoFromLocalClock(when.substr(0, 10), when.substr(11))
                                : std::nullopt;
    files::ReadingsCsv csv(buffer_);
    csv.Begin({{"model", spec.model},
               {"serial", spec.serial},
               {"log", spec.log},
               {"label", spec.label.empty() ? std::string("(all)") : spec.label},
               {"downloaded", downloaded.value_or(spec.downloadTime)},
               {"time zone", files::LocalZoneText() + ", the instrument clock's times"}},
              kOutputColumns);
}

void OutputFile::WriteReading(const std::vector<std::string_view>& fields) {
    if (!file_) {
        Fail("WriteReading", "The download file is not open", kErrFileNotFound);
    }
    if (fields.size() < 8) {
        Fail("WriteReading",
             "A reading has 8 fields; this line has " +
                 NumberText(static_cast<int64_t>(fields.size())),
             kErrInvalidProcedureCall);
    }
    AppendWhole(buffer_, TrimField(fields[0]));
    buffer_.push_back(',');
    const std::string_view date = TrimField(fields[1]);
    const std::string_view time = TrimField(fields[2]);
    if (const auto iso = files::IsoFromLocalClock(date, time)) {
        buffer_ += *iso;
    } else {
        // Kept as it came, so that nothing is lost; pandas then reads the column as text.
        AppendCsv(buffer_, std::string(date) + " " + std::string(time), true);
    }
    buffer_.push_back(',');
    AppendWhole(buffer_, TrimField(fields[3]));
    buffer_.push_back(',');
    AppendWhole(buffer_, TrimField(fields[4]));
    buffer_.push_back(',');
    AppendCsv(buffer_, fields[5], true);
    buffer_.push_back(',');
    std::string_view value = TrimField(fields[6]);
    std::string_view unit = TrimField(fields[7]);
    // Emf arrives in volts; every file and tool gives it in millivolts.
    std::optional<std::string> scaled;
    if (unit == "V" && (scaled = files::ShiftDecimal(value, 3))) {
        value = *scaled;
        unit = files::kEmfUnit;
    }
    double v = 0;
    if (ParseNumber(value, v)) {
        if (format_.empty()) {
            buffer_.append(value);
        } else {
            // Readings keep a period whatever the locale, so the comma stays the separator.
            buffer_ += ToInvariantDecimal(FormatNumber(v, format_));
        }
    } else {
        AppendCsv(buffer_, value, true);
    }
    buffer_.push_back(',');
    AppendCsv(buffer_, unit, true);
    buffer_.push_back('\n');
    ++readings_;
    if (buffer_.size() >= kFlushSize) {
        Flush();
    }
}

void OutputFile::WriteComment(std::string_view text) {
    if (!file_) {
        Fail("WriteComment", "The download file is not open", kErrFileNotFound);
    }
    buffer_ += "# ";
    for (unsigned char c : text) {
        buffer_.push_back(c < 0x20 || c == 0x7F ? ' ' : static_cast<char>(c));
    }
    buffer_.push_back('\n');
}

void OutputFile::Flush() {
    if (buffer_.empty() || !file_) {
        return;
    }
    try {
        file_->Write(buffer_);
    } catch (...) {
        // A file that lost text must not take its name later.
        const PendingError e = CapturePendingError();
        Discard();
        Fail("WriteReading", "Writing the download file '" + Path() + "' failed: " + e.description,
             e.number != 0 ? e.number : kErrDeviceIO);
    }
    buffer_.clear();
}

void OutputFile::Close() {
    if (!file_) {
        return;
    }
    const auto fail = [this](const std::string& what) {
        const PendingError e = CapturePendingError();
        Discard();
        Fail("Close", what + " the download file '" + Path() + "' failed: " + e.description,
             e.number != 0 ? e.number : kErrDeviceIO);
    };
    try {
        if (!buffer_.empty()) {
            file_->Write(buffer_);
            buffer_.clear();
        }
        file_->Sync();
        file_->Close();
        file_.reset();
    } catch (...) {
        fail("Writing");
    }
    const fs::path name(name_);
    const std::string stem = name.stem().string();
    const std::string extension = name.extension().string();
    for (int n = 1; n <= kMaxNameTries; ++n) {
        const std::string candidate = n == 1 ? name_ : stem + "_" + std::to_string(n) + extension;
        bool named = false;
        try {
            named = files_.RenameFile(tempPath_, (fs::path(folder_) / candidate).string());
        } catch (...) {
            fail("Naming");
        }
        if (named) {
            name_ = candidate;
            tempPath_.clear();
            return;
        }
    }
    Discard();
    Fail("Close",
         "The download file '" + Path() + "' and " + std::to_string(kMaxNameTries - 1) +
             " numbered names after it are all taken",
         kErrFileAlreadyExists);
}

void OutputFile::View(bool flag) {
    const std::string path = Path();
    if (path.empty() || !files_.FileExists(path)) {
        Fail("View", ReplaceTokens(LoadResString(kResDownloadFileNotFound), path),
             kErrFileNotFound);
    }
    const ProgramRun run = RunProgram({"xdg-open", path}, flag ? kViewWaitMs : 0, &ui_);
    if (run.spawnError != 0) {
        Fail("View",
             "The file viewer cannot be started (xdg-open: " + ErrnoText(run.spawnError) +
                 "); open '" + path + "' by hand",
             kErrViewFailed);
    }
    if (run.finished && (run.exitCode != 0 || run.signal != 0)) {
        std::string why;
        switch (run.exitCode) {
            case 2:
                why = "the file was not found";
                break;
            case 3:
                why = "no viewer program is installed for this kind of file";
                break;
            case 4:
                why = "the viewer failed to open it";
                break;
            default:
                why = run.signal != 0
                          ? "xdg-open was stopped by signal " + NumberText(int64_t{run.signal})
                          : "xdg-open exited with code " + NumberText(int64_t{run.exitCode});
        }
        Fail("View",
             "The file '" + path + "' could not be opened for viewing: " + why +
                 OutputTail(run.output),
             kErrViewFailed);
    }
}

void OutputFile::Print(bool selectPrinter) {
    const std::string path = Path();
    if (path.empty() || !files_.FileExists(path)) {
        Fail("Print", ReplaceTokens(LoadResString(kResDownloadFileNotFound), path),
             kErrFileNotFound);
    }
    std::vector<std::string> argv{"lp"};
    if (selectPrinter && registry_) {
        const std::string printer(
            TrimField(registry_->ReadValue(kRegPrinterName, 0, kHKeyCurrentUser, "")));
        if (!printer.empty()) {
            argv.push_back("-d");
            argv.push_back(printer);
        }
    }
    argv.push_back(path);
    const ProgramRun run = RunProgram(argv, kPrintWaitMs, &ui_);
    if (run.spawnError != 0) {
        Fail("Print",
             "The print command cannot be started (lp: " + ErrnoText(run.spawnError) +
                 "); is a print system installed?",
             kErrPrintFailed);
    }
    if (!run.finished) {
        Fail("Print", "The print command did not finish within 30 seconds for '" + path + "'",
             kErrPrintFailed);
    }
    if (run.exitCode != 0 || run.signal != 0) {
        Fail("Print",
             "The file '" + path + "' could not be printed: lp exited with code " +
                 NumberText(int64_t{run.exitCode}) + OutputTail(run.output),
             kErrPrintFailed);
    }
    ShowInfoMessage(ui_, ReplaceTokens(LoadResString(kResFileSentToPrinter), path), kMsgCaption);
}

}  // namespace vesk
