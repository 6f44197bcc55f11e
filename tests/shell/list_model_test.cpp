// The list control: model consistency under Qt's model tester, find with
// wrap-around, the file form and LoadListFile.
#include "fixtures/test_app.h"
#include "shell/list_model.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QFile>
#include <QStringDecoder>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <climits>

namespace {

QString mark(int digit) {
    return QString(QChar(0xFF)) + QString::number(digit);
}

ListRow row(const QString& text, const QString& tag = QString(), qint32 number = 0) {
    ListRow r;
    r.text = text;
    r.tag = tag;
    r.number = number;
    return r;
}

QStringList texts(const ListModel& l) {
    QStringList out;
    for (int i = 0; i < l.count(); ++i)
        out << l.text(i);
    return out;
}

// Runs QAbstractItemModelTester in warning mode and turns every complaint
// of it into a test failure at the end of the scope.
class ModelChecker {
public:
    explicit ModelChecker(ListModel& model)
        : previous_(qInstallMessageHandler(&ModelChecker::handler)),
          tester_(&model, QAbstractItemModelTester::FailureReportingMode::Warning) {}
    ~ModelChecker() {
        qInstallMessageHandler(previous_);
        EXPECT_TRUE(complaints().isEmpty()) << complaints().join('\n').toStdString();
        complaints().clear();
    }

private:
    static QStringList& complaints() {
        static QStringList list;
        return list;
    }
    static void handler(QtMsgType type, const QMessageLogContext& ctx, const QString& msg) {
        if (type != QtDebugMsg && qstrcmp(ctx.category, "qt.modeltest") == 0) complaints() << msg;
    }

    QtMessageHandler previous_;
    QAbstractItemModelTester tester_;
};

TEST(ListModel, StaysConsistentWhileRowsAreAddedRemovedClearedAndLoaded) {
    QTemporaryDir dir;
    ListModel list;
    ModelChecker checker(list);

    list.addItem("b");
    list.addItem(0, "a", "tag-a", 1);
    list.addItem(-1, "d", QString(), 0);
    list.addItem(2, "c", QString(), 0);
    list.addItem(list.count(), "e", QString(), 0);
    list.addItem(99, "f", QString(), 0); // beyond the end: appended
    EXPECT_EQ(texts(list), (QStringList{"a", "b", "c", "d", "e", "f"}));
    EXPECT_EQ(list.tag(0), "tag-a");
    EXPECT_EQ(list.number(0), 1);

    list.removeItem(0);
    list.removeItem(2); // "d"
    list.removeItem(list.count() - 1);
    list.removeItem(7); // no such row
    list.removeItem(-1);
    EXPECT_EQ(texts(list), (QStringList{"b", "c", "e"}));

    list.setText(1, "C");
    list.setTag(1, "t");
    list.setNumber(1, 3);
    list.setPicture(1, 12);
    EXPECT_EQ(list.text(1), "C");
    EXPECT_EQ(list.picture(1), 12);

    list.appendRows({row("x"), row("y")});
    EXPECT_EQ(texts(list), (QStringList{"b", "C", "e", "x", "y"}));

    const QString file = dir.filePath("rows.txt");
    ASSERT_TRUE(list.save(file));
    list.clear();
    EXPECT_EQ(list.count(), 0);
    list.clear(); // clearing an empty list is harmless
    ASSERT_TRUE(list.load(file));
    EXPECT_EQ(texts(list), (QStringList{"b", "C", "e", "x", "y"}));

    list.setSorted(true);
    EXPECT_EQ(texts(list), (QStringList{"b", "C", "e", "x", "y"}));
    list.addItem("a");
    list.addItem("d");
    EXPECT_EQ(texts(list), (QStringList{"a", "b", "C", "d", "e", "x", "y"}));
    ASSERT_TRUE(list.load(file));
    list.clear();
}

TEST(ListModel, CurrentIndexFollowsItsRowAndIsNoneWhenTheRowGoes) {
    ListModel list;
    for (const char* t : {"a", "b", "c"})
        list.addItem(t);
    list.setListIndex(1);
    list.addItem(0, "first", QString(), 0);
    EXPECT_EQ(list.listIndex(), 2);
    EXPECT_EQ(list.text(list.listIndex()), "b");
    list.removeItem(0);
    EXPECT_EQ(list.text(list.listIndex()), "b");
    list.removeItem(1);
    EXPECT_EQ(list.listIndex(), -1);
    list.setListIndex(5);
    EXPECT_EQ(list.listIndex(), -1);
}

TEST(ListModel, FindContainsSearchesFromStartThenWrapsAround) {
    ListModel list;
    for (const char* t : {"alpha", "beta", "gamma", "delta", "beta two"})
        list.addItem(t);

    struct Case {
        const char* what;
        int start;
        int expected;
    };
    const Case cases[] = {
        {"beta", 0, 1},     // first match from the top
        {"beta", 2, 4},     // from the middle: the match behind start wins
        {"alp", 3, 0},      // only before start: found after the wrap
        {"elt", 3, 3},      // at start itself
        {"ta", 4, 4},       // "beta two" contains it, and start is the last row
        {"mm", 4, 2},       // last row as start, match in the middle
        {"zzz", 2, -1},     // nowhere
        {"beta", 5, 1},     // start past the end: the whole list is searched
        {"beta", -1, 1},    // no start row
        {"gamma", 1000, 2}, // far out of range
    };
    for (const Case& c : cases)
        EXPECT_EQ(list.find(c.what, FindMode::Contains, c.start), c.expected)
            << c.what << " from " << c.start;

    ListModel empty;
    EXPECT_EQ(empty.find("a", FindMode::Contains, 0), -1);
}

TEST(ListModel, SaveAndLoadGiveBackEveryRowExactly) {
    QTemporaryDir dir;
    const QVector<ListRow> rows = {
        row(mark(1) + "alt.binaries.pictures (5)", "", 0),
        row(mark(2) + "news.example.net", "256", 0),
        row("tab\there", "tag\twith tab", 7),
        row("back\\slash", "", 0),
        row("literal \\t and \\n are not escapes", "\\r", 0),
        row("ends in a backslash\\", "\\", 0),
        row("line1\nline2", "cr\rlf\r\n", 0),
        row("\r", "\n", 0),
        row(QString::fromUtf8("café 日本語"), QString::fromUtf8("日本"), 3),
        row("", "", 0),
        row("", "tag only", 0),
        row("number without tag", "", 42),
        row("negative", "t", -5),
        row("smallest", "", INT_MIN),
        row("largest", "", INT_MAX),
        row("  blanks around  ", " ", 0),
        row("", "", 0), // an empty last row
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

    // A person can read the file: UTF-8, one line per row, nothing else.
    QFile f(file);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const QByteArray bytes = f.readAll();
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString textForm = utf8(bytes);
    EXPECT_FALSE(utf8.hasError());
    EXPECT_FALSE(bytes.contains('\r'));
    EXPECT_TRUE(bytes.endsWith('\n'));
    EXPECT_EQ(bytes.count('\n'), rows.size());
    EXPECT_TRUE(bytes.contains(QString::fromUtf8("café 日本語").toUtf8()));
    const QStringList lines = textForm.split('\n');
    EXPECT_EQ(lines[0], mark(1) + "alt.binaries.pictures (5)");
    EXPECT_EQ(lines[3], "back\\\\slash");
}

TEST(ListModel, LoadsAFileEditedByHandWithCrLfLineEnds) {
    QTemporaryDir dir;
    const QString file = dir.filePath("edited.txt");
    for (const QByteArray& bom : {QByteArray(), QByteArray("\xEF\xBB\xBF")}) {
        QFile f(file);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(bom + "alpha\r\nbeta\tT\t12\r\n\r\n\xC3\xA9t\xC3\xA9\r\nno final line end");
        f.close();

        ListModel list;
        ASSERT_TRUE(list.load(file));
        EXPECT_EQ(texts(list),
                  (QStringList{"alpha", "beta", "", QString::fromUtf8("été"), "no final line end"}))
            << (bom.isEmpty() ? "without" : "with") << " byte order mark";
        EXPECT_EQ(list.tag(1), "T");
        EXPECT_EQ(list.number(1), 12);
    }
}

TEST(ListModel, LoadOfAMissingFileFailsAndKeepsTheRows) {
    QTemporaryDir dir;
    ListModel list;
    list.addItem(-1, "kept", "tag", 5);
    EXPECT_FALSE(list.load(dir.filePath("missing.txt")));
    ASSERT_EQ(list.count(), 1);
    EXPECT_EQ(list.text(0), "kept");
    EXPECT_EQ(list.tag(0), "tag");
    EXPECT_EQ(list.number(0), 5);
}

TEST(ListModel, SortedModeKeepsAscendingTextOrder) {
    ListModel list;
    list.addItem("pear");
    list.addItem("apple");
    list.setSorted(true);
    EXPECT_EQ(texts(list), (QStringList{"apple", "pear"}));
    list.addItem("mango");
    list.addItem(0, "zucchini", "z", 0); // the position is not what decides
    list.addItem("banana");
    list.addItem(-1, "cherry", QString(), 0);
    EXPECT_EQ(texts(list), (QStringList{"apple", "banana", "cherry", "mango", "pear", "zucchini"}));
    EXPECT_EQ(list.tag(5), "z");
}

TEST(LoadListFile, GivesEveryRowThePictureAndTurnsRedrawBackOn) {
    TestApp t;
    ListModel source;
    for (const char* s : {"one", "two", "three"})
        source.addItem(s);
    const QString file = t.path("fav.txt");
    ASSERT_TRUE(source.save(file));

    ListModel list;
    std::vector<bool> redrawWhileLoading;
    QObject::connect(&list, &QAbstractItemModel::modelReset,
                     [&] { redrawWhileLoading.push_back(list.redraw()); });
    ASSERT_TRUE(LoadListFile(t.app, list, file, 12));
    ASSERT_EQ(list.count(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(list.picture(i), 12);
    EXPECT_EQ(redrawWhileLoading, std::vector<bool>{false});
    EXPECT_TRUE(list.redraw());

    ASSERT_TRUE(LoadListFile(t.app, list, file, -1));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(list.picture(i), -1) << "no picture asked for";

    EXPECT_FALSE(LoadListFile(t.app, list, t.path("missing.txt"), 12));
    EXPECT_EQ(list.count(), 3);
    EXPECT_TRUE(list.redraw());
}

TEST(LoadListFile, WhileBusyGivesNoPicturesAndLeavesRedrawOff) {
    TestApp t;
    ListModel source;
    source.addItem("server one");
    source.addItem("server two");
    ASSERT_TRUE(source.save(t.path("servers.txt")));

    t.app.Busy = true;
    ListModel list;
    ASSERT_TRUE(LoadListFile(t.app, list, t.path("servers.txt"), 12));
    ASSERT_EQ(list.count(), 2);
    EXPECT_EQ(list.picture(0), -1);
    EXPECT_EQ(list.picture(1), -1);
    EXPECT_FALSE(list.redraw());
}

} // namespace
