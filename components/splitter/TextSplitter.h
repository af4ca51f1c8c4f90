#pragma once
// Splits a text at any of a set of separator characters. Every separator character ends a
// piece, so adjacent separators give empty pieces and a trailing separator a trailing empty
// piece; an empty text has no pieces. Pieces are views into the stored text. The default
// separator is a blank. With a quote character, quoted pieces keep their separators (a label
// holding a comma stays one field).
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "vesk4710/platform/ITextSplitter.h"

namespace vesk {

class TextSplitter : public ITextSplitter {
  public:
    static std::shared_ptr<TextSplitter> Create();

    // Changing the separators re-splits the current text.
    void FS(const std::string& separators) override;
    std::string FS() const override { return separators_; }
    void L(std::string text) override;
    const std::string& L() const override { return text_; }
    int32_t NF() const override;
    std::string_view f(int32_t index) const override;
    // Changing the quote character re-splits the current text.
    void Quote(char quote) override;
    char Quote() const override { return quote_; }

  private:
    TextSplitter() = default;
    void Split();
    bool SplitQuoted(const std::array<bool, 256>& isSep);

    std::string separators_ = " ";
    char quote_ = '\0';
    std::string text_;
    // Start offset of every piece plus one past the end of the text (+1), so piece i spans
    // starts_[i] .. starts_[i+1]-1.
    std::vector<size_t> starts_;
    // Instead, when the text holds quoted pieces: every piece, viewing text_ or unquoted_.
    std::vector<std::string_view> pieces_;
    std::string unquoted_;
};

}  // namespace vesk
