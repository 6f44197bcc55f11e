#include "shell/prompter_dialog.h"

#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>

namespace {

QMessageBox::Icon boxIcon(Prompter::Icon icon) {
    switch (icon) {
    case Prompter::Icon::Exclamation:
        return QMessageBox::Warning;
    case Prompter::Icon::Information:
        return QMessageBox::Information;
    case Prompter::Icon::Question:
        return QMessageBox::Question;
    case Prompter::Icon::Critical:
        return QMessageBox::Critical;
    case Prompter::Icon::None:
        break;
    }
    return QMessageBox::NoIcon;
}

} // namespace

void DialogPrompter::message(const QString& text, const QString& title, Icon icon) {
    QMessageBox box(boxIcon(icon), title, text, QMessageBox::Ok, parent_);
    box.exec();
}

bool DialogPrompter::askYesNo(const QString& text, const QString& title) {
    return QMessageBox::question(parent_, title, text, QMessageBox::Yes | QMessageBox::No) ==
           QMessageBox::Yes;
}

bool DialogPrompter::askOkCancel(const QString& text, const QString& title) {
    QMessageBox box(QMessageBox::Question, title, text, QMessageBox::Ok | QMessageBox::Cancel,
                    parent_);
    return box.exec() == QMessageBox::Ok;
}

std::optional<QString> DialogPrompter::input(const QString& prompt, const QString& title,
                                             const QString& initial) {
    bool ok = false;
    const QString s =
        QInputDialog::getText(parent_, title, prompt, QLineEdit::Normal, initial, &ok);
    if (!ok) return std::nullopt;
    return s;
}

QString DialogPrompter::openFileName(const QString& title, const QString& filter,
                                     const QString& dir) {
    return QFileDialog::getOpenFileName(parent_, title, dir, filter);
}

QString DialogPrompter::saveFileName(const QString& title, const QString& filter,
                                     const QString& dir) {
    // The program asks its own "OverWrite Existing File?" where it matters;
    // the chooser's question would make the user answer twice.
    return QFileDialog::getSaveFileName(parent_, title, dir, filter, nullptr,
                                        QFileDialog::DontConfirmOverwrite);
}

QString DialogPrompter::directory(const QString& title, const QString& dir) {
    return QFileDialog::getExistingDirectory(parent_, title, dir);
}
