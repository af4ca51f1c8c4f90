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

void TextSplitter::Quote(char quote) {
    quote_ = quote;
    Split();
}

void TextSplitter::L(std::string text) {
    text_ = std::move(text);
    Split();
}

void TextSplitter::Split() {
    starts_.clear();
    pieces_.clear();
    if (text_.empty()) {
        return;
    }
    // A byte table keeps the scan linear whatever the number of separators.
    std::array<bool, 256> isSep{};
    for (unsigned char c : separators_) {
        isSep[c] = true;
    }
    if (quote_ != '\0' && text_.find(quote_) != std::string::npos && SplitQuoted(isSep)) {
        return;
    }
    starts_.push_back(0);
    for (size_t i = 0; i < text_.size(); ++i) {
        if (isSep[static_cast<unsigned char>(text_[i])]) {
            starts_.push_back(i + 1);
        }
    }
    starts_.push_back(text_.size() + 1);
}

bool TextSplitter::SplitQuoted(const std::array<bool, 256>& isSep) {
    const auto sep = [&](size_t i) { return isSep[static_cast<unsigned char>(text_[i])]; };
    // Unquoted text is never longer than the text: the views into it stay valid.
    unquoted_.clear();
    unquoted_.reserve(text_.size());
    std::vector<std::string_view> pieces;
    const size_t n = text_.size();
    size_t i = 0;
    for (;;) {
        if (i < n && text_[i] == quote_) {
            const size_t from = unquoted_.size();
            for (++i;; ++i) {
                if (i == n) {
                    return false;  // never closed
                }
                if (text_[i] == quote_) {
                    if (i + 1 == n || text_[i + 1] != quote_) {
                        break;
                    }
                    ++i;  // a doubled quote stands for one
                }
                unquoted_.push_back(text_[i]);
            }
            ++i;
            pieces.emplace_back(unquoted_.data() + from, unquoted_.size() - from);
            if (i < n && !sep(i)) {
                return false;  // text after the closing quote
            }
        } else {
            const size_t from = i;
            while (i < n && !sep(i)) {
                ++i;
            }
            pieces.emplace_back(text_.data() + from, i - from);
        }
        if (i == n) {
            break;
        }
        if (++i == n) {
            pieces.emplace_back();  // a trailing separator ends an empty piece
            break;
        }
    }
    pieces_ = std::move(pieces);
    return true;
}

int32_t TextSplitter::NF() const {
    if (!pieces_.empty()) {
        return static_cast<int32_t>(pieces_.size());
    }
    return starts_.empty() ? 0 : static_cast<int32_t>(starts_.size() - 1);
}

std::string_view TextSplitter::f(int32_t index) const {
    if (index < 1 || index > NF()) {
        return {};
    }
    if (!pieces_.empty()) {
        return pieces_[static_cast<size_t>(index - 1)];
    }
    const size_t begin = starts_[static_cast<size_t>(index - 1)];
    const size_t end = starts_[static_cast<size_t>(index)] - 1;
    return std::string_view(text_).substr(begin, end - begin);
}

}  // namespace vesk
