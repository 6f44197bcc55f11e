#pragma once

#include <QDialog>

class QTabWidget;

// frmQuickHelp: five tabs of short help texts, shown beside the main window.
class QuickHelpWindow : public QDialog {
    Q_OBJECT
public:
    explicit QuickHelpWindow(QWidget* parent = nullptr);

    QTabWidget* tabs() const { return tabs_; }

private:
    QTabWidget* tabs_ = nullptr;
};

// Shows frmQuickHelp, not modal; a second call brings the open one forward.
QuickHelpWindow* menuQuickHelp_Click(QWidget* parent);
