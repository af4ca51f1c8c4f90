// "Record to file" as a crash meets it: the program is killed (SIGKILL) in the middle of a
// run, and every reading it took before, as the I/O trace saw it arrive, is in the file.
#include <QProcess>
#include <sstream>
#include <thread>

#include "tests/gui/GuiTestSupport.h"

namespace vesk::gui {
namespace {

using Row = std::pair<int, double>;  // channel and value

// Readings as the recording holds them; every line must be whole, numbered without a gap.
std::vector<Row> Recorded(const std::string& text) {
    std::vector<Row> rows;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("#") ||
            line == "sequence,time,instrument,serial,channel,probe,value,unit,conversion") {
            continue;
        }
        const QStringList f = QString::fromStdString(line).split(',');
        EXPECT_EQ(f.size(), 9) << line;
        EXPECT_EQ(f[0].toULong(), rows.size() + 1) << line;
        rows.emplace_back(f.value(4).toInt(), f.value(6).toDouble());
    }
    return rows;
}

// Readings as the trace saw their replies: "<time>\t<n>\tChannel=<c>\t<tag> MEAS:TEMP? <c>\t<v>".
std::vector<Row> Traced(const std::string& text) {
    std::vector<Row> rows;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        const size_t at = line.find(" MEAS:TEMP? ");
        const size_t tab = line.rfind('\t');
        if (at != std::string::npos && tab > at) {
            rows.emplace_back(std::stoi(line.substr(at + 12)), std::stod(line.substr(tab + 1)));
        }
    }
    return rows;
}

TEST(RecordingTest, AKilledAppLeavesEveryReadingItTookInTheFile) {
    test::TempDir dir;
    const std::string csv = dir.File("run.csv");
    QProcess app;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("HOME", QString::fromStdString(dir.Path().string()));
    app.setProcessEnvironment(env);
    app.start(VESK_GUI_PATH,
              {"--device", "sim", "--sim-fresh", "--poll", "20", "--settings",
               QString::fromStdString(dir.File("settings.json")), "--record",
               QString::fromStdString(csv), "--trace", QString::fromStdString(dir.File("io.log"))});
    ASSERT_TRUE(app.waitForStarted());
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (Recorded(test::FakeFileSystem::ReadFile(csv)).size() < 60 &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(37));
    }
    app.kill();
    ASSERT_TRUE(app.waitForFinished());

    const std::string text = test::FakeFileSystem::ReadFile(csv);
    EXPECT_TRUE(text.ends_with('\n')) << "no row is cut short";
    const std::vector<Row> recorded = Recorded(text);
    std::vector<Row> traced = Traced(test::FakeFileSystem::ReadFile(dir.File("io.log")));
    ASSERT_GE(recorded.size(), 60u);
    // At most the reading in hand when the kill came is missing.
    ASSERT_LE(traced.size() - recorded.size(), 1u);
    traced.resize(recorded.size());
    EXPECT_EQ(recorded, traced);
}

}  // namespace
}  // namespace vesk::gui
