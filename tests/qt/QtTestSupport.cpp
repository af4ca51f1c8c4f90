#include "tests/qt/QtTestSupport.h"

#include <QDialog>
#include <QDir>
#include <cstdlib>
#include <random>

#include "simulator/EmbeddedLink.h"
#include "tests/qt/QtTestApplication.h"

namespace vesk::qttest {

namespace {

constexpr int kTickMillis = 20;
constexpr qint64 kStepTimeoutMillis = 30000;

[[maybe_unused]] const auto* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new qttest::QtTestApplication("test_qt"));

// Closes whatever modal window is left so that a stuck test ends instead of hanging.
void CloseModals() {
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (auto* dialog = qobject_cast<QDialog*>(top); dialog != nullptr && dialog->isVisible()) {
            dialog->reject();
        }
    }
}

}  // namespace

Driver::Driver() {
    connect(&timer_, &QTimer::timeout, this, [this] { Tick(); });
}

Driver::~Driver() {
    timer_.stop();
}

Driver& Driver::Then(std::string name, std::function<bool()> step) {
    steps_.push_back({std::move(name), std::move(step)});
    return *this;
}

void Driver::Start() {
    clock_.start();
    timer_.start(kTickMillis);
}

bool Driver::Wait() {
    while (!steps_.empty()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, kTickMillis);
    }
    return failure_.empty();
}

void Driver::Tick() {
    if (busy_) {
        return;
    }
    if (steps_.empty()) {
        timer_.stop();
        return;
    }
    if (clock_.elapsed() > kStepTimeoutMillis) {
        failure_ = "timed out waiting for: " + steps_.front().name;
        ADD_FAILURE() << failure_;
        steps_.clear();
        CloseModals();
        return;
    }
    busy_ = true;
    const bool done = steps_.front().run();
    busy_ = false;
    if (done) {
        steps_.pop_front();
        clock_.restart();
    }
}

QWidget* Window(const char* objectName) {
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (top->isVisible() && top->objectName() == objectName) {
            return top;
        }
    }
    return nullptr;
}

QMessageBox* VisibleBox() {
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(top); box != nullptr && box->isVisible()) {
            return box;
        }
    }
    return nullptr;
}

bool Idle() {
    return QApplication::overrideCursor() == nullptr && Window("progress") == nullptr;
}

void ClickLater(QAbstractButton* button) {
    QMetaObject::invokeMethod(button, "click", Qt::QueuedConnection);
}

bool ClickLater(const char* objectName) {
    auto* button = Child<QAbstractButton>(objectName);
    if (button == nullptr || !button->isEnabled()) {
        return false;
    }
    ClickLater(button);
    return true;
}

bool Answer(QMessageBox::StandardButton which, std::string* text) {
    QMessageBox* box = VisibleBox();
    if (box == nullptr || box->button(which) == nullptr) {
        return false;
    }
    if (text != nullptr) {
        *text = box->text().toStdString();
    }
    ClickLater(box->button(which));
    return true;
}

void Shot(QWidget* window, const std::string& name) {
    const QString folder = QString::fromUtf8(VESK_SCREENSHOT_DIR);
    QDir().mkpath(folder);
    const bool saved = window->grab().save(folder + "/" + QString::fromStdString(name) + ".png");
    EXPECT_TRUE(saved) << "screenshot " << name;
}

void QtDialogTest::SetUp() {
    std::random_device seed;
    dir = std::filesystem::temp_directory_path() /
          ("vesk-qt-" + std::to_string(seed()) + "-" + std::to_string(seed()));
    std::filesystem::create_directories(dir);
    ui = std::make_shared<QtUi>();
    ui->SetUrlOpener([this](const QUrl& url) {
        helpOpened.push_back(url);
        return true;
    });
    // A fresh simulated instrument for every test, kept in memory only.
    sim::SimOptions simulator;
    simulator.persist = false;
    simulator.reset = true;
    sim::RegisterEmbeddedLink(simulator);
    HostOptions options;
    options.console = false;
    options.ui = ui;
    options.registryPath = (dir / "settings.json").string();
    host = MakeDefaultHost(options);
    instrument = CVesk4710::Create(host);
    instrument->SetRegistry(host->CreateRegistry());
    ASSERT_TRUE(instrument->InitializeCommunications());
}

void QtDialogTest::TearDown() {
    instrument.reset();
    host.reset();
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
}

}  // namespace vesk::qttest
