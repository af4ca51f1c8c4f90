#pragma once
// The help window: the library's help file (HTML built from the project's documents) in a
// text browser beside its contents, opened at a topic. No browser is needed.
#include <QUrl>
#include <QWidget>

class QListWidget;
class QTextBrowser;

namespace vesk {

class QtHelpViewer : public QWidget {
    Q_OBJECT
  public:
    // Shows the help window at url (a local file, its fragment the anchor) and raises it.
    // Opened from a modal dialog, the window belongs to that dialog so that it can be used
    // while the dialog waits. False when the file cannot be read (the window then says so).
    static bool Open(const QUrl& url);
    // The window last opened, if it is still there.
    static QtHelpViewer* Current();

    QTextBrowser* Browser() const { return browser_; }
    QListWidget* Contents() const { return contents_; }

  private:
    explicit QtHelpViewer(QWidget* owner);
    bool Load(const QUrl& url);
    void FillContents();

    QTextBrowser* browser_;
    QListWidget* contents_;
    QString file_;
};

}  // namespace vesk
