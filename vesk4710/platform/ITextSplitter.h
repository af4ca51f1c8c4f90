#pragma once
// Splits a text at any of a set of separator characters; pieces are indexed from 1.
#include <cstdint>
#include <string>
#include <string_view>

namespace vesk {

class ITextSplitter {
  public:
    virtual ~ITextSplitter() = default;
    virtual void FS(const std::string& separators) = 0;
    virtual std::string FS() const = 0;
    virtual void L(std::string text) = 0;
    virtual const std::string& L() const = 0;
    virtual int32_t NF() const = 0;
    // Piece i, 1-based; empty outside 1..NF.
    virtual std::string_view f(int32_t index) const = 0;
    // With a quote character, a piece that begins with it runs to its closing twin, separators
    // and all; the quotes are dropped and a doubled one inside stands for one. A text whose
    // quotes do not close that way splits as if there were none. '\0' (the default): no quotes.
    virtual void Quote(char quote) = 0;
    virtual char Quote() const = 0;
};

}  // namespace vesk
