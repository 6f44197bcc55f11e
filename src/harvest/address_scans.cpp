#include "harvest/address_scans.h"

#include "harvest/harvest_state.h"
#include "setup/server_list.h"
#include "shell/app.h"
#include "shell/layout.h"
#include "shell/waits.h"
#include "support/routines.h"

#include <QFile>

namespace {

constexpr int kWebImage = 10;
// A header line or Path token longer than this is no header a server wrote;
// it is dropped rather than held without end.
constexpr qsizetype kMaxPending = 1 << 20;

const QString kHttp = QStringLiteral("HTTP://");
const QString kFtp = QStringLiteral("FTP://");

bool isAsciiLetterOrDigit(QChar c) {
    const char16_t u = c.unicode();
    return (u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z') || (u >= '0' && u <= '9');
}

// The characters an address of the article harvest is made of, in upper case.
bool inWebAddress(QChar c) {
    const char16_t u = c.toUpper().unicode();
    if ((u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9')) return true;
    switch (u) {
    case '&':
    case '~':
    case '-':
    case '.':
    case '_':
    case ':':
    case '/':
    case '?':
        return true;
    default:
        return false;
    }
}

// Bytes held one per character back to the text they spell.
QString fromHeldBytes(QStringView held) {
    return QString::fromUtf8(held.toLatin1());
}

void enableLinks(App& app) {
    if (app.toolbar[13].enabled) return;
    app.toolbar[13].enabled = true;
    emit app.toolbarChanged(13);
}

// "A row of lstHTTP holds it", as the list's contains-find answers: a row
// that is the text itself answers at once, the substring index the rest.
bool httpRowsHold(App& app, const QString& text) {
    HarvestState& st = harvestState(app);
    if (st.httpRevision != app.lstHTTP.textRevision()) {
        st.httpExact.clear();
        for (int i = 0; i < app.lstHTTP.count(); ++i)
            st.httpExact.insert(app.lstHTTP.text(i).toCaseFolded());
        st.httpRevision = app.lstHTTP.textRevision();
    }
    if (st.httpExact.contains(text.toCaseFolded())) return true;
    if (text.isEmpty() || text.contains(u' '))
        return app.lstHTTP.find(text, FindMode::Contains, 0) >= 0;
    if (!st.httpRows) st.httpRows = std::make_unique<RowContainsIndex>(app.lstHTTP);
    return st.httpRows->anyRowContains(text);
}

// A row of our own at the end of lstHTTP, known at once to the exact set.
void addHttpRow(App& app, const QString& text) {
    HarvestState& st = harvestState(app);
    const bool current = st.httpRevision == app.lstHTTP.textRevision();
    app.lstHTTP.addItem(text);
    if (!current) return;
    st.httpExact.insert(text.toCaseFolded());
    st.httpRevision = app.lstHTTP.textRevision();
}

bool serverRowsHold(App& app, const QString& token) {
    HarvestState& st = harvestState(app);
    if (!st.serverRows) st.serverRows = std::make_unique<RowContainsIndex>(app.txtNNTPServ);
    return st.serverRows->anyRowContains(token);
}

// The page is read field by field, a field ending at a line end or a comma:
// an address holding either can never be inside one.
bool linkPageHolds(const QString& path, const QString& address) {
    if (address.contains(u',') || address.contains(u'\r') || address.contains(u'\n')) return false;
    QFile page(path);
    if (!page.open(QIODevice::ReadOnly)) return false;
    const QByteArray needle = address.toUtf8();
    // Read in slices that overlap by the needle's length, so a page of any
    // size costs one pass and little memory.
    QByteArray window;
    while (!page.atEnd()) {
        const QByteArray slice = page.read(1 << 20);
        if (slice.isEmpty()) break;
        window.append(slice);
        if (window.contains(needle)) return true;
        if (window.size() > needle.size()) window.remove(0, window.size() - needle.size());
    }
    return false;
}

void appendToLinkPage(const QString& path, const QString& address) {
    QFile page(path);
    if (!page.open(QIODevice::WriteOnly | QIODevice::Append)) return;
    const QByteArray a = address.toUtf8();
    page.write("<a href = \"" + a + "\">" + a + "</a><br>\r\n");
}

// One "From" line: the address into lstHTTP.
void scanFromLine(App& app, QStringView held) {
    QString line = fromHeldBytes(held);
    ScanEmailAddress(app, line);
}

// One "Path" token: a new server name into the server list and lstHTTP.
void scanPathToken(App& app, QStringView held) {
    const qsizetype blank = held.indexOf(u' ');
    if (blank >= 0) held = held.sliced(blank + 1);
    // The cheap tests first: each must hold, and none has an effect.
    if (held.contains(u' ') || !held.contains(u'.') || held.contains(u"POSTED") ||
        held.contains(u"MISMATCH"))
        return;
    const QString token = fromHeldBytes(held);
    app.CurrentLine = token;
    HarvestState& st = harvestState(app);
    if (st.tokensServerRevision != app.txtNNTPServ.textRevision() ||
        st.tokensHttpRevision != app.lstHTTP.textRevision()) {
        st.knownTokens.clear();
        st.tokensServerRevision = app.txtNNTPServ.textRevision();
        st.tokensHttpRevision = app.lstHTTP.textRevision();
    }
    if (st.knownTokens.contains(token)) return;
    if (serverRowsHold(app, token) || httpRowsHold(app, token)) {
        st.knownTokens.insert(token);
        return;
    }
    app.txtNNTPServ.addItem(QString(kNewServerRow) + token);
    addHttpRow(app, token);
    st.knownTokens.insert(token);
    st.tokensServerRevision = app.txtNNTPServ.textRevision();
    st.tokensHttpRevision = app.lstHTTP.textRevision();
    enableLinks(app);
    UpdateListTitles(app, QStringLiteral("6"));
    app.setStatus(1, token);
}

// Cuts the pending text at each separator and hands every piece before one
// to scan. A block that comes in during a pass of the queue is appended by
// the nested call and taken here, by this same loop.
template <typename Scan>
void consumePending(App& app, QStringView separator, bool stopOnRequest, Scan scan) {
    HarvestState& st = harvestState(app);
    if (st.scanning) return;
    st.scanning = true;
    qsizetype from = 0;
    qsizetype search = st.searchFrom;
    bool stopped = false;
    for (;;) {
        if (stopOnRequest && app.StopRequested) {
            stopped = true;
            break;
        }
        const qsizetype at = st.pending.indexOf(separator, std::max(from, search));
        if (at < 0) break;
        const QString piece = st.pending.mid(from, at - from);
        from = search = at + separator.size();
        scan(app, QStringView(piece));
        LetEventsRun(app);
    }
    st.pending.remove(0, from);
    // What is left holds no separator, but for one cut in two by the block
    // boundary: the next search need not go over it again.
    st.searchFrom = stopped ? 0 : std::max<qsizetype>(0, st.pending.size() - separator.size() + 1);
    if (st.pending.size() > kMaxPending) {
        // No server writes a header line this long. What matters of it to
        // what follows is whether it holds a blank (the cut behind the first
        // blank, a token with a blank is no name); two blanks or none say
        // the same in a few bytes.
        st.pending = st.pending.contains(u' ') ? QStringLiteral("  ") : QString();
        st.searchFrom = 0;
    }
    st.scanning = false;
}

} // namespace

QString linkPagePath(const App& app) {
    return app.AppPath + QStringLiteral("UsenetHTTP.htm");
}

HarvestState& harvestState(App& app) {
    if (!app.harvest) app.harvest = std::make_shared<HarvestState>();
    return *app.harvest;
}

void SaveHTTPs(App& app, const QString& msgTitle) {
    qsizetype at = msgTitle.indexOf(kHttp, 0, Qt::CaseInsensitive);
    if (at < 0) at = msgTitle.indexOf(kFtp, 0, Qt::CaseInsensitive);
    if (at < 0) return;
    QString address = msgTitle.mid(at);
    const qsizetype blank = address.indexOf(u' ');
    if (blank >= 0) address.truncate(blank + 1);
    if (httpRowsHold(app, address.trimmed())) return;

    addHttpRow(app, address);
    app.lstHTTP.setPicture(app.lstHTTP.count() - 1, kWebImage);
    UpdateListTitles(app, QStringLiteral("4"));
    enableLinks(app);

    const QString page = linkPagePath(app);
    if (linkPageHolds(page, address)) return;
    appendToLinkPage(page, address);
}

void HarvestArticle(App& app) {
    const bool wanted = app.HarvestBody ||
                        (app.SaveHTTP && app.HeaderField == QLatin1String("SubjectDL") &&
                         (QLatin1StringView(app.MessageText).contains(kHttp, Qt::CaseInsensitive) ||
                          QLatin1StringView(app.MessageText).contains(kFtp, Qt::CaseInsensitive)));
    if (!wanted) return;
    // Each turn starts at the first "HTTP://" of what is left, at the first
    // "FTP://" only when none is. Positions only move forward, so the walk
    // costs one pass over the article.
    const QString text = QString::fromLatin1(app.MessageText);
    qsizetype from = 0;
    bool httpLeft = true;
    for (;;) {
        qsizetype start = -1;
        if (httpLeft) {
            start = text.indexOf(kHttp, from, Qt::CaseInsensitive);
            httpLeft = start >= 0;
        }
        if (start < 0) start = text.indexOf(kFtp, from, Qt::CaseInsensitive);
        if (start < 0) break;
        qsizetype stop = start;
        while (stop < text.size() && inWebAddress(text.at(stop)))
            ++stop;
        app.CurrentLine = text.mid(start, stop - start);
        SaveHTTPs(app, app.CurrentLine);
        from = stop;
    }
}

QString cutEmailAddress(QString line) {
    const qsizetype blank = line.indexOf(u' ');
    if (blank >= 0) line.remove(0, blank + 1);
    qsizetype at = line.indexOf(u'@');
    // Positions count from 1 in the rule: "@" in position 1 or 2 cuts nothing.
    if (at >= 2) {
        qsizetype i = at - 1;
        while (i >= 0 && isAsciiLetterOrDigit(line.at(i)))
            --i;
        if (i >= 0) line.remove(0, i + 1);
        at = line.indexOf(u'@');
        qsizetype stop = at + 1;
        while (stop < line.size() && (isAsciiLetterOrDigit(line.at(stop)) || line.at(stop) == u'.'))
            ++stop;
        line.truncate(stop);
    }
    at = line.indexOf(u'@');
    if (at <= 0 || at == line.size() - 1 || line.contains(u'*') ||
        line.contains(QLatin1String("SPAM"), Qt::CaseInsensitive) ||
        line.contains(QLatin1String("REMOVE"), Qt::CaseInsensitive) ||
        line.contains(QLatin1String("FAKE"), Qt::CaseInsensitive))
        return QString();
    return line;
}

void ScanEmailAddress(App& app, QString& lineBuffer) {
    lineBuffer = cutEmailAddress(lineBuffer);
    if (lineBuffer.isEmpty() || lineBuffer.startsWith(u'.') || httpRowsHold(app, lineBuffer))
        return;
    if (!lineBuffer.contains(app.EmailFilter, Qt::CaseInsensitive)) return;
    addHttpRow(app, lineBuffer);
    app.setStatus(1, lineBuffer);
}

void HarvestHeaderData(App& app, const QByteArray& block) {
    HarvestState& st = harvestState(app);
    st.pending.append(QLatin1String(block));
    app.setStatus(2, QString::number(st.pending.size()) + QStringLiteral(" Bytes"));
    const int range = static_cast<int>(std::min<qsizetype>(st.pending.size() + 1, INT_MAX));
    app.setProgress(0, range, std::min(app.progValue, range));
    if (app.HeaderField == QLatin1String("From")) {
        consumePending(app, u"\r\n", false, scanFromLine);
    } else if (app.HeaderField == QLatin1String("Path")) {
        consumePending(app, u"!", true, scanPathToken);
        app.setProgressValue(static_cast<int>(std::min<qsizetype>(st.pending.size(), range)));
    }
}

void ResetHeaderHarvest(App& app) {
    HarvestState& st = harvestState(app);
    st.pending.clear();
    st.searchFrom = 0;
}

void lstHTTP_DblClick(App& app) {
    if (!app.frame(Frame::HTTP).title.startsWith(QLatin1String("HTT"))) return;
    if (!HasSelection(app, app.lstHTTP, true)) return;
    const int row = app.lstHTTP.listIndex();
    if (row < 0) return;
    ShellLaunch(app, app.lstHTTP.text(row));
}
