#pragma once
// All test fakes.
#include "tests/testsupport/FakeCommunications.h"
#include "tests/testsupport/FakeControls.h"
#include "tests/testsupport/FakeFileSystem.h"
#include "tests/testsupport/FakeHost.h"
#include "tests/testsupport/FakeRegistry.h"
#include "tests/testsupport/FakeUi.h"
