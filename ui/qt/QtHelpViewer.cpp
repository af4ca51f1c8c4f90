#include "ui/qt/QtHelpViewer.h"

#include <QApplication>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QStyle>
#include <QTextBlock>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace vesk {

namespace {

QPointer<QtHelpViewer>& Last() {
    static QPointer<QtHelpViewer> viewer;
    return viewer;
}

}  // namespace

QtHelpViewer::QtHelpViewer(QWidget* owner)
    : QWidget(owner, Qt::Window),
      browser_(new QTextBrowser(this)),
      contents_(new QListWidget(this)) {
    setObjectName("helpViewer");
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Vesk 4710 help"));
    browser_->setObjectName("helpBrowser");
    browser_->setOpenExternalLinks(true);
    contents_->setObjectName("helpContents");

    auto* back = new QPushButton(style()->standardIcon(QStyle::SP_ArrowBack), tr("&Back"));
    auto* forward = new QPushButton(style()->standardIcon(QStyle::SP_ArrowForward), tr("&Forward"));
    auto* close = new QPushButton(tr("&Close"));
    back->setEnabled(false);
    forward->setEnabled(false);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(back);
    buttons->addWidget(forward);
    buttons->addStretch(1);
    buttons->addWidget(close);

    auto* split = new QSplitter(Qt::Horizontal);
    split->addWidget(contents_);
    split->addWidget(browser_);
    split->setStretchFactor(1, 1);
    split->setSizes({220, 640});
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(buttons);
    layout->addWidget(split, 1);

    connect(back, &QPushButton::clicked, browser_, &QTextBrowser::backward);
    connect(forward, &QPushButton::clicked, browser_, &QTextBrowser::forward);
    connect(browser_, &QTextBrowser::backwardAvailable, back, &QPushButton::setEnabled);
    connect(browser_, &QTextBrowser::forwardAvailable, forward, &QPushButton::setEnabled);
    connect(close, &QPushButton::clicked, this, &QWidget::close);
    connect(contents_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        browser_->setSource(
            QUrl::fromLocalFile(file_).resolved(QUrl("#" + item->data(Qt::UserRole).toString())));
    });
    resize(900, 640);
}

QtHelpViewer* QtHelpViewer::Current() {
    return Last().data();
}

bool QtHelpViewer::Open(const QUrl& url) {
    // A modal dialog blocks every window but its own: the help it asks for is one of those.
    QWidget* owner = QApplication::activeModalWidget();
    QPointer<QtHelpViewer>& viewer = Last();
    if (viewer && (viewer->parentWidget() != owner || !viewer->isVisible())) {
        // A closed window is on its way out (deleted on close): a new one takes its place.
        viewer->close();
        viewer.clear();
    }
    if (!viewer) {
        viewer = new QtHelpViewer(owner);
    }
    viewer->show();
    viewer->raise();
    viewer->activateWindow();
    return viewer->Load(url);
}

bool QtHelpViewer::Load(const QUrl& url) {
    const QString file = url.toLocalFile();
    if (!QFileInfo(file).isReadable()) {
        file_.clear();
        contents_->clear();
        browser_->setHtml(tr("<h2>No help</h2><p>The help file <code>%1</code> is not installed. "
                             "The same text is in the project's <code>docs/</code> folder.</p>")
                              .arg(file.toHtmlEscaped()));
        return false;
    }
    if (file != file_) {
        file_ = file;
        browser_->clearHistory();
        browser_->setSource(QUrl::fromLocalFile(file));
        FillContents();
    }
    if (url.hasFragment()) {
        browser_->setSource(QUrl::fromLocalFile(file).resolved(QUrl("#" + url.fragment())));
    } else {
        browser_->setSource(QUrl::fromLocalFile(file));
    }
    return true;
}

void QtHelpViewer::FillContents() {
    contents_->clear();
    const QTextDocument* doc = browser_->document();
    for (QTextBlock block = doc->begin(); block.isValid(); block = block.next()) {
        const int level = block.blockFormat().headingLevel();
        if (level < 1 || level > 2 || block.begin().atEnd()) {
            continue;
        }
        const QStringList names = block.begin().fragment().charFormat().anchorNames();
        if (names.isEmpty()) {
            continue;
        }
        auto* item = new QListWidgetItem(QString(level == 2 ? "    " : "") + block.text());
        item->setData(Qt::UserRole, names.front());
        if (level == 1) {
            QFont bold = item->font();
            bold.setBold(true);
            item->setFont(bold);
        }
        contents_->addItem(item);
    }
}

}  // namespace vesk
