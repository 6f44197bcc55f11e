#pragma once

#include <QString>
#include <array>
#include <vector>

class ListModel;

// The row search of collation, "the first row from row 0 whose text holds
// this text, in any case", without reading the whole list for every part.
//
// Each row is indexed at every part counter it holds: an opening bracket,
// digits and a slash. The counters are sorted twice: by the text from the
// bracket to the end of the row, and by the counter followed by the text
// before the bracket read backwards, both case-folded. A search text holds
// a counter too, and a row can only hold the search text where the row's
// counter is followed by the search text's tail (a range of the first order)
// and preceded by its head (a range of the second). The smaller range is
// checked counter by counter with the list's own comparison, so the answer
// is always that of list.find(text, FindMode::Contains, 0).
//
// The sorted orders keep the first bytes of each key beside it, so that a
// search mostly stays in two compact arrays instead of visiting rows.
class PartRowIndex {
public:
    // counterAt: where the counter's opening bracket stands in text. A text
    // without a counter there is searched row by row.
    int find(const ListModel& list, const QString& text, qsizetype counterAt);

    static constexpr int kPrefix = 26;
    struct Entry {
        std::array<quint8, kPrefix> prefix; // the key's first units, 0xFF for 0xFF and above
        quint8 length;                      // units in prefix
        bool whole;                         // the key ends within prefix
        qint32 counter;
    };

private:
    struct Counter {
        qint32 row;
        qint32 bracket; // position of the opening bracket in the row text
        qint32 slash;   // position of the slash behind the digits
    };
    void rebuild(const ListModel& list);

    const ListModel* list_ = nullptr;
    quint64 revision_ = 0;
    std::vector<Counter> counters_;
    std::vector<Entry> byTail_; // counters by the text from the bracket on
    std::vector<Entry> byHead_; // by the counter, then the text before it backwards
};
