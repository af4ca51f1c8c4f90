#include "vesk4710/support/DispatchBinder.h"

#include <algorithm>
#include <stdexcept>

namespace vesk {

namespace dispatch {

std::string SourceOf(const IDispatchable& self, const std::string& name) {
    return self.ClassName() + " - " + name;
}

void VerifyBindings(const std::string& className, const std::vector<MemberInfo>& table,
                    const std::vector<std::pair<std::string, MemberKind>>& bound) {
    for (const auto& m : table) {
        const auto n = std::count_if(bound.begin(), bound.end(), [&](const auto& b) {
            return b.first == m.name && b.second == m.kind;
        });
        if (n != 1) {
            throw std::logic_error(className + ": member " + m.name +
                                   (n == 0 ? " has no binding" : " is bound twice"));
        }
    }
    for (const auto& [name, kind] : bound) {
        if (FindMember(table, name, kind) == nullptr) {
            throw std::logic_error(className + ": " + name + " is bound but not a member");
        }
    }
}

}  // namespace dispatch

void ListBox::Clear() {
    items_.clear();
    newIndex_ = -1;
    listIndex_ = -1;
}

void ListBox::AddItem(const std::string& text) {
    items_.push_back(Item{text, 0});
    newIndex_ = static_cast<int32_t>(items_.size()) - 1;
}

const ListBox::Item& ListBox::At(int32_t index) const {
    if (index < 0 || index >= ListCount()) {
        throw AutomationError::Runtime(kErrSubscriptOutOfRange);
    }
    return items_[static_cast<std::size_t>(index)];
}

std::string ListBox::List(int32_t index) const {
    return At(index).text;
}

void ListBox::ItemData(int32_t index, int32_t data) {
    At(index);
    items_[static_cast<std::size_t>(index)].data = data;
}

int32_t ListBox::ItemData(int32_t index) const {
    return At(index).data;
}

void ListBox::ListIndex(int32_t index) {
    if (index < -1 || index >= ListCount()) {
        throw AutomationError::Runtime(kErrInvalidProcedureCall);
    }
    listIndex_ = index;
}

const std::vector<MemberInfo>& ListBox::MemberTable() {
    using K = MemberKind;
    static const std::vector<MemberInfo> table = MakeMemberTable({
        {"Clear", K::Method},
        {"AddItem", K::Method},
        {"NewIndex", K::Get},
        {"ListCount", K::Get},
        {"List", K::Get},
        {"ItemData", K::Get},
        {"ItemData", K::Let},
        {"ListIndex", K::Get},
        {"ListIndex", K::Let},
    });
    return table;
}

Variant ListBox::Invoke(const std::string& name, MemberKind kind, std::vector<Variant>& args) {
    using namespace dispatch;
    using K = MemberKind;
    using C = ListBox;
    static const Binder<C> binder(
        MemberTable(),
        {
            {"Clear", K::Method, Method(&C::Clear)},
            {"AddItem", K::Method, Method(&C::AddItem)},
            {"NewIndex", K::Get, Get<int32_t>(&C::NewIndex)},
            {"ListCount", K::Get, Get<int32_t>(&C::ListCount)},
            {"List", K::Get, Method(&C::List)},
            {"ItemData", K::Get, Method(static_cast<int32_t (C::*)(int32_t) const>(&C::ItemData))},
            {"ItemData", K::Let, Method(static_cast<void (C::*)(int32_t, int32_t)>(&C::ItemData))},
            {"ListIndex", K::Get, Get<int32_t>(&C::ListIndex)},
            {"ListIndex", K::Let, Let<int32_t>(&C::ListIndex)},
        },
        ClassName());
    return binder.Invoke(*this, name, kind, args);
}

}  // namespace vesk
