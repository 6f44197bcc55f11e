#include "schedule/auto_dialog.h"

#include "schedule/auto_schedule.h"
#include "shell/app.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace {

const char* const kDays[] = {"Monday", "Tuesday",  "Wednesday", "Thursday",
                             "Friday", "Saturday", "Sunday"};

QPushButton* button(const char* caption, const char* name, QWidget* parent) {
    auto* b = new QPushButton(QString::fromLatin1(caption), parent);
    b->setObjectName(QString::fromLatin1(name));
    b->setAutoDefault(false);
    return b;
}

QGroupBox* frame(const char* caption, const char* name, QWidget* parent) {
    auto* f = new QGroupBox(QString::fromLatin1(caption), parent);
    f->setObjectName(QString::fromLatin1(name));
    return f;
}

} // namespace

AutoDialog::AutoDialog(App& app, QWidget* parent) : QDialog(parent), app_(app) {
    setObjectName(QStringLiteral("frmAuto"));
    setWindowTitle(QStringLiteral("Zanderfell! - Schedule Auto Download"));

    QGroupBox* frameTime = frame("At What Time?", "frameTime", this);
    txtTime_ = new QLineEdit(QStringLiteral("12:00"), frameTime);
    txtTime_->setObjectName(QStringLiteral("txtTime"));
    txtTime_->installEventFilter(this);
    optAM_ = new QRadioButton(QStringLiteral("AM"), frameTime);
    optAM_->setObjectName(QStringLiteral("optAM"));
    optPM_ = new QRadioButton(QStringLiteral("PM"), frameTime);
    optPM_->setObjectName(QStringLiteral("optPM"));
    auto* timeRow = new QHBoxLayout(frameTime);
    timeRow->addWidget(txtTime_);
    timeRow->addWidget(optAM_);
    timeRow->addWidget(optPM_);

    QGroupBox* Frame1 = frame("When?", "Frame1", this);
    auto* days = new QGridLayout(Frame1);
    for (int i = 0; i < 7; ++i) {
        Check1_[i] = new QCheckBox(QString::fromLatin1(kDays[i]), Frame1);
        Check1_[i]->setObjectName(QStringLiteral("Check1_%1").arg(i));
        days->addWidget(Check1_[i], i % 4, i / 4);
    }
    QPushButton* cmdAll = button("&All", "cmdAll", Frame1);
    QPushButton* cmdNone = button("&None", "cmdNone", Frame1);
    days->addWidget(cmdAll, 0, 2);
    days->addWidget(cmdNone, 1, 2);
    connect(cmdAll, &QPushButton::clicked, this, [this] { setAllDays(true); });
    connect(cmdNone, &QPushButton::clicked, this, [this] { setAllDays(false); });

    // Shown as choices, and the first one on: a scheduled run always
    // downloads the attachments, whichever is chosen.
    QGroupBox* frameDownload = frame("Download What...?", "frameDownload", this);
    auto* what = new QVBoxLayout(frameDownload);
    const std::pair<const char*, const char*> options[] = {
        {"optDAttach", "Download all File Attachments from favorites"},
        {"optDEmail", "Downlaod all Email Addresses from favorites"},
        {"optDWeb", "Download all Web Addresses from favorites"}};
    for (auto [name, caption] : options) {
        auto* o = new QRadioButton(QString::fromLatin1(caption), frameDownload);
        o->setObjectName(QString::fromLatin1(name));
        what->addWidget(o);
    }
    frameDownload->findChild<QRadioButton*>(QStringLiteral("optDAttach"))->setChecked(true);

    cmdOK_ = button("&OK", "cmdOK", this);
    QPushButton* cmdCancel = button("&Cancel", "cmdCancel", this);
    connect(cmdOK_, &QPushButton::clicked, this, &AutoDialog::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cmdOK_);
    buttons->addWidget(cmdCancel);

    auto* top = new QHBoxLayout;
    top->addWidget(frameTime);
    top->addWidget(frameDownload);
    auto* all = new QVBoxLayout(this);
    all->addLayout(top);
    all->addWidget(Frame1);
    all->addLayout(buttons);

    Form_Load();
}

void AutoDialog::Form_Load() {
    txtTime_->setText(app_.AutoTime);
    (app_.AutoAMPM ? optPM_ : optAM_)->setChecked(true);
    for (int i = 0; i < 7; ++i)
        Check1_[i]->setChecked(app_.AutoDays.mid(i, 1) == QLatin1String("1"));
}

void AutoDialog::setAllDays(bool on) {
    for (QCheckBox* c : Check1_)
        c->setChecked(on);
}

void AutoDialog::cmdOK_Click() {
    app_.AutoTime = txtTime_->text();
    app_.AutoAMPM = optAM_->isChecked() ? 0 : 1;
    QString days;
    for (QCheckBox* c : Check1_)
        days += c->isChecked() ? u'1' : u'0';
    app_.AutoDays = days;
    if (app_.saveSettings) app_.saveSettings();
    accept();
}

bool AutoDialog::eventFilter(QObject* watched, QEvent* e) {
    if (watched != txtTime_ || e->type() != QEvent::KeyPress)
        return QDialog::eventFilter(watched, e);
    auto* k = static_cast<QKeyEvent*>(e);
    if (k->key() == Qt::Key_Return || k->key() == Qt::Key_Enter) {
        // Enter checks the time instead of pressing OK.
        if (ReadAutoTime(txtTime_->text(), 0).isValid()) {
            focusNextChild();
        } else {
            txtTime_->clear();
        }
        return true;
    }
    // Keys that type a character: digits, ":" and the few around them, ".".
    const QString text = k->text();
    if (text.size() != 1) return false;
    const ushort code = text.at(0).unicode();
    if (code < 32 || code == 127) return false; // Tab, Esc, Delete and the like
    return !((code >= 48 && code <= 75) || code == 46);
}

void menuAuto_Click(App& app, QWidget* parent) {
    AutoDialog frmAuto(app, parent);
    frmAuto.exec();
}
