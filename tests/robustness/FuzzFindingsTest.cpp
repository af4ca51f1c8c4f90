// Inputs the fuzz targets found to break a rule, each reduced to the call that broke it.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "components/comm/CommErrors.h"
#include "components/comm/Communications.h"
#include "components/comm/Protocol.h"
#include "components/outputfile/OutputFile.h"
#include "tests/robustness/SimulatedLab.h"
#include "tests/robustness/StrictCsv.h"
#include "tests/testsupport/Fakes.h"

namespace vesk::test {
namespace {

// comm_replies: a passcode holding a byte the line cannot carry was refused with an error
// that quoted it, and the I/O trace recorded that error.
TEST(FuzzFindings, RefusedPasscodeIsNotQuotedInTheErrorNorTheTrace) {
    struct Params : comm::ParamLookup {
        const std::string* Find(comm::Param p) const override {
            return p == comm::Param::kValue ? &value : nullptr;
        }
        std::string value = std::string("Pq7Secret") + '\0';
    } params;
    try {
        comm::FormatRequest(1, *comm::FindSetting(2), params);
        ADD_FAILURE() << "a passcode with a NUL byte was formatted";
    } catch (const AutomationError& e) {
        EXPECT_EQ(e.Number(), comm::kCommBadParameter);
        EXPECT_EQ(e.Description().find("Pq7Secret"), std::string::npos) << e.Description();
    }

    SimulatedLab lab(66);
    auto component = comm::Communications::Create([&] {
        comm::CommOptions options;
        options.device = "sim:66";
        options.tracePath = lab.tracePath;
        return options;
    }());
    component->params().ClearAll();
    component->params().Value(params.value);
    EXPECT_THROW(component->WriteSetting(2), AutomationError);
    EXPECT_EQ(lab.Trace().find("Pq7Secret"), std::string::npos) << lab.Trace();
}

// download: a date field of the "YYYY/MM/DD" shape was copied into the file unquoted, so a
// quote in it broke the CSV and a control byte reached the cell.
TEST(FuzzFindings, DateFieldWithAQuoteOrControlByteKeepsTheFileWellFormed) {
    FakeUi ui;
    FakeFileSystem files;
    auto registry = std::make_shared<FakeRegistry>();
    registry->values[kRegDownloadFolder] = files.Root() + "/downloads";
    auto file = OutputFile::Create(registry, ui, files);
    OutputFileSpec layout;
    layout.model = "4710";
    layout.log = "demand";
    layout.downloadTime = "2024-03-07T12:00:00";
    ASSERT_TRUE(file->Create(layout));
    const std::vector<std::string> dates = {"20\"4/03/07", "2024/0\x01/07", "2024/03/07"};
    for (const std::string& date : dates) {
        const std::vector<std::string_view> fields = {"1", date, "12:00:00", "1",
                                                      "1", "A",  "25.0",     "C"};
        file->WriteReading(fields);
    }
    file->Close();
    std::string error;
    const auto rows = ReadingRows(ReadFileText(file->Path()), &error);
    ASSERT_TRUE(rows.has_value()) << error;
    ASSERT_EQ(rows->size(), 3u);
    EXPECT_EQ((*rows)[0][0], "20\"4/03/07");
    EXPECT_EQ((*rows)[1][0].find('\x01'), std::string::npos);
    EXPECT_EQ((*rows)[2][0], "2024-03-07");
}

}  // namespace
}  // namespace vesk::test
