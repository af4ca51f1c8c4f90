#pragma once
// The device texts every tool accepts: "sim" or "sim:N" (the embedded simulator, port N),
// "tcp://HOST:PORT" (an instrument server), "port" (the serial port of the port number) or a
// serial device path. Every program reads them here so that they agree on what a text means.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vesk::comm {

inline constexpr std::string_view kSimulatorScheme = "sim";
inline constexpr std::string_view kTcpPrefix = "tcp://";

// "sim" or "sim:..." (whether the port is well formed is ParseSimulatorPort's question).
bool IsSimulatorDevice(std::string_view device);

// The N of "sim:N" when it is a whole number of at least 1; std::nullopt when it is not.
// A bare "sim" names no port and yields `fallback`.
std::optional<int32_t> ParseSimulatorPort(std::string_view device, int32_t fallback);

// "HOST:PORT" of a "tcp://HOST:PORT" device; std::nullopt for any other device.
std::optional<std::string> TcpHostPort(std::string_view device);

struct HostPort {
    std::string host;  // without the brackets of "[::1]"
    std::string port;  // as written; callers read it as the number they need
};

// "HOST:PORT" split at the last colon; std::nullopt when the host or the port is missing.
std::optional<HostPort> SplitHostPort(std::string_view text);

}  // namespace vesk::comm
