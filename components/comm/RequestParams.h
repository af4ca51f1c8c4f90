#pragma once
// The named request parameters, cleared and filled before every request.
#include <array>
#include <optional>
#include <string>

#include "components/comm/Protocol.h"
#include "vesk4710/platform/ICommunications.h"

namespace vesk::comm {

class RequestParams : public IRequestParams, public ParamLookup {
  public:
    void ClearAll() override;
    void Value(const std::string& value) override { Set(Param::kValue, value); }
    void Channel(const std::string& channel) override { Set(Param::kChannel, channel); }
    void ChannelList(const std::string& list) override { Set(Param::kChannelList, list); }
    void paramname(const std::string& name) override { Set(Param::kParamName, name); }
    void PointNumber(const std::string& point) override { Set(Param::kPointNumber, point); }

    void Set(Param param, const std::string& value);
    const std::string* Find(Param param) const override;

    // "Value=C Channel=1", in parameter order; the passcode's value shown as ***.
    std::string Describe(bool redactValue) const;

  private:
    std::array<std::optional<std::string>, 6> values_;
};

}  // namespace vesk::comm
