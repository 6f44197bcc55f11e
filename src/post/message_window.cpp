#include "post/message_window.h"

#include "attachments/download.h"
#include "attachments/download_drivers.h"
#include "post/message_view.h"
#include "shell/app.h"
#include "shell/settings_values.h"

#include <QCloseEvent>
#include <QFontDatabase>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPrinter>
#include <QTextDocument>

namespace {

constexpr double kMinWidth = 5115, kMinHeight = 4500;

} // namespace

MessageWindow::MessageWindow(App& app, double pxPerTwip, QWidget* parent)
    : QWidget(parent, Qt::Window), app_(app), k_(pxPerTwip) {
    setObjectName(QStringLiteral("frmMessage"));
    setWindowTitle(QStringLiteral("Message Contents"));
    auto* bar = new QMenuBar(this);
    const std::pair<const char*, const char*> items[] = {{"menuPrint", "P&rint"},
                                                         {"menuReply", "&Relpy"},
                                                         {"menuPrevious", "&Previous"},
                                                         {"menuNext", "&Next"}};
    for (const auto& [name, caption] : items) {
        QAction* a = bar->addAction(QString::fromLatin1(caption));
        a->setObjectName(QLatin1String(name));
    }
    connect(bar->actions().at(0), &QAction::triggered, this, [this] { menuPrint_Click(); });
    connect(bar->actions().at(1), &QAction::triggered, this, [this] { menuReply_Click(); });
    connect(bar->actions().at(2), &QAction::triggered, this, [this] { menuPrevious_Click(); });
    connect(bar->actions().at(3), &QAction::triggered, this, [this] { menuNext_Click(); });
    menuBar_ = bar;

    frameTitle = new QGroupBox(QStringLiteral("Title/Subject"), this);
    frameTitle->setObjectName(QStringLiteral("frameTitle"));
    lblMsgContents = new QLabel(frameTitle);
    lblMsgContents->setObjectName(QStringLiteral("lblMsgContents"));
    lblMsgContents->setWordWrap(true);
    lblMsgContents->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    frameBody = new QGroupBox(QStringLiteral("Message Contents"), this);
    frameBody->setObjectName(QStringLiteral("frameBody"));
    lblPlease = new QLabel(QStringLiteral("Please Wait, Loading Message.."), frameBody);
    lblPlease->setObjectName(QStringLiteral("lblPlease"));
    lblPlease->setAlignment(Qt::AlignCenter);
    txtMsgBody = new QPlainTextEdit(frameBody);
    txtMsgBody->setObjectName(QStringLiteral("txtMsgBody"));
    txtMsgBody->setReadOnly(true);
    txtMsgBody->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    txtMsgBody->installEventFilter(this);
    setMinimumSize(qRound(kMinWidth * k_), qRound(kMinHeight * k_));
}

void MessageWindow::open(int row) {
    MessageIndex = row;
    if (!loaded_) {
        // The first opening reads the signature for replies.
        auto s = app_.openSettings();
        SettingsReader(*s).text("Signature", signature_, QString());
        loaded_ = true;
    }
    show();
    raise();
    msgActivate();
}

void MessageWindow::placeWindow() {
    auto s = app_.openSettings();
    SettingsReader r(*s);
    double width = 5115, height = 4395, top = 0, left = 0;
    r.real("MWidth", width, 5115);
    r.real("MHeight", height, 4395);
    r.real("MTop", top, app_.ScreenHeight / 2 - height / 2);
    r.real("MLeft", left, app_.ScreenWidth / 2 - width / 2);
    placing_ = true;
    move(qRound(left * k_), qRound(top * k_));
    resize(qRound(std::max(width, kMinWidth) * k_), qRound(std::max(height, kMinHeight) * k_));
    placing_ = false;
}

void MessageWindow::msgActivate() {
    app_.StopRequested = false;
    placeWindow();
    setEnabled(false);
    app_.setStatus(1, QStringLiteral("Retrieving Message"));
    qint64 number = viewerArticleNumber(app_, MessageIndex);
    lblMsgContents->setText(app_.lstMessages.text(MessageIndex));
    txtMsgBody->hide();
    app_.HeaderField = QStringLiteral("SubjectDL");
    cmdDownloadMessage(app_, number);
    app_.setStatus(1, QStringLiteral("Done"));
    setEnabled(true);
    txtMsgBody->show();
    if (app_.MessageDone) {
        txtMsgBody->setPlainText(
            readableArticle(QString::fromLatin1(app_.MessageText.left(kViewerLimit))));
        // Nothing takes the mark off while the window stays open.
        if (app_.MessageText.size() >= kViewerLimit)
            setWindowTitle(windowTitle() + QStringLiteral(" (partial)"));
    }
}

void MessageWindow::menuNext_Click() {
    ListModel& list = app_.lstMessages;
    const int row = list.listIndex();
    if (row < 0 || row >= list.count() - 1) return;
    list.setSelected(row, false);
    list.setSelected(row + 1, true);
    list.setListIndex(row + 1);
    lstMessages_MouseDown(app_);
}

void MessageWindow::menuPrevious_Click() {
    ListModel& list = app_.lstMessages;
    const int row = list.listIndex();
    if (row <= 0) return;
    list.setSelected(row, false);
    list.setSelected(row - 1, true);
    list.setListIndex(row - 1);
    lstMessages_MouseDown(app_);
}

void MessageWindow::printDocument(QPrinter& printer) const {
    QTextDocument doc;
    doc.setDefaultFont(txtMsgBody->font());
    doc.setPlainText(QStringLiteral("\n\n\nMessage Title : ") + lblMsgContents->text() +
                     QStringLiteral("\n\n") + txtMsgBody->toPlainText());
    doc.print(&printer);
}

void MessageWindow::menuPrint_Click() {
    QPrinter printer; // the default printer
    printDocument(printer);
}

void MessageWindow::menuReply_Click() {
    if (!app_.composeReply) return;
    app_.composeReply(QStringLiteral("Re : ") + lblMsgContents->text(),
                      replyMessage(signature_, txtMsgBody->toPlainText()));
}

void MessageWindow::layOut() {
    const double w = width() / k_, h = height() / k_;
    const int bar = menuBar_->sizeHint().height();
    menuBar_->setGeometry(0, 0, width(), bar);
    auto px = [this](double twips) { return qRound(twips * k_); };
    const double titleHeight = h * 0.15;
    frameTitle->setGeometry(px(10), bar, px(w - 200), px(titleHeight));
    lblMsgContents->setGeometry(px(100), px(200), std::max(0, px(w - 200 - 300)),
                                std::max(0, px(titleHeight - 300)));
    const int bodyTop = frameTitle->geometry().bottom() + px(10);
    frameBody->setGeometry(px(10), bodyTop, px(w - 200), std::max(0, height() - bodyTop - px(10)));
    const QRect inside = frameBody->contentsRect().adjusted(px(60), px(60), -px(60), -px(60));
    txtMsgBody->setGeometry(inside);
    lblPlease->setGeometry(inside);
}

void MessageWindow::storeGeometry() {
    if (isMinimized()) return;
    const QRect r = isMaximized() ? normalGeometry() : QRect(pos(), size());
    auto s = app_.openSettings();
    storeNumber(*s, "MTop", r.top() / k_);
    storeNumber(*s, "MLeft", r.left() / k_);
    storeNumber(*s, "MWidth", r.width() / k_);
    storeNumber(*s, "MHeight", r.height() / k_);
}

void MessageWindow::resizeEvent(QResizeEvent* e) {
    QWidget::resizeEvent(e);
    layOut();
    if (!placing_ && isVisible()) storeGeometry();
}

void MessageWindow::closeEvent(QCloseEvent* e) {
    viewerCommandsOn(app_);
    storeGeometry();
    e->accept();
}

bool MessageWindow::eventFilter(QObject* watched, QEvent* e) {
    if (watched == txtMsgBody && e->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(e)->key() == Qt::Key_Escape) {
        close();
        return true;
    }
    return QWidget::eventFilter(watched, e);
}
