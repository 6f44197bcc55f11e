#include "setup/server_import.h"

#include "setup/server_index.h"
#include "setup/server_list.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/layout.h"

#include <QFile>
#include <QStringDecoder>

namespace {

const QString kTextFilter = QStringLiteral("Text (*.txt)");

bool isLineEnd(QChar c) {
    return c == u'\r' || c == u'\n';
}

// Past the comma or line end at pos; CR LF counts as one.
qsizetype skipDelimiter(QStringView text, qsizetype pos) {
    if (pos >= text.size()) return pos;
    if (text[pos] == u'\r' && pos + 1 < text.size() && text[pos + 1] == u'\n') return pos + 2;
    return pos + 1;
}

qsizetype findDelimiter(QStringView text, qsizetype pos) {
    while (pos < text.size() && text[pos] != u',' && !isLineEnd(text[pos]))
        ++pos;
    return pos;
}

QStringView cutAt(QStringView s, QStringView mark) {
    const qsizetype at = s.indexOf(mark);
    return at < 0 ? s : s.left(at);
}

// Reads the file up to its end or its first read error; what came before an
// error still counts.
QString readText(QFile& f) {
    QByteArray bytes;
    if (f.size() > 0) bytes.reserve(f.size());
    char buf[1 << 16];
    for (;;) {
        const qint64 n = f.read(buf, sizeof buf);
        if (n <= 0) break;
        bytes.append(buf, n);
    }
    QStringDecoder utf8(QStringDecoder::Utf8);
    return utf8(bytes);
}

} // namespace

qsizetype nextImportField(QStringView text, qsizetype pos, QString& field) {
    field.clear();
    while (pos < text.size() && text[pos] == u' ')
        ++pos;
    if (pos >= text.size()) return -1;
    if (text[pos] == u'"') {
        qsizetype close = text.indexOf(u'"', pos + 1);
        if (close < 0) close = text.size();
        field = text.mid(pos + 1, close - pos - 1).toString();
        const qsizetype after = close < text.size() ? close + 1 : close;
        return skipDelimiter(text, findDelimiter(text, after));
    }
    const qsizetype end = findDelimiter(text, pos);
    field = text.mid(pos, end - pos).toString();
    return skipDelimiter(text, end);
}

QStringList readImportFields(QStringView text) {
    QStringList fields;
    QString field;
    for (qsizetype pos = 0; (pos = nextImportField(text, pos, field)) >= 0;)
        fields.append(field);
    return fields;
}

QString cleanImportField(QStringView field) {
    // Blanks only: a tab is no blank here, it ends the address further down.
    qsizetype from = 0, to = field.size();
    while (from < to && field[from] == u' ')
        ++from;
    while (to > from && field[to - 1] == u' ')
        --to;
    QStringView s = field.mid(from, to - from);
    s = cutAt(s, u" ");
    s = cutAt(s, u"\r\n");
    s = cutAt(s, u"\n");
    s = cutAt(s, u"\t");
    return s.toString();
}

void importServerFile(App& app, const QString& path) {
    QFile f(path);
    if (f.open(QIODevice::ReadOnly)) {
        const QString text = readText(f);
        f.close();
        RowContainsIndex rows(app.txtNNTPServ);
        RowPass pass;
        int titled = -1;
        QString field;
        for (qsizetype pos = 0; (pos = nextImportField(text, pos, field)) >= 0;) {
            const QString address = cleanImportField(field);
            // A contains test, not an equality: a name inside a longer
            // address, or inside a status column, is taken as known.
            if (address.contains(u'.') && !rows.anyRowContains(address))
                rows.append(kNewServerRow + address);
            if (pass.due()) {
                rows.flush();
                RowPass::run();
            }
            const int n = rows.count();
            if (n % 100 == 0 && n != titled) {
                rows.flush();
                UpdateListTitles(app, QStringLiteral("8"));
                titled = n;
            }
        }
    }
    SaveServerList(app);
}

void cmdImport(App& app) {
    const QString path = app.prompter->openFileName(QString(), kTextFilter, app.AppPath);
    ListModel& list = app.txtNNTPServ;
    SetupOnOff(app, false);
    list.setRedraw(false);
    list.setVisible(false);
    list.setEnabled(false);
    HourGlass(app, true);
    if (!path.isEmpty()) importServerFile(app, path);
    SetupOnOff(app, true);
    list.setRedraw(true);
    list.setVisible(true);
    list.setEnabled(true);
    UpdateListTitles(app, QStringLiteral("8"));
    HourGlass(app, false);
}

void cmdExport(App& app) {
    const QString path = app.prompter->saveFileName(QString(), kTextFilter, app.AppPath);
    if (path.isEmpty()) return;
    SetupOnOff(app, false);
    HourGlass(app, true);
    // Not through a temporary file: the user's file is written in place and
    // a partly written one stays, as the message says it failed.
    QFile f(path);
    bool ok = f.open(QIODevice::WriteOnly | QIODevice::Truncate);
    RowPass pass;
    const ListModel& list = app.txtNNTPServ;
    for (int i = 0; i < list.count(); ++i) {
        const QByteArray line = list.text(i).toUtf8() + "\r\n";
        if (ok && f.write(line) != line.size()) ok = false;
        pass();
    }
    f.close();
    if (f.error() != QFileDevice::NoError) ok = false;
    SetupOnOff(app, true);
    UpdateListTitles(app, QStringLiteral("8"));
    HourGlass(app, false);
    app.prompter->message(ok ? QStringLiteral("File Saved") : QStringLiteral("Error Saving File"),
                          QStringLiteral("Zanderfell!"), Prompter::Icon::None);
}
