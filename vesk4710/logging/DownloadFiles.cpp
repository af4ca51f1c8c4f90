// The trace and the raw copy a download writes in the temporary folder.
#include <string>
#include <string_view>
#include <utility>

#include "vesk4710/logging/DownloadInternal.h"

namespace vesk::detail::download {

namespace {

// Another program's download may remove the file between the look and the delete; gone is
// what was wanted.
void DeleteIfPresent(IFileSystem& fs, const std::string& path) {
    if (!fs.FileExists(path)) {
        return;
    }
    try {
        fs.DeleteFile(path);
    } catch (const AutomationError& e) {
        if (e.Number() != kErrFileNotFound) {
            throw;
        }
    }
}

}  // namespace

void TraceFile::Open(const std::string& path) {
    DeleteIfPresent(fs_, path);
    file_ = fs_.CreateTextFile(path);
}

void TraceFile::Line(std::initializer_list<std::string_view> parts) {
    if (!file_) {
        return;
    }
    size_t total = 1;
    for (auto p : parts) {
        total += p.size();
    }
    if (used_ + total > kBufferSize) {
        Flush();
        if (total > kBufferSize) {
            // A giant (garbled) line goes out on its own.
            std::string line;
            line.reserve(total);
            for (auto p : parts) {
                line.append(p);
            }
            line.push_back('\n');
            Write(line);
            return;
        }
    }
    // Trace pieces are short: a plain loop beats a library call per piece.
    char* out = buf_.get() + used_;
    for (auto p : parts) {
        for (char c : p) {
            *out++ = c;
        }
    }
    *out++ = '\n';
    used_ = static_cast<size_t>(out - buf_.get());
}

void TraceFile::Flush() {
    Write(std::string_view(buf_.get(), used_));
    used_ = 0;
}

void TraceFile::Close() {
    Flush();
    if (file_) {
        try {
            file_->Close();
        } catch (...) {
            // The trace is diagnostic; its loss is not worth the download, only a word.
            error_ = CapturePendingError().description;
        }
        file_.reset();
    }
}

void TraceFile::Write(std::string_view text) {
    if (!file_ || text.empty()) {
        return;
    }
    try {
        file_->Write(text);
    } catch (...) {
        error_ = CapturePendingError().description;
        file_.reset();
    }
}

void RawCopy::Open(const std::string& path) {
    try {
        DeleteIfPresent(fs_, path);
        file_ = fs_.CreateTextFile(path);
    } catch (...) {
        failure_ = CapturePendingError();
    }
}

void RawCopy::Append(std::string_view line) noexcept {
    if (!file_) {
        return;
    }
    try {
        file_->Write(line);
        file_->Flush();
        written_ += line.size();
    } catch (...) {
        failure_ = CapturePendingError();
        failure_->description += " (after " + std::string(Num(written_)) + " bytes)";
        Drop();
    }
}

void RawCopy::Finish(std::string_view text) {
    if (!failure_ && written_ < text.size()) {
        try {
            file_->Write(text.substr(written_));
        } catch (...) {
            failure_ = CapturePendingError();
        }
    }
    if (!failure_) {
        std::unique_ptr<ITextFile> file = std::move(file_);
        file->Close();
        return;
    }
    Drop();
    throw AutomationError(failure_->number, failure_->description, failure_->source,
                          failure_->helpFile, failure_->helpContext);
}

void RawCopy::Drop() noexcept {
    try {
        if (file_) {
            file_->Close();
        }
    } catch (...) {
        // Already failing; the first failure is the one reported.
    }
    file_.reset();
}

}  // namespace vesk::detail::download
