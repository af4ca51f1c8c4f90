#include "components/splitter/TextSplitter.h"

#include <array>
#include <utility>

namespace vesk {

std::shared_ptr<TextSplitter> TextSplitter::Create() {
    return std::shared_ptr<TextSplitter>(new TextSplitter());
}

void TextSplitter::FS(const std::string& separators) {
    separators_ = separators;
    Split();
}

void TextSplitter::L(std::string text) {
    text_ = std::move(text);
    Split();
}

void TextSplitter::Split() {
    starts_.clear();
    if (text_.empty()) {
        return;
    }
    // A byte table keeps the scan linear whatever the number of separators.
    std::array<bool, 256> isSep{};
    for (unsigned char c : separators_) {
        isSep[c] = true;
    }
    starts_.push_back(0);
    for (size_t i = 0; i < text_.size(); ++i) {
        if (isSep[static_cast<unsigned char>(text_[i])]) {
            starts_.push_back(i + 1);
        }
    }
    starts_.push_back(text_.size() + 1);
}

int32_t TextSplitter::NF() const {
    return starts_.empty() ? 0 : static_cast<int32_t>(starts_.size() - 1);
}

std::string_view TextSplitter::f(int32_t index) const {
    if (index < 1 || index > NF()) {
        return {};
    }
    const size_t begin = starts_[static_cast<size_t>(index - 1)];
    const size_t end = starts_[static_cast<size_t>(index)] - 1;
    return std::string_view(text_).substr(begin, end - begin);
}

}  // namespace vesk
