#include "attachments/collation.h"

#include "attachments/part_row_index.h"
#include "shell/app.h"
#include "shell/waits.h"

#include <charconv>
#include <cmath>
#include <string>

namespace {

bool isBlank(QChar c) {
    return c == u' ' || c == u'\t' || c == u'\n';
}

// The row search: the first row from row 0 whose text holds `text`. The
// opening bracket of the counter stands at counterAt.
int findPartRow(App& app, const QString& text, qsizetype counterAt, PartSearch search) {
    if (search == PartSearch::Plain) return app.lstMessages.find(text, FindMode::Contains, 0);
    if (!app.partRowIndex) app.partRowIndex = std::make_shared<PartRowIndex>();
    return app.partRowIndex->find(app.lstMessages, text, counterAt);
}

bool incomplete(App& app) {
    if (app.SweepScope == -1) app.setStatus(2, QStringLiteral("Incomplete"));
    app.PartIndex = -1;
    return false;
}

} // namespace

std::optional<qint64> numericPrefix(QStringView text) {
    std::string number;
    qsizetype i = 0;
    auto skipBlanks = [&] {
        while (i < text.size() && isBlank(text[i]))
            ++i;
    };
    auto digits = [&] {
        bool any = false;
        for (skipBlanks(); i < text.size() && text[i].isDigit() && text[i].unicode() < 0x80;
             skipBlanks()) {
            number += char(text[i++].unicode());
            any = true;
        }
        return any;
    };
    skipBlanks();
    if (i < text.size() && (text[i] == u'-' || text[i] == u'+'))
        number += char(text[i++].unicode());
    bool any = digits();
    if (i < text.size() && text[i] == u'.') {
        number += '.';
        ++i;
        any = digits() || any;
    }
    if (!any) return 0;
    if (i < text.size() && QStringLiteral("EeDd").contains(text[i])) {
        const qsizetype mark = i++;
        std::string exponent = "e";
        skipBlanks();
        if (i < text.size() && (text[i] == u'-' || text[i] == u'+'))
            exponent += char(text[i++].unicode());
        const std::size_t before = number.size();
        if (digits()) {
            number.insert(before, exponent);
        } else {
            i = mark;
        }
    }
    // Whole numbers are read exactly: an article number past 2^53 must not
    // round to its neighbour's.
    qint64 whole = 0;
    const char* end = number.data() + number.size();
    const char* first = number.data() + (!number.empty() && number[0] == '+');
    if (auto [p, ec] = std::from_chars(first, end, whole); p == end)
        return ec == std::errc() ? std::optional<qint64>(whole) : std::nullopt;
    const double value = std::nearbyint(std::strtod(number.c_str(), nullptr));
    if (!std::isfinite(value) || value < -9.2e18 || value > 9.2e18) return std::nullopt;
    return qint64(value);
}

bool msgMultipart(App& app, QString& msgTitle, qint32& curmsg, PartSearch search) {
    Q_UNUSED(curmsg);
    // Positions count from 1 as in the title's description; 0 means none.
    qsizetype openPos = 0, closePos = 0, slashPos = 0;
    QChar closeChar;
    // The right-most bracket group; with ModernParts, when it holds no slash
    // ("... (1/2) 18 kB - test (2)"), the next group to its left that does.
    for (qsizetype end = msgTitle.size(); end >= 1;) {
        openPos = closePos = slashPos = 0;
        closeChar = QChar();
        for (qsizetype i = end; i >= 1; --i) {
            const QChar c = msgTitle[i - 1];
            if (c == u'(' || c == u'{' || c == u'[') {
                openPos = i;
                break;
            }
            if (c == u')' || c == u'}' || c == u']') {
                if (closePos == 0) {
                    closePos = i;
                    closeChar = c;
                }
            } else if (c == u'/') {
                slashPos = i;
            }
        }
        const bool counter = 0 < openPos && openPos < slashPos && slashPos < closePos;
        if (counter || !app.ModernParts || openPos <= 1) break;
        end = openPos - 1;
    }

    qint32 part = 0, total = 0;
    QString partKey;
    if (0 < openPos && openPos < slashPos && slashPos < closePos) {
        QString group = msgTitle.mid(openPos - 1, closePos);
        if (!group.endsWith(closeChar)) group.truncate(group.indexOf(closeChar) + 1);
        const qsizetype s = group.indexOf(u'/') + 1;
        if (s > 0) {
            part = numericPrefix(QStringView(group).mid(1, s - 1)).value_or(0);
            total = numericPrefix(QStringView(group).mid(s)).value_or(0);
        }
        // The blank behind the article number must not count: a subject
        // that begins with the bracket has no words to tell its posts apart.
        if (openPos < 3 || msgTitle.lastIndexOf(u' ', openPos - 3) < 0) return incomplete(app);
        partKey =
            msgTitle.left(openPos) + QStringLiteral("?/") + QString::number(total) + closeChar;
        partKey.remove(0, partKey.indexOf(u' ') + 1);
    }

    if (app.StopRequested || part == 0 || part > total || total == 1) return false;
    // The table ends at part 200; a post announcing more can't be had.
    if (total > kMaxParts) return incomplete(app);

    app.setStatus(1, QStringLiteral("Searching for all parts of message"));
    app.lstMessages.setRedraw(false);
    const QString totalText = QString::number(total);
    const QString extraZero =
        closePos - slashPos > totalText.size() + 1 ? QStringLiteral("0") : QString();
    const QString prefix = partKey.left(partKey.lastIndexOf(u'?'));
    const QString tail = msgTitle.mid(slashPos - 1);
    const qsizetype counterAt = prefix.size() - 1;
    bool complete = true;
    for (qint32 i = 1; i <= total; ++i) {
        const QString number = QString::number(i);
        const QString pad(std::max<qsizetype>(0, totalText.size() - number.size()), u'0');
        const QString text = prefix + extraZero + pad + number + tail;
        int row = findPartRow(app, text, counterAt, search);
        // Many posters write "(1/25)": the part as it is, without the padding.
        if (row < 0 && app.ModernParts && (!pad.isEmpty() || !extraZero.isEmpty()))
            row = findPartRow(app, prefix + number + tail, counterAt, search);
        if (row < 0) {
            complete = false;
            break;
        }
        // The article number is the row's first word: read across the
        // blank, a subject starting with digits ("2009 trip") would run
        // into it.
        if (app.ShowMNumbers) {
            const QString rowText = app.lstMessages.text(row);
            if (const auto n = numericPrefix(QStringView(rowText).left(rowText.indexOf(u' '))))
                app.PartNumbers[i] = *n;
        } else {
            app.PartNumbers[i] = app.lstMessages.number(row);
        }
        app.lstMessages.setTag(row, QStringLiteral("256"));
        LetEventsRun(app);
    }
    app.lstMessages.setRedraw(true);
    if (!complete) return incomplete(app);
    app.PartIndex = total;
    return true;
}
