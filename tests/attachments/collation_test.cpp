// Collation of multi-part posts, and the index behind its row search, which
// must give the answers of the list's own find.
#include "attachments/collation.h"
#include "fixtures/test_app.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <random>

namespace {

QList<int> range(int from, int to) {
    QList<int> r;
    for (int i = from; i <= to; ++i)
        r << i;
    return r;
}

// The counter of a part: counter("10", 2)(7) is "07/10".
std::function<QString(int)> counter(const QString& total, int width = 1) {
    return [=](int part) {
        return QStringLiteral("%1/%2").arg(part, width, 10, QLatin1Char('0')).arg(total);
    };
}

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
    // Parts of a post whose subject has "%1" for the counter, added in the
    // given order; part p has article number base + p.
    void addPost(const QString& subject, const QList<int>& order,
                 const std::function<QString(int)>& counter, qint32 base = 1000) {
        for (int part : order)
            addRow(base + part, subject.arg(counter(part)));
    }
    bool collate(const QString& title) {
        QString t = title;
        qint32 row = 0;
        app.PartIndex = 0;
        return msgMultipart(app, t, row);
    }
    int tagged(const QString& post) const {
        int rows = 0;
        for (int i = 0; i < app.lstMessages.count(); ++i)
            rows += app.lstMessages.tag(i) == "256" && app.lstMessages.text(i).contains(post);
        return rows;
    }
    QList<qint32> partNumbers(int count) const {
        return QList<qint32>(app.PartNumbers.begin() + 1, app.PartNumbers.begin() + 1 + count);
    }

    TestApp t;
    App& app = t.app;
};

// One list of many posts, each with article numbers of its own so that a
// part taken from another post shows; parts is PartIndex afterwards, 0 for a
// single article, -1 for a post that can't be had.
TEST_F(Collation, EachKindOfCounterAndTitle) {
    const struct {
        const char* title;
        int parts;
        qint32 base;
    } cases[] = {
        {"Pics (03/10) a.jpg", 10, 1000},
        // Parts are searched at the width of the total, "(01/10)".
        {"Unpadded (1/10) u.jpg", -1, 0},
        {"Padded (1/10) p.jpg", 10, 3000},
        {"Padded (01/10) p.jpg", 10, 3000},
        {"Gap (01/10) g.jpg", -1, 0},
        // A total written with a leading zero brings an extra zero before every part.
        {"Zeros (001/010) z.jpg", 10, 4000},
        {"Square [3/5] s.bin", 5, 5000},
        {"Curly {3/5} c.bin", 5, 6000},
        {"Mixed (2/2] m.bin", 2, 7000},
        // The title's closing bracket stands in the search text.
        {"Square [3/5) s.bin", -1, 0},
        // "?" is no wildcard that would take the post before.
        {"Who? Me? (2/3) q.jpg", 3, 9000},
        // Without words before the bracket posts can't be told apart.
        {"(1/5) b.jpg", -1, 0},
        // PartNumbers ends at part 200.
        {"Big (001/200) b.rar", 200, 11000},
        {"Huge (001/201) h.rar", -1, 0},
        {"Pics (1/2) (repost)", 0, 0}, // the right-most group has no slash
        {"Pics (12) x/y", 0, 0},       // the only slash behind the closing bracket
        {"Pics 1/2", 0, 0},
        {"Pics (1/1) a.jpg", 0, 0},
        {"Pics (0/5) a.jpg", 0, 0},
        {"Pics (7/5) a.jpg", 0, 0},
    };
    for (bool numbers : {false, true}) {
        SCOPED_TRACE(numbers);
        app.ShowMNumbers = numbers;
        app.lstMessages.clear();
        addRow(1, "Pics (01/10) b.jpg"); // the text behind the counter differs
        addPost("Pics (%1) a.jpg", {4, 9, 1, 10, 3, 7, 2, 8, 6, 5}, counter("10", 2), 1000);
        addRow(2, "Re: Pics (01/10) a.jpg?"); // holds part 1's text too, but comes later
        addPost("Pics (%1) (repost)", range(1, 2), counter("2"), 13000);
        addPost("Unpadded (%1) u.jpg", range(1, 10), counter("10"), 2000);
        addPost("Padded (%1) p.jpg", range(1, 10), counter("10", 2), 3000);
        addPost("Gap (%1) g.jpg", {1, 2, 3, 4, 5, 6, 8, 9, 10}, counter("10", 2), 14000);
        addPost("Zeros (%1) z.jpg", range(1, 10), counter("010", 3), 4000);
        addPost("Square [%1] s.bin", range(1, 5), counter("5"), 5000);
        addPost("Curly {%1} c.bin", range(1, 5), counter("5"), 6000);
        addPost("Mixed (%1] m.bin", range(1, 2), counter("2"), 7000);
        addPost("Who? Me! (%1) q.jpg", range(1, 3), counter("3"), 8000);
        addPost("Who? Me? (%1) q.jpg", {3, 1, 2}, counter("3"), 9000);
        addPost("(%1) b.jpg", range(1, 5), counter("5"), 10000);
        addPost("Big (%1) b.rar", range(1, 200), counter("200", 3), 11000);
        addPost("Huge (%1) h.rar", range(1, 201), counter("201", 3), 12000);
        for (const auto& c : cases) {
            SCOPED_TRACE(c.title);
            app.setStatus(2, QString());
            EXPECT_EQ(collate(QStringLiteral("1 ") + c.title), c.parts > 0);
            EXPECT_EQ(app.PartIndex, c.parts);
            EXPECT_EQ(app.statbar[2], c.parts < 0 ? "Incomplete" : "");
            if (c.parts > 0) {
                EXPECT_EQ(partNumbers(c.parts), range(c.base + 1, c.base + c.parts));
            }
        }
        EXPECT_EQ(tagged("Gap ("), 6) << "the parts before the gap keep their tags";
    }
    // Inside a sweep the status line is left alone.
    app.setStatus(2, QString());
    app.SweepScope = 1;
    EXPECT_FALSE(collate("1 Gap (01/10) g.jpg"));
    EXPECT_EQ(app.PartIndex, -1);
    EXPECT_EQ(app.statbar[2], "");
    // A stop requested before the call searches nothing.
    app.StopRequested = true;
    EXPECT_FALSE(collate("1 Padded (01/10) p.jpg"));
    EXPECT_EQ(app.PartIndex, 0);
}

// Posts made to trip an index: heads whose cases fold alike or whose folding
// leaves ASCII, texts longer than the key units kept beside the entries, a
// second counter, lookalike posts, duplicates. Returns the subject of a part.
std::function<QString(int)> randomPost(std::mt19937& gen, int total) {
    static const QStringList heads = {"Pics",    "Straße",   "Kelvin", "\u212Aelvin",
                                      "σίσυφος", "İstanbul", "a",      ""};
    static const QStringList tails = {" a.jpg", "",  " \"x.bin\" yEnc", " (repost)", " [1/2]",
                                      " ?",     " é"};
    static const QStringList opens = {"(", "[", "{"}, closes = {")", "]", "}"};
    auto pick = [&](const QStringList& l) { return l[int(gen() % l.size())]; };
    QString post = pick(heads) + QStringLiteral(" %1 ").arg(gen() % 3);
    post += pick(opens) + "%1";
    post += pick(closes) + pick(tails);
    if (gen() % 5 == 0) post.prepend("A long and common text of one poster, then ");
    if (gen() % 5 == 0) post.append(" - the same long words after it - x");
    if (gen() % 3 == 0) post = post.toUpper();
    if (gen() % 3 == 0) post = post.toLower();
    const int width = gen() % 2 ? int(QString::number(total).size()) : 1;
    const unsigned seed = gen();
    // Each call for a part gives the next decoration of it.
    return [=, calls = std::make_shared<int>(0)](int part) {
        std::mt19937 own(seed + unsigned(part) * 7919u + unsigned((*calls)++));
        QString subject =
            post.arg(QStringLiteral("%1/%2").arg(part, width, 10, QLatin1Char('0')).arg(total));
        const unsigned decoration = own() % 8;
        if (decoration == 0) subject.prepend("Re: ");
        if (decoration == 1) subject.prepend(QStringLiteral("(%1/%2) ").arg(part).arg(total));
        if (decoration == 2) subject = subject.toUpper();
        if (decoration == 3) subject.append(" again");
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
