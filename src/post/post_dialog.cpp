#include "post/post_dialog.h"

#include "post/news_client.h"
#include "shell/app.h"

#include <QFocusEvent>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QSettings>
#include <QVBoxLayout>

namespace {

QGroupBox* frame(const char* caption, const char* name, QWidget* parent) {
    auto* f = new QGroupBox(QString::fromLatin1(caption), parent);
    f->setObjectName(QString::fromLatin1(name));
    return f;
}

QPushButton* button(const char* caption, const char* name, QWidget* parent) {
    auto* b = new QPushButton(QString::fromLatin1(caption), parent);
    b->setObjectName(QString::fromLatin1(name));
    // Enter on OK is handled here: the address is checked before the post.
    b->setAutoDefault(false);
    return b;
}

template <typename Field> Field* field(const char* name, QWidget* parent, QLayout* layout) {
    auto* f = new Field(parent);
    f->setObjectName(QString::fromLatin1(name));
    layout->addWidget(f);
    return f;
}

// The text box holds LF line ends; the article has CR LF.
QString withCrLf(QString text) {
    return text.replace(u'\n', QStringLiteral("\r\n"));
}

void openPostDialog(App& app, quint8 mode, QWidget* parent) {
    if (!CheckWindows(app, mode)) return;
    PostDialog frmPostMsg(app, parent);
    frmPostMsg.PostMode = mode;
    frmPostMsg.exec();
}

} // namespace

PostDialog::PostDialog(App& app, QWidget* parent) : QDialog(parent), app_(app) {
    setObjectName(QStringLiteral("frmPostMsg"));
    setWindowTitle(QStringLiteral("Post Message"));

    QGroupBox* frameEmail = frame("Email Address", "frameEmail", this);
    txtEmail_ = field<QLineEdit>("txtEmail", frameEmail, new QVBoxLayout(frameEmail));
    QGroupBox* frameName = frame("Name", "frameName", this);
    txtName_ = field<QLineEdit>("txtName", frameName, new QVBoxLayout(frameName));
    QGroupBox* frameSig = frame("Signature", "frameSig", this);
    txtSig_ = field<QPlainTextEdit>("txtSig", frameSig, new QVBoxLayout(frameSig));
    txtSig_->setToolTip(QStringLiteral("Enter text to add to all outgoing messages."));
    txtSig_->setMaximumHeight(80);

    QGroupBox* frameMessage = frame("Message", "frameMessage", this);
    auto* message = new QVBoxLayout(frameMessage);
    auto* subjectRow = new QHBoxLayout;
    auto* lblSubject = new QLabel(QStringLiteral("Subject"), frameMessage);
    lblSubject->setObjectName(QStringLiteral("lblSubject"));
    subjectRow->addWidget(lblSubject);
    txtSubject_ = field<QLineEdit>("txtSubject", frameMessage, subjectRow);
    message->addLayout(subjectRow);
    txtMessage_ = field<QPlainTextEdit>("txtMessage", frameMessage, message);
    txtMessage_->setLineWrapMode(QPlainTextEdit::NoWrap);

    cmdOK_ = button("&OK", "cmdOK", this);
    cmdCancel_ = button("&Cancel", "cmdCancel", this);
    statbar_ = new QLabel(this);
    statbar_->setObjectName(QStringLiteral("statbar"));
    statbar_->setFrameStyle(QFrame::Panel | QFrame::Sunken);
    progBar_ = new QProgressBar(this);
    progBar_->setObjectName(QStringLiteral("progBar"));
    progBar_->setTextVisible(false);
    progBar_->setValue(0);

    auto* poster = new QHBoxLayout;
    poster->addWidget(frameEmail);
    poster->addWidget(frameName);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(progBar_, 1);
    buttons->addWidget(cmdOK_);
    buttons->addWidget(cmdCancel_);
    auto* all = new QVBoxLayout(this);
    all->addLayout(poster);
    all->addWidget(frameMessage, 1);
    all->addWidget(frameSig);
    all->addLayout(buttons);
    all->addWidget(statbar_);
    resize(560, 480);

    Form_Load();

    txtEmail_->installEventFilter(this);
    txtName_->installEventFilter(this);
    cmdOK_->installEventFilter(this);
    connect(txtSubject_, &QLineEdit::textChanged, this,
            [this](const QString& text) { app_.PostSubject = text; });
    connect(txtSig_, &QPlainTextEdit::textChanged, this, [this] {
        // Kept at once, so that a cancelled dialog does not lose it.
        app_.Signature = txtSig_->toPlainText();
        app_.openSettings()->setValue(QStringLiteral("Signature"), app_.Signature);
    });
    connect(cmdOK_, &QPushButton::clicked, this, &PostDialog::cmdOK_Click);
    connect(cmdCancel_, &QPushButton::clicked, this, &PostDialog::cmdCancel_Click);
}

PostDialog::~PostDialog() {
    for (QObject* o : {static_cast<QObject*>(txtEmail_), static_cast<QObject*>(txtName_),
                       static_cast<QObject*>(cmdOK_)})
        o->removeEventFilter(this);
    Form_Unload();
}

void PostDialog::Form_Load() {
    auto s = app_.openSettings();
    app_.PostSubject = s->value(QStringLiteral("Subject")).toString();
    app_.Signature = s->value(QStringLiteral("Signature")).toString();
    txtSig_->setPlainText(app_.Signature);
    txtSubject_->setText(app_.PostSubject);
    txtEmail_->setText(app_.EmailAddress);
    txtName_->setText(app_.UserName);
    // A connection left open by the last run ends here.
    app_.NNTP2->setBlocking(true);
    app_.NNTP2->disconnectFromServer();
}

void PostDialog::Form_Unload() {
    auto s = app_.openSettings();
    const double twipsPerPx = 1440.0 / (screen() ? screen()->logicalDotsPerInchY() : 96.0);
    s->setValue(QStringLiteral("Email Address"), app_.EmailAddress);
    s->setValue(QStringLiteral("Subject"), app_.PostSubject);
    s->setValue(QStringLiteral("Name"), app_.UserName);
    s->setValue(QStringLiteral("PTop"), QString::number(qRound(y() * twipsPerPx)));
    s->setValue(QStringLiteral("PLeft"), QString::number(qRound(x() * twipsPerPx)));
    s->setValue(QStringLiteral("Signature"), txtSig_->toPlainText());
}

void PostDialog::showEvent(QShowEvent* e) {
    QDialog::showEvent(e);
    if (ReplyPost == 1) txtMessage_->setFocus();
}

bool PostDialog::eventFilter(QObject* watched, QEvent* e) {
    if (e->type() == QEvent::FocusOut) {
        // Only a move to another control of the dialog counts, not a
        // message box or another window taking the focus.
        const Qt::FocusReason why = static_cast<QFocusEvent*>(e)->reason();
        const bool moved =
            why != Qt::ActiveWindowFocusReason && why != Qt::PopupFocusReason && isVisible();
        // A field switched off for the run loses the focus too; that is no check.
        if (watched == txtEmail_ && moved && txtEmail_->isEnabled()) checkAddress();
        if (watched == txtName_ && !txtName_->text().isEmpty()) app_.UserName = txtName_->text();
    } else if (watched == cmdOK_ && e->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(e)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            checkAddress();
            cmdOK_->click();
            return true;
        }
    }
    return QDialog::eventFilter(watched, e);
}

void PostDialog::checkAddress() {
    const QString text = txtEmail_->text();
    if (!text.contains(u'@') || !text.contains(u'.')) {
        app_.prompter->message(QStringLiteral("Invalid Email Address!"),
                               QStringLiteral("Zanderfell!"), Prompter::Icon::Exclamation);
        app_.EmailAddress.clear();
        txtEmail_->clear();
        return;
    }
    app_.EmailAddress = text;
}

void PostDialog::cmdOK_Click() {
    if (!cmdOK_->isEnabled()) return;
    cmdPostMessage(app_, *this, PostMode);
}

void PostDialog::cmdCancel_Click() {
    app_.StopRequested = true;
    hide();
}

void PostDialog::reject() {
    cmdCancel_Click();
}

// ------------------------------------------------------------------ PostForm

QString PostDialog::txtEmail() const {
    return txtEmail_->text();
}

QString PostDialog::txtSubject() const {
    return txtSubject_->text();
}

QString PostDialog::txtMessage() const {
    return withCrLf(txtMessage_->toPlainText());
}

void PostDialog::setTxtMessage(const QString& text) {
    QString lf = text;
    txtMessage_->setPlainText(lf.replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
}

QString PostDialog::txtSig() const {
    return withCrLf(txtSig_->toPlainText());
}

void PostDialog::disableForRun() {
    for (QWidget* w : {static_cast<QWidget*>(cmdOK_), static_cast<QWidget*>(txtEmail_),
                       static_cast<QWidget*>(txtMessage_), static_cast<QWidget*>(txtSubject_),
                       static_cast<QWidget*>(txtName_)})
        w->setEnabled(false);
}

void PostDialog::setCancelCaption(const QString& caption) {
    cmdCancel_->setText(caption);
}

void PostDialog::setStatus(const QString& text) {
    statbar_->setText(text);
}

void PostDialog::setProgress(int min, int max, int value) {
    progBar_->setRange(min, std::max(min, max));
    setProgressValue(value);
}

void PostDialog::setProgressValue(int value) {
    progBar_->setValue(std::clamp(value, progBar_->minimum(), progBar_->maximum()));
}

// ------------------------------------------------------------------ commands

void menuPostC_Click(App& app, QWidget* parent) {
    openPostDialog(app, 2, parent);
}

void menuPostG_Click(App& app, QWidget* parent) {
    openPostDialog(app, 0, parent);
}

void menuPostF_Click(App& app, QWidget* parent) {
    openPostDialog(app, 1, parent);
}

void replyToMessage(App& app, const QString& subject, const QString& message, QWidget* parent) {
    if (!CheckWindows(app, 2)) return;
    PostDialog frmPostMsg(app, parent);
    frmPostMsg.PostMode = 2;
    frmPostMsg.ReplyPost = 1;
    frmPostMsg.txtSubjectField()->setText(subject);
    frmPostMsg.txtMessageField()->setPlainText(message);
    frmPostMsg.exec();
}
