// vesk4710-helpgen: builds the help the applications show from the project's own Markdown
// documents, at build time.
//
//   vesk4710-helpgen OUTPUT.html DOC.md...
//
// The documents become one HTML file, in the order given. Every heading gets an anchor
// "<doc>--<slug>" (GitHub's slug), so links between the documents ("files.md#settings") work
// inside the one file. A comment "<!-- help: N -->" on the line before a heading gives that
// heading the anchor "topic-N": the help topic numbers the library's dialogs and errors pass.
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <cstdio>

namespace {

constexpr int kImageWidth = 560;

// GitHub's anchor of a heading: lower case, punctuation dropped, spaces to hyphens.
QString Slug(const QString& heading) {
    QString out;
    for (const QChar c : heading.toLower()) {
        if (c.isLetterOrNumber() || c == '-' || c == '_') {
            out += c;
        } else if (c == ' ') {
            out += '-';
        }
    }
    return out;
}

// "files.md#settings" -> "#files--settings"; links out of the documents stay as they are.
QString InternalHref(const QString& href) {
    static const QRegularExpression doc(R"(^([A-Za-z0-9_-]+)\.md(?:#(.*))?$)");
    const QRegularExpressionMatch m = doc.match(href);
    if (!m.hasMatch()) {
        return href;
    }
    return "#" + m.captured(1) + (m.captured(2).isEmpty() ? QString() : "--" + m.captured(2));
}

bool Fail(const QString& text) {
    std::fprintf(stderr, "vesk4710-helpgen: %s\n", qPrintable(text));
    return false;
}

// Further anchors of a heading by its first one: the HTML export writes only the first.
using MoreAnchors = QMap<QString, QStringList>;

// Adds one document at the end of the help, its anchors and links made to work there.
bool AddDocument(QTextCursor& out, const QString& path, MoreAnchors& more) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return Fail("cannot read " + path);
    }
    QString text = QString::fromUtf8(file.readAll());
    const QString stem = QFileInfo(path).completeBaseName();

    // Topic markers: each names the heading that follows it.
    static const QRegularExpression marker(R"(<!--\s*help:\s*(-?\d+)\s*-->\s*\n\s*#+\s*(.+))");
    QMap<QString, QStringList> topics;
    for (auto it = marker.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        topics[m.captured(2).trimmed()] << "topic-" + m.captured(1);
    }
    text.remove(QRegularExpression(R"(<!--[^\n]*-->\s*\n)"));

    QTextDocument doc;
    doc.setMarkdown(text);
    int found = 0;
    for (QTextBlock block = doc.begin(); block.isValid(); block = block.next()) {
        QTextCursor c(block);
        if (block.blockFormat().headingLevel() > 0) {
            QStringList names = {stem + "--" + Slug(block.text())};
            if (block == doc.begin()) {
                names << stem;
            }
            const auto topic = topics.find(block.text().trimmed());
            if (topic != topics.end()) {
                names << *topic;
                ++found;
            }
            c.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
            QTextCharFormat f;
            f.setAnchor(true);
            f.setAnchorNames({names.front()});
            more[names.front()] = names.mid(1);
            c.mergeCharFormat(f);
        }
        // Room between paragraphs and above headings; code lines and list items stay close.
        if (!block.blockFormat().nonBreakableLines() && block.textList() == nullptr) {
            QTextBlockFormat spaced = block.blockFormat();
            const int level = spaced.headingLevel();
            spaced.setTopMargin(level == 0 ? 0 : level == 1 ? 18 : 14);
            spaced.setBottomMargin(level == 0 ? 8 : 6);
            c.setBlockFormat(spaced);
        }
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment part = it.fragment();
            if (part.charFormat().isImageFormat()) {
                // Pictures at a width that fits the help window; the height follows.
                QTextImageFormat image = part.charFormat().toImageFormat();
                image.setWidth(kImageWidth);
                QTextCursor at(&doc);
                at.setPosition(part.position());
                at.setPosition(part.position() + part.length(), QTextCursor::KeepAnchor);
                at.setCharFormat(image);
                continue;
            }
            const QString href = part.charFormat().anchorHref();
            if (!href.isEmpty() && InternalHref(href) != href) {
                QTextCursor link(&doc);
                link.setPosition(part.position());
                link.setPosition(part.position() + part.length(), QTextCursor::KeepAnchor);
                QTextCharFormat f = part.charFormat();
                f.setAnchorHref(InternalHref(href));
                link.setCharFormat(f);
            }
        }
    }
    if (found != topics.size()) {
        return Fail(path + ": a help marker is not followed by a heading");
    }
    out.movePosition(QTextCursor::End);
    if (!out.document()->isEmpty()) {
        out.insertBlock();
    }
    out.insertFragment(QTextDocumentFragment(&doc));
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    // No display is needed to lay out text.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList args = QGuiApplication::arguments();
    if (args.size() < 3) {
        std::fprintf(stderr, "usage: vesk4710-helpgen OUTPUT.html DOC.md...\n");
        return 2;
    }
    QTextDocument help;
    help.setMetaInformation(QTextDocument::DocumentTitle, "Vesk 4710 help");
    QTextCursor cursor(&help);
    MoreAnchors more;
    for (qsizetype i = 2; i < args.size(); ++i) {
        if (!AddDocument(cursor, args[i], more)) {
            return 1;
        }
    }
    QString html = help.toHtml();
    for (auto it = more.cbegin(); it != more.cend(); ++it) {
        const QString first = "<a name=\"" + it.key() + "\"></a>";
        QString all = first;
        for (const QString& name : it.value()) {
            all += "<a name=\"" + name + "\"></a>";
        }
        html.replace(first, all);
    }
    // Written whole under another name first, so that a failed build leaves no half file.
    const QString target = args[1];
    QFile out(target + ".part");
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate) || out.write(html.toUtf8()) < 0 ||
        !out.flush()) {
        Fail("cannot write " + out.fileName());
        return 1;
    }
    out.close();
    QFile::remove(target);
    if (!QFile::rename(out.fileName(), target)) {
        Fail("cannot rename onto " + target);
        return 1;
    }
    return 0;
}
