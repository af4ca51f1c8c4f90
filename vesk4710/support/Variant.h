#pragma once
// Automation value crossing the late-bound interface. Conversions follow the automation
// coercion rules; a Boolean converts to -1 (true) or 0 (false).
#include <compare>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "vesk4710/support/Date.h"

namespace vesk {

class IDispatchable;

// Values are the classic variant type codes.
enum class VariantType : int16_t {
    Empty = 0,
    Integer = 2,
    Long = 3,
    Double = 5,
    Date = 7,
    String = 8,
    Object = 9,
    Boolean = 11,
};

class Variant {
  public:
    using Storage = std::variant<std::monostate, int16_t, int32_t, double, bool, std::string, Date,
                                 std::shared_ptr<IDispatchable>>;

    Variant() = default;
    Variant(int16_t v) : value_(v) {}
    Variant(int32_t v) : value_(v) {}
    Variant(double v) : value_(v) {}
    Variant(bool v) : value_(v) {}
    Variant(std::string v) : value_(std::move(v)) {}
    Variant(std::string_view v) : value_(std::string(v)) {}
    Variant(const char* v) : value_(std::string(v)) {}
    Variant(Date v) : value_(v) {}
    Variant(std::shared_ptr<IDispatchable> v) : value_(std::move(v)) {}
    // Derived object pointers (std::shared_ptr<CVesk4710> ...) become Object.
    template <class T>
    requires std::is_convertible_v<T*, IDispatchable*> Variant(std::shared_ptr<T> v)
        : value_(std::shared_ptr<IDispatchable>(std::move(v))) {}

    VariantType Type() const;
    bool IsEmpty() const { return value_.index() == 0; }
    // Integer, Long, Double, Boolean or Date: usable as a number without parsing.
    bool IsNumber() const;
    const Storage& Value() const { return value_; }

    // Coercions; a value that cannot be converted raises error 13 "Type mismatch", one out of
    // range error 6 "Overflow".
    int16_t AsInteger() const;
    int32_t AsLong() const;
    double AsDouble() const;
    bool AsBoolean() const;
    std::string AsString() const;
    Date AsDate() const;
    // Empty and a null object give nullptr; anything else raises error 13.
    std::shared_ptr<IDispatchable> AsObject() const;

    // Same type and same value (no coercion): for tests and caches.
    bool Identical(const Variant& other) const { return value_ == other.value_; }

  private:
    Storage value_;
};

// The ordinary ordering of automation values: numbers (Empty as 0, Boolean as -1/0, Date as
// its serial) compare numerically, texts by their bytes (Empty as ""), a number is less than
// a text; objects raise error 13.
std::weak_ordering Compare(const Variant& a, const Variant& b);
inline bool operator==(const Variant& a, const Variant& b) {
    return Compare(a, b) == std::weak_ordering::equivalent;
}
inline std::weak_ordering operator<=>(const Variant& a, const Variant& b) {
    return Compare(a, b);
}

// The classic type name ("Integer", "String", ...).
std::string TypeName(const Variant& v);

}  // namespace vesk
