#include "ui/console/ConsoleUi.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string_view>
#include <thread>
#include <utility>

#include "ui/console/ProgressState.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {

std::atomic<uint32_t> g_interrupts{0};
std::atomic<int> g_signal{0};
std::atomic<bool> g_cancelArmed{false};
static_assert(std::atomic<uint32_t>::is_always_lock_free, "the signal handler needs it");
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs it");
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler needs it");

constexpr int kCancelRepeatMs = 100;

// Wakes the thread of a CancelOnInterrupt. Made once and kept for the process: a handler may
// still hold its number when a scope ends.
struct WakePipe {
    int read = -1;
    int write = -1;
};

const WakePipe& Wake() {
    static const WakePipe pipe = [] {
        WakePipe p;
        int fds[2];
        if (::pipe2(fds, O_NONBLOCK | O_CLOEXEC) == 0) {
            p.read = fds[0];
            p.write = fds[1];
        }
        return p;
    }();
    return pipe;
}
std::atomic<int> g_wakeFd{-1};

extern "C" void OnInterrupt(int signal) {
    const int savedErrno = errno;
    int none = 0;
    const bool first = g_signal.compare_exchange_strong(none, signal);
    if (!first || (signal != SIGINT && !g_cancelArmed.load())) {
        // A second signal, or a termination nothing is ready to wind down: the default action.
        ::signal(signal, SIG_DFL);
        ::raise(signal);
        errno = savedErrno;
        return;
    }
    ConsoleUi::NoteInterrupt();
    if (const int fd = g_wakeFd.load(); fd >= 0) {
        const char byte = 1;
        [[maybe_unused]] const ssize_t n = ::write(fd, &byte, 1);
    }
    errno = savedErrno;
}

constexpr int32_t kAnsAbort = 3;

// Message texts break lines with a lone CR; the terminal wants LF.
std::string TerminalText(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r') {
            out.push_back('\n');
            if (i + 1 < text.size() && text[i + 1] == '\n') {
                ++i;
            }
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

std::string JsonLine(const nlohmann::json& j) {
    // Hostile bytes (invalid UTF-8 in a label) must not abort the message.
    return j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string Lower(std::string s) {
    for (char& c : s) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return s;
}

// Turns terminal echo off for the lifetime of the guard.
class EchoOff {
  public:
    explicit EchoOff(int fd) : fd_(fd) {
        if (::tcgetattr(fd_, &saved_) == 0) {
            termios quiet = saved_;
            quiet.c_lflag &= static_cast<tcflag_t>(~ECHO);
            active_ = ::tcsetattr(fd_, TCSAFLUSH, &quiet) == 0;
        }
    }
    ~EchoOff() {
        if (active_) {
            ::tcsetattr(fd_, TCSAFLUSH, &saved_);
        }
    }
    EchoOff(const EchoOff&) = delete;
    EchoOff& operator=(const EchoOff&) = delete;

  private:
    int fd_;
    termios saved_{};
    bool active_ = false;
};

class ConsoleProgress : public ProgressState {
  public:
    ConsoleProgress(std::ostream& err, bool draw)
        : err_(err), draw_(draw), startInterrupts_(ConsoleUi::InterruptCount()) {}
    ~ConsoleProgress() override { Clear(); }

    // Only a Ctrl-C after this display was created cancels it.
    bool Continue() override { return ConsoleUi::InterruptCount() == startInterrupts_; }
    void Reset() override {
        ProgressState::Reset();
        Clear();
    }
    void Hide() override { Clear(); }
    void Close() override { Clear(); }

  private:
    void Shown() override {
        if (!draw_) {
            return;
        }
        constexpr int kWidth = 30;
        const int filled = static_cast<int>(Percent() / 100.0 * kWidth + 0.5);
        std::string line = "\r\x1b[K" + TerminalText(Text());
        std::replace(line.begin(), line.end(), '\n', ' ');
        line += " [" + std::string(static_cast<size_t>(filled), '#') +
                std::string(static_cast<size_t>(kWidth - filled), ' ') + "] " +
                std::to_string(static_cast<int>(Percent() + 0.5)) + "%";
        err_ << line << std::flush;
        shown_ = true;
    }
    void Clear() {
        if (shown_) {
            err_ << "\r\x1b[K" << std::flush;
            shown_ = false;
        }
    }

    std::ostream& err_;
    bool draw_;
    uint32_t startInterrupts_;
    bool shown_ = false;
};

}  // namespace

ConsoleUi::ConsoleUi(ConsoleOptions options)
    : options_(std::move(options)),
      err_(std::cerr),
      in_(::isatty(STDIN_FILENO) ? &std::cin : nullptr),
      terminal_(::isatty(STDERR_FILENO) != 0),
      ttyInput_(::isatty(STDIN_FILENO) != 0),
      passcodes_(options_.passcodes.begin(), options_.passcodes.end()),
      passcodeQueue_(!options_.passcodes.empty()) {
    if (in_ != nullptr || options_.passcodeStdin) {
        input_ = std::make_unique<LineInput>(std::cin, kMaxAnswerLength);
    }
}

ConsoleUi::ConsoleUi(ConsoleOptions options, std::ostream& err, std::istream* in, bool terminal)
    : options_(std::move(options)),
      err_(err),
      in_(in),
      terminal_(terminal),
      ttyInput_(false),
      passcodes_(options_.passcodes.begin(), options_.passcodes.end()),
      passcodeQueue_(!options_.passcodes.empty()) {
    if (in_ != nullptr) {
        input_ = std::make_unique<LineInput>(*in_, kMaxAnswerLength);
    }
}

ConsoleUi::~ConsoleUi() = default;

std::optional<std::string> ConsoleUi::AskLine(const std::string& question) {
    err_ << question << std::flush;
    std::string line;
    if (in_ == nullptr || input_->Next(line) != LineInput::Status::kLine) {
        err_ << "\n";
        return std::nullopt;
    }
    return line;
}

int32_t ConsoleUi::MessageBox(const std::string& prompt, int32_t style, const std::string& caption,
                              const std::string& helpFile, int32_t helpContext) {
    const int32_t buttons = style & 7;
    const bool question = buttons == 1 || buttons == 3 || buttons == 4;

    bool yes = false;
    bool assumed = true;
    if (question) {
        if (options_.assumeYes) {
            yes = true;
        } else if (options_.assumeNo || options_.json || in_ == nullptr) {
            yes = false;
        } else {
            assumed = false;
        }
    }

    if (options_.json) {
        nlohmann::json msg = {
            {"caption", caption}, {"text", TerminalText(prompt)}, {"style", style}};
        if (!helpFile.empty()) {
            msg["helpFile"] = helpFile;
            msg["helpContext"] = helpContext;
        }
        if (question) {
            msg["answer"] = yes ? "yes" : "no";
        }
        err_ << JsonLine({{"message", msg}}) << "\n" << std::flush;
    } else {
        err_ << "[" << caption << "] " << TerminalText(prompt) << "\n";
        if (!helpFile.empty()) {
            err_ << "  (help: " << helpFile << ", topic " << std::to_string(helpContext) << ")\n";
        }
        if (question && assumed) {
            err_ << "  answer: " << (yes ? "yes" : "no") << "\n";
        }
        err_ << std::flush;
    }

    if (question && !assumed) {
        // Ask until the answer is clear; the end of the input counts as no.
        yes = false;
        while (const auto answer = AskLine("  [y/n] ")) {
            const std::string a = Lower(std::string(Trim(*answer, " \t\r\n")));
            if (a == "y" || a == "yes") {
                yes = true;
                break;
            }
            if (a == "n" || a == "no") {
                break;
            }
        }
    }

    switch (buttons) {
        case 1:
            return yes ? kAnsOk : kAnsCancel;
        case 2:
            return kAnsAbort;
        case 3:
        case 4:
            return yes ? kAnsYes : kAnsNo;
        case 5:
            return kAnsCancel;
        default:
            return kAnsOk;
    }
}

void ConsoleUi::DoEvents() {
    if (onEvents) {
        onEvents();
    }
}

void ConsoleUi::WaitEvents(int32_t maxMillis) {
    if (onEvents) {
        onEvents();
    }
    if (maxMillis <= 0) {
        return;
    }
    // Short slices: a signal handler cannot notify a condition variable, and the event hook
    // runs every few milliseconds (well inside 10 ms) while the core sleeps in between.
    const uint32_t start = InterruptCount();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(maxMillis);
    for (;;) {
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline || InterruptCount() != start) {
            return;
        }
        std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(
            deadline - now, std::chrono::milliseconds(5)));
        if (onEvents) {
            onEvents();
        }
    }
}

int32_t ConsoleUi::Ticks() {
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                        std::chrono::steady_clock::now().time_since_epoch())
                        .count();
    return static_cast<int32_t>(static_cast<uint32_t>(ms));
}

int32_t ConsoleUi::ShowHelp(const std::string& helpFile, int32_t command, int32_t topic) {
    if (options_.json) {
        err_ << JsonLine({{"help", {{"file", helpFile}, {"command", command}, {"topic", topic}}}})
             << "\n"
             << std::flush;
    } else {
        err_ << "[help] " << helpFile << " topic " << std::to_string(topic) << "\n" << std::flush;
    }
    return 1;
}

PasscodeEntry ConsoleUi::PromptPasscode(IForm*) {
    if (passcodeQueue_) {
        if (passcodes_.empty()) {
            return {};
        }
        PasscodeEntry e{std::move(passcodes_.front()), true};
        passcodes_.pop_front();
        return e;
    }
    std::string line;
    LineInput::Status status = LineInput::Status::kEnd;
    if (in_ != nullptr) {
        err_ << "Passcode: " << std::flush;
        {
            std::unique_ptr<EchoOff> quiet;
            if (ttyInput_) {
                quiet = std::make_unique<EchoOff>(STDIN_FILENO);
            }
            status = input_->Next(line);
        }
        err_ << "\n" << std::flush;
    } else if (input_ != nullptr) {
        // Piped in, as asked: no prompt to show.
        status = input_->Next(line);
    }
    if (status == LineInput::Status::kTooLong) {
        MessageBox("The passcode line is longer than " + std::to_string(kMaxAnswerLength) +
                       " characters; it was not used.",
                   kMbCritical, "Passcode", "", 0);
    }
    if (status != LineInput::Status::kLine) {
        return {};
    }
    return {line, true};
}

std::unique_ptr<IProgress> ConsoleUi::CreateProgress() {
    return std::make_unique<ConsoleProgress>(err_, terminal_ && !options_.json);
}

bool ConsoleUi::ShowModal(IDialogLogic& dialog, IForm* owner) {
    return modalHandler ? modalHandler(dialog, owner) : false;
}

void ConsoleUi::InstallInterruptHandler() {
    g_wakeFd = Wake().write;
    struct sigaction sa {};
    sa.sa_handler = OnInterrupt;
    sigemptyset(&sa.sa_mask);
    // No SA_RESTART: a prompt waiting for a line gives up on Ctrl-C.
    sa.sa_flags = 0;
    ::sigaction(SIGINT, &sa, nullptr);
    ::sigaction(SIGTERM, &sa, nullptr);
}

int ConsoleUi::InterruptSignal() noexcept {
    return g_signal.load();
}

ConsoleUi::CancelOnInterrupt::CancelOnInterrupt(std::function<void()> cancel)
    : cancel_(std::move(cancel)) {
    const int wake = Wake().read;
    g_cancelArmed = true;
    thread_ = std::thread([this, wake] {
        while (!stop_.load()) {
            const bool interrupted = g_signal.load() != 0;
            if (interrupted) {
                try {
                    cancel_();
                } catch (...) {
                    // Cancelling is a request; the operation reports how it ended.
                }
            }
            pollfd p{wake, POLLIN, 0};
            ::poll(&p, wake >= 0 ? 1 : 0, interrupted || wake < 0 ? kCancelRepeatMs : -1);
            char drain[64];
            while (wake >= 0 && ::read(wake, drain, sizeof drain) > 0) {
            }
        }
    });
}

ConsoleUi::CancelOnInterrupt::~CancelOnInterrupt() {
    g_cancelArmed = false;
    stop_ = true;
    if (const int fd = Wake().write; fd >= 0) {
        const char byte = 0;
        [[maybe_unused]] const ssize_t n = ::write(fd, &byte, 1);
    }
    thread_.join();
}

void ConsoleUi::NoteInterrupt() noexcept {
    g_interrupts.fetch_add(1, std::memory_order_relaxed);
}

uint32_t ConsoleUi::InterruptCount() noexcept {
    return g_interrupts.load(std::memory_order_relaxed);
}

}  // namespace vesk
