#include "tests/testsupport/FakeRegistry.h"

namespace vesk::test {

std::string FakeRegistry::Key(const std::string& name, const std::string& subkey) {
    return subkey.empty() ? name : subkey + "\\" + name;
}

std::string FakeRegistry::ReadValue(const std::string& name, int32_t section, int64_t rootKey,
                                    const std::string& defaultValue, const std::string& subkey) {
    reads.push_back({name, section, rootKey, defaultValue, subkey});
    auto it = values.find(Key(name, subkey));
    return it == values.end() ? defaultValue : it->second;
}

void FakeRegistry::WriteValue(const std::string& name, int32_t section, int64_t rootKey,
                              const std::string& value, const std::string& subkey) {
    writes.push_back({name, section, rootKey, value, subkey});
    values[Key(name, subkey)] = value;
}

std::map<std::string, std::string> FakeRegistry::LoadFormState(const std::string& form) {
    auto it = forms.find(form);
    return it == forms.end() ? std::map<std::string, std::string>{} : it->second;
}

void FakeRegistry::SaveFormState(const std::string& form,
                                 const std::map<std::string, std::string>& state) {
    forms[form] = state;
}

}  // namespace vesk::test
