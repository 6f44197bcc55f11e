#pragma once

#include <QString>
#include <optional>

// Every question and message box goes through one of these: the windows
// layer shows real dialogs, tests script the answers and read what was shown.
class Prompter {
public:
    enum class Icon { None, Exclamation, Information, Question, Critical };

    virtual ~Prompter() = default;
    virtual void message(const QString& text, const QString& title, Icon icon) = 0;
    // True for Yes.
    virtual bool askYesNo(const QString& text, const QString& title) = 0;
    // True for OK.
    virtual bool askOkCancel(const QString& text, const QString& title) = 0;
    // Empty optional when the user cancelled.
    virtual std::optional<QString> input(const QString& prompt, const QString& title,
                                         const QString& initial) = 0;
    // File and directory choosers; an empty text means cancelled. The filter
    // is in Qt's form, e.g. "Text (*.txt)".
    virtual QString openFileName(const QString& title, const QString& filter,
                                 const QString& dir) = 0;
    virtual QString saveFileName(const QString& title, const QString& filter,
                                 const QString& dir) = 0;
    virtual QString directory(const QString& title, const QString& dir) = 0;
};

// Used until a window installs its own: says nothing and answers "no".
class SilentPrompter : public Prompter {
public:
    void message(const QString&, const QString&, Icon) override {}
    bool askYesNo(const QString&, const QString&) override { return false; }
    bool askOkCancel(const QString&, const QString&) override { return false; }
    std::optional<QString> input(const QString&, const QString&, const QString&) override {
        return std::nullopt;
    }
    QString openFileName(const QString&, const QString&, const QString&) override { return {}; }
    QString saveFileName(const QString&, const QString&, const QString&) override { return {}; }
    QString directory(const QString&, const QString&) override { return {}; }
};
