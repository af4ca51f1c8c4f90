#pragma once
// The optional I/O trace: one line per request with a timestamp, the setting identifier, the
// request parameters by name, the command sent and the reply received (tab-separated).
#include <cstdint>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>

namespace vesk::comm {

struct TraceEntry {
    int32_t id = 0;
    std::string params;
    std::string sent;
    std::string received;
    std::string late;  // late lines skipped before the reply, the first few in short
    size_t lateLines = 0;

    void NoteLate(std::string_view line);
};

class IoTrace {
  public:
    // Appends to the file; throws AutomationError 76 when it cannot be opened.
    explicit IoTrace(const std::string& path);
    void Record(const TraceEntry& entry);

    // "2024-03-07T12:34:56.789Z"
    static std::string Timestamp();

  private:
    std::mutex mutex_;
    std::ofstream out_;
};

}  // namespace vesk::comm
