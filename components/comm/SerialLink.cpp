#include "components/comm/SerialLink.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "components/comm/CommErrors.h"
#include "vesk4710/platform/IRegistry.h"

namespace vesk::comm {

namespace {

constexpr std::array<int32_t, 11> kBaudByCode = {110,  300,   600,   1200,  2400,  4800,
                                                 9600, 19200, 38400, 57600, 115200};

std::optional<speed_t> SpeedFor(int32_t baud) {
    constexpr std::pair<int32_t, speed_t> kSpeeds[] = {
        {110, B110},     {300, B300},     {600, B600},       {1200, B1200},
        {2400, B2400},   {4800, B4800},   {9600, B9600},     {19200, B19200},
        {38400, B38400}, {57600, B57600}, {115200, B115200}, {230400, B230400}};
    for (auto [rate, speed] : kSpeeds) {
        if (rate == baud) {
            return speed;
        }
    }
    return std::nullopt;
}

AutomationError Unavailable(const std::string& path, const std::string& why) {
    return CommError(kCommLinkUnavailable, "Cannot open the serial device " + path + ": " + why);
}

}  // namespace

std::optional<int32_t> BaudFromCode(int32_t code) {
    if (code < 0 || code >= static_cast<int32_t>(kBaudByCode.size())) {
        return std::nullopt;
    }
    return kBaudByCode[static_cast<size_t>(code)];
}

std::string SerialDeviceForPort(int32_t portNumber, IRegistry* registry) {
    if (registry != nullptr) {
        std::string configured =
            registry->ReadValue("COMPort" + std::to_string(portNumber), 0, kHKeyCurrentUser, "");
        if (!configured.empty()) {
            return configured;
        }
    }
    return "/dev/ttyS" + std::to_string(portNumber - 1);
}

std::shared_ptr<SerialLink> SerialLink::Open(const std::string& path, int32_t baud) {
    auto speed = SpeedFor(baud);
    if (!speed) {
        throw Unavailable(path, "the baud rate " + std::to_string(baud) + " is not supported");
    }
    int fd = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        throw Unavailable(path, std::strerror(errno));
    }
    termios tio{};
    if (tcgetattr(fd, &tio) != 0) {
        int error = errno;
        close(fd);
        throw Unavailable(path, std::string("not a terminal (") + std::strerror(error) + ")");
    }
    cfmakeraw(&tio);
    tio.c_cflag &= ~static_cast<tcflag_t>(PARENB | CSTOPB | CSIZE | CRTSCTS);
    tio.c_cflag |= CS8 | CLOCAL | CREAD;
    tio.c_cc[VMIN] = 0;
    tio.c_cc[VTIME] = 0;
    cfsetispeed(&tio, *speed);
    cfsetospeed(&tio, *speed);
    if (tcsetattr(fd, TCSANOW, &tio) != 0) {
        int error = errno;
        close(fd);
        throw Unavailable(path, std::strerror(error));
    }
    // Whatever was waiting from before this session belongs to nobody.
    tcflush(fd, TCIOFLUSH);
    return std::shared_ptr<SerialLink>(
        new SerialLink(fd, path + " at " + std::to_string(baud) + " baud"));
}

}  // namespace vesk::comm
