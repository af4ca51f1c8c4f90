#include "vesk4710/support/Dispatch.h"

#include <algorithm>
#include <cctype>

#include "vesk4710/support/AutomationError.h"

namespace vesk {

namespace {

bool SameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

}  // namespace

Variant IDispatchable::Invoke(const std::string& name, MemberKind, std::vector<Variant>&) {
    throw AutomationError(kErrNotSupported, RuntimeErrorText(kErrNotSupported),
                          ClassName() + " - " + name);
}

std::vector<MemberInfo> MakeMemberTable(
    std::initializer_list<std::pair<const char*, MemberKind>> members) {
    std::vector<MemberInfo> table;
    table.reserve(members.size());
    int32_t next = 1;
    for (const auto& member : members) {
        const char* name = member.first;
        const MemberKind kind = member.second;
        auto same = std::find_if(table.begin(), table.end(),
                                 [&](const MemberInfo& m) { return m.name == name; });
        int32_t id = same != table.end() ? same->dispid : next++;
        table.push_back(MemberInfo{name, kind, id});
    }
    return table;
}

const MemberInfo* FindMember(const std::vector<MemberInfo>& table, std::string_view name,
                             MemberKind kind) {
    for (const auto& m : table) {
        if (m.kind == kind && SameName(m.name, name)) {
            return &m;
        }
    }
    return nullptr;
}

}  // namespace vesk
