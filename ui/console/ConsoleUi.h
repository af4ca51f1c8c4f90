#pragma once
// User-interface services for the command line: message boxes on stderr, questions and
// passcodes from flags, a queue or the terminal, and a progress bar when stderr is a
// terminal. Ctrl-C (after InstallInterruptHandler) cancels progress and cuts waits short, and
// stops what a CancelOnInterrupt names.
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ui/console/LineInput.h"
#include "vesk4710/platform/IProgress.h"
#include "vesk4710/platform/IUiServices.h"

namespace vesk {

struct ConsoleOptions {
    bool assumeYes = false;  // answer every question yes
    bool assumeNo = false;   // answer every question no (assumeYes wins when both are set)
    // Passcode answers in turn; once given, running out means the prompt is cancelled.
    std::vector<std::string> passcodes;
    // Messages as JSON lines: {"message": {"caption": .., "text": .., "style": N}}.
    bool json = false;
    // Without a queue, passcodes are read from standard input even when it is not a terminal,
    // one line per prompt.
    bool passcodeStdin = false;
};

// The longest answer or passcode line read; a longer one is not used and ends the input.
inline constexpr size_t kMaxAnswerLength = 256;

class ConsoleUi : public IUiServices {
  public:
    // Messages on std::cerr; questions and passcodes read from the terminal when stdin is one.
    explicit ConsoleUi(ConsoleOptions options = {});
    // Messages on err; answers read from in (when given) as if typed at a terminal; terminal
    // says whether err is a terminal (draws progress bars).
    ConsoleUi(ConsoleOptions options, std::ostream& err, std::istream* in, bool terminal);
    ~ConsoleUi() override;

    int32_t MessageBox(const std::string& prompt, int32_t style, const std::string& caption,
                       const std::string& helpFile, int32_t helpContext) override;
    void MousePointer(int32_t pointer) override { pointer_ = pointer; }
    int32_t MousePointer() const override { return pointer_; }
    void DoEvents() override;
    void WaitEvents(int32_t maxMillis) override;
    int32_t Ticks() override;
    int32_t ShowHelp(const std::string& helpFile, int32_t command, int32_t topic) override;
    PasscodeEntry PromptPasscode(IForm* owner) override;
    std::unique_ptr<IProgress> CreateProgress() override;
    // The console cannot show dialogs: false unless a modal handler is installed.
    bool ShowModal(IDialogLogic& dialog, IForm* owner) override;

    const ConsoleOptions& Options() const { return options_; }
    // Called on every DoEvents/WaitEvents.
    std::function<void()> onEvents;
    std::function<bool(IDialogLogic&, IForm*)> modalHandler;

    // Ctrl-C (SIGINT) bumps the interrupt count; a second signal ends the process as usual, so
    // a stuck operation can always be left. SIGTERM ends it at once unless a CancelOnInterrupt
    // is in force, when it is an interrupt like Ctrl-C.
    static void InstallInterruptHandler();
    // Async-signal-safe: counts one interrupt (for applications with their own handler).
    static void NoteInterrupt() noexcept;
    static uint32_t InterruptCount() noexcept;
    // The first signal the handler took (SIGINT or SIGTERM), 0 when none.
    static int InterruptSignal() noexcept;

    // While it lives, an interrupt runs cancel on a thread of its own (nothing but a count and
    // a wake-up runs in the signal handler): at once, and again every 100 ms until it ends, so
    // that a request that begins just after the signal is stopped too. An interrupt that came
    // before it began counts. One at a time.
    class CancelOnInterrupt {
      public:
        explicit CancelOnInterrupt(std::function<void()> cancel);
        ~CancelOnInterrupt();
        CancelOnInterrupt(const CancelOnInterrupt&) = delete;
        CancelOnInterrupt& operator=(const CancelOnInterrupt&) = delete;

      private:
        std::function<void()> cancel_;
        std::atomic<bool> stop_{false};
        std::thread thread_;
    };

  private:
    // The answer typed, or nothing once the input ended.
    std::optional<std::string> AskLine(const std::string& question);
    ConsoleOptions options_;
    std::ostream& err_;
    std::istream* in_;                  // a person's answers: the terminal, or what a test types
    std::unique_ptr<LineInput> input_;  // lines of in_, or of piped stdin for passcodes
    bool terminal_;
    bool ttyInput_;
    int32_t pointer_ = kPointerDefault;
    std::deque<std::string> passcodes_;
    bool passcodeQueue_;
};

}  // namespace vesk
