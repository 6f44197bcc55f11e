#pragma once

#include "shell/prompter.h"

class QWidget;

// Real dialogs for the questions and messages of the logic.
class DialogPrompter : public Prompter {
public:
    explicit DialogPrompter(QWidget* parent) : parent_(parent) {}
    void message(const QString& text, const QString& title, Icon icon) override;
    bool askYesNo(const QString& text, const QString& title) override;
    bool askOkCancel(const QString& text, const QString& title) override;
    std::optional<QString> input(const QString& prompt, const QString& title,
                                 const QString& initial) override;
    QString openFileName(const QString& title, const QString& filter, const QString& dir) override;
    QString saveFileName(const QString& title, const QString& filter, const QString& dir) override;
    QString directory(const QString& title, const QString& dir) override;

private:
    QWidget* parent_;
};
