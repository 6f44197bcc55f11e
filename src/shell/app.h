#pragma once

#include "shell/list_model.h"
#include "shell/picture_control.h"
#include "shell/prompter.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QMap>
#include <QObject>
#include <QRectF>
#include <QString>
#include <QTimer>
#include <QVector>
#include <array>
#include <functional>
#include <limits>
#include <memory>

class QSettings;
class NntpControl;
class NewsClient;
class Decoder;
class PartRowIndex;
struct HarvestState;

// The frames of the main window, each with its title, flags and place.
enum class Frame { Favorites, Preview, Groups, Messages, Prog, Files, HTTP, NNTP, Count };

struct FrameState {
    QString title;
    bool enabled = true;
    bool visible = true;
    QRectF rect;     // twips, inside the window
    QRectF listRect; // twips, the list (or picture) inside the frame
};

struct ToolButtonState {
    QString caption;
    int image = 0;
    bool enabled = true;
    bool visible = true;
};

// The one context of the program: the shared variables, the main window's
// members, the settings and the controls, under the names the behaviour is
// described with. Each test builds its own on temporary directories.
class App : public QObject {
    Q_OBJECT
public:
    explicit App(QObject* parent = nullptr);
    ~App() override;

    // ---- shared variables ----
    qint32 TickCount = 0;
    bool StopRequested = false;
    bool Busy = false;
    qint32 LastError = 0;
    QString HeaderField;
    QString CurrentGroup;
    // The article in work as the server sent it. Bytes, read as Latin-1 where
    // text is wanted: a binary body passes through without being widened.
    QByteArray MessageText;
    bool MessageDone = false;
    QString TempFile;
    bool LargePreviewOpen = false;
    bool PostConnected = false;
    bool GroupsDone = false;
    bool HeadersDone = false;
    bool SkipArticle = false;
    bool HarvestBody = false;
    QString AttachName;
    QByteArray LineBuffer; // bytes as they came; cut into lines by the receiver
    QString CurrentLine;
    bool GroupSeen = false;
    qint32 GroupsBeforeLive = 0;
    bool PostAllowed = false;
    bool ScanExclusive = false;
    QString ScanMode;
    QString OutputFile;
    // A server check or scan has lent lstFavorites its server rows: the
    // favourites file is not to be written from it.
    bool favoritesBorrowed = false;
    QString EmailFilter; // search text of an e-mail sweep; empty for every address
    qint32 PartDone = 0;
    qint32 PartCount = 0;
    qint32 PartIndex = 0;
    // Article numbers of parts 1 to 200; entry 0 is not used.
    std::array<qint64, 201> PartNumbers{};
    bool IsBase64 = false;
    bool DecodeDone = false;

    // ---- members of the main window ----
    qint32 TransferMode = 0;
    bool IsConnected = false;
    QString ErrorText;
    qint32 SweepScope = -1;
    bool BatchRun = false;

    // ---- settings ----
    QString AppPath; // ends in a separator
    QString DestDir; // ends in a separator
    QString LastFind;
    bool SaveHTTP = true;
    QString FavoritesFile;
    QString FavoritesTitle; // file name without directory and extension
    bool ConfirmFileDelete = true;
    bool AutoLoadGroups = true;
    bool BinariesOnly = false;
    quint8 SpawnVideo = 1;
    // Part counters as today's posters write them: "(1/25)" unpadded, and a
    // bracket group without a slash behind the counter. Off: the old rule.
    bool ModernParts = false;
    // The header listing asks for at most this many articles per request;
    // one request over a whole big group is timed out or refused.
    qint32 HeaderChunk = 20000;
    // Only the newest this many articles of a group are listed; 0 for all.
    qint32 NewestHeaders = 0;
    // A downloaded set that holds PAR2 files is verified and repaired with them.
    bool Par2Check = true;
    bool RemoveSpam = false;
    bool ShowMNumbers = false;
    QString CurrentServer;
    qint32 Timeout = 30;
    QString Password;
    QString UserID;
    QString EmailAddress;
    QString UserName;
    QString PostSubject;
    QString Signature;
    qint32 MinGroups = 1;
    quint8 PreviewOn = 1;
    QString AutoTime;
    quint8 AutoAMPM = 1;
    QString AutoDays = QStringLiteral("0000000");

    // ---- controls ----
    ListModel lstGroups, lstMessages, lstFavorites, lstFiles, lstHTTP;
    // lstTemp is the main window's working copy of the favourites file;
    // setupLstTemp is the setup dialog's own lstTemp, the sorted scratch list.
    ListModel lstTemp, lstTempServ, SBList1, setupLstTemp;
    ListModel txtNNTPServ; // the live server list, shown by the setup dialog
    // Made and wired by the program (or a test) through AssembleControls;
    // shared pointers so that the context needs no definition of them.
    std::shared_ptr<NntpControl> NNTP;
    std::shared_ptr<NewsClient> NNTP2; // the posting connection
    std::shared_ptr<Decoder> MDEC;
    bool menuPostVisible = true;
    QTimer Timer1;
    QTimer timerAuto;

    // Status line: panels 1 to 3 (index 0 unused).
    std::array<QString, 4> statbar;
    std::array<double, 4> statbarWidths{}; // twips
    int progMin = 0, progMax = 100, progValue = 0;

    // Menu items by their number, toolbar buttons 1 to 14 (index 0 unused).
    QMap<int, bool> menuEnabled;
    QString menuConnectCaption;
    bool menuPreviewChecked = true;
    bool menuPreviewLEnabled = true;
    // The small preview and the large window's picture.
    PictureControl Picture1, Image1;
    // File-type icons of lstFiles by theme name, and the one drawn last
    // (a row picture, -1 while none was drawn).
    QStringList fileIconNames;
    int Picture2 = -1;

    // ---- frmMaxPrev, the large preview ----
    QString lPicture; // bare name of the file on view
    QString maxPrevCaption = QStringLiteral("Preview");
    // Its rectangle in twips, read when it opens and saved when it closes.
    double PTop = 0, PLeft = 0, PWidth = 5115, PHeight = 5115;
    std::array<ToolButtonState, 15> toolbar;

    // Frames and the window's own geometry, in twips.
    std::array<FrameState, static_cast<int>(Frame::Count)> frames;
    QString Caption;
    double FormLeft = 0, FormTop = 0, FormWidth = 1000, FormHeight = 1000;
    int WindowState = 0; // 0 normal, 1 minimised, 2 maximised
    double ScreenWidth = 1920 * 15, ScreenHeight = 1080 * 15;
    bool hourGlass = false;

    // ---- environment ----
    // Where the executable lives; tests point it at a temporary directory.
    QString ExeDir;
    // Settings file for tests; empty means the user's native store.
    QString SettingsFile;
    Prompter* prompter = nullptr;
    // One pass of the event queue inside a wait. It sleeps until something
    // happens; tests replace it with a fake clock.
    std::function<void()> DoEvents;
    // The clock of the schedule; tests set the moment they need.
    std::function<QDateTime()> Now = [] { return QDateTime::currentDateTime(); };
    // Opens a document or address; tests replace it. Empty means the desktop's.
    std::function<bool(const class QUrl&)> openUrl;
    // Shows the setup dialog as a modal dialog; installed by the windows layer.
    std::function<void()> showSetup;
    // Fills the setup dialog's controls from the settings just read: boxes
    // ticked for the flags that are on, the text fields. Installed by the
    // windows layer; LoadSettings runs it.
    std::function<void()> loadSetup;
    // Open and close frmMaxPrev; installed by the windows layer. Unset, the
    // large preview only changes the state above.
    std::function<void()> showLargePreview;
    std::function<void()> closeLargePreview;
    // Opens the message viewer on a row of lstMessages, not modal; installed
    // by the viewer. Unset, the right button on the list does nothing.
    std::function<void(int row)> showViewer;
    // Opens the compose dialog for a reply to the viewed message, with its
    // subject and text; installed by the program. Unset, Reply does nothing.
    std::function<void(const QString& subject, const QString& message)> composeReply;
    // The compose dialog for the current group, as the toolbar's "Post"
    // opens it; installed by the windows layer.
    std::function<void()> postToCurrentGroup;
    // OK, Cancel and the setup dialog as a whole; off while a command of the
    // server list works through its rows.
    bool setupEnabled = true;
    // Writes every setting to the store; OK of the setup dialog runs it.
    // Installed by the program, which knows every subsystem's settings.
    std::function<void()> saveSettings;
    // Ends the process; tests replace it to see that it was asked for.
    std::function<void()> EndProcess;

    // Branch of the line receiver that belongs to a later stage: the
    // Path/From harvest (mode 3), installed by the harvest; unset, the block
    // is dropped.
    std::function<void(const QByteArray&)> harvestData;
    // The address scans at the end of an article and of each title that
    // cmdDownload takes; installed by the harvest, unset they do nothing.
    std::function<void()> harvestArticle;
    std::function<void(const QString& title)> harvestTitle;
    // The PAR2 step over the files a download of selected rows wrote (names
    // in DestDir); installed by the NZB subsystem, unset nothing is checked.
    std::function<void(const QStringList& names)> checkPar2Set;
    // What the header scans keep between blocks; made by the harvest.
    std::shared_ptr<HarvestState> harvest;

    // ---- working state of the procedures, not shown anywhere ----
    // Where the begin-line search in MessageText goes on with the next block.
    qsizetype beginScanFrom = 0;
    qsizetype ybeginScanFrom = 0;
    // Index of the part counters in lstMessages for collation; built on demand.
    std::shared_ptr<PartRowIndex> partRowIndex;
    // Paces the passes of the event queue that don't wait (LetEventsRun).
    QElapsedTimer eventPassClock;
    // Where the last line of MessageText starts, for the limit on a line.
    qsizetype articleLineStart = 0;
    // The article in work goes block by block to the decoder's feed instead
    // of into MessageText (a part after the first of a post being decoded),
    // and how much of it has come.
    bool streamArticle = false;
    qint64 articleBytes = 0;
    // LineBuffer holds whole lines a Stop held back, not only the start of
    // one line: the next block is read behind them.
    bool linesLeftByStop = false;
    // The range the last group select reported, and whether it came.
    qint64 selectedFirst = 0, selectedLast = 0;
    bool groupSelectedSeen = false;
    // A header chunk is in work: its errors are the listing's to retry and
    // report, not a server error that disconnects and empties the lists.
    bool listingInChunks = false;
    // The article numbers the header request in work asked for: a line
    // outside them is not listed, so a server that answers every chunk with
    // its whole group cannot multiply the rows.
    qint64 headerRangeFirst = 1, headerRangeLast = std::numeric_limits<qint64>::max();
    // Rows the reply in work has given so far: a reply with more header lines
    // than its range has articles is given up, so a server that repeats
    // lines for ever cannot grow the list without end.
    qint64 replyRows = 0;
    // A group list longer than this is given up: the largest servers carry a
    // few hundred thousand groups, and a server that never ends its list must
    // not fill the memory.
    qint64 MaxGroupRows = 5'000'000;
    // Set by cmdExit for good: every wait gives up at once, cancelling what it
    // waited for, and nothing more is written.
    bool ending = false;

    std::unique_ptr<QSettings> openSettings() const;
    FrameState& frame(Frame f) { return frames[static_cast<int>(f)]; }
    const FrameState& frame(Frame f) const { return frames[static_cast<int>(f)]; }

    // Status line and progress bar, so the window can follow them.
    void setStatus(int panel, const QString& text);
    void setProgress(int min, int max, int value);
    void setProgressValue(int value);

signals:
    void statusChanged(int panel);
    void progressChanged();
    void menuChanged(int item);
    void toolbarChanged(int button);
    void frameChanged(Frame frame);
    void captionChanged();
    void hourGlassChanged(bool on);
    void geometryChanged();
    void toolbarRepaint();
    // The preview was switched on or off: menu check mark and menuPreviewL.
    void previewChanged();
    // Caption of frmMaxPrev.
    void largePreviewChanged();
    // A decoded file is in DestDir; row is its row of lstFiles, or -1 when a
    // row of that name was there already. Icon and preview follow from here.
    void fileAdded(const QString& name, int row);
    void setupEnabledChanged();

private:
    SilentPrompter silent_;
};
