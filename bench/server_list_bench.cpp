// Server list: import of a large address file into a large list, against a
// straightforward implementation of the same rule (every field tested with
// the list's own contains-find, row by row) in the same run, and the sort.
// Prints "name: value unit" lines; exits with 1 when the import's rows differ
// from the reference's.
#include "program/settings.h"
#include "setup/server_import.h"
#include "setup/server_list.h"
#include "shell/app.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <cstdio>

namespace {

constexpr int kListRows = 20000;
constexpr int kImportNames = 50000;
constexpr int kSortRows = 50000;

void print(const char* name, double value, const char* unit) {
    std::printf("%s: %.3g %s\n", name, value, unit);
    std::fflush(stdout);
}

const char* const kTlds[] = {"com", "net", "org", "de", "co.uk", "nl", "fr", "se", "jp"};
const char* const kWords[] = {"news",  "nntp", "reader", "feed",   "usenet", "text",  "binaries",
                              "spool", "peer", "post",   "mirror", "news-a", "news-b"};

QString host(QRandomGenerator& rng, int n) {
    return QStringLiteral("%1%2.%3%4.%5")
        .arg(QLatin1String(kWords[rng.bounded(int(std::size(kWords)))]))
        .arg(n)
        .arg(QLatin1String(kWords[rng.bounded(int(std::size(kWords)))]))
        .arg(rng.bounded(500))
        .arg(QLatin1String(kTlds[rng.bounded(int(std::size(kTlds)))]));
}

QString countColumn(int n) {
    return QStringLiteral("%1").arg(n, 5, 10, QLatin1Char('0'));
}

// Rows of all three forms, as a list that has seen some use.
QVector<ListRow> existingRows(QRandomGenerator& rng, QStringList& hosts) {
    QVector<ListRow> rows;
    for (int i = 0; i < kListRows; ++i) {
        const QString h = host(rng, i);
        hosts << h;
        QString text;
        switch (rng.bounded(4)) {
        case 0:
            text = countColumn(rng.bounded(60000)) + (rng.bounded(2) ? "  OK    " : "  NO    ") + h;
            break;
        case 1:
            text = countColumn(rng.bounded(60000)) + "     " + h;
            break;
        default:
            text = QStringLiteral("????? ???    ") + h;
        }
        rows.append(ListRow{text, QString(), 0, -1, false});
    }
    return rows;
}

// An address file as people collect them: known servers in other cases,
// domains of known hosts, comments, tabs, blank lines, quoted fields with
// commas and line ends, names without a dot, and new names, some twice.
QByteArray importFile(QRandomGenerator& rng, const QStringList& known) {
    QByteArray out;
    const char* const eol[] = {"\n", "\r\n", "\r"};
    auto end = [&] { return eol[rng.bounded(3)]; };
    int newNames = 0;
    for (int i = 0; i < kImportNames;) {
        const QString k = known[rng.bounded(known.size())];
        switch (rng.bounded(12)) {
        case 0:
            out += k.toUpper().toUtf8() + end();
            break;
        case 1:
            out += k.mid(k.indexOf(u'.') + 1).toUtf8() + end(); // the domain of a known host
            break;
        case 2:
            out += "  " + k.toUtf8() + "   a comment, with a comma" + end();
            break;
        case 3:
            out += "localhost" + QByteArray(end()) + "\n";
            break;
        case 4:
            out += "\"" + host(rng, 900000 + newNames++).toUtf8() + "\r\nsecond.line, x\"" + end();
            break;
        case 5:
            out += host(rng, 900000 + newNames).toUtf8() + '\t' + "tab comment" + end();
            break;
        case 6: { // a pair on one line
            const QByteArray first = host(rng, 900000 + newNames++).toUtf8();
            const QByteArray second = host(rng, 900000 + newNames++).toUtf8();
            out += first + ", " + second + end();
            ++i;
            break;
        }
        case 7:
            out += "\t" + host(rng, 900000 + newNames++).toUtf8() + end(); // dropped: tab first
            break;
        default:
            out += host(rng, 900000 + newNames++).toUtf8() + end();
        }
        ++i;
    }
    return out;
}

// The rule as written: each field cleaned and tested against every row with
// the list's own contains-find, then appended.
QStringList referenceImport(const QVector<ListRow>& start, const QString& text) {
    ListModel list;
    list.appendRows(start);
    for (const QString& field : readImportFields(text)) {
        const QString address = cleanImportField(field);
        if (address.contains(u'.') && list.find(address, FindMode::Contains, 0) < 0)
            list.addItem(QStringLiteral("????? ???    ") + address);
    }
    QStringList rows;
    for (int i = 0; i < list.count(); ++i)
        rows << list.text(i);
    return rows;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication qapp(argc, argv);
    QTemporaryDir dir;
    App app;
    app.ExeDir = dir.path();
    InitAppPath(app);
    QRandomGenerator rng(2024);
    int status = 0;

    // ---- import ----
    QStringList known;
    const QVector<ListRow> start = existingRows(rng, known);
    const QByteArray file = importFile(rng, known);
    const QString path = dir.filePath(QStringLiteral("servers.txt"));
    {
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(file) != file.size()) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            return 1;
        }
    }

    app.txtNNTPServ.appendRows(start);
    QElapsedTimer clock;
    clock.start();
    importServerFile(app, path);
    const double ours = clock.nsecsElapsed() / 1e9;
    QStringList rows;
    for (int i = 0; i < app.txtNNTPServ.count(); ++i)
        rows << app.txtNNTPServ.text(i);

    clock.restart();
    const QStringList expected = referenceImport(start, QString::fromUtf8(file));
    const double reference = clock.nsecsElapsed() / 1e9;

    print("server_import_50k_into_20k", ours, "s");
    print("server_import_50k_into_20k_reference", reference, "s");
    print("server_import_50k_into_20k_ratio", reference / ours, "x");
    print("server_import_rows_added", rows.size() - kListRows, "rows");
    const bool same = rows == expected;
    print("server_import_matches_reference", same ? 1 : 0, "bool");
    if (!same) {
        status = 1;
        for (qsizetype i = 0; i < std::max(rows.size(), expected.size()); ++i)
            if (rows.value(i) != expected.value(i)) {
                std::fprintf(stderr, "first difference at row %lld: \"%s\" against \"%s\"\n",
                             static_cast<long long>(i), qPrintable(rows.value(i)),
                             qPrintable(expected.value(i)));
                break;
            }
    }

    // ---- sort ----
    app.txtNNTPServ.clear();
    QStringList ignored;
    QVector<ListRow> many = existingRows(rng, ignored);
    while (many.size() < kSortRows) {
        const QVector<ListRow> more = existingRows(rng, ignored);
        many += more.mid(0, kSortRows - many.size());
    }
    app.txtNNTPServ.appendRows(many);
    clock.restart();
    SortServerRows(app);
    const double sortTime = clock.nsecsElapsed() / 1e9;
    print("server_sort_50k", sortTime, "s");
    bool ordered = app.txtNNTPServ.count() == kSortRows;
    for (int i = 1; ordered && i < app.txtNNTPServ.count(); ++i)
        ordered =
            app.txtNNTPServ.text(i - 1).compare(app.txtNNTPServ.text(i), Qt::CaseInsensitive) <= 0;
    if (!ordered) {
        std::fprintf(stderr, "sorted list is out of order or lost rows\n");
        status = 1;
    }
    return status;
}
