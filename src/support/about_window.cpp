#include "support/about_window.h"

#include "support/app_icon.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

namespace {

const char kDisclaimer[] =
    "Zanderfell! is provided as it is, without any warranty of any kind. You use it at your own "
    "risk. The authors are not liable for any damage or loss that comes from its use. What you "
    "download from Usenet is the work of others: you alone are responsible for what you fetch, "
    "keep and pass on, and for respecting the law and the rights of those who posted it.";

} // namespace

QString VersionLine() {
    return QStringLiteral("Version 2.5 Build (%1.%2.%3)")
        .arg(kVersionMajor)
        .arg(kVersionMinor)
        .arg(kVersionRevision);
}

AboutWindow::AboutWindow(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("frmAbout"));
    setWindowTitle(QStringLiteral("About"));
    auto* picture = new QLabel(this);
    picture->setObjectName(QStringLiteral("picLogo"));
    picture->setPixmap(AppIcon().pixmap(72));
    auto* name = new QLabel(QStringLiteral("<b>Zanderfell!</b><br>Usenet binary newsreader"), this);
    lblVersion_ = new QLabel(VersionLine(), this);
    lblVersion_->setObjectName(QStringLiteral("lblVersion"));
    auto* head = new QGridLayout;
    head->addWidget(picture, 0, 0, 2, 1);
    head->addWidget(name, 0, 1);
    head->addWidget(lblVersion_, 1, 1);
    head->setColumnStretch(1, 1);

    auto* frame = new QGroupBox(QStringLiteral("Software Disclaimer"), this);
    frame->setObjectName(QStringLiteral("Frame1"));
    auto* text = new QLabel(QString::fromLatin1(kDisclaimer), frame);
    text->setWordWrap(true);
    text->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    (new QVBoxLayout(frame))->addWidget(text);

    auto* ok = new QPushButton(QStringLiteral("&OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    connect(ok, &QPushButton::clicked, this, &QDialog::accept);

    auto* all = new QVBoxLayout(this);
    all->addLayout(head);
    all->addWidget(frame, 1);
    all->addWidget(ok, 0, Qt::AlignRight);

    // 6375 by 4695 twips, and no other size.
    const QScreen* s = screen();
    const double k = (s ? s->logicalDotsPerInchY() : 96.0) / 1440.0;
    setFixedSize(qRound(6375 * k), qRound(4695 * k));
}

AboutWindow* menuAbout_Click(QWidget* parent) {
    auto* w =
        parent ? parent->findChild<AboutWindow*>(QString(), Qt::FindDirectChildrenOnly) : nullptr;
    if (!w) {
        w = new AboutWindow(parent);
        w->setAttribute(Qt::WA_DeleteOnClose);
    }
    w->show();
    w->raise();
    w->activateWindow();
    return w;
}
