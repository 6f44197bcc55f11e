#include "program/main_window.h"

#include "attachments/decoded_files.h"
#include "attachments/download_drivers.h"
#include "attachments/file_icons.h"
#include "attachments/max_preview_window.h"
#include "attachments/picture_widget.h"
#include "attachments/preview.h"
#include "favorites/favorites_file.h"
#include "favorites/favorites_list.h"
#include "harvest/address_scans.h"
#include "harvest/server_check.h"
#include "harvest/server_scans.h"
#include "harvest/sweep.h"
#include "news/connection.h"
#include "news/news_commands.h"
#include "nzb/nzb_download.h"
#include "nzb/nzb_save.h"
#include "post/message_window.h"
#include "post/post_dialog.h"
#include "program/commands.h"
#include "program/startup.h"
#include "schedule/auto_dialog.h"
#include "setup/setup_dialog.h"
#include "shell/layout.h"
#include "shell/list_view_widget.h"
#include "shell/menu_table.h"
#include "shell/prompter_dialog.h"
#include "support/about_window.h"
#include "support/app_icon.h"
#include "support/find.h"
#include "support/find_dialog.h"
#include "support/quick_help_window.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGroupBox>
#include <QLabel>
#include <QMenuBar>
#include <QMimeData>
#include <QProgressBar>
#include <QScreen>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QWindow>

namespace {

// Height of the toolbar band in twips: the frames' tops are measured from
// the top of the client area, which the toolbar shares with them.
constexpr double kToolbarTwips = 630;

} // namespace

MainWindow::MainWindow(App& app, QWidget* parent)
    : QMainWindow(parent), app_(app), prompter_(std::make_unique<DialogPrompter>(this)) {
    setObjectName(QStringLiteral("frmMain"));
    setWindowIcon(AppIcon());
    app_.prompter = prompter_.get();
    ListModel::pictureProvider = [this](int n) { return QVariant(image(n)); };
    setMinimumSize(200, 150);
    buildMenus();
    buildToolbar();
    buildFrames();
    buildStatusBar();
    connectApp();
    connectCommands();
    connectFiles();
    setAcceptDrops(true);
    // The setup dialog lives as long as the window: its list is the live
    // server list. Startup fills it; Setup and Connect show it modally.
    setup_ = new SetupDialog(app_, this);
    app_.loadSetup = [this] { setup_->Form_Load(); };
    app_.showSetup = [this] { setup_->exec(); };
    app_.showLargePreview = [this] {
        if (!maxPrev_) maxPrev_ = new MaxPreviewWindow(app_, pxPerTwip(), this);
        maxPrev_->open();
    };
    app_.closeLargePreview = [this] {
        if (maxPrev_) maxPrev_->close();
    };
    app_.showViewer = [this](int row) {
        if (!viewer_) viewer_ = new MessageWindow(app_, pxPerTwip(), this);
        viewer_->open(row);
    };
    app_.postToCurrentGroup = [this] { menuPostC_Click(app_, this); };
    app_.composeReply = [this](const QString& subject, const QString& message) {
        replyToMessage(app_, subject, message, viewer_ ? static_cast<QWidget*>(viewer_) : this);
    };
    if (QScreen* s = screen()) {
        const QRect r = s->availableGeometry();
        app_.ScreenWidth = r.width() / pxPerTwip();
        app_.ScreenHeight = r.height() / pxPerTwip();
    }
}

MainWindow::~MainWindow() {
    ListModel::pictureProvider = nullptr;
    app_.loadSetup = nullptr;
    app_.showSetup = nullptr;
    app_.showLargePreview = nullptr;
    app_.closeLargePreview = nullptr;
    app_.showViewer = nullptr;
    app_.postToCurrentGroup = nullptr;
    app_.composeReply = nullptr;
    if (app_.prompter == prompter_.get()) app_.prompter = nullptr;
}

ListView* MainWindow::view(const ListModel& list) const {
    for (ListView* v : views_)
        if (v->list() == &list) return v;
    return nullptr;
}

double MainWindow::pxPerTwip() const {
    const QScreen* s = screen();
    const double dpi = s ? s->logicalDotsPerInchY() : 96.0;
    return dpi / 1440.0;
}

QIcon MainWindow::image(int number) const {
    if (number >= kFileIconBase) {
        const QString name = app_.fileIconNames.value(number - kFileIconBase);
        return QIcon::fromTheme(name, style()->standardIcon(QStyle::SP_FileIcon));
    }
    // Pictures of the image list; only their numbers matter to the logic.
    static const QStyle::StandardPixmap pixmaps[] = {
        QStyle::SP_CustomBase,             // 0 none
        QStyle::SP_FileDialogDetailedView, // 1 setup
        QStyle::SP_DirIcon,                // 2 groups
        QStyle::SP_BrowserStop,            // 3 stop
        QStyle::SP_DriveNetIcon,           // 4 connect
        QStyle::SP_DialogCancelButton,     // 5 disconnect
        QStyle::SP_ArrowDown,              // 6 download
        QStyle::SP_DialogSaveButton,       // 7 all
        QStyle::SP_FileDialogContentsView, // 8 view
        QStyle::SP_DialogOkButton,         // 9 post
        QStyle::SP_FileLinkIcon,           // 10 links
        QStyle::SP_FileIcon,               // 11 file
        QStyle::SP_DirLinkIcon,            // 12 favourite group
    };
    if (number <= 0 || number >= static_cast<int>(std::size(pixmaps))) return {};
    return style()->standardIcon(pixmaps[number]);
}

void MainWindow::buildMenus() {
    QMap<QString, QMenu*> menus;
    for (const MenuDef& m : menuTable()) {
        const QString caption = QString::fromLatin1(m.caption);
        QMenu* menu = menus.value(caption);
        if (!menu) {
            menu = m.submenuOf ? menus.value(QString::fromLatin1(m.submenuOf))->addMenu(caption)
                               : menuBar()->addMenu(caption);
            menus[caption] = menu;
        }
        for (const MenuItemDef& i : m.items) {
            if (i.separatorBefore) menu->addSeparator();
            QAction* a = menu->addAction(QString::fromLatin1(i.caption));
            a->setObjectName(QString::fromLatin1(i.control));
            if (*i.shortcut) a->setShortcut(QKeySequence(QString::fromLatin1(i.shortcut)));
            a->setEnabled(i.number > 0 ? app_.menuEnabled.value(i.number) : i.startsEnabled);
            actions_[a->objectName()] = a;
            if (i.number > 0) numbered_.insert(i.number, a);
        }
    }
    postMenu_ = menus.value(QStringLiteral("&Post"));
    QAction* preview = actions_.value(QStringLiteral("menuPreview"));
    preview->setCheckable(true);
    preview->setChecked(app_.menuPreviewChecked);
}

void MainWindow::buildToolbar() {
    toolbar_ = addToolBar(QStringLiteral("Toolbar1"));
    toolbar_->setObjectName(QStringLiteral("Toolbar1"));
    toolbar_->setMovable(false);
    toolbar_->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    toolbar_->setIconSize(QSize(20, 20));
    for (int b = 1; b <= kToolbarButtons; ++b) {
        const ToolButtonState& st = app_.toolbar[b];
        if (st.caption.isEmpty()) {
            toolbar_->addSeparator();
            continue;
        }
        QAction* a = toolbar_->addAction(image(st.image), st.caption);
        a->setObjectName(QStringLiteral("Toolbar1_%1").arg(b));
        a->setEnabled(st.enabled);
        toolActions_[b] = a;
        connect(a, &QAction::triggered, this, [this, b] { Toolbar1_ButtonClick(app_, b); });
    }
}

void MainWindow::buildFrames() {
    auto* central = new QWidget(this);
    setCentralWidget(central);
    static const char* names[] = {"frameFavorites", "framePreview", "frameGroups", "frameMessages",
                                  "frameProg",      "frameFiles",   "frameHTTP",   nullptr};
    for (int f = 0; f < static_cast<int>(Frame::NNTP); ++f) {
        auto* box = new QGroupBox(app_.frames[f].title, central);
        box->setObjectName(QString::fromLatin1(names[f]));
        frameBoxes_[f] = box;
    }
    auto addList = [this](Frame f, ListModel& list, const char* name) {
        auto* v = new ListView(&list, frameBox(f));
        v->setObjectName(QString::fromLatin1(name));
        views_.append(v);
        return v;
    };
    addList(Frame::Favorites, app_.lstFavorites, "lstFavorites");
    addList(Frame::Groups, app_.lstGroups, "lstGroups");
    addList(Frame::Messages, app_.lstMessages, "lstMessages");
    addList(Frame::Files, app_.lstFiles, "lstFiles");
    addList(Frame::HTTP, app_.lstHTTP, "lstHTTP");

    picture1_ = new PictureWidget(app_.Picture1, frameBox(Frame::Preview));
    picture1_->setObjectName(QStringLiteral("Picture1"));

    progBar_ = new QProgressBar(frameBox(Frame::Prog));
    progBar_->setObjectName(QStringLiteral("progBar"));
    progBar_->setTextVisible(false);
    frameBox(Frame::Prog)->setFlat(true);

    // Groups and messages share their place; the groups show first.
    showFrame(Frame::Messages);
    frameBox(Frame::Messages)->setVisible(false);
    app_.frame(Frame::Messages).visible = false;
    app_.lstMessages.setVisible(false);
}

void MainWindow::buildStatusBar() {
    for (int p = 1; p <= 3; ++p) {
        auto* l = new QLabel(statusBar());
        l->setObjectName(QStringLiteral("statbar%1").arg(p));
        l->setFrameStyle(QFrame::Panel | QFrame::Sunken);
        panels_[p] = l;
        if (p < 3)
            statusBar()->addWidget(l);
        else
            statusBar()->addPermanentWidget(l);
    }
}

void MainWindow::connectApp() {
    connect(&app_, &App::statusChanged, this, &MainWindow::showStatus);
    connect(&app_, &App::progressChanged, this, &MainWindow::showProgress);
    connect(&app_, &App::menuChanged, this, &MainWindow::showMenuItem);
    connect(&app_, &App::toolbarChanged, this, &MainWindow::showToolButton);
    connect(&app_, &App::toolbarRepaint, toolbar_, [this] { toolbar_->repaint(); });
    connect(&app_, &App::frameChanged, this, &MainWindow::showFrame);
    connect(&app_, &App::captionChanged, this, [this] { setWindowTitle(app_.Caption); });
    connect(&app_, &App::geometryChanged, this, [this] {
        if (!applying_) applyGeometry();
    });
    connect(&app_, &App::hourGlassChanged, this, [](bool on) {
        if (on)
            QApplication::setOverrideCursor(Qt::WaitCursor);
        else
            QApplication::restoreOverrideCursor();
    });
    connect(&app_, &App::previewChanged, this, [this] {
        QAction* preview = action(QStringLiteral("menuPreview"));
        preview->setChecked(app_.menuPreviewChecked);
        action(QStringLiteral("menuPreviewL"))->setEnabled(app_.menuPreviewLEnabled);
    });
    emit app_.previewChanged();
}

void MainWindow::connectCommands() {
    auto on = [this](const char* control, auto handler) {
        if (QAction* a = action(QString::fromLatin1(control)))
            connect(a, &QAction::triggered, this, handler);
    };
    on("menuExit", [this] { cmdExit(app_); });
    on("menuSetup", [this] { cmdSetup(app_); });
    on("menuPreview", [this] { menuPreview_Click(app_); });
    on("menuConnect", [this] { menuConnect_Click(app_); });
    on("menuGroup", [this] { menuGroup_Click(app_); });
    on("menuRefreshG", [this] { menuRefreshG_Click(app_); });
    on("menuRefreshM", [this] { menuRefreshM_Click(app_); });
    on("menuStop", [this] { menuStop_Click(app_); });

    on("menuNew", [this] { menuNew_Click(app_); });
    on("menuSave", [this] { menuSave_Click(app_); });
    on("menuLoad", [this] { menuLoad_Click(app_); });
    on("menuOpenNzb", [this] { menuOpenNzb_Click(app_); });
    on("menuSaveNzb", [this] { menuSaveNzb_Click(app_); });
    on("menuFind", [this] { menuFind_Click(app_, this); });
    on("menuFindNext", [this] { menuFindNext_Click(app_); });
    on("menuAuto", [this] { menuAuto_Click(app_, this); });
    on("menuQuickHelp", [this] { menuQuickHelp_Click(this); });
    on("menuAbout", [this] { menuAbout_Click(this); });
    on("menuPostC", [this] { menuPostC_Click(app_, this); });
    on("menuPostG", [this] { menuPostG_Click(app_, this); });
    on("menuPostF", [this] { menuPostF_Click(app_, this); });

    ListView* favorites = view(app_.lstFavorites);
    favorites->setDropTarget(true);
    favorites->setSelectAllByLogic(true);
    connect(favorites, &ListView::textDropped, this,
            [this](const QString& text) { lstFavorites_Drop(app_, text); });
    connect(favorites, &ListView::rowDoubleClicked, this,
            [this](int) { lstFavorites_DblClick(app_); });
    connect(favorites, &ListView::keyDown, this, [this](int key, Qt::KeyboardModifiers mods) {
        if (key == Qt::Key_Return || key == Qt::Key_Enter)
            lstFavorites_DblClick(app_);
        else if (key == Qt::Key_Delete)
            lstFavorites_DeleteSelected(app_);
        else if (key == Qt::Key_A && (mods & Qt::ControlModifier))
            lstFavorites_SelectAll(app_);
    });

    on("menuDownload", [this] {
        app_.StopRequested = false;
        lstMessages_DblClick(app_);
    });
    on("menuDownloadAll", [this] { menuDownloadAll_Click(app_); });
    on("menuView", [this] { lstMessages_MouseDown(app_); });
    on("menuDowloadAllF", [this] { menuDowloadAllF_Click(app_); });
    ListView* messages = view(app_.lstMessages);
    connect(messages, &ListView::rowDoubleClicked, this,
            [this](int) { lstMessages_DblClick(app_); });
    connect(messages, &ListView::rightClicked, this, [this](int) { lstMessages_MouseDown(app_); });
    connect(messages, &ListView::keyDown, this, [this](int key, Qt::KeyboardModifiers) {
        if (key == Qt::Key_Return || key == Qt::Key_Enter)
            lstMessages_DblClick(app_);
        else if (key == Qt::Key_F2)
            lstMessages_DownloadAll(app_);
    });

    on("menuWebC", [this] { menuWebC_Click(app_); });
    on("menuWebG", [this] { menuWebG_Click(app_); });
    on("menuWebF", [this] { menuWebF_Click(app_); });
    on("menuWebM", [this] { menuWebM_Click(app_); });
    on("menuEmailC", [this] { menuEmailC_Click(app_); });
    on("menuEmailG", [this] { menuEmailG_Click(app_); });
    on("menuEmailF", [this] { menuEmailF_Click(app_); });
    on("menuServC", [this] { menuServC_Click(app_); });
    on("menuServG", [this] { menuServG_Click(app_); });
    on("menuServF", [this] { menuServF_Click(app_); });
    on("menuCheck", [this] { menuCheck_Click(app_); });
    on("menuScan", [this] { menuScan_Click(app_); });
    on("menuScanE", [this] { menuScanE_Click(app_); });
    on("menuScanRandom", [this] { menuScanRandom_Click(app_); });
    on("menuEmailS", [this] { menuEmailS_Click(app_); });
    on("menuServS", [this] { menuServS_Click(app_); });
    on("menuGen", [this] { menuGen_Click(app_); });
    ListView* links = view(app_.lstHTTP);
    links->setToolTip(QStringLiteral("Double Click address to launch browser and go to Web site."));
    connect(links, &ListView::rowDoubleClicked, this, [this](int) { lstHTTP_DblClick(app_); });
    connect(links, &ListView::keyDown, this, [this](int key, Qt::KeyboardModifiers) {
        if (key == Qt::Key_Return || key == Qt::Key_Enter) lstHTTP_DblClick(app_);
    });

    ListView* groups = view(app_.lstGroups);
    groups->setDragSource(true);
    groups->setSelectAllByLogic(true);
    connect(groups, &ListView::rowDoubleClicked, this, [this](int) { lstGroups_DblClick(app_); });
    connect(groups, &ListView::keyDown, this, [this](int key, Qt::KeyboardModifiers mods) {
        if (key == Qt::Key_Return || key == Qt::Key_Enter)
            lstGroups_DblClick(app_);
        else if (key == Qt::Key_A && (mods & Qt::ControlModifier))
            app_.lstGroups.selectAll();
    });
}

void MainWindow::connectFiles() {
    connect(action(QStringLiteral("menuPreviewL")), &QAction::triggered, this,
            [this] { menuPreviewL_Click(app_); });
    connect(picture1_, &PictureWidget::doubleClicked, this, [this] { Picture1_DblClick(app_); });
    ListView* files = view(app_.lstFiles);
    connect(files, &QAbstractItemView::clicked, this, [this] { lstFiles_Click(app_); });
    connect(files, &ListView::rowDoubleClicked, this, [this](int) { lstFiles_DblClick(app_); });
    connect(files, &ListView::keyDown, this, [this](int key, Qt::KeyboardModifiers) {
        if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Space)
            lstFiles_KeyPress(app_, key);
    });
    // After the list has moved its current row, so the preview follows it.
    connect(files, &ListView::keyHandled, this, [this, files](int key) {
        lstFiles_KeyDown(app_, key);
        files->viewport()->update();
    });
}

void MainWindow::showFrame(Frame f) {
    QGroupBox* box = frameBox(f);
    if (!box) return;
    const FrameState& st = app_.frame(f);
    box->setTitle(st.title);
    box->setEnabled(st.enabled);
    box->setVisible(st.visible);
}

void MainWindow::showMenuItem(int number) {
    for (QAction* a : menuItems(number))
        a->setEnabled(app_.menuEnabled.value(number));
    if (number == 6)
        if (QAction* a = action(QStringLiteral("menuConnect"))) a->setText(app_.menuConnectCaption);
    // A server without posting right hides the whole Post menu.
    if (number == 11 && postMenu_) postMenu_->menuAction()->setVisible(app_.menuPostVisible);
}

void MainWindow::showToolButton(int number) {
    QAction* a = toolButton(number);
    if (!a) return;
    const ToolButtonState& st = app_.toolbar[number];
    a->setEnabled(st.enabled);
    a->setVisible(st.visible);
    a->setText(st.caption);
    a->setIcon(image(st.image));
}

void MainWindow::showStatus(int panel) {
    panels_[panel]->setText(app_.statbar[panel]);
}

void MainWindow::showProgress() {
    progBar_->setRange(app_.progMin, std::max(app_.progMin, app_.progMax));
    progBar_->setValue(
        std::clamp(app_.progValue, app_.progMin, std::max(app_.progMin, app_.progMax)));
}

void MainWindow::applyGeometry() {
    // Position is the frame's, size the window's own: both are what Qt
    // takes and gives back exactly, whenever the window manager adds its
    // decoration. Maximised or minimised, the window manager has the
    // rectangle; only the frames follow.
    applying_ = true;
    const double k = pxPerTwip();
    if (app_.WindowState == 0) {
        if (shownState() != 0) {
            showNormal();
            if (normal_.isValid()) {
                app_.FormLeft = normal_.left();
                app_.FormTop = normal_.top();
                app_.FormWidth = normal_.width();
                app_.FormHeight = normal_.height();
            }
        }
        move(qRound(app_.FormLeft * k), qRound(app_.FormTop * k));
        resize(std::max(1, qRound(app_.FormWidth * k)), std::max(1, qRound(app_.FormHeight * k)));
        normal_ = QRectF(app_.FormLeft, app_.FormTop, app_.FormWidth, app_.FormHeight);
    }
    applying_ = false;
    layoutFrames();
}

int MainWindow::shownState() const {
    // The platform window may know of a new state before the widget does:
    // a resize to the maximised size can come first.
    Qt::WindowStates st = windowState();
    if (const QWindow* w = windowHandle()) st |= w->windowStates();
    if (st & Qt::WindowMinimized) return 1;
    if (st & (Qt::WindowMaximized | Qt::WindowFullScreen)) return 2;
    return 0;
}

void MainWindow::readGeometry() {
    const double k = pxPerTwip();
    app_.WindowState = shownState();
    if (app_.WindowState == 1) return;
    // The frames are laid out for the size on show; the normal rectangle is
    // kept apart for the next start.
    app_.FormWidth = width() / k;
    app_.FormHeight = height() / k;
    if (app_.WindowState == 2) return;
    app_.FormLeft = pos().x() / k;
    app_.FormTop = pos().y() / k;
    normal_ = QRectF(app_.FormLeft, app_.FormTop, app_.FormWidth, app_.FormHeight);
}

void MainWindow::layoutFrames() {
    const double k = pxPerTwip();
    auto px = [k](const QRectF& r, double dy) {
        return QRect(qRound(r.left() * k), qRound((r.top() + dy) * k), qRound(r.width() * k),
                     qRound(r.height() * k));
    };
    for (int f = 0; f < static_cast<int>(Frame::NNTP); ++f) {
        QGroupBox* box = frameBoxes_[f];
        const FrameState& st = app_.frames[f];
        box->setGeometry(px(st.rect, -kToolbarTwips));
        const QRect inner = px(st.listRect, 0);
        for (QObject* child : box->children())
            if (auto* w = qobject_cast<QWidget*>(child)) w->setGeometry(inner);
    }
    for (int p = 1; p <= 3; ++p)
        panels_[p]->setFixedWidth(std::max(20, qRound(app_.statbarWidths[p] * k)));
}

void MainWindow::closeEvent(QCloseEvent* e) {
    // The close request always takes the way of Exit, whatever its reason.
    e->accept();
    // An open large preview keeps its rectangle for the next start too.
    if (maxPrev_ && maxPrev_->isVisible()) maxPrev_->close();
    cmdExit(app_);
}

namespace {

QStringList droppedFiles(const QMimeData* data) {
    QStringList paths;
    for (const QUrl& url : data->urls())
        if (url.isLocalFile()) paths << url.toLocalFile();
    return paths;
}

} // namespace

void MainWindow::dragEnterEvent(QDragEnterEvent* e) {
    const QStringList paths = droppedFiles(e->mimeData());
    if (std::any_of(paths.cbegin(), paths.cend(), isNzbPath))
        e->acceptProposedAction();
    else
        e->ignore();
}

void MainWindow::dropEvent(QDropEvent* e) {
    e->acceptProposedAction();
    OpenNzbFilesLater(app_, droppedFiles(e->mimeData()));
}

void MainWindow::resizeEvent(QResizeEvent* e) {
    QMainWindow::resizeEvent(e);
    if (applying_) return;
    readGeometry();
    const double w = app_.FormWidth, h = app_.FormHeight, l = app_.FormLeft, t = app_.FormTop;
    Form_Resize(app_);
    if (app_.WindowState == 1) return;
    if (app_.WindowState == 0 &&
        (w != app_.FormWidth || h != app_.FormHeight || l != app_.FormLeft || t != app_.FormTop))
        applyGeometry();
    else
        layoutFrames();
}

void MainWindow::moveEvent(QMoveEvent* e) {
    QMainWindow::moveEvent(e);
    if (!applying_ && app_.WindowState == 0 && shownState() == 0) readGeometry();
}

void MainWindow::changeEvent(QEvent* e) {
    QMainWindow::changeEvent(e);
    if (e->type() == QEvent::WindowStateChange && !applying_) app_.WindowState = shownState();
}
