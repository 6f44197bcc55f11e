#pragma once

#include <QAbstractListModel>
#include <QHash>
#include <QString>
#include <QVector>
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <vector>

class QIODevice;

// One row of any list of the program, as it goes in and comes out; the list
// keeps its rows in a more compact form of its own.
struct ListRow {
    QString text;
    QString tag;
    qint64 number = 0; // an article number: servers count far past 2^31
    int picture = -1;  // index into the main window's image list, -1 for none
    bool selected = false;
};

// Find modes of ListModel::find.
enum class FindMode { Exact = 0, Prefix = 1, Contains = 2 };

// The list control: every list, visible or hidden, is one of these. The view
// (a QListView in the windows layer) reads rows through the roles below and
// mirrors its selection into the rows, so the logic can run without a screen.
class ListModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Roles { TagRole = Qt::UserRole + 1, NumberRole, PictureRole, MarkRole };

    explicit ListModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    Qt::DropActions supportedDragActions() const override { return Qt::CopyAction; }
    // A dragged row carries its whole text, mark included.
    static constexpr const char* kRowMimeType = "application/x-zanderfell-row";
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;

    int count() const { return static_cast<int>(rows_.size()); }
    void clear();
    void addItem(const QString& text);
    // Position -1 or count() appends. In sorted mode the position is ignored.
    void addItem(int position, const QString& text, const QString& tag, qint64 number = 0);
    void removeItem(int index);
    // Bulk append without a signal per row; used by loaders and receivers.
    void appendRows(QVector<ListRow> rows);
    // Bulk append straight from received bytes, without a string per row:
    // staged rows join the list, in one insertion, at commitRows(). The text
    // is UTF-8 (bad sequences become U+FFFD); the tag is tag, or the row's
    // number in decimal followed by tag when numberFirst.
    void stageRow(QByteArrayView utf8Text, qint64 number, QStringView tag, bool numberFirst);
    void stageRow(QStringView text, qint64 number, QStringView tag, bool numberFirst);
    // A staged row without tag or number whose text is head, utf8Text decoded
    // as above, then tail, written straight into the store: a group's row is
    // its received name between its mark and its count. While every text of
    // a list is Latin-1, the list keeps its texts one byte a character.
    void stageRow(QLatin1StringView head, QByteArrayView utf8Text, QLatin1StringView tail);
    void commitRows();
    // Changes whenever a row is added, removed or gets another text; tags,
    // numbers, pictures and the selection leave it alone. Indexes over the
    // texts compare it to know when they are stale.
    quint64 textRevision() const { return textRevision_; }

    QString text(int index) const;
    void setText(int index, const QString& text);
    QString tag(int index) const;
    void setTag(int index, const QString& tag);
    qint64 number(int index) const;
    void setNumber(int index, qint64 number);
    int picture(int index) const;
    void setPicture(int index, int picture);
    // The whole row, as appendRows takes it.
    ListRow row(int index) const;
    // The row's text without a copy; valid until the list next changes.
    // A list kept one byte a character is widened for it, once.
    QStringView textView(int index) const;

    bool selected(int index) const;
    void setSelected(int index, bool on);
    int selCount() const;
    void clearSelection();
    void selectAll();
    // The row alone selected and current, as a plain click leaves it.
    void selectOnly(int index);

    int listIndex() const { return current_; }
    void setListIndex(int index);

    // Rows whose text matches, searched from start to the end and then from
    // row 0 up to the row before start; -1 only when no row matches.
    int find(const QString& what, FindMode mode, int start) const;

    // Synced: the file is on the disk when save returns (the user's own
    // lists). Cache: a list fetched again if a power cut takes it, which
    // does not wait for the disk. Either way a crash leaves the old file or
    // the new one, whole.
    enum class SaveMode { Synced, Cache };
    bool save(const QString& path, SaveMode mode = SaveMode::Synced) const;
    bool load(const QString& path);

    bool redraw() const { return redraw_; }
    void setRedraw(bool on);
    bool sorted() const { return sorted_; }
    void setSorted(bool on);
    bool enabled() const { return enabled_; }
    void setEnabled(bool on);
    bool visible() const { return visible_; }
    void setVisible(bool on);
    int leftMargin() const { return leftMargin_; }
    void setLeftMargin(int margin) { leftMargin_ = margin; }

    // A row text that starts with the character 255 and a digit carries a
    // display style; these split it off.
    static int markOf(const QString& text);
    static QString displayText(const QString& text);

    // Turns a row's picture number into its icon; installed by the windows
    // layer, which owns the image list.
    static std::function<QVariant(int picture)> pictureProvider;

    // One line of the file form back into a row; exposed for a fuzz target.
    static ListRow decodeRow(QStringView line);

signals:
    void selectionChanged();
    void currentChanged(int index);
    void flagsChanged();

private:
    // The list file's bytes, written in large pieces.
    bool writeRows(QIODevice& out) const;

    // A row as kept: its text lives in store_, its tag in tags_. A header
    // list runs to millions of rows, and a string or two per row would cost
    // more than the text itself.
    struct Slot {
        qint64 number = 0;
        quint64 textAt : 40 = 0;     // offset of the text in store_
        quint64 textLength : 24 = 0; // kLongText: the length stands in store_ before the text
        qint32 picture = -1;
        quint32 tag : 30 = 0; // index into tags_; 0 is the empty tag
        quint32 selected : 1 = 0;
        quint32 numberFirst : 1 = 0; // the tag is the number in decimal, then tags_[tag]
    };
    static constexpr quint64 kLongText = (1 << 24) - 1;
    static_assert(sizeof(Slot) == 24, "a row costs 24 bytes besides its text");

    qsizetype textSize(const Slot& s) const;
    // The text of a row of a wide list.
    QStringView view(const Slot& s) const;
    QLatin1StringView narrowView(const Slot& s) const;
    QString textOf(const Slot& s) const;
    // Makes the store UTF-16; a row's place in it stays the same.
    void widen() const;
    QString tagOf(const Slot& s) const;
    Slot makeSlot(QStringView text, QStringView tag, qint64 number);
    void putText(Slot& s, QStringView text);
    quint32 internTag(QStringView tag);
    // Appends (or in sorted mode inserts) the slots; `added` is left empty.
    void insertSlots(std::vector<Slot>& added);
    // One row at `at`, the current row moving down with it.
    void insertSlotAt(int at, const Slot& s);
    void resetStore();
    void compactIfWasteful();
    int sortedPosition(QStringView text) const;
    void rowChanged(int index);

    // Standard vectors: appending to a QVector costs six times as much, and
    // a listing appends a million rows.
    std::vector<Slot> rows_;
    std::vector<Slot> staged_;
    // The texts of a list kept one byte a character: a plain buffer, whose
    // appends the compiler writes out, where a QByteArray's resize is a
    // library call that costs more than staging a group's row.
    class ByteStore {
    public:
        ByteStore() = default;
        ByteStore(ByteStore&& other) noexcept { swap(other); }
        ByteStore& operator=(ByteStore&& other) noexcept {
            ByteStore gone(std::move(other));
            swap(gone);
            return *this;
        }
        ~ByteStore() { std::free(data_); }
        void swap(ByteStore& other) noexcept {
            std::swap(data_, other.data_);
            std::swap(size_, other.size_);
            std::swap(capacity_, other.capacity_);
        }
        const char* data() const { return data_; }
        qsizetype size() const { return size_; }
        qsizetype capacity() const { return capacity_; }
        // n more bytes at the end, for the caller to write.
        char* grow(qsizetype n) {
            if (size_ + n > capacity_) reserve(std::max(size_ + n, 2 * capacity_));
            char* const at = data_ + size_;
            size_ += n;
            return at;
        }
        void truncate(qsizetype n) { size_ = n; }
        void reserve(qsizetype n);
        // Gives back the room beyond the bytes, or all of it.
        void squeeze();
        void release() { *this = ByteStore(); }

    private:
        char* data_ = nullptr;
        qsizetype size_ = 0;
        qsizetype capacity_ = 0;
    };

    // Every row's text, one after the other: in store_, or while every text
    // is Latin-1 (a group list) in narrowStore_, one byte a character, at
    // the same places. textView() widens a narrow list: hence mutable.
    mutable QString store_;
    mutable ByteStore narrowStore_;
    mutable bool narrow_ = false;
    qsizetype garbage_ = 0; // units of store_ no row points to
    QVector<QString> tags_; // distinct tags; [0] is empty
    QHash<QString, quint32> tagIndex_;
    quint32 lastTag_ = 0;
    quint64 textRevision_ = 0;
    int current_ = -1;
    bool redraw_ = true;
    bool sorted_ = false;
    bool enabled_ = true;
    bool visible_ = true;
    int leftMargin_ = 2;
};

// Shared way to fill a list from its file; icon -1 leaves rows without picture.
class App;
bool LoadListFile(App& app, ListModel& list, const QString& path, int icon);
