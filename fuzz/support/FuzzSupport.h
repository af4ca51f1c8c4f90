#pragma once
// What the fuzz targets share: a reader over the fuzz input, a host whose communications are
// scripted by that input, and the rule that only AutomationError may leave the library.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "components/outputfile/OutputFile.h"
#include "components/probes/Probe.h"
#include "components/splitter/TextSplitter.h"
#include "tests/testsupport/FakeCommunications.h"
#include "tests/testsupport/FakeFileSystem.h"
#include "tests/testsupport/FakeRegistry.h"
#include "tests/testsupport/FakeUi.h"
#include "vesk4710/platform/Host.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::fuzz {

// The fuzz input, taken apart from the front.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}
    bool Empty() const { return rest_.empty(); }
    // 0 once exhausted.
    uint8_t Byte() {
        const auto b = static_cast<uint8_t>(rest_.empty() ? 0 : rest_.front());
        rest_.remove_prefix(rest_.empty() ? 0 : 1);
        return b;
    }
    // Text up to the next line feed (not included), or all that is left.
    std::string Line() {
        const size_t end = std::min(rest_.find('\n'), rest_.size());
        std::string line(rest_.substr(0, end));
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        return line;
    }
    std::string_view Rest() const { return rest_; }

  private:
    std::string_view rest_;
};

// A reply that starts with this byte makes the request fail as a dropped link would.
inline constexpr char kFailMark = '\x01';

// Communications answering every read with the next scripted reply, then with the fallback.
class ScriptedCommunications : public test::FakeCommunications {
  public:
    ScriptedCommunications();
    std::deque<std::string> script;
    std::string fallback;
};

// Library objects made on this host talk to the scripted communications, use the real probe,
// splitter and output-file components, a recording user interface, and one file system (under
// a temporary folder) for the whole process.
class FuzzHost : public Host {
  public:
    FuzzHost();
    std::shared_ptr<ICommunications> CreateCommunications() override { return comm; }
    std::shared_ptr<IProbe> CreateProbe() override { return probes::Probe::Create(); }
    std::shared_ptr<IOutputFile> CreateOutputFile() override {
        return OutputFile::Create(registry, ui, SharedFiles());
    }
    std::shared_ptr<ITextSplitter> CreateTextSplitter() override { return TextSplitter::Create(); }
    std::shared_ptr<IRegistry> CreateRegistry() override { return registry; }
    IUiServices& Ui() override { return ui; }
    IFileSystem& Files() override { return SharedFiles(); }

    static test::FakeFileSystem& SharedFiles();

    std::shared_ptr<ScriptedCommunications> comm;
    test::FakeUi ui;
    std::shared_ptr<test::FakeRegistry> registry;
};

// Reports a broken rule and aborts, so that libFuzzer keeps the input.
[[noreturn]] void Fail(const std::string& what);

// Runs f; an AutomationError is a clean refusal (false), any other exception a fault.
template <class F>
bool Guard(const char* what, F&& f) {
    try {
        f();
        return true;
    } catch (const AutomationError&) {
        return false;
    } catch (const std::exception& e) {
        Fail(std::string(what) + " let a foreign exception escape: " + e.what());
    } catch (...) {
        Fail(std::string(what) + " let a non-standard exception escape");
    }
}

}  // namespace vesk::fuzz
