#pragma once
// Late-bound calls as tables. A class lists, per member of its interface, the accessor or
// method that serves it; the binder finds the member by name and kind, checks the argument
// count, coerces the automation values to the parameter types, writes by-reference arguments
// back and turns the result into a Variant. The classes' dispatch files stay tables.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "vesk4710/platform/IControls.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/Dispatch.h"

namespace vesk {

class IRegistry;
class ICommunications;
class IProbe;
class ITextSplitter;

inline constexpr int32_t kErrWrongArgCount = 450;
inline constexpr const char* kErrWrongArgCountText =
    "Wrong number of arguments or invalid property assignment";

// An object of the library's surroundings (registry, communications, probe, a caller's form or
// list) that has no late-bound members itself: it crosses as an Object and comes back intact.
template <class T>
class ForeignObject : public IDispatchable {
  public:
    ForeignObject(std::shared_ptr<T> object, std::string className)
        : object_(std::move(object)), className_(std::move(className)) {}
    std::string ClassName() const override { return className_; }
    const std::vector<MemberInfo>& Members() const override {
        static const std::vector<MemberInfo> none;
        return none;
    }
    const std::shared_ptr<T>& Get() const { return object_; }

  private:
    std::shared_ptr<T> object_;
    std::string className_;
};

// The class name a foreign object crosses under.
template <class T>
struct ForeignName;
template <>
struct ForeignName<IRegistry> {
    static constexpr const char* value = "Registry";
};
template <>
struct ForeignName<ICommunications> {
    static constexpr const char* value = "Communications";
};
template <>
struct ForeignName<IProbe> {
    static constexpr const char* value = "Probe";
};
template <>
struct ForeignName<IForm> {
    static constexpr const char* value = "Form";
};
template <>
struct ForeignName<IListControl> {
    static constexpr const char* value = "ListControl";
};
template <>
struct ForeignName<ITextSplitter> {
    static constexpr const char* value = "TextSplitter";
};

// A list control in memory: what a late-bound caller passes (as nothing) where a member fills a
// list, and then reads back through its own members.
class ListBox : public IListControl, public IDispatchable {
  public:
    struct Item {
        std::string text;
        int32_t data = 0;
    };

    static std::shared_ptr<ListBox> Create() { return std::make_shared<ListBox>(); }

    void Enabled(bool enabled) override { enabled_ = enabled; }
    bool Enabled() const override { return enabled_; }
    void Clear() override;
    void AddItem(const std::string& text) override;
    int32_t NewIndex() const override { return newIndex_; }
    int32_t ListCount() const override { return static_cast<int32_t>(items_.size()); }
    // Outside 0 .. ListCount - 1: error 9, as a list control raises.
    std::string List(int32_t index) const override;
    void ItemData(int32_t index, int32_t data) override;
    int32_t ItemData(int32_t index) const override;
    int32_t ListIndex() const override { return listIndex_; }
    void ListIndex(int32_t index) override;
    void SetTabStops(const std::vector<int32_t>& stops) override { tabStops_ = stops; }
    void SetHorizontalExtent(int32_t) override {}

    const std::vector<Item>& Items() const { return items_; }

    std::string ClassName() const override { return "ListBox"; }
    const std::vector<MemberInfo>& Members() const override { return MemberTable(); }
    static const std::vector<MemberInfo>& MemberTable();
    Variant Invoke(const std::string& name, MemberKind kind, std::vector<Variant>& args) override;

  private:
    const Item& At(int32_t index) const;

    bool enabled_ = true;
    std::vector<Item> items_;
    std::vector<int32_t> tabStops_;
    int32_t newIndex_ = -1;
    int32_t listIndex_ = -1;
};

namespace dispatch {

// A parameter of a bound member may be filled with nothing (Empty) only where the member
// accepts it; a list control given as nothing is made here and handed back to the caller.
template <class T>
std::shared_ptr<T> MadeForNothing() {
    if constexpr (std::is_same_v<T, IListControl>) {
        return ListBox::Create();
    } else {
        return nullptr;
    }
}

template <class T>
Variant Wrap(std::shared_ptr<T> object) {
    if (!object) {
        return Variant(std::shared_ptr<IDispatchable>());
    }
    if constexpr (std::is_convertible_v<T*, IDispatchable*>) {
        return Variant(std::shared_ptr<IDispatchable>(std::move(object)));
    } else {
        if (auto self = std::dynamic_pointer_cast<IDispatchable>(object)) {
            return Variant(std::move(self));
        }
        return Variant(std::shared_ptr<IDispatchable>(
            std::make_shared<ForeignObject<T>>(std::move(object), ForeignName<T>::value)));
    }
}

// Empty and nothing give null; a wrapped or derived object of the right kind gives itself;
// anything else is a type mismatch.
template <class T>
std::shared_ptr<T> Unwrap(const Variant& value) {
    std::shared_ptr<IDispatchable> object = value.AsObject();
    if (!object) {
        return nullptr;
    }
    if (auto* foreign = dynamic_cast<ForeignObject<T>*>(object.get())) {
        return foreign->Get();
    }
    if (auto derived = std::dynamic_pointer_cast<T>(object)) {
        return derived;
    }
    throw AutomationError::Runtime(kErrTypeMismatch);
}

template <class T>
T Coerce(const Variant& value) {
    if constexpr (std::is_same_v<T, bool>) {
        return value.AsBoolean();
    } else if constexpr (std::is_same_v<T, int16_t>) {
        return value.AsInteger();
    } else if constexpr (std::is_same_v<T, int32_t>) {
        return value.AsLong();
    } else if constexpr (std::is_same_v<T, double>) {
        return value.AsDouble();
    } else if constexpr (std::is_same_v<T, std::string>) {
        return value.AsString();
    } else if constexpr (std::is_same_v<T, Date>) {
        return value.AsDate();
    } else if constexpr (std::is_enum_v<T>) {
        // Enumerations cross as Long; a property may hold a value that is no enumerator.
        return static_cast<T>(value.AsLong());
    } else {
        static_assert(sizeof(T) == 0, "no automation coercion for this parameter type");
    }
}

template <class T>
Variant ToVariant(T&& value) {
    using V = std::remove_cvref_t<T>;
    if constexpr (std::is_enum_v<V>) {
        return Variant(static_cast<int32_t>(value));
    } else if constexpr (requires { typename V::element_type; }) {
        return Wrap<typename V::element_type>(std::forward<T>(value));
    } else {
        return Variant(std::forward<T>(value));
    }
}

// One argument as the member sees it: the caller's slot (null when the caller left the
// argument out) and the value in effect (the caller's, or the member's default).
struct ArgRef {
    Variant* caller = nullptr;
    Variant value;
    void WriteBack(Variant v) const {
        if (caller != nullptr) {
            *caller = std::move(v);
        }
    }
};

// Slot<P> turns an ArgRef into what a parameter of type P takes, and writes by-reference
// results back afterwards.
template <class P>
struct Slot {
    using T = std::remove_cvref_t<P>;
    explicit Slot(const ArgRef& a) : value(Coerce<T>(a.value)) {}
    const T& Get() const { return value; }
    void WriteBack(const ArgRef&) const {}
    T value;
};

template <class T>
requires(!std::is_class_v<T> && !std::is_const_v<T>) struct Slot<T&> {
    explicit Slot(const ArgRef& a) : value(Coerce<T>(a.value)) {}
    T& Get() { return value; }
    void WriteBack(const ArgRef& a) const { a.WriteBack(ToVariant(value)); }
    T value;
};

template <>
struct Slot<std::string&> {
    explicit Slot(const ArgRef& a) : value(a.value.AsString()) {}
    std::string& Get() { return value; }
    void WriteBack(const ArgRef& a) const { a.WriteBack(Variant(value)); }
    std::string value;
};

// In/out scalars passed by address (a null address stands for the default).
template <class T>
requires std::is_arithmetic_v<T>
struct Slot<T*> {
    explicit Slot(const ArgRef& a) : value(Coerce<T>(a.value)) {}
    T* Get() { return &value; }
    void WriteBack(const ArgRef& a) const { a.WriteBack(ToVariant(value)); }
    T value;
};

template <class T>
struct Slot<std::shared_ptr<T>> {
    explicit Slot(const ArgRef& a) : object(Unwrap<T>(a.value)) {}
    const std::shared_ptr<T>& Get() const { return object; }
    void WriteBack(const ArgRef&) const {}
    std::shared_ptr<T> object;
};

template <class T>
struct Slot<const std::shared_ptr<T>&> : Slot<std::shared_ptr<T>> {
    using Slot<std::shared_ptr<T>>::Slot;
};

// An optional object by address: nothing is a null address.
template <class T>
requires std::is_polymorphic_v<T>
struct Slot<T*> {
    explicit Slot(const ArgRef& a) : object(Unwrap<T>(a.value)) {}
    T* Get() const { return object.get(); }
    void WriteBack(const ArgRef&) const {}
    std::shared_ptr<T> object;
};

// A required object by reference: nothing is accepted only where an object can be made for
// it (a list control), which then goes back to the caller.
template <class T>
requires(std::is_polymorphic_v<T> && !std::is_const_v<T>) struct Slot<T&> {
    explicit Slot(const ArgRef& a) : object(Unwrap<T>(a.value)) {
        if (!object) {
            object = MadeForNothing<T>();
            made = object != nullptr;
        }
        if (!object) {
            throw AutomationError::Runtime(kErrObjectRequired);
        }
    }
    T& Get() const { return *object; }
    void WriteBack(const ArgRef& a) const {
        if (made) {
            a.WriteBack(Wrap(object));
        }
    }
    std::shared_ptr<T> object;
    bool made = false;
};

template <class C>
using Handler = std::function<Variant(C&, std::vector<ArgRef>&)>;

// How a member is served: argument count bounds, the defaults of the optional trailing
// arguments, and the call.
template <class C>
struct Callable {
    std::size_t minArgs = 0;
    std::size_t maxArgs = 0;
    std::vector<Variant> defaults;  // for arguments minArgs .. maxArgs - 1
    Handler<C> call;
};

template <class C, class F, class R, class... P, std::size_t... I>
Variant CallMember(C& self, F f, std::vector<ArgRef>& args, std::index_sequence<I...>) {
    std::tuple<Slot<P>...> slots(args[I]...);
    Variant result;
    if constexpr (std::is_void_v<R>) {
        std::invoke(f, self, std::get<I>(slots).Get()...);
    } else {
        result = ToVariant(std::invoke(f, self, std::get<I>(slots).Get()...));
    }
    (std::get<I>(slots).WriteBack(args[I]), ...);
    return result;
}

// The default of an optional object argument: nothing.
struct Nothing {};
inline Variant DefaultValue(Nothing) {
    return Variant();
}
template <class D>
Variant DefaultValue(D&& value) {
    return Variant(std::forward<D>(value));
}

template <class C, class F, class R, class... P, class... D>
Callable<C> MakeCallable(F f, D&&... defaults) {
    static_assert(sizeof...(D) <= sizeof...(P), "more defaults than parameters");
    Callable<C> c;
    c.maxArgs = sizeof...(P);
    c.minArgs = sizeof...(P) - sizeof...(D);
    c.defaults.reserve(sizeof...(D));
    (c.defaults.emplace_back(DefaultValue(std::forward<D>(defaults))), ...);
    c.call = [f](C& self, std::vector<ArgRef>& args) {
        return CallMember<C, F, R, P...>(self, f, args, std::index_sequence_for<P...>{});
    };
    return c;
}

// A method, or an indexed property read, with the defaults of its optional trailing arguments
// restated as automation values (Nothing for an optional object).
template <class C, class R, class... P, class... D>
Callable<C> Method(R (C::*f)(P...), D&&... defaults) {
    return MakeCallable<C, decltype(f), R, P...>(f, std::forward<D>(defaults)...);
}
template <class C, class R, class... P, class... D>
Callable<C> Method(R (C::*f)(P...) const, D&&... defaults) {
    return MakeCallable<C, decltype(f), R, P...>(f, std::forward<D>(defaults)...);
}

// Property accessors; the type picks the overload of the property's name.
template <class R, class C>
Callable<C> Get(R (C::*f)() const) {
    return Method(f);
}
template <class T, class C>
Callable<C> Let(void (C::*f)(T)) {
    return Method(f);
}

// A member the generic path cannot serve (an argument the class itself must make).
template <class C>
Callable<C> Custom(std::size_t minArgs, std::size_t maxArgs, std::vector<Variant> defaults,
                   Handler<C> call) {
    return Callable<C>{minArgs, maxArgs, std::move(defaults), std::move(call)};
}

template <class C>
struct Binding {
    const char* name;
    MemberKind kind;
    Callable<C> callable;
};

// Checks a binding list against the member table once: every member served, nothing extra.
// A mismatch is a programming error of the class and raises std::logic_error.
void VerifyBindings(const std::string& className, const std::vector<MemberInfo>& table,
                    const std::vector<std::pair<std::string, MemberKind>>& bound);

std::string SourceOf(const IDispatchable& self, const std::string& name);

template <class C>
class Binder {
  public:
    Binder(const std::vector<MemberInfo>& table, std::vector<Binding<C>> bindings,
           const std::string& className)
        : table_(table), bindings_(std::move(bindings)) {
        std::vector<std::pair<std::string, MemberKind>> bound;
        bound.reserve(bindings_.size());
        for (const auto& b : bindings_) {
            bound.emplace_back(b.name, b.kind);
        }
        VerifyBindings(className, table_, bound);
    }

    Variant Invoke(C& self, const std::string& name, MemberKind kind,
                   std::vector<Variant>& args) const {
        const MemberInfo* member = FindMember(table_, name, kind);
        if (member == nullptr) {
            throw AutomationError(kErrNotSupported, RuntimeErrorText(kErrNotSupported),
                                  SourceOf(self, name));
        }
        const Binding<C>* binding = nullptr;
        for (const auto& b : bindings_) {
            if (b.kind == kind && member->name == b.name) {
                binding = &b;
                break;
            }
        }
        const std::string source = SourceOf(self, member->name);
        const Callable<C>& c = binding->callable;
        if (args.size() < c.minArgs || args.size() > c.maxArgs) {
            throw AutomationError(kErrWrongArgCount, kErrWrongArgCountText, source);
        }
        std::vector<ArgRef> refs(c.maxArgs);
        for (std::size_t i = 0; i < c.maxArgs; ++i) {
            const bool given = i < args.size();
            refs[i].caller = given ? &args[i] : nullptr;
            // An optional argument left out or given as Empty takes its default.
            if (given && !(i >= c.minArgs && args[i].IsEmpty())) {
                refs[i].value = args[i];
            } else if (i >= c.minArgs) {
                refs[i].value = c.defaults[i - c.minArgs];
            }
        }
        try {
            return c.call(self, refs);
        } catch (const AutomationError& e) {
            // Coercion errors carry no source; the member's own errors keep theirs.
            if (e.Source().empty()) {
                throw e.Rethrown(source, e.HelpFile(), e.HelpContext());
            }
            throw;
        } catch (const std::exception& e) {
            throw AutomationError(kErrGeneric, e.what(), source);
        }
    }

  private:
    const std::vector<MemberInfo>& table_;
    std::vector<Binding<C>> bindings_;
};

}  // namespace dispatch

}  // namespace vesk
