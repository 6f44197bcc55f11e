#include "support/find_dialog.h"

#include "shell/app.h"
#include "support/find.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>

FindDialog::FindDialog(App& app, QWidget* parent) : QDialog(parent), app_(app) {
    setObjectName(QStringLiteral("frmFind"));
    setWindowTitle(QStringLiteral("Find!"));
    auto* label = new QLabel(QStringLiteral("Search for "), this);
    txtSearch_ = new QLineEdit(app_.LastFind, this);
    txtSearch_->setObjectName(QStringLiteral("txtSearch"));
    txtSearch_->selectAll(); // typing replaces the last search
    label->setBuddy(txtSearch_);
    cmdOK_ = new QPushButton(QStringLiteral("&OK"), this);
    cmdOK_->setObjectName(QStringLiteral("cmdOK"));
    cmdOK_->setDefault(true); // Enter in the field presses it
    auto* cmdCancel = new QPushButton(QStringLiteral("&Cancel"), this);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    cmdCancel->setAutoDefault(false);

    auto* grid = new QGridLayout(this);
    grid->addWidget(label, 0, 0);
    grid->addWidget(txtSearch_, 0, 1);
    grid->addWidget(cmdOK_, 0, 2);
    grid->addWidget(cmdCancel, 1, 2);
    grid->setColumnMinimumWidth(1, 220);

    connect(txtSearch_, &QLineEdit::textChanged, this,
            [this](const QString& text) { StoreLastFind(app_, text); });
    connect(cmdOK_, &QPushButton::clicked, this, &FindDialog::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);

    if (parent) {
        // 500 twips below and right of the main window's corner.
        const QScreen* s = parent->screen();
        const int offset = qRound(500 * (s ? s->logicalDotsPerInchY() : 96.0) / 1440.0);
        move(parent->pos() + QPoint(offset, offset));
    }
}

void FindDialog::cmdOK_Click() {
    if (FindText(app_, txtSearch_->text()))
        cmdOK_->setText(QStringLiteral("Next"));
    else
        accept();
}

void menuFind_Click(App& app, QWidget* parent) {
    FindDialog frmFind(app, parent);
    frmFind.exec();
}
