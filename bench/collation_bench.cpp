// Collation of a whole listing, as a download of all rows does it: 200,000
// rows, 4,000 posts of 50 parts in a shuffled order. The index against the
// plain search of the list (one find over the rows for every part), on a
// sample of the posts since the plain search of all would take an hour;
// both must find the same parts, and the index every part of every post.
// Prints "name: value unit" lines.
#include "attachments/collation.h"
#include "shell/app.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <algorithm>
#include <cstdio>
#include <random>

namespace {

constexpr int kPosts = 4000;
constexpr int kParts = 50;
constexpr int kSampleEvery = 400; // posts searched the plain way

// Subjects in the forms posters use, the counter in several places.
QString subject(int post, int part) {
    const QString n = QStringLiteral("%1").arg(part, 2, 10, QLatin1Char('0'));
    switch (post % 4) {
    case 0:
        return QStringLiteral("\"holiday-%1.jpg\" yEnc (%2/50)").arg(post).arg(n);
    case 1:
        return QStringLiteral("Set %1 of the trip [%2/50] - \"img%1.rar\" yEnc").arg(post).arg(n);
    case 2:
        return QStringLiteral("archive%1.part.rar (%2/50)").arg(post).arg(n);
    default:
        return QStringLiteral("My pictures - (%1/50) - file %2.zip").arg(n).arg(post);
    }
}

void print(const char* name, double value, const char* unit) {
    std::printf("%s: %.3g %s\n", name, value, unit);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication qapp(argc, argv);
    QVector<ListRow> rows;
    rows.reserve(kPosts * kParts);
    for (int post = 0; post < kPosts; ++post)
        for (int part = 1; part <= kParts; ++part)
            rows.append(ListRow{subject(post, part), QString(), post * 100 + part, -1, false});
    std::shuffle(rows.begin(), rows.end(), std::mt19937(42));

    App app;
    app.lstMessages.appendRows(rows);
    auto title = [&](int r) {
        return QString::number(app.lstMessages.number(r)) + u' ' + app.lstMessages.text(r);
    };

    // Every row not yet taken up, in row order, as cmdDownload(-1) does.
    QElapsedTimer t;
    t.start();
    int posts = 0, wrong = 0;
    std::vector<std::array<qint32, kParts + 1>> found(kPosts);
    for (int r = 0; r < app.lstMessages.count(); ++r) {
        if (app.lstMessages.tag(r) == QLatin1String("256")) continue;
        QString tl = title(r);
        qint32 row = r;
        app.PartIndex = 0;
        const bool complete = msgMultipart(app, tl, row);
        const int post = app.lstMessages.number(r) / 100;
        ++posts;
        if (!complete || app.PartIndex != kParts) {
            ++wrong;
            continue;
        }
        std::copy(app.PartNumbers.begin(), app.PartNumbers.begin() + kParts + 1,
                  found[post].begin());
        for (int part = 1; part <= kParts; ++part)
            wrong += found[post][part] != post * 100 + part;
    }
    const double indexedMs = t.nsecsElapsed() / 1e6;

    // The plain search on a sample of the posts, from the row of any part.
    App plain;
    plain.lstMessages.appendRows(rows);
    int sampled = 0, differ = 0;
    t.restart();
    for (int post = 0; post < kPosts; post += kSampleEvery) {
        int r = 0;
        while (plain.lstMessages.number(r) / 100 != post)
            ++r;
        QString tl =
            QString::number(plain.lstMessages.number(r)) + u' ' + plain.lstMessages.text(r);
        qint32 row = r;
        plain.PartIndex = 0;
        msgMultipart(plain, tl, row, PartSearch::Plain);
        ++sampled;
        differ += !std::equal(found[post].begin() + 1, found[post].end(),
                              plain.PartNumbers.begin() + 1) ||
                  plain.PartIndex != kParts;
    }
    const double plainPerPostMs = t.nsecsElapsed() / 1e6 / sampled;

    print("collation_200k_ms", indexedMs, "ms");
    print("collation_200k_posts", posts, "posts");
    print("collation_200k_wrong_parts", wrong, "parts");
    print("collation_plain_ms_per_post", plainPerPostMs, "ms");
    print("collation_200k_plain_estimate_ms", plainPerPostMs * kPosts, "ms");
    print("collation_200k_speedup", plainPerPostMs * kPosts / indexedMs, "x");
    print("collation_sample_posts", sampled, "posts");
    print("collation_sample_differences", differ, "posts");
    return wrong == 0 && differ == 0 && posts == kPosts ? 0 : 1;
}
