#include "support/about_window.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

namespace {

// The logo: a white Z on a teal disc, crossed by a falling arrow.
QPixmap logo(int side) {
    QPixmap p(side, side);
    p.fill(Qt::transparent);
    QPainter g(&p);
    g.setRenderHint(QPainter::Antialiasing);
    g.setPen(Qt::NoPen);
    g.setBrush(QColor(0, 128, 128));
    g.drawEllipse(QRectF(1, 1, side - 2, side - 2));
    const double u = side / 10.0;
    QPainterPath z;
    z.moveTo(2.6 * u, 2.8 * u);
    z.lineTo(7.4 * u, 2.8 * u);
    z.lineTo(3.6 * u, 6.2 * u);
    z.lineTo(7.4 * u, 6.2 * u);
    g.setPen(QPen(Qt::white, 1.1 * u, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    g.setBrush(Qt::NoBrush);
    g.drawPath(z);
    g.setPen(QPen(QColor(255, 200, 60), 0.7 * u, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    g.drawLine(QPointF(5 * u, 6.9 * u), QPointF(5 * u, 8.6 * u));
    g.drawLine(QPointF(4.2 * u, 7.9 * u), QPointF(5 * u, 8.6 * u));
    g.drawLine(QPointF(5.8 * u, 7.9 * u), QPointF(5 * u, 8.6 * u));
    return p;
}

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
    picture->setPixmap(logo(72));
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
