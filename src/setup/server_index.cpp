#include "setup/server_index.h"

#include <algorithm>

SubstringIndex::SubstringIndex() {
    clear();
}

void SubstringIndex::clear() {
    len_.assign(1, 0);
    link_.assign(1, -1);
    firstEdge_.assign(1, -1);
    edges_.clear();
    root_.assign(0x10000, -1);
}

int SubstringIndex::step(int state, char16_t c) const {
    if (state == 0) return root_[c];
    for (int e = firstEdge_[state]; e >= 0; e = edges_[e].next)
        if (edges_[e].c == c) return edges_[e].to;
    return -1;
}

void SubstringIndex::setStep(int state, char16_t c, int to) {
    if (state == 0) {
        root_[c] = to;
        return;
    }
    for (int e = firstEdge_[state]; e >= 0; e = edges_[e].next)
        if (edges_[e].c == c) {
            edges_[e].to = to;
            return;
        }
    edges_.push_back({c, to, firstEdge_[state]});
    firstEdge_[state] = static_cast<int>(edges_.size()) - 1;
}

int SubstringIndex::newState(int len, int link) {
    len_.push_back(len);
    link_.push_back(link);
    firstEdge_.push_back(-1);
    return static_cast<int>(len_.size()) - 1;
}

int SubstringIndex::cloneState(int q, int len) {
    // q is never the start state: its length is at least one.
    const int c = newState(len, link_[q]);
    for (int e = firstEdge_[q]; e >= 0; e = edges_[e].next) {
        const Edge copy = edges_[e];
        edges_.push_back({copy.c, copy.to, firstEdge_[c]});
        firstEdge_[c] = static_cast<int>(edges_.size()) - 1;
    }
    return c;
}

// One character more for the word that ends in state last. Several words share
// the automaton, so the character may already have its transition from last;
// then no new state is made, only split off when it holds longer strings.
int SubstringIndex::extend(int last, char16_t c) {
    if (const int q = step(last, c); q >= 0) {
        if (len_[q] == len_[last] + 1) return q;
        const int clone = cloneState(q, len_[last] + 1);
        for (int p = last; p >= 0 && step(p, c) == q; p = link_[p])
            setStep(p, c, clone);
        link_[q] = clone;
        return clone;
    }
    const int cur = newState(len_[last] + 1, 0);
    int p = last;
    for (; p >= 0 && step(p, c) < 0; p = link_[p])
        setStep(p, c, cur);
    if (p < 0) return cur;
    const int q = step(p, c);
    if (len_[p] + 1 == len_[q]) {
        link_[cur] = q;
        return cur;
    }
    const int clone = cloneState(q, len_[p] + 1);
    for (; p >= 0 && step(p, c) == q; p = link_[p])
        setStep(p, c, clone);
    link_[q] = clone;
    link_[cur] = clone;
    return cur;
}

void SubstringIndex::addWord(QStringView word) {
    int last = 0;
    for (QChar ch : word)
        last = extend(last, fold(ch.unicode()));
}

void SubstringIndex::addText(QStringView text) {
    qsizetype from = 0;
    while (from < text.size()) {
        qsizetype blank = text.indexOf(u' ', from);
        if (blank < 0) blank = text.size();
        if (blank > from) addWord(text.mid(from, blank - from));
        from = blank + 1;
    }
}

bool SubstringIndex::contains(QStringView needle) const {
    int state = 0;
    for (QChar ch : needle) {
        state = step(state, fold(ch.unicode()));
        if (state < 0) return false;
    }
    return true;
}

// ---- RowContainsIndex ----

RowContainsIndex::RowContainsIndex(ListModel& list) : list_(list) {
    rebuild();
    connect(&list_, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex&, int first, int last) {
                if (appending_ || stale_) return;
                for (int i = first; i <= last; ++i)
                    index_.addText(list_.text(i));
            });
    auto markStale = [this] {
        if (!appending_) stale_ = true;
    };
    connect(&list_, &QAbstractItemModel::dataChanged, this,
            [markStale](const QModelIndex&, const QModelIndex&, const QList<int>& roles) {
                // A picture set on a new row (each address the harvest finds)
                // leaves the texts as they were.
                if (roles.isEmpty() || roles.contains(Qt::DisplayRole)) markStale();
            });
    connect(&list_, &QAbstractItemModel::rowsRemoved, this, markStale);
    connect(&list_, &QAbstractItemModel::modelReset, this, markStale);
}

RowContainsIndex::~RowContainsIndex() {
    flush();
}

void RowContainsIndex::rebuild() {
    index_.clear();
    for (int i = 0; i < list_.count(); ++i)
        index_.addText(list_.text(i));
    for (const ListRow& r : pending_)
        index_.addText(r.text);
    stale_ = false;
}

bool RowContainsIndex::anyRowContains(const QString& text) {
    // The automaton answers for words; a text with a blank could span two,
    // and surrogate pairs fold as whole characters in the list's compare.
    const bool plain = !text.isEmpty() && std::none_of(text.begin(), text.end(), [](QChar c) {
        return c.unicode() == u' ' || c.isSurrogate();
    });
    if (!plain) {
        flush();
        return list_.find(text, FindMode::Contains, 0) >= 0;
    }
    if (stale_) rebuild();
    return index_.contains(text);
}

void RowContainsIndex::append(const QString& rowText) {
    pending_.append(ListRow{rowText, QString(), 0, -1, false});
    if (!stale_) index_.addText(rowText);
}

void RowContainsIndex::flush() {
    if (pending_.isEmpty()) return;
    appending_ = true;
    list_.appendRows(std::exchange(pending_, {}));
    appending_ = false;
}
