#pragma once
// Late-bound access: every class publishes its member table in interface order.
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vesk4710/support/Variant.h"

namespace vesk {

enum class MemberKind { Method, Get, Let, Set };

struct MemberInfo {
    std::string name;
    MemberKind kind;
    int32_t dispid;  // 1-based position of the member in the interface
};

class IDispatchable {
  public:
    virtual ~IDispatchable() = default;
    virtual std::string ClassName() const = 0;
    virtual const std::vector<MemberInfo>& Members() const = 0;
    // Calls a member by name. The default knows no member and raises error 438.
    virtual Variant Invoke(const std::string& name, MemberKind kind, std::vector<Variant>& args);
};

// Builds a member table in interface order. A property's get/let/set entries share the
// dispatch id of the member; each new name takes the next id.
std::vector<MemberInfo> MakeMemberTable(
    std::initializer_list<std::pair<const char*, MemberKind>> members);

// The entry for a name (case-insensitive, as automation names are) and kind, or nullptr.
const MemberInfo* FindMember(const std::vector<MemberInfo>& table, std::string_view name,
                             MemberKind kind);

}  // namespace vesk
