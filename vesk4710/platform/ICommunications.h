#pragma once
// What the library needs of the communications component: request parameters, setting
// reads and writes by identifier, the log transfer, and the serial-port settings.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace vesk {

// Named request parameters, cleared and filled before every request.
class IRequestParams {
  public:
    virtual ~IRequestParams() = default;
    virtual void ClearAll() = 0;
    virtual void Value(const std::string& value) = 0;
    virtual void Channel(const std::string& channel) = 0;
    virtual void ChannelList(const std::string& list) = 0;
    virtual void paramname(const std::string& name) = 0;
    // Calibration point number (settings 80 to 83).
    virtual void PointNumber(const std::string& point) = 0;
};

class ISerialPort {
  public:
    virtual ~ISerialPort() = default;
    virtual void PortNumber(int32_t number) = 0;
    virtual int32_t PortNumber() const = 0;
    virtual void BaudRateCode(int32_t code) = 0;
    virtual int32_t BaudRateCode() const = 0;
    virtual void AutoClose(int32_t value) = 0;
    virtual int32_t AutoClose() const = 0;
    virtual void LinkMode(int32_t mode) = 0;
    virtual int32_t LinkMode() const = 0;
};

// The whole reply of a log transfer, and whether it ended before its explicit end.
struct TransferResult {
    std::string text;
    bool endedEarly = false;
    std::string reason;  // why it ended early, in words ("cancelled", "link dropped", ...)
};

// Told each data line of a transfer as it arrives (with the CR that ends it in the text), so
// that a caller can keep it before the transfer is over. It must not throw.
using TransferSink = std::function<void(std::string_view line)>;

// Failures (time-out, malformed reply, instrument error reply, dropped link) are raised as
// AutomationError with a communications error number.
class ICommunications {
  public:
    virtual ~ICommunications() = default;
    virtual IRequestParams& params() = 0;
    virtual std::string ReadSetting(int32_t id, bool flag, const std::string& extra) = 0;
    virtual void WriteSetting(int32_t id) = 0;
    // Log transfer: setting id, readings expected, request value (empty for none); sink, when
    // set, hears every line before the call returns.
    virtual TransferResult Transfer(int32_t id, int32_t expectedCount, const std::string& value,
                                    const TransferSink& sink) = 0;
    TransferResult Transfer(int32_t id, int32_t expectedCount, const std::string& value) {
        return Transfer(id, expectedCount, value, {});
    }
    virtual ISerialPort& Port() = 0;
    virtual void FolderPath(const std::string& folder) = 0;
    virtual void InstrumentCode(int32_t code) = 0;
};

}  // namespace vesk
