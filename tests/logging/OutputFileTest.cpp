// Download files: where they go, what they are called, what they hold, and viewing and
// printing through external programs.
#include <sys/stat.h>

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <set>

#include "tests/logging/LoggingFixture.h"
#include "tests/testsupport/EnvGuard.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::test {
namespace {

class OutputFileTest : public ::testing::Test {
  protected:
    void SetUp() override {
        zone.Set("TZ", "UTC0");
        tzset();
        folder = host.files.Root() + "/out";
        host.registry->values["DownloadFolder"] = folder;
        file = OutputFile::Create(host.registry, host.ui, host.files);
    }

    std::vector<std::string> Body() { return RowsAfterColumns(host.files.ReadFile(file->Path())); }

    void Write(std::vector<std::string_view> fields) { file->WriteReading(fields); }

    EnvGuard zone;
    FakeHost host;
    std::string folder;
    std::shared_ptr<OutputFile> file;
    OutputFileSpec spec{"4710", "A1", "demand", "RUN1", "2024-03-07T12:34:56", "###0.00"};
};

TEST_F(OutputFileTest, NameIsBuiltFromModelLogLabelAndTime) {
    EXPECT_EQ(OutputFile::MakeFileName(spec), "4710_demand_label-RUN1_20240307-123456.csv");
    spec.label.clear();
    spec.log = "auto";
    EXPECT_EQ(OutputFile::MakeFileName(spec), "4710_auto_all_20240307-123456.csv");
}

// A label is whatever the instrument holds: it must never leave the folder or clash.
TEST_F(OutputFileTest, HostileLabelsMakeSafeDistinctNames) {
    const std::string longLabel(300, 'x'), nul("zero\0byte", 9);
    const std::vector<std::string> hostile = {"../../etc/passwd",
                                              "..",
                                              ".",
                                              "a/b",
                                              "a\\b",
                                              "a_b",
                                              "/abs",
                                              "nul\x01\x1f",
                                              "\x7f",
                                              nul,
                                              "caf\xc3\xa9",
                                              "\xff\xfe",
                                              longLabel,
                                              longLabel + "y",
                                              "-rf",
                                              "$(reboot)",
                                              "a\nb",
                                              "CON"};
    std::set<std::string> names;
    for (const auto& label : hostile) {
        SCOPED_TRACE(label);
        spec.label = label;
        const std::string name = OutputFile::MakeFileName(spec);
        EXPECT_EQ(name.find(".."), std::string::npos);
        EXPECT_LE(name.size(), 100u);
        for (unsigned char c : name) {
            EXPECT_TRUE(std::isalnum(c) || c == '-' || c == '_' || c == '.') << int(c);
        }
        EXPECT_TRUE(names.insert(name).second) << "collides: " << name;
    }
}

// Quoting of formulas, quotes and control bytes is the hostile-download tests' matter.
TEST_F(OutputFileTest, RowsAreCsvSafeAndNeedEveryField) {
    spec.label = "=HYPERLINK(\"x\")";
    file->Create(spec);
    Write({"2", "2024/03/07", "12:00:01", "2", "2", "a,b \"q\"", "-0.25", "OHM"});
    Write({"3", "07.03.2024", "12:00:02", "3", "3", "+1", "OVER", "V"});
    Write({"4", "2024/03/07", "12:00:03", "4", "4", "@x", "-12", "K", "", "extra"});
    Write({"5", "2024/03/07", "12:00:04", "5", "5", "-L", "1e3", "@U"});
    Write({"6", "2024/03/07", "12:00:05", "6", "6", "ctl\x01\x7f", " 7.5 ", "C"});
    // A reading without all its fields is refused and writes nothing.
    const auto refused = [&](std::vector<std::string_view> fields) {
        return Raised([&] { Write(fields); }).Number();
    };
    EXPECT_EQ(refused({"1", "2024/03/07", "12:00:00"}), kErrInvalidProcedureCall);
    EXPECT_EQ(refused({"7", "2024/03/07", "12:00:06", "7", "7", "L", "1.5"}),
              kErrInvalidProcedureCall);
    file->Close();
    EXPECT_EQ(Body(), (std::vector<std::string>{
                          "2,2024-03-07T12:00:01+00:00,2,2,\"a,b \"\"q\"\"\",-0.25,OHM",
                          "3,07.03.2024 12:00:02,3,3,\"'+1\",OVER,V",
                          "4,2024-03-07T12:00:03+00:00,4,4,\"'@x\",-12.00,K",
                          "5,2024-03-07T12:00:04+00:00,5,5,\"'-L\",1000.00,\"'@U\"",
                          "6,2024-03-07T12:00:05+00:00,6,6,ctl  ,7.50,C"}));
    EXPECT_EQ(SplitLines(host.files.ReadFile(file->Path())).at(3), "# label: =HYPERLINK(\"x\")");
    EXPECT_EQ(file->Readings(), 5);
}

TEST_F(OutputFileTest, ValuesKeepAPeriodAndTheirTextWithoutAFormat) {
    spec.valueFormat.clear();
    file->Create(spec);
    Write({"1", "2024/03/07", "12:00:00", "1", "1", "L", "25.125000", "C"});
    file->Close();
    EXPECT_EQ(Body(), std::vector<std::string>{"1,2024-03-07T12:00:00+00:00,1,1,L,25.125000,C"});

    spec.valueFormat = "###0.0";
    spec.label = "L2";
    file->Create(spec);
    Write({"1", "2024/03/07", "12:00:00", "1", "1", "L", "1234.56", "C"});
    file->Close();
    // Whatever the locale's decimal separator, the comma stays the field separator.
    EXPECT_EQ(Body(), std::vector<std::string>{"1,2024-03-07T12:00:00+00:00,1,1,L,1234.6,C"});
}

TEST_F(OutputFileTest, TimesTakeTheOffsetInForceAndEmfIsInMillivolts) {
    zone.Set("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
    tzset();
    spec.valueFormat.clear();
    file->Create(spec);
    Write({"7", "2024/03/07", "12:00:00", "2", "3", "L", "0.0061465", "V"});
    Write({"8", "2024/07/01", "23:59:59", "2", "3", "L", "-0.0000120", "V"});
    Write({"9", "2024/02/30", "00:00:00", "2", "3", "L", "5.0", "V"});
    Write({"10", "2024/03/07", "12:00:00", "2", "3", "L", "2.5e-05", "V"});
    file->Close();
    EXPECT_EQ(Body(), (std::vector<std::string>{"7,2024-03-07T12:00:00+01:00,2,3,L,6.1465,mV",
                                                "8,2024-07-01T23:59:59+02:00,2,3,L,-0.0120,mV",
                                                "9,2024/02/30 00:00:00,2,3,L,5000,mV",
                                                "10,2024-03-07T12:00:00+01:00,2,3,L,2.5e-2,mV"}));
    EXPECT_EQ(SplitLines(host.files.ReadFile(file->Path())).at(4),
              "# downloaded: 2024-03-07T12:34:56+01:00");
}

TEST_F(OutputFileTest, FolderComesFromSettingsDocumentsOrHome) {
    const auto chosen = [&] { return OutputFile::DownloadFolder(host.registry.get(), host.files); };
    const std::string root = host.files.Root();
    EXPECT_EQ(chosen(), folder);
    host.registry->values["DownloadFolder"] = "~/Data/4710";
    EXPECT_EQ(chosen(), root + "/home/Data/4710");
    host.registry->values["DownloadFolder"] = "rel/dir";
    EXPECT_EQ(chosen(), root + "/home/rel/dir");
    host.registry->values.erase("DownloadFolder");
    EXPECT_EQ(chosen(), root + "/documents");
    EXPECT_EQ(OutputFile::DownloadFolder(nullptr, host.files), root + "/documents");
    // A documents "folder" that is not one falls back to home.
    const std::string notAFolder = root + "/plainfile";
    host.files.WriteFile(notAFolder, "x");
    host.files.folderOverrides[SpecialFolder::Documents] = notAFolder;
    EXPECT_EQ(chosen(), root + "/home");
}

TEST_F(OutputFileTest, MissingFolderIsMadeAndAnImpossibleOneIsAClearError) {
    host.registry->values["DownloadFolder"] = host.files.Root() + "/new/deeper";
    file->Create(spec);
    file->Close();
    EXPECT_EQ(file->Folder(), host.files.Root() + "/new/deeper");

    host.files.WriteFile(host.files.Root() + "/blocker", "x");
    host.registry->values["DownloadFolder"] = host.files.Root() + "/blocker/sub";
    const auto e = Raised([&] { file->Create(spec); });
    EXPECT_EQ(e.Number(), kErrDownloadFolder);
    EXPECT_NE(e.Description().find(host.files.Root() + "/blocker/sub"), std::string::npos);
    EXPECT_EQ(e.Source(), "OutputFile - Create");
    host.registry->values["DownloadFolder"] = host.files.Root() + "/blocker";
    EXPECT_THROW(file->Create(spec), AutomationError);

    // A file that cannot be made is named in the error.
    host.registry->values["DownloadFolder"] = folder;
    host.files.failCreate = true;
    const auto denied = Raised([&] { file->Create(spec); });
    EXPECT_EQ(denied.Number(), kErrPermissionDenied);
    EXPECT_NE(denied.Description().find(OutputFile::MakeFileName(spec)), std::string::npos);
}

// A download never replaces another (same name, same second: the next free name, unasked) and
// appears only whole: a full disk or a file never closed leave nothing in the folder.
TEST_F(OutputFileTest, FilesAppearWholeUnderANameNoOtherFileHas) {
    std::vector<std::string> names;
    for (const char* value : {"1", "2", "3", "4"}) {
        auto f = OutputFile::Create(host.registry, host.ui, host.files);
        f->Create(spec);
        f->WriteReading({"1", "2024/03/07", "12:00:00", "1", "1", "L", value, "C"});
        f->WriteComment("incomplete download: 1 readings received; cut\nshort");
        if (*value == '4') {  // the disk is full; "3" is dropped unclosed
            host.files.diskCapacity = host.files.bytesWritten;
            EXPECT_EQ(Raised([&] { f->Close(); }).Number(), kErrDiskFull);
        } else if (*value != '3') {
            f->Close();
            names.push_back(f->FileName());
        }
    }
    EXPECT_EQ(SplitLines(host.files.ReadFile(folder + "/" + names.at(0))).back(),
              "# incomplete download: 1 readings received; cut short");
    EXPECT_EQ(names, (std::vector<std::string>{OutputFile::MakeFileName(spec),
                                               "4710_demand_label-RUN1_20240307-123456_2.csv"}));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2);
    EXPECT_TRUE(host.ui.boxes.empty()) << "nobody is asked";
}

// Fake viewer and printer programs on PATH that record their arguments.
class ExternalProgramTest : public OutputFileTest {
  protected:
    void SetUp() override {
        OutputFileTest::SetUp();
        bin = host.files.Root() + "/bin";
        std::filesystem::create_directories(bin);
        record = host.files.Root() + "/args.txt";
        env.Set("PATH", bin.c_str());
        spec.label = "a b $(touch pwned);x";
        file->Create(spec);
        file->Close();
    }
    void Program(const std::string& name, const std::string& body) {
        const std::string path = bin + "/" + name;
        std::ofstream(path) << "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\" >> '" +
                                   record + "'; done\n" + body + "\n";
        chmod(path.c_str(), 0755);
    }
    std::vector<std::string> Args() { return SplitLines(host.files.ReadFile(record)); }

    EnvGuard env;
    std::string bin, record;
};

TEST_F(ExternalProgramTest, ViewHandsThePathToTheDesktopViewerAndFailuresAreClear) {
    auto e = Raised([&] { file->View(true); });  // no xdg-open at all
    EXPECT_EQ(e.Number(), kErrViewFailed);
    EXPECT_NE(e.Description().find("xdg-open"), std::string::npos);

    Program("xdg-open", "echo 'no method available' >&2; exit 3");
    e = Raised([&] { file->View(true); });
    EXPECT_EQ(e.Number(), kErrViewFailed);
    EXPECT_NE(e.Description().find("no viewer program"), std::string::npos);
    EXPECT_NE(e.Description().find("no method available"), std::string::npos);

    std::filesystem::remove(record);
    Program("xdg-open", "exit 0");
    file->View(true);
    EXPECT_EQ(Args(), std::vector<std::string>{file->Path()}) << "one argument, not a shell line";
    EXPECT_FALSE(std::filesystem::exists("pwned"));
    EXPECT_TRUE(host.ui.boxes.empty());

    std::filesystem::remove(file->Path());
    e = Raised([&] { file->View(true); });
    EXPECT_EQ(e.Number(), kErrFileNotFound);
    EXPECT_EQ(e.Description(), ReplaceTokens(LoadResString(341), file->Path()));
}

TEST_F(ExternalProgramTest, PrintUsesLpAndConfirmsAndFailuresAreClear) {
    Program("lp", "echo 'lp: No default destination.' >&2; exit 1");
    auto e = Raised([&] { file->Print(false); });
    EXPECT_EQ(e.Number(), kErrPrintFailed);
    EXPECT_NE(e.Description().find("No default destination"), std::string::npos);
    EXPECT_EQ(e.Source(), "OutputFile - Print");
    EXPECT_TRUE(host.ui.boxes.empty());

    std::filesystem::remove(record);
    Program("lp", "echo 'request id is q-1'; exit 0");
    file->Print(false);
    EXPECT_EQ(Args(), std::vector<std::string>{file->Path()});
    EXPECT_EQ(host.ui.Prompts(),
              std::vector<std::string>{ReplaceTokens(LoadResString(343), file->Path())});

    std::filesystem::remove(record);
    host.registry->values["PrinterName"] = "lab-printer";
    file->Print(true);
    EXPECT_EQ(Args(), (std::vector<std::string>{"-d", "lab-printer", file->Path()}));
    std::filesystem::remove(record);
    file->Print(false);
    EXPECT_EQ(Args(), std::vector<std::string>{file->Path()});
}

}  // namespace
}  // namespace vesk::test
