#pragma once

#include "shell/list_model.h"

#include <QObject>
#include <QString>
#include <QStringView>
#include <QVector>
#include <vector>

// Every substring of the words of the texts added, in a suffix automaton, so
// "does some word contain this?" costs one step per character of the
// question, however many texts there are. Words are the runs between blanks;
// characters are compared folded to one case per UTF-16 unit, as the list's
// contains-find compares them. Surrogates are kept as they are.
class SubstringIndex {
public:
    SubstringIndex();
    void clear();
    void addText(QStringView text);
    // True when some word contains needle. needle holds no blank and is not empty.
    bool contains(QStringView needle) const;
    qsizetype stateCount() const { return static_cast<qsizetype>(len_.size()); }

    static char16_t fold(char16_t u) {
        if (u < 0x80) return u >= 'A' && u <= 'Z' ? char16_t(u + 32) : u;
        return QChar(u).toCaseFolded().unicode();
    }

private:
    struct Edge {
        char16_t c;
        int to;
        int next;
    };
    int step(int state, char16_t c) const;
    void setStep(int state, char16_t c, int to);
    int newState(int len, int link);
    int cloneState(int q, int len);
    int extend(int last, char16_t c);
    void addWord(QStringView word);

    std::vector<int> len_, link_, firstEdge_;
    std::vector<Edge> edges_;
    std::vector<int> root_; // transitions of the start state, one slot per UTF-16 unit
};

// Answers list.find(text, FindMode::Contains, 0) >= 0 for a list that grows
// while it is being asked, without a scan of all rows per question. Rows the
// caller adds go through append() and reach the list in batches at flush();
// rows that others add meanwhile are indexed as they come, and any other
// change to the list makes the index rebuild itself before the next answer.
class RowContainsIndex : public QObject {
    Q_OBJECT
public:
    explicit RowContainsIndex(ListModel& list);
    ~RowContainsIndex() override;

    bool anyRowContains(const QString& text);
    void append(const QString& rowText);
    void flush();
    // Rows of the list including those not flushed yet.
    int count() const { return list_.count() + static_cast<int>(pending_.size()); }

private:
    void rebuild();

    ListModel& list_;
    SubstringIndex index_;
    QVector<ListRow> pending_;
    bool stale_ = false;
    bool appending_ = false;
};
