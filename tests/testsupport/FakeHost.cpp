#include "tests/testsupport/FakeHost.h"

#include "vesk4710/support/AutomationError.h"

namespace vesk::test {

FakeHost::FakeHost()
    : comm(std::make_shared<FakeCommunications>()), registry(std::make_shared<FakeRegistry>()) {}

std::shared_ptr<ICommunications> FakeHost::CreateCommunications() {
    if (commFactory) {
        return commFactory();
    }
    return comm;
}

std::shared_ptr<IProbe> FakeHost::CreateProbe() {
    if (!probeFactory) {
        throw AutomationError(kErrObjectRequired,
                              "FakeHost has no probe factory: set probeFactory in the test");
    }
    return probeFactory();
}

std::shared_ptr<IOutputFile> FakeHost::CreateOutputFile() {
    if (!outputFileFactory) {
        throw AutomationError(kErrObjectRequired,
                              "FakeHost has no output file factory: set outputFileFactory");
    }
    return outputFileFactory();
}

std::shared_ptr<ITextSplitter> FakeHost::CreateTextSplitter() {
    if (!splitterFactory) {
        throw AutomationError(kErrObjectRequired,
                              "FakeHost has no splitter factory: set splitterFactory");
    }
    return splitterFactory();
}

}  // namespace vesk::test
