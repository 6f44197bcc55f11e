#include "setup/setup_dialog.h"

#include "setup/dir_list_widget.h"
#include "setup/server_list.h"
#include "shell/app.h"
#include "shell/list_view_widget.h"

#include <QAction>
#include <QCheckBox>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProxyStyle>
#include <QPushButton>
#include <QToolBar>
#include <QVBoxLayout>
#include <functional>
#include <optional>

namespace {

// The server list's view: keys are sorted out before the list sees them,
// and a row reached by the keyboard is picked as a click would pick it.
class ServerListView : public ListView {
public:
    using ListView::ListView;
    std::function<bool(QKeyEvent*)> onKey;
    std::function<void()> onKeyMoved;

protected:
    void keyPressEvent(QKeyEvent* e) override {
        if (onKey && onKey(e)) return;
        const int before = list()->listIndex();
        ListView::keyPressEvent(e);
        if (onKeyMoved && list()->listIndex() >= 0 && list()->listIndex() != before) onKeyMoved();
    }
};

// The password field shows a "*" for each character, whatever the platform's habit.
class StarPasswordStyle : public QProxyStyle {
public:
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* ret) const override {
        if (hint == SH_LineEdit_PasswordCharacter) return '*';
        return QProxyStyle::styleHint(hint, option, widget, ret);
    }
};

// A key that types a character, as opposed to moving or editing.
std::optional<char16_t> typedCharacter(const QKeyEvent* e) {
    if (e->key() == Qt::Key_Delete || e->key() == Qt::Key_Tab || e->key() == Qt::Key_Backtab)
        return std::nullopt;
    if (e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter) return char16_t(13);
    if (e->key() == Qt::Key_Backspace) return char16_t(8);
    const QString t = e->text();
    if (t.isEmpty()) return std::nullopt;
    return t[0].unicode();
}

struct OptionDef {
    SetupOption option;
    const char* name;
    const char* caption;
};

// In the order of the dialog, top to bottom.
const OptionDef kOptions[] = {
    {SetupOption::SPAM, "chkSPAM", "Filter SPAM from Messages"},
    {SetupOption::HTTP, "chkHTTP", "Save HTTP Addreseses"},
    {SetupOption::Binary, "chkBinary", "Filter ONLY .binaries groups"},
    {SetupOption::AutoLoad, "chkAutoLoad", "Auto Load Group List"},
    {SetupOption::FileDelete, "chkFileDelete", "Confirm File Delete"},
    {SetupOption::Video, "chkVideo", "Spawn Video in Preview Mode"},
    {SetupOption::Show, "chkShow", "Show Message Numbers"},
    {SetupOption::ModernParts, "chkModernParts", "Modern Part Counters"},
    {SetupOption::Par2, "chkPar2", "Verify and Repair with PAR2"},
};

const char* const kToolbarKeys[] = {"New", "Find", "Delete", "Import", "Export", "Sort"};

QPushButton* button(const QString& caption, const char* name, QWidget* parent) {
    auto* b = new QPushButton(caption, parent);
    b->setObjectName(QLatin1String(name));
    // Enter belongs to the list and to txtMinGroups, not to a default button.
    b->setAutoDefault(false);
    b->setDefault(false);
    return b;
}

} // namespace

SetupDialog::SetupDialog(App& app, QWidget* parent) : QDialog(parent), app_(app) {
    setObjectName(QStringLiteral("frmSetup"));
    setWindowTitle(QStringLiteral("Setup"));

    auto* heading = new QLabel(QStringLiteral("Setup Options"), this);
    heading->setObjectName(QStringLiteral("lblHeading"));
    QFont big = heading->font();
    big.setBold(true);
    big.setPointSizeF(big.pointSizeF() * 1.3);
    heading->setFont(big);

    cmdOK_ = button(QStringLiteral("&OK"), "cmdOK", this);
    cmdCancel_ = button(QStringLiteral("&Cancel"), "cmdCancel", this);
    connect(cmdOK_, &QPushButton::clicked, this, [this] { cmdOK_Click(); });
    connect(cmdCancel_, &QPushButton::clicked, this, [this] { cmdCancel_Click(); });

    auto* columns = new QHBoxLayout;
    auto* left = new QVBoxLayout;
    left->addWidget(buildOptions());
    left->addWidget(buildDirectory(), 1);
    columns->addLayout(left);
    columns->addWidget(buildServers(), 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdOK_);
    buttons->addWidget(cmdCancel_);

    auto* top = new QVBoxLayout(this);
    top->addWidget(heading);
    top->addLayout(columns, 1);
    top->addLayout(buttons);
    resize(820, 560);

    connect(&app_, &App::setupEnabledChanged, this, &SetupDialog::showEnabled);
    connect(&app_, &App::frameChanged, this, [this](Frame f) {
        if (f == Frame::NNTP) frameNNTP_->setTitle(app_.frame(Frame::NNTP).title);
    });
    // Bulk commands hide the list while they work on it.
    connect(&app_.txtNNTPServ, &ListModel::flagsChanged, this,
            [this] { txtNNTPServ_->setVisible(app_.txtNNTPServ.visible()); });
}

QWidget* SetupDialog::buildOptions() {
    auto* box = new QWidget(this);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    for (const OptionDef& d : kOptions) {
        auto* chk = new QCheckBox(QLatin1String(d.caption), box);
        chk->setObjectName(QLatin1String(d.name));
        const SetupOption option = d.option;
        connect(chk, &QCheckBox::toggled, this,
                [this, option](bool on) { setOption(app_, option, on); });
        boxes_[option] = chk;
        layout->addWidget(chk);
    }

    auto numberField = [&](const char* name, const char* label) {
        auto* row = new QHBoxLayout;
        auto* edit = new QLineEdit(box);
        edit->setObjectName(QLatin1String(name));
        edit->setMaximumWidth(80);
        edit->installEventFilter(this);
        auto* l = new QLabel(QLatin1String(label), box);
        l->setBuddy(edit);
        row->addWidget(edit);
        row->addWidget(l, 1);
        layout->addLayout(row);
        return edit;
    };
    txtTimeout_ = numberField("txtTimeout", "Server Timeout");
    txtMinGroups_ = numberField("txtMinGroups", "Minimum Groups to be Valid");
    txtHeaderChunk_ = numberField("txtHeaderChunk", "Headers per Request");
    txtNewestHeaders_ = numberField("txtNewestHeaders", "Newest Headers Only (0 = All)");

    auto* auth = new QGroupBox(QStringLiteral("User Authentication"), box);
    auth->setObjectName(QStringLiteral("frameAuth"));
    auto* grid = new QGridLayout(auth);
    txtUserID_ = new QLineEdit(auth);
    txtUserID_->setObjectName(QStringLiteral("txtUserID"));
    txtPassword_ = new QLineEdit(auth);
    txtPassword_->setObjectName(QStringLiteral("txtPassword"));
    auto* stars = new StarPasswordStyle;
    stars->setParent(txtPassword_);
    txtPassword_->setStyle(stars);
    txtPassword_->setEchoMode(QLineEdit::Password);
    grid->addWidget(new QLabel(QStringLiteral("User ID"), auth), 0, 0);
    grid->addWidget(txtUserID_, 0, 1);
    grid->addWidget(new QLabel(QStringLiteral("Password"), auth), 1, 0);
    grid->addWidget(txtPassword_, 1, 1);
    connect(txtUserID_, &QLineEdit::textChanged, this,
            [this](const QString& t) { app_.UserID = t; });
    connect(txtPassword_, &QLineEdit::textChanged, this,
            [this](const QString& t) { app_.Password = t; });
    layout->addWidget(auth);
    return box;
}

QWidget* SetupDialog::buildDirectory() {
    auto* frame = new QGroupBox(QStringLiteral("Save Files In"), this);
    frame->setObjectName(QStringLiteral("frameDir"));
    auto* layout = new QVBoxLayout(frame);
    dirDest_ = new DirListBox(frame);
    dirDest_->setObjectName(QStringLiteral("dirDest"));
    cmdDir_ = button(QStringLiteral("Create Directory"), "cmdDir", frame);
    layout->addWidget(dirDest_, 1);
    layout->addWidget(cmdDir_);
    connect(dirDest_, &DirListBox::pathChanged, this,
            [this](const QString& path) { SetDestDir(app_, path); });
    connect(cmdDir_, &QPushButton::clicked, this, [this] {
        ::cmdDir(app_, dirDest_->path());
        dirDest_->refresh();
    });
    return frame;
}

QWidget* SetupDialog::buildServers() {
    frameNNTP_ = new QGroupBox(QStringLiteral("NNTP Servers"), this);
    frameNNTP_->setObjectName(QStringLiteral("frameNNTP"));
    if (!app_.frame(Frame::NNTP).title.isEmpty())
        frameNNTP_->setTitle(app_.frame(Frame::NNTP).title);
    auto* layout = new QVBoxLayout(frameNNTP_);

    toolbar_ = new QToolBar(QStringLiteral("Toolbar1"), frameNNTP_);
    toolbar_->setObjectName(QStringLiteral("Toolbar1"));
    toolbar_->setToolButtonStyle(Qt::ToolButtonTextOnly);
    for (const char* key : kToolbarKeys) {
        QAction* a = toolbar_->addAction(QLatin1String(key));
        a->setObjectName(QLatin1String(key));
        const QString k = QLatin1String(key);
        connect(a, &QAction::triggered, this, [this, k] {
            // No second command while one runs; the commands let events in.
            toolbar_->setEnabled(false);
            serverToolbarCommand(app_, k);
            toolbar_->setEnabled(true);
            toolbar_->repaint();
        });
    }
    layout->addWidget(toolbar_);

    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    auto* heads = new QLabel(QStringLiteral("Groups Posting   Server Address"), frameNNTP_);
    heads->setObjectName(QStringLiteral("lblColumns"));
    heads->setFont(fixed);
    layout->addWidget(heads);

    auto* view = new ServerListView(&app_.txtNNTPServ, frameNNTP_);
    view->setObjectName(QStringLiteral("txtNNTPServ"));
    // The columns of a row line up only in a font of fixed width.
    view->setFont(fixed);
    view->onKey = [this](QKeyEvent* e) { return serverListKey(e); };
    view->onKeyMoved = [this] { pickServer(app_); };
    connect(view, &QAbstractItemView::clicked, this, [this](const QModelIndex& i) {
        if (i.isValid()) pickServer(app_);
    });
    connect(view, &ListView::rowDoubleClicked, this, [this](int) {
        pickServer(app_);
        cmdOK_Click();
    });
    txtNNTPServ_ = view;
    layout->addWidget(view, 1);
    return frameNNTP_;
}

bool SetupDialog::serverListKey(QKeyEvent* e) {
    switch (e->key()) {
    case Qt::Key_Delete:
        cmdDeleteServ(app_);
        return true;
    case Qt::Key_Escape:
        cmdCancel_Click();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // OK alone: a click, a move or the double click picks the server.
        cmdOK_Click();
        return true;
    default:
        break;
    }
    if (e->key() == Qt::Key_A && (e->modifiers() & Qt::ControlModifier)) {
        app_.txtNNTPServ.selectAll();
        return true;
    }
    const std::optional<char16_t> c = typedCharacter(e);
    if (!c) return false;
    // Backspace, "." and "0" to "K" go on to the list's type-ahead; other
    // characters never reach it.
    return !(*c == 8 || *c == u'.' || (*c >= u'0' && *c <= u'K'));
}

bool SetupDialog::eventFilter(QObject* watched, QEvent* e) {
    const bool number = watched == txtTimeout_ || watched == txtMinGroups_ ||
                        watched == txtHeaderChunk_ || watched == txtNewestHeaders_;
    if (!number) return QDialog::eventFilter(watched, e);
    if (e->type() == QEvent::KeyPress) {
        const std::optional<char16_t> c = typedCharacter(static_cast<QKeyEvent*>(e));
        if (!c) return false;
        if (!numberFieldAccepts(*c)) return true;
        if (*c == 13) {
            if (watched == txtMinGroups_) cmdOK_Click();
            return true;
        }
        return false;
    }
    if (e->type() == QEvent::FocusOut) {
        auto* edit = static_cast<QLineEdit*>(watched);
        if (watched == txtTimeout_)
            edit->setText(txtTimeout_LostFocus(app_, edit->text()));
        else if (watched == txtMinGroups_)
            edit->setText(txtMinGroups_LostFocus(app_, edit->text()));
        else if (watched == txtHeaderChunk_)
            edit->setText(txtHeaderChunk_LostFocus(app_, edit->text()));
        else
            edit->setText(txtNewestHeaders_LostFocus(app_, edit->text()));
    }
    return false;
}

void SetupDialog::Form_Load() {
    for (const OptionDef& d : kOptions)
        if (optionValue(app_, d.option)) boxes_[d.option]->setChecked(true);
    txtTimeout_->setText(QString::number(app_.Timeout));
    txtUserID_->setText(app_.UserID);
    txtPassword_->setText(app_.Password);
    txtMinGroups_->setText(QString::number(app_.MinGroups));
    txtHeaderChunk_->setText(QString::number(app_.HeaderChunk));
    txtNewestHeaders_->setText(QString::number(app_.NewestHeaders));
    dirDest_->setPath(app_.DestDir);
}

void SetupDialog::cmdOK_Click() {
    ::cmdOK_Click(app_);
    hide();
}

void SetupDialog::cmdCancel_Click() {
    hide();
}

void SetupDialog::showEvent(QShowEvent* e) {
    QDialog::showEvent(e);
    // While the main connection is up the list is not for editing by hand.
    const bool connected = setupConnected(app_);
    boxes_[SetupOption::Show]->setEnabled(!connected);
    toolbar_->setEnabled(!connected);
    app_.txtNNTPServ.setEnabled(!connected);
    const int row = findServer(app_, app_.CurrentServer);
    app_.txtNNTPServ.setVisible(true);
    app_.txtNNTPServ.setRedraw(true);
    if (row >= 0) app_.txtNNTPServ.setSelected(row, true);
}

void SetupDialog::mousePressEvent(QMouseEvent* e) {
    QDialog::mousePressEvent(e);
    // A click on the dialog's own surface brings the chooser back to DestDir.
    dirDest_->setPath(app_.DestDir);
}

void SetupDialog::showEnabled() {
    const bool on = app_.setupEnabled;
    cmdOK_->setEnabled(on);
    cmdCancel_->setEnabled(on);
    setEnabled(on);
}
