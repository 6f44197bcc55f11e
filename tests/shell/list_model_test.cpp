// The list control: model consistency, find with wrap-around, the file form,
// and rows staged from received bytes against the string path.
#include "fixtures/test_app.h"
#include "shell/list_model.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <climits>

namespace {

ListRow row(const QString& text, const QString& tag = QString(), qint64 number = 0) {
    return {text, tag, number, -1, false};
}

QByteArray contents(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("(unreadable)");
}

// The bytes save() writes for the list.
QByteArray savedBytes(const ListModel& list) {
    QTemporaryDir dir;
    return list.save(dir.filePath("list.txt")) ? contents(dir.filePath("list.txt"))
                                               : QByteArray("(not saved)");
}

// Line by line, so that a difference names its row.
void expectSameLines(const QByteArray& got, const QByteArray& want) {
    const QList<QByteArray> g = got.split('\n'), w = want.split('\n');
    ASSERT_EQ(g.size(), w.size());
    for (qsizetype i = 0; i < w.size(); ++i)
        EXPECT_EQ(g[i], w[i]) << "row " << i;
}

TEST(ListModel, StaysConsistentWhileRowsAreAddedRemovedSortedAndLoaded) {
    QTemporaryDir dir;
    ListModel list;
    // Any inconsistency it sees ends the program with its reason.
    QAbstractItemModelTester tester(&list, QAbstractItemModelTester::FailureReportingMode::Fatal);

    list.addItem("b");
    list.addItem(0, "a", "tag-a", 1);
    list.addItem(-1, "d", QString(), 0);
    list.addItem(2, "c", QString(), 0);
    list.addItem(99, "f", QString(), 0); // beyond the end: appended
    EXPECT_EQ(texts(list), (QStringList{"a", "b", "c", "d", "f"}));
    EXPECT_EQ(list.tag(0), "tag-a");
    EXPECT_EQ(list.number(0), 1);

    list.removeItem(0);
    list.removeItem(2); // "d"
    list.removeItem(7); // no such row
    list.removeItem(-1);
    list.setText(1, "C");
    list.setPicture(1, 12);
    list.appendRows({row("x"), row("e", "t", 5)});
    EXPECT_EQ(texts(list), (QStringList{"b", "C", "f", "x", "e"}));
    EXPECT_EQ(list.picture(1), 12);
    const QString file = dir.filePath("rows.txt");
    ASSERT_TRUE(list.save(file));

    // Sorting orders what is there; then the position asked for does not decide.
    list.setSorted(true);
    EXPECT_EQ(texts(list), (QStringList{"b", "C", "e", "f", "x"}));
    list.addItem("a");
    list.addItem(0, "z", "last", 0);
    list.addItem(-1, "d", QString(), 0);
    EXPECT_EQ(texts(list), (QStringList{"a", "b", "C", "d", "e", "f", "x", "z"}));
    EXPECT_EQ(list.tag(7), "last");
    EXPECT_EQ(list.tag(4), "t");
    ASSERT_TRUE(list.load(file));
    list.clear();
    list.clear(); // clearing an empty list is harmless
}

TEST(ListModel, CurrentIndexFollowsItsRowAndIsNoneWhenTheRowGoes) {
    ListModel list;
    list.appendRows({row("a"), row("b"), row("c")});
    list.setListIndex(1);
    list.addItem(0, "first", QString(), 0);
    EXPECT_EQ(list.listIndex(), 2);
    list.removeItem(0);
    EXPECT_EQ(list.text(list.listIndex()), "b");
    list.removeItem(1);
    EXPECT_EQ(list.listIndex(), -1);
    list.setListIndex(5);
    EXPECT_EQ(list.listIndex(), -1);
}

// From start to the end, then from the top up to start; a start outside the
// rows searches them all.
TEST(ListModel, FindContainsSearchesFromStartThenWrapsAround) {
    ListModel list;
    list.appendRows({row("alpha"), row("beta"), row("gamma"), row("delta"), row("beta two")});
    // What, start row, row found.
    const std::tuple<const char*, int, int> cases[] = {
        {"beta", 0, 1}, {"beta", 2, 4}, {"alp", 3, 0},  {"elt", 3, 3},
        {"mm", 4, 2},   {"zzz", 2, -1}, {"beta", 5, 1}, {"beta", -1, 1}};
    for (auto [what, start, expected] : cases)
        EXPECT_EQ(list.find(what, FindMode::Contains, start), expected)
            << what << " from " << start;
    EXPECT_EQ(ListModel().find("a", FindMode::Contains, 0), -1);
}

TEST(ListModel, SaveAndLoadGiveBackEveryRowExactly) {
    QTemporaryDir dir;
    const QVector<ListRow> rows = {
        row(mark(1) + "alt.binaries.pictures (5)"),
        row("tab\there", "tag\twith tab", 7),
        row("literal \\t and \\n are not escapes", "\\r"),
        row("ends in a backslash\\", "\\"),
        row("line1\nline2", "cr\rlf\r\n"),
        row("", "tag only"),
        row("smallest", "", INT_MIN),
        row("past 2^62", "", qint64(1) << 62),
        row("  blanks around  ", " "),
        row(""), // an empty last row
    };
    ListModel list;
    list.appendRows(rows);
    const QString file = dir.filePath("list.txt");
    ASSERT_TRUE(list.save(file));

    ListModel back;
    back.addItem("left over");
    ASSERT_TRUE(back.load(file));
    ASSERT_EQ(back.count(), rows.size());
    for (int i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(back.text(i), rows[i].text) << "row " << i;
        EXPECT_EQ(back.tag(i), rows[i].tag) << "row " << i;
        EXPECT_EQ(back.number(i), rows[i].number) << "row " << i;
    }

    // A cache is written the same, replaces the old file whole and leaves
    // nothing beside it; into a directory that is gone it fails.
    const QByteArray bytes = contents(file);
    ListModel one;
    one.addItem("the only row");
    ASSERT_TRUE(one.save(file, ListModel::SaveMode::Cache));
    EXPECT_EQ(contents(file), "the only row\n");
    ASSERT_TRUE(list.save(file, ListModel::SaveMode::Cache));
    EXPECT_EQ(contents(file), bytes);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"list.txt"});
    EXPECT_FALSE(one.save(dir.filePath("gone/list.txt"), ListModel::SaveMode::Cache));

    // Every unit that is not plain ASCII, at the edges of the runs the
    // writer copies in blocks, gives the bytes of the plain way: escape,
    // then UTF-8 (a lone surrogate as QString::toUtf8 writes it).
    const QString odd[] = {"\\",
                           "\r\n",
                           QString(QChar(0xFF)) + "1",
                           QString(QChar(0x7FF)),
                           QString(QChar(0x20AC)),
                           QString(QChar(0xD800)),
                           QString::fromUtf8("\xF0\x9F\x98\x80")};
    auto plainWay = [](QString s) {
        return s.replace("\\", "\\\\")
            .replace("\t", "\\t")
            .replace("\n", "\\n")
            .replace("\r", "\\r")
            .toUtf8();
    };
    ListModel edges;
    QByteArray expected;
    for (const int length : {1, 16, 17, 33})
        for (const int at : {0, 15, 16, 32, length - 1})
            for (const QString& o : odd) {
                if (at >= length) continue;
                QString text(length, u'a');
                text.replace(at, 1, o);
                // The same text as the tag of every other row, after its number.
                const bool tagged = at % 2 == 1;
                edges.appendRows({row(text, tagged ? "77" + text : QString(), tagged ? 77 : 0)});
                expected += plainWay(text);
                if (tagged) expected += "\t77" + plainWay(text) + "\t77";
                expected += '\n';
            }
    expectSameLines(savedBytes(edges), expected);

    // The same for a list kept one byte a character (a group list): rows
    // staged from received bytes, behind a mark or none.
    ListModel narrow;
    QByteArray narrowExpected;
    for (const int length : {1, 8, 9, 16, 17, 28})
        for (const int at : {0, 7, 8, 15, 16, length - 1})
            for (const char* o : {"\\", "\r\n", "\x7F", "\xC3\xA9"}) {
                if (at >= length) continue;
                QByteArray text(length, 'a');
                text.replace(at, 1, o);
                const bool marked = at % 2 == 1;
                narrow.stageRow(QLatin1StringView(marked ? "\xFF"
                                                           "1"
                                                         : ""),
                                text, QLatin1StringView(" (5)"));
                narrowExpected +=
                    plainWay((marked ? mark(1) : QString()) + QString::fromUtf8(text) + " (5)") +
                    '\n';
            }
    narrow.commitRows();
    ASSERT_TRUE(narrow.save(dir.filePath("narrow.txt"), ListModel::SaveMode::Cache));
    expectSameLines(contents(dir.filePath("narrow.txt")), narrowExpected);

    // Edited by hand: CR LF line ends, a byte order mark, no final line end.
    QFile f(file);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write("\xEF\xBB\xBF"
            "alpha\r\nbeta\tT\t12\r\n\r\n\xC3\xA9t\xC3\xA9\r\nno final line end");
    f.close();
    ASSERT_TRUE(back.load(file));
    EXPECT_EQ(texts(back),
              (QStringList{"alpha", "beta", "", QString::fromUtf8("été"), "no final line end"}));
    EXPECT_EQ(back.number(1), 12);
}

} // namespace

// Rows staged from received bytes are the rows the string path gives: the
// same texts (bad UTF-8 replaced as QString::fromUtf8 does), tags with or
// without the number in front, and the same file, in plain and sorted mode.
// Rows rewritten and removed many times keep the texts of the others.
TEST(ListModel, StagedRowsMatchTheStringPathAndSurviveRewrites) {
    const QByteArray lines[] = {
        "caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC (1/2)",
        "bad \xFF byte",
        "cut sequence at the end \xE6\x97",
        "tab\there and back\\slash",
        "",
        "\xF0\x9F\x98\x80 outside the basic plane",
        "Zebra",
        "apple",
    };
    for (const bool sorted : {false, true}) {
        ListModel staged, strings;
        QAbstractItemModelTester tester(&staged,
                                        QAbstractItemModelTester::FailureReportingMode::Fatal);
        staged.setSorted(sorted);
        strings.setSorted(sorted);
        qint64 number = 3000000000;
        QVector<ListRow> rows;
        for (const QByteArray& line : lines) {
            const bool numbered = number % 2 == 0;
            staged.stageRow(line, number, numbered ? u" Subject" : u"Subject", numbered);
            rows.append(row(QString::fromUtf8(line),
                            numbered ? QString::number(number) + " Subject" : "Subject", number));
            ++number;
        }
        EXPECT_EQ(staged.count(), 0) << "staged rows wait for the commit";
        staged.commitRows();
        strings.appendRows(rows);
        ASSERT_EQ(staged.count(), strings.count());
        for (int i = 0; i < strings.count(); ++i) {
            EXPECT_EQ(staged.tag(i), strings.tag(i)) << "row " << i;
            EXPECT_EQ(staged.textView(i), strings.text(i)) << "row " << i;
        }
        EXPECT_EQ(savedBytes(staged), savedBytes(strings));

        // Rewrite every row many times, dropping one now and then.
        for (int round = 0; round < 200; ++round) {
            for (int i = 0; i < staged.count(); ++i)
                staged.setText(i, staged.text(i) + QString::number(round % 10));
            if (round % 50 == 0) staged.removeItem(1);
        }
        ASSERT_EQ(staged.count(), strings.count() - 4);
        EXPECT_EQ(staged.text(staged.count() - 1).size(),
                  strings.text(strings.count() - 1).size() + 200);
        // Texts too long for a row's length field keep their length elsewhere.
        for (const qsizetype n : {(1 << 24) - 2, (1 << 24) - 1, (1 << 24) + 5}) {
            staged.setText(0, QString(n, u'y') + u'z');
            EXPECT_EQ(staged.text(0).size(), n + 1);
            EXPECT_TRUE(staged.textView(0).endsWith(u"yz"));
        }
        staged.removeItem(0); // leaves the store mostly waste: it is rebuilt
        EXPECT_EQ(staged.text(staged.count() - 1).size(),
                  strings.text(strings.count() - 1).size() + 200);
        staged.stageRow("left behind", 1, u"", false);
        staged.clear();
        staged.commitRows();
        EXPECT_EQ(staged.count(), 0) << "clearing drops staged rows too";
    }
}

// Rows staged around a received name (a group list) are kept one byte a
// character while every text is Latin-1. Whatever is done to such a list,
// it answers as a list filled with the same strings: texts, display, find,
// the saved file, rewrites and removals (the store rebuilt), sorting, a
// view of a row, and a name that is not Latin-1 coming in the middle.
TEST(ListModel, RowsStagedAroundANameAnswerAsTheStringPath) {
    const QLatin1StringView mark1("\xFF"
                                  "1");
    struct Name {
        QByteArray utf8;
        QLatin1StringView head, tail;
    };
    const Name names[] = {
        {"alt.Caf\xC3\xA9", mark1, QLatin1StringView(" (3)")}, // Latin-1 once decoded
        // Past sixteen bytes, read sixteen at a time: its last piece, or its second.
        {"alt.binaries.sixteen.plus", mark1, QLatin1StringView(" (4)")},
        {"alt.binaries.long.caf\xC3\xA9", mark1, QLatin1StringView(" (5)")},
        {"alt.binaries.caf\xC3\xA9.and.more.after.it", {}, QLatin1StringView(" (6)")},
        {"alt.text", {}, QLatin1StringView(" (0)")},
        {"back\\slash\ttab", mark1, QLatin1StringView(" (1)")},
        {"", {}, {}},
    };
    auto textOf = [](const Name& n) {
        return QString(n.head) + QString::fromUtf8(n.utf8) + QString(n.tail);
    };
    // Without and with a name outside Latin-1 after the first rows: a wide
    // character, or a bad byte that becomes U+FFFD.
    for (const QByteArray& wide :
         {QByteArray(), QByteArray("bad\xFF.byte"), QByteArray("alt.binaries.long.\xE6\x97\xA5")}) {
        SCOPED_TRACE(wide.isEmpty() ? "Latin-1 only" : wide.constData());
        ListModel staged, strings;
        QAbstractItemModelTester tester(&staged,
                                        QAbstractItemModelTester::FailureReportingMode::Fatal);
        for (int round = 0; round < 300; ++round)
            for (const Name& n : names) {
                staged.stageRow(n.head, n.utf8, n.tail);
                strings.addItem(textOf(n));
                if (round == 1 && n.utf8.isEmpty() && !wide.isEmpty()) {
                    staged.stageRow({}, wide, QLatin1StringView(" (0)"));
                    strings.addItem(QString::fromUtf8(wide) + " (0)");
                }
            }
        staged.commitRows();
        ASSERT_EQ(texts(staged), texts(strings));
        EXPECT_EQ(savedBytes(staged), savedBytes(strings));
        for (int i : {0, 1, 4}) {
            for (int role : {int(Qt::DisplayRole), int(ListModel::MarkRole)})
                EXPECT_EQ(staged.data(staged.index(i), role), strings.data(strings.index(i), role))
                    << "row " << i << " role " << role;
        }
        for (const QString& what : {QString::fromUtf8("CAFÉ"), QString("ALT.TEXT (0)"),
                                    QString(mark1) + "alt.b", QString("nowhere")})
            for (FindMode mode : {FindMode::Exact, FindMode::Prefix, FindMode::Contains})
                EXPECT_EQ(staged.find(what, mode, 9), strings.find(what, mode, 9))
                    << qPrintable(what) << " mode " << int(mode);

        // Rewrites, Latin-1 and not, and removals until the store is rebuilt.
        for (int i = 0; i < staged.count(); i += 7) {
            const QString t = staged.text(i) + (i % 2 ? QString::fromUtf8("é") : QString("x"));
            staged.setText(i, t);
            strings.setText(i, t);
        }
        for (int i = 0; i < 1000; ++i) {
            staged.removeItem(i % 3);
            strings.removeItem(i % 3);
        }
        staged.addItem(QString::fromUtf8("added à la fin"));
        strings.addItem(QString::fromUtf8("added à la fin"));
        ASSERT_EQ(texts(staged), texts(strings));
        EXPECT_EQ(savedBytes(staged), savedBytes(strings));
        EXPECT_EQ(staged.textView(3), strings.text(3));
        EXPECT_EQ(staged.textView(staged.count() - 1), strings.text(strings.count() - 1));
        staged.setText(0, QString::fromUtf8("wide 日本"));
        strings.setText(0, QString::fromUtf8("wide 日本"));
        staged.setSorted(true);
        strings.setSorted(true);
        EXPECT_EQ(texts(staged), texts(strings));
        staged.clear();
        staged.stageRow({}, "after a clear", {});
        staged.commitRows();
        EXPECT_EQ(texts(staged), QStringList{"after a clear"});
    }
}
