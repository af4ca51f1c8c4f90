#include "components/comm/RequestParams.h"

namespace vesk::comm {

void RequestParams::ClearAll() {
    for (auto& v : values_) {
        v.reset();
    }
}

void RequestParams::Set(Param param, const std::string& value) {
    values_[static_cast<size_t>(param)] = value;
}

const std::string* RequestParams::Find(Param param) const {
    const auto& v = values_[static_cast<size_t>(param)];
    return v ? &*v : nullptr;
}

std::string RequestParams::Describe(bool redactValue) const {
    std::string out;
    for (size_t i = 0; i < values_.size(); ++i) {
        if (!values_[i]) {
            continue;
        }
        auto param = static_cast<Param>(i);
        if (!out.empty()) {
            out += ' ';
        }
        out += ParamName(param);
        out += '=';
        out +=
            (redactValue && param == Param::kValue) ? std::string("***") : Printable(*values_[i]);
    }
    return out;
}

}  // namespace vesk::comm
