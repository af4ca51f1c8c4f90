#include "vesk4710/support/Messages.h"

#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringIds.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {
// Reports use lone carriage returns as line breaks.
constexpr char kCR = '\r';
}  // namespace

std::string ComposeErrorReport(const std::string& phrase, int32_t number,
                               const std::string& description, const std::string& source) {
    std::string msg = LoadResString(kResErrorOccurredWhile) + " " + phrase + "." + kCR;
    if (number != 0) {
        msg += kCR + LoadResString(kResError) + ": " + NumberText(static_cast<int64_t>(number)) +
               " - " + description;
        if (!source.empty()) {
            msg += std::string(1, kCR) + "(" + source + ")";
        }
    }
    return msg;
}

void ShowErrorMessage(IUiServices& ui, const std::string& phrase, const std::string& caption,
                      const std::string& helpFile, int32_t helpContext) {
    PendingError error = CapturePendingError(std::current_exception());
    std::string file = helpFile;
    int32_t context = helpContext;
    if (error.number != 0 && !error.helpFile.empty() && file.empty()) {
        file = error.helpFile;
        context = error.helpContext;
    }
    std::string msg = ComposeErrorReport(phrase, error.number, error.description, error.source);
    // An hourglass left by the failed operation must not stay over the box.
    ui.MousePointer(kPointerDefault);
    int32_t style = file.empty() ? kMbCritical : kMbCritical + kMbHelpButton;
    ui.MessageBox(msg, style, caption, file, context);
}

void ShowInfoMessage(IUiServices& ui, const std::string& prompt, const std::string& caption,
                     const std::string& helpFile, int32_t helpContext) {
    ui.MousePointer(kPointerDefault);
    int32_t style = helpFile.empty() ? kMbInformation : kMbInformation + kMbHelpButton;
    ui.MessageBox(prompt, style, caption, helpFile, helpContext);
}

int32_t ShowQuestion(IUiServices& ui, const std::string& prompt, const std::string& caption) {
    ui.MousePointer(kPointerDefault);
    int32_t answer = ui.MessageBox(prompt, kMbQuestion + kMbYesNo, caption, {}, 0);
    return answer == kAnsYes ? kAnsYes : kAnsNo;
}

}  // namespace vesk
