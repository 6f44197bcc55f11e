#include "attachments/part_row_index.h"

#include "shell/list_model.h"

#include <algorithm>
#include <tuple>

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

using Entry = PartRowIndex::Entry;

Entry entryOf(const Key& key, qint32 counter) {
    Entry e;
    const qsizetype size = key.size();
    e.length = quint8(std::min<qsizetype>(size, PartRowIndex::kPrefix));
    e.whole = size <= PartRowIndex::kPrefix;
    for (int i = 0; i < e.length; ++i)
        e.prefix[i] = quint8(std::min<char16_t>(key.at(i), 0xFF));
    e.counter = counter;
    return e;
}

// compareKeys on two entries, decided from their prefixes where they can
// tell; fullKeys() gives the two keys when they can't.
template <typename FullKeys>
int compareEntries(const Entry& a, const Entry& b, bool prefixOnly, FullKeys fullKeys) {
    const int n = std::min(a.length, b.length);
    for (int i = 0; i < n; ++i) {
        if (a.prefix[i] != b.prefix[i]) return a.prefix[i] < b.prefix[i] ? -1 : 1;
        // 0xFF stands for every unit from 0xFF up: only the keys can tell.
        if (a.prefix[i] == 0xFF) {
            const auto [ka, kb] = fullKeys();
            return compareKeys(ka, kb, prefixOnly);
        }
    }
    const bool aEnds = a.whole && a.length == n;
    const bool bEnds = b.whole && b.length == n;
    if (aEnds && bEnds) return 0;
    if (aEnds) return -1;
    if (bEnds) return prefixOnly ? 0 : 1;
    const auto [ka, kb] = fullKeys();
    return compareKeys(ka, kb, prefixOnly);
}

// A range no larger than this is taken without looking at the other order.
constexpr std::ptrdiff_t kSmallRange = 8;

} // namespace

void PartRowIndex::rebuild(const ListModel& list) {
    list_ = &list;
    revision_ = list.textRevision();
    counters_.clear();
    for (int r = 0; r < list.count(); ++r) {
        const QStringView t = list.textView(r);
        for (qsizetype j = t.indexOf(u'/'); j >= 0; j = t.indexOf(u'/', j + 1)) {
            qsizetype k = j;
            while (k > 0 && isDigit(t[k - 1]))
                --k;
            if (k == j || k == 0 || !isOpening(t[k - 1])) continue;
            counters_.push_back({r, qint32(k - 1), qint32(j)});
        }
    }
    auto keyOf = [this](qint32 i, bool head) {
        const Counter& c = counters_[i];
        return Key{list_->textView(c.row), c.bracket, head ? c.slash - c.bracket + 1 : 0};
    };
    auto sortBy = [this, &keyOf](std::vector<Entry>& order, bool head) {
        order.clear();
        order.reserve(counters_.size());
        for (qint32 i = 0; i < qint32(counters_.size()); ++i)
            order.push_back(entryOf(keyOf(i, head), i));
        std::sort(order.begin(), order.end(), [&keyOf, head](const Entry& a, const Entry& b) {
            const int c = compareEntries(a, b, false, [&] {
                return std::pair{keyOf(a.counter, head), keyOf(b.counter, head)};
            });
            return c != 0 ? c < 0 : a.counter < b.counter;
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

    auto keyOf = [&](qint32 i, bool head) {
        const Counter& c = counters_[i];
        return Key{list.textView(c.row), c.bracket, head ? c.slash - c.bracket + 1 : 0};
    };
    using It = std::vector<Entry>::const_iterator;
    auto range = [&](const std::vector<Entry>& order, bool head) {
        const Key q{text, counterAt, head ? slash - counterAt + 1 : 0};
        const Entry qe = entryOf(q, -1);
        auto cmp = [&](const Entry& e) {
            return compareEntries(e, qe, true, [&] {
                return std::pair{keyOf(e.counter, head), q};
            });
        };
        const It lo = std::partition_point(order.begin(), order.end(),
                                           [&](const Entry& e) { return cmp(e) < 0; });
        // Ranges are short: gallop from lo rather than search the rest.
        auto inRange = [&](const Entry& e) { return cmp(e) == 0; };
        const std::ptrdiff_t n = order.end() - lo;
        std::ptrdiff_t good = 0, probe = 1;
        while (probe <= n && inRange(*(lo + probe - 1))) {
            good = probe;
            probe *= 2;
        }
        const It hi = std::partition_point(lo + good, lo + std::min(probe, n), inRange);
        return std::pair{lo, hi};
    };
    // The text before the counter tells most posts apart; the text behind it
    // is looked at when many posts share what stands before.
    auto [lo, hi] = range(byHead_, true);
    if (hi - lo > kSmallRange) {
        const auto tail = range(byTail_, false);
        if (tail.second - tail.first < hi - lo) std::tie(lo, hi) = tail;
    }

    int best = -1;
    for (It it = lo; it != hi; ++it) {
        const Counter& c = counters_[it->counter];
        if (best >= 0 && c.row >= best) continue;
        const QStringView row = list.textView(c.row);
        const qsizetype start = c.bracket - counterAt;
        if (start < 0 || start + text.size() > row.size()) continue;
        if (QStringView(row).sliced(start, text.size()).compare(text, Qt::CaseInsensitive) == 0)
            best = c.row;
    }
    return best;
}
