#include "vesk4710/support/Variant.h"

#include <cmath>

#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/NumberText.h"

namespace vesk {

namespace {

[[noreturn]] void TypeMismatch() {
    throw AutomationError::Runtime(kErrTypeMismatch);
}

// A text as a number: the whole text must be numeric in the user's notation.
double TextToDouble(const std::string& text) {
    if (IsNumeric(text)) {
        return Val(ToInvariantDecimal(text));
    }
    if (text == "True") {
        return -1.0;
    }
    if (text == "False") {
        return 0.0;
    }
    TypeMismatch();
}

template <class... F>
struct Overload : F... {
    using F::operator()...;
};
template <class... F>
Overload(F...) -> Overload<F...>;

}  // namespace

VariantType Variant::Type() const {
    return std::visit(
        Overload{
            [](std::monostate) { return VariantType::Empty; },
            [](int16_t) { return VariantType::Integer; }, [](int32_t) { return VariantType::Long; },
            [](double) { return VariantType::Double; }, [](bool) { return VariantType::Boolean; },
            [](const std::string&) { return VariantType::String; },
            [](const Date&) { return VariantType::Date; },
            [](const std::shared_ptr<IDispatchable>&) { return VariantType::Object; }},
        value_);
}

bool Variant::IsNumber() const {
    VariantType t = Type();
    return t == VariantType::Integer || t == VariantType::Long || t == VariantType::Double ||
           t == VariantType::Boolean || t == VariantType::Date;
}

double Variant::AsDouble() const {
    return std::visit(
        Overload{[](std::monostate) { return 0.0; },
                 [](int16_t v) { return static_cast<double>(v); },
                 [](int32_t v) { return static_cast<double>(v); }, [](double v) { return v; },
                 [](bool v) { return v ? -1.0 : 0.0; },
                 [](const std::string& v) { return TextToDouble(v); },
                 [](const Date& v) { return v.Serial(); },
                 [](const std::shared_ptr<IDispatchable>&) -> double { TypeMismatch(); }},
        value_);
}

int16_t Variant::AsInteger() const {
    return CInt16(AsDouble());
}

int32_t Variant::AsLong() const {
    return CInt32(AsDouble());
}

bool Variant::AsBoolean() const {
    if (const auto* b = std::get_if<bool>(&value_)) {
        return *b;
    }
    double v = AsDouble();
    if (std::isnan(v)) {
        TypeMismatch();
    }
    return v != 0.0;
}

std::string Variant::AsString() const {
    return std::visit(
        Overload{[](std::monostate) { return std::string(); },
                 [](int16_t v) { return NumberText(static_cast<int64_t>(v)); },
                 [](int32_t v) { return NumberText(static_cast<int64_t>(v)); },
                 [](double v) { return NumberText(v); },
                 [](bool v) { return std::string(v ? "True" : "False"); },
                 [](const std::string& v) { return v; },
                 [](const Date& v) {
                     // A date shows its time only when it has one.
                     return v.TimePart() == 0.0 ? v.ShortDateText()
                                                : v.ShortDateText() + " " + v.TimeText();
                 },
                 [](const std::shared_ptr<IDispatchable>&) -> std::string { TypeMismatch(); }},
        value_);
}

Date Variant::AsDate() const {
    if (const auto* d = std::get_if<Date>(&value_)) {
        return *d;
    }
    if (const auto* s = std::get_if<std::string>(&value_)) {
        if (auto parsed = Date::ParseIso(*s)) {
            return *parsed;
        }
        if (!IsNumeric(*s)) {
            TypeMismatch();
        }
    }
    if (std::holds_alternative<std::shared_ptr<IDispatchable>>(value_)) {
        TypeMismatch();
    }
    double serial = AsDouble();
    Date d(serial);
    d.Year();  // raises error 5 outside the date range
    return d;
}

std::shared_ptr<IDispatchable> Variant::AsObject() const {
    if (IsEmpty()) {
        return nullptr;
    }
    if (const auto* o = std::get_if<std::shared_ptr<IDispatchable>>(&value_)) {
        return *o;
    }
    TypeMismatch();
}

std::weak_ordering Compare(const Variant& a, const Variant& b) {
    if (a.Type() == VariantType::Object || b.Type() == VariantType::Object) {
        TypeMismatch();
    }
    const bool aText = a.Type() == VariantType::String;
    const bool bText = b.Type() == VariantType::String;
    if (aText || bText) {
        if (aText && bText) {
            return a.AsString() <=> b.AsString();
        }
        // Empty against a text compares as "", a number is less than any text.
        if (a.IsEmpty() || b.IsEmpty()) {
            return a.AsString() <=> b.AsString();
        }
        return aText ? std::weak_ordering::greater : std::weak_ordering::less;
    }
    double x = a.AsDouble();
    double y = b.AsDouble();
    if (x < y) {
        return std::weak_ordering::less;
    }
    if (x > y) {
        return std::weak_ordering::greater;
    }
    if (x == y) {
        return std::weak_ordering::equivalent;
    }
    TypeMismatch();  // NaN has no order
}

std::string TypeName(const Variant& v) {
    switch (v.Type()) {
        case VariantType::Empty:
            return "Empty";
        case VariantType::Integer:
            return "Integer";
        case VariantType::Long:
            return "Long";
        case VariantType::Double:
            return "Double";
        case VariantType::Date:
            return "Date";
        case VariantType::String:
            return "String";
        case VariantType::Object:
            return "Object";
        case VariantType::Boolean:
            return "Boolean";
    }
    return "Unknown";
}

}  // namespace vesk
