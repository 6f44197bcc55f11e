#include "attachments/part_row_index.h"

#include "shell/list_model.h"

#include <algorithm>
#include <numeric>

namespace {

bool isOpening(QChar c) {
    return c == u'(' || c == u'{' || c == u'[';
}

bool isDigit(QChar c) {
    return c >= u'0' && c <= u'9';
}

// The unit at i as the case-insensitive comparison of the list sees it:
// folded, a surrogate pair folded as the one character it stands for.
char16_t foldedAt(QStringView s, qsizetype i) {
    const char16_t c = s[i].unicode();
    if (c < 0x80) return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c;
    if (QChar::isHighSurrogate(c) && i + 1 < s.size() && s[i + 1].isLowSurrogate())
        return QChar::highSurrogate(
            QChar::toCaseFolded(QChar::surrogateToUcs4(c, s[i + 1].unicode())));
    if (QChar::isLowSurrogate(c) && i > 0 && s[i - 1].isHighSurrogate())
        return QChar::lowSurrogate(
            QChar::toCaseFolded(QChar::surrogateToUcs4(s[i - 1].unicode(), c)));
    return char16_t(QChar::toCaseFolded(char32_t(c)));
}

// A counter's sort key. Tail key (core 0): the text from the bracket to the
// end. Head key: the counter itself, bracket to slash, then the text before
// the bracket from right to left. Brackets, digits and the slash fold to
// themselves, so the counter needs no folding.
struct Key {
    QStringView s;
    qsizetype bracket;
    qsizetype core;

    qsizetype size() const { return core ? core + bracket : s.size() - bracket; }
    char16_t at(qsizetype i) const {
        if (!core) return foldedAt(s, bracket + i);
        if (i < core) return s[bracket + i].unicode();
        return foldedAt(s, bracket - 1 - (i - core));
    }
};

// Orders keys unit by unit; with prefixOnly a key that starts with b is equal
// to it, so the keys that start with b make one range of the sorted order.
int compareKeys(const Key& a, const Key& b, bool prefixOnly) {
    const qsizetype na = a.size(), nb = b.size();
    const qsizetype n = std::min(na, nb);
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t x = a.at(i), y = b.at(i);
        if (x != y) return x < y ? -1 : 1;
    }
    if (na == nb || (prefixOnly && na > nb)) return 0;
    return na < nb ? -1 : 1;
}

} // namespace

void PartRowIndex::rebuild(const ListModel& list) {
    list_ = &list;
    revision_ = list.textRevision();
    counters_.clear();
    for (int r = 0; r < list.count(); ++r) {
        const QString& t = list.row(r).text;
        for (qsizetype j = t.indexOf(u'/'); j >= 0; j = t.indexOf(u'/', j + 1)) {
            qsizetype k = j;
            while (k > 0 && isDigit(t[k - 1]))
                --k;
            if (k == j || k == 0 || !isOpening(t[k - 1])) continue;
            counters_.push_back({r, qint32(k - 1), qint32(j)});
        }
    }
    auto sortBy = [this](std::vector<qint32>& order, bool head) {
        order.resize(counters_.size());
        std::iota(order.begin(), order.end(), 0);
        std::sort(order.begin(), order.end(), [this, head](qint32 a, qint32 b) {
            const Counter& x = counters_[a];
            const Counter& y = counters_[b];
            const int c = compareKeys(
                Key{list_->row(x.row).text, x.bracket, head ? x.slash - x.bracket + 1 : 0},
                Key{list_->row(y.row).text, y.bracket, head ? y.slash - y.bracket + 1 : 0}, false);
            return c != 0 ? c < 0 : a < b;
        });
    };
    sortBy(byTail_, false);
    sortBy(byHead_, true);
}

int PartRowIndex::find(const ListModel& list, const QString& text, qsizetype counterAt) {
    qsizetype slash = counterAt + 1;
    while (slash < text.size() && isDigit(text[slash]))
        ++slash;
    const bool hasCounter = counterAt >= 0 && counterAt < text.size() &&
                            isOpening(text[counterAt]) && slash > counterAt + 1 &&
                            slash < text.size() && text[slash] == u'/';
    if (!hasCounter) return list.find(text, FindMode::Contains, 0);
    if (list_ != &list || revision_ != list.textRevision()) rebuild(list);

    using It = std::vector<qint32>::const_iterator;
    auto range = [&](const std::vector<qint32>& order, qsizetype core) {
        const Key q{text, counterAt, core};
        auto cmp = [&](qint32 i) {
            const Counter& c = counters_[i];
            return compareKeys(
                Key{list.row(c.row).text, c.bracket, core ? c.slash - c.bracket + 1 : 0}, q, true);
        };
        const It lo =
            std::partition_point(order.begin(), order.end(), [&](qint32 i) { return cmp(i) < 0; });
        const It hi = std::partition_point(lo, order.end(), [&](qint32 i) { return cmp(i) == 0; });
        return std::pair{lo, hi};
    };
    const auto tail = range(byTail_, 0);
    const auto head = range(byHead_, slash - counterAt + 1);
    const auto [lo, hi] = tail.second - tail.first <= head.second - head.first ? tail : head;

    int best = -1;
    for (It it = lo; it != hi; ++it) {
        const Counter& c = counters_[*it];
        if (best >= 0 && c.row >= best) continue;
        const QString& row = list.row(c.row).text;
        const qsizetype start = c.bracket - counterAt;
        if (start < 0 || start + text.size() > row.size()) continue;
        if (QStringView(row).sliced(start, text.size()).compare(text, Qt::CaseInsensitive) == 0)
            best = c.row;
    }
    return best;
}
