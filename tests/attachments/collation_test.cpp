// Collation of multi-part posts: parsing the part counter out of a title,
// finding every part in lstMessages, and the index behind the row search,
// which must give the answers of the list's own find.
#include "attachments/collation.h"
#include "fixtures/test_app.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <random>

namespace {

class Collation : public ::testing::Test {
protected:
    // A row as the header list makes it: the subject, the article number
    // stored with it, or in front of it with ShowMNumbers.
    void addRow(qint32 number, const QString& subject) {
        if (app.ShowMNumbers)
            app.lstMessages.addItem(-1, QString::number(number) + u' ' + subject, "Subject",
                                    number);
        else
            app.lstMessages.addItem(-1, subject, QString::number(number) + " Subject", number);
    }
    // Parts 1..total of a post whose subject has "%1" for the counter text;
    // article numbers 1000 + part, added in the given order.
    void addPost(const QString& subject, const QList<int>& order,
                 const std::function<QString(int)>& counter) {
        for (int part : order)
            addRow(1000 + part, subject.arg(counter(part)));
    }
    bool collate(const QString& title, PartSearch search = PartSearch::Indexed) {
        QString t = title;
        qint32 row = 0;
        app.PartIndex = 0;
        return msgMultipart(app, t, row, search);
    }
    QList<int> taggedRows() const {
        QList<int> rows;
        for (int i = 0; i < app.lstMessages.count(); ++i)
            if (app.lstMessages.tag(i) == "256") rows << i;
        return rows;
    }
    QList<qint32> partNumbers(int count) const {
        return QList<qint32>(app.PartNumbers.begin() + 1, app.PartNumbers.begin() + 1 + count);
    }

    TestApp t;
    App& app = t.app;
};

QList<int> range(int from, int to) {
    QList<int> r;
    for (int i = from; i <= to; ++i)
        r << i;
    return r;
}

QString padded(int part) {
    return QStringLiteral("%1/10").arg(part, 2, 10, QLatin1Char('0'));
}

TEST_F(Collation, FindsEveryPartInAnyRowOrderWithOrWithoutNumbersInTheRows) {
    for (bool numbers : {false, true}) {
        SCOPED_TRACE(numbers);
        app.lstMessages.clear();
        app.ShowMNumbers = numbers;
        addRow(1, "Pics (01/10) b.jpg"); // another post: the text behind the counter differs
        addPost("Pics (%1) a.jpg", {4, 9, 1, 10, 3, 7, 2, 8, 6, 5}, padded);
        addRow(2, "Re: Pics (01/10) a.jpg?"); // holds part 1's text too, but comes later

        EXPECT_TRUE(collate("1003 Pics (03/10) a.jpg"));
        EXPECT_EQ(app.PartIndex, 10);
        EXPECT_EQ(partNumbers(10),
                  QList<qint32>({1001, 1002, 1003, 1004, 1005, 1006, 1007, 1008, 1009, 1010}));
        EXPECT_EQ(taggedRows(), range(1, 10));
        EXPECT_EQ(app.statbar[1], "Searching for all parts of message");
        EXPECT_TRUE(app.lstMessages.redraw());
    }
}

TEST_F(Collation, AMissingPartMakesThePostIncomplete) {
    addPost("Pics (%1) a.jpg", {1, 2, 3, 4, 5, 6, 8, 9, 10}, padded);
    EXPECT_FALSE(collate("1001 Pics (01/10) a.jpg"));
    EXPECT_EQ(app.PartIndex, -1);
    EXPECT_EQ(app.statbar[2], "Incomplete");
    EXPECT_EQ(taggedRows(), range(0, 5)) << "parts 1 to 6 keep their tags";

    // Inside a sweep the status line is left alone.
    app.setStatus(2, QString());
    app.SweepScope = 1;
    EXPECT_FALSE(collate("1001 Pics (01/10) a.jpg"));
    EXPECT_EQ(app.PartIndex, -1);
    EXPECT_EQ(app.statbar[2], "");
}

TEST_F(Collation, PartNumbersAreSearchedAtTheWidthOfTheTotal) {
    // Unpadded rows of a post of ten: "(1/10)" is searched as "(01/10)".
    addPost("Unpadded (%1) u.jpg", range(1, 10),
            [](int p) { return QStringLiteral("%1/10").arg(p); });
    EXPECT_FALSE(collate("1001 Unpadded (1/10) u.jpg"));
    EXPECT_EQ(app.PartIndex, -1);
    EXPECT_TRUE(taggedRows().isEmpty()) << "the search stops at part 1";

    // Padded rows are found from an unpadded title, and from a padded one.
    app.lstMessages.clear();
    addPost("Padded (%1) p.jpg", range(1, 10), padded);
    EXPECT_TRUE(collate("1001 Padded (1/10) p.jpg"));
    EXPECT_TRUE(collate("1001 Padded (01/10) p.jpg"));

    // A total written with a leading zero brings an extra zero before every part.
    app.lstMessages.clear();
    addPost("Zeros (%1) z.jpg", range(1, 10),
            [](int p) { return QStringLiteral("%1/010").arg(p, 3, 10, QLatin1Char('0')); });
    EXPECT_TRUE(collate("1001 Zeros (001/010) z.jpg"));
    EXPECT_EQ(app.PartIndex, 10);
    EXPECT_EQ(app.PartNumbers[10], 1010);
}

TEST_F(Collation, BracketKindsMayDifferAndTheClosingOneMustAgree) {
    addPost("Square [%1] s.bin", range(1, 5), [](int p) { return QStringLiteral("%1/5").arg(p); });
    addPost("Curly {%1} c.bin", range(1, 5), [](int p) { return QStringLiteral("%1/5").arg(p); });
    addPost("Mixed (%1] m.bin", range(1, 2), [](int p) { return QStringLiteral("%1/2").arg(p); });
    EXPECT_TRUE(collate("1003 Square [3/5] s.bin"));
    EXPECT_EQ(app.PartIndex, 5);
    EXPECT_TRUE(collate("1003 Curly {3/5} c.bin"));
    EXPECT_TRUE(collate("1002 Mixed (2/2] m.bin"));
    EXPECT_EQ(app.PartNumbers[1], 1001);
    // The title's closing character stands in the search text.
    EXPECT_FALSE(collate("1003 Square [3/5) s.bin"));
    EXPECT_EQ(app.PartIndex, -1);
}

TEST_F(Collation, TitlesWithoutAUsableCounterAreSingleArticles) {
    addPost("Pics (%1) (repost)", range(1, 2), [](int p) { return QStringLiteral("%1/2").arg(p); });
    const QStringList singles = {
        "1001 Pics (1/2) (repost)", // the right-most group has no slash
        "1001 Pics (12) x/y",       // the only slash behind the closing bracket
        "1001 Pics 1/2",            // no brackets
        "1001 Pics (1/1) a.jpg",    // a post of one
        "1001 Pics (0/5) a.jpg",    // part 0
        "1001 Pics (7/5) a.jpg",    // a part beyond the total
    };
    for (const QString& title : singles) {
        SCOPED_TRACE(title.toStdString());
        app.setStatus(2, QString());
        EXPECT_FALSE(collate(title));
        EXPECT_EQ(app.PartIndex, 0);
        EXPECT_EQ(app.statbar[2], "");
    }
    EXPECT_TRUE(taggedRows().isEmpty());
}

TEST_F(Collation, ASubjectThatBeginsWithTheBracketIsIncomplete) {
    addPost("(%1) a.jpg", range(1, 5), [](int p) { return QStringLiteral("%1/5").arg(p); });
    EXPECT_FALSE(collate("1001 (1/5) a.jpg"));
    EXPECT_EQ(app.PartIndex, -1);
    EXPECT_EQ(app.statbar[2], "Incomplete");
    EXPECT_TRUE(taggedRows().isEmpty());
}

TEST_F(Collation, AStopRequestedBeforehandSearchesNothing) {
    addPost("Pics (%1) a.jpg", range(1, 10), padded);
    app.StopRequested = true;
    EXPECT_FALSE(collate("1001 Pics (01/10) a.jpg"));
    EXPECT_EQ(app.PartIndex, 0);
    EXPECT_TRUE(taggedRows().isEmpty());
    EXPECT_EQ(app.statbar[1], "");
}

TEST_F(Collation, AQuestionMarkOfTheSubjectIsPlainText) {
    addPost("Who? Me? (%1) q.jpg", {3, 1, 2}, [](int p) { return QStringLiteral("%1/3").arg(p); });
    addPost("Who? Me! (%1) q.jpg", range(1, 3),
            [](int p) { return QStringLiteral("%1/3").arg(p); });
    EXPECT_TRUE(collate("1002 Who? Me? (2/3) q.jpg"));
    EXPECT_EQ(taggedRows(), range(0, 2));
    EXPECT_EQ(partNumbers(3), QList<qint32>({1001, 1002, 1003}));
}

TEST_F(Collation, PostsOfMoreThan200PartsCannotBeHad) {
    auto counter = [](int total) {
        return [total](int p) {
            return QStringLiteral("%1/%2").arg(p, 3, 10, QLatin1Char('0')).arg(total);
        };
    };
    addPost("Big (%1) b.rar", range(1, 200), counter(200));
    EXPECT_TRUE(collate("1001 Big (001/200) b.rar"));
    EXPECT_EQ(app.PartIndex, 200);
    EXPECT_EQ(app.PartNumbers[200], 1200);

    app.lstMessages.clear();
    addPost("Huge (%1) h.rar", range(1, 201), counter(201));
    app.PartNumbers.fill(7);
    EXPECT_FALSE(collate("1001 Huge (001/201) h.rar"));
    EXPECT_EQ(app.PartIndex, -1);
    EXPECT_EQ(app.statbar[2], "Incomplete");
    EXPECT_TRUE(taggedRows().isEmpty()) << "nothing is searched";
    EXPECT_EQ(app.PartNumbers[200], 7);
}

TEST(NumericPrefix, ReadsTheNumberAtTheStart) {
    EXPECT_EQ(numericPrefix(u"12/10)"), 12);
    EXPECT_EQ(numericPrefix(u" 1 2 x"), 12);
    EXPECT_EQ(numericPrefix(u"-3)"), -3);
    EXPECT_EQ(numericPrefix(u"2.5"), 2);
    EXPECT_EQ(numericPrefix(u"3.5"), 4);
    EXPECT_EQ(numericPrefix(u"1e2)"), 100);
    EXPECT_EQ(numericPrefix(u"7e)"), 7);
    EXPECT_EQ(numericPrefix(u"x12"), 0);
    EXPECT_EQ(numericPrefix(u""), 0);
    EXPECT_EQ(numericPrefix(u"2147483647"), 2147483647);
    EXPECT_EQ(numericPrefix(u"2147483648"), std::nullopt);
}

// Posts made to trip an index: heads whose cases fold alike, characters
// whose folding leaves ASCII, texts longer than the key bytes the index keeps
// beside its entries, a second counter in the subject, texts around a part's
// subject, lookalike posts that differ in one place, duplicates. Returns the
// subject of each part.
std::function<QString(int)> randomPost(std::mt19937& gen, int total) {
    static const QStringList heads = {"Pics",
                                      "PICS",
                                      "pics",
                                      "Straße",
                                      "STRASSE",
                                      "Kelvin",
                                      "\u212Aelvin",
                                      "ΣΊΣΥΦΟΣ",
                                      "σίσυφος",
                                      "İstanbul",
                                      "a",
                                      "",
                                      "A long and common text of one poster, then"};
    static const QStringList tails = {" a.jpg",
                                      " A.JPG",
                                      "",
                                      " \"x.bin\" yEnc",
                                      " (repost)",
                                      " [1/2]",
                                      " ?",
                                      " é",
                                      " - the same long words after it - x"};
    static const QStringList opens = {"(", "[", "{"}, closes = {")", "]", "}"};
    auto pick = [&](const QStringList& l) { return l[int(gen() % l.size())]; };
    const QString head = pick(heads) + QStringLiteral(" %1 ").arg(gen() % 3);
    const QString tail = pick(tails);
    const QString open = pick(opens), close = pick(closes);
    const int width = gen() % 2 ? int(QString::number(total).size()) : 1;
    const unsigned seed = gen();
    // Each call for a part gives the next decoration of it.
    return [=, calls = std::make_shared<int>(0)](int part) {
        std::mt19937 own(seed + unsigned(part) * 7919u + unsigned((*calls)++));
        QString subject =
            head + open +
            QStringLiteral("%1/%2").arg(part, width, 10, QLatin1Char('0')).arg(total) + close +
            tail;
        switch (own() % 8) {
        case 0:
            subject.prepend("Re: ");
            break;
        case 1:
            subject.prepend(QStringLiteral("(%1/%2) ").arg(part).arg(total));
            break;
        case 2:
            subject = subject.toUpper();
            break;
        case 3:
            subject.append(" again");
            break;
        default:
            break;
        }
        return subject;
    };
}

TEST(CollationIndex, AgreesWithThePlainSearchOnEveryRow) {
    std::mt19937 gen(20240607);
    for (int round = 0; round < 6; ++round) {
        SCOPED_TRACE(round);
        TestApp indexed, plain;
        QVector<ListRow> rows;
        for (int post = 0; post < 60; ++post) {
            const int total = 1 + int(gen() % 12);
            const auto subject = randomPost(gen, total);
            for (int part = 1; part <= total; ++part) {
                if (gen() % 30 == 0) continue; // a missing part now and then
                const qint32 number = qint32(rows.size() + 1);
                rows.append(ListRow{subject(part), QString::number(number) + " Subject", number, -1,
                                    false});
                if (gen() % 4 == 0) // the same part again, decorated otherwise
                    rows.append(ListRow{subject(part), QString(), number + 100000, -1, false});
            }
        }
        std::shuffle(rows.begin(), rows.end(), gen);
        for (App* a : {&indexed.app, &plain.app})
            a->lstMessages.appendRows(rows);

        auto collate = [](App& a, int r, PartSearch search) {
            QString title = QString::number(a.lstMessages.number(r)) + u' ' + a.lstMessages.text(r);
            a.PartIndex = 0;
            a.PartNumbers.fill(0);
            qint32 row = r;
            return msgMultipart(a, title, row, search);
        };
        int complete = 0, incomplete = 0;
        auto collateAll = [&] {
            for (int r = 0; r < rows.size(); ++r) {
                const bool found = collate(indexed.app, r, PartSearch::Indexed);
                ASSERT_EQ(found, collate(plain.app, r, PartSearch::Plain)) << r;
                complete += found;
                incomplete += indexed.app.PartIndex == -1;
                ASSERT_EQ(indexed.app.PartIndex, plain.app.PartIndex) << r;
                ASSERT_EQ(indexed.app.PartNumbers, plain.app.PartNumbers) << r;
            }
            for (int r = 0; r < rows.size(); ++r)
                ASSERT_EQ(indexed.app.lstMessages.tag(r), plain.app.lstMessages.tag(r)) << r;
        };
        collateAll();
        // The index follows changes of the list.
        for (App* a : {&indexed.app, &plain.app}) {
            a->lstMessages.setText(3, a->lstMessages.text(4));
            a->lstMessages.removeItem(0);
            a->lstMessages.addItem(-1, rows[7].text, QString(), 99999);
        }
        rows.remove(0);
        rows.append(rows[6]);
        collateAll();
        // Both outcomes occur, or the comparison would prove little.
        EXPECT_GT(complete, 20);
        EXPECT_GT(incomplete, 20);
    }
}

} // namespace
