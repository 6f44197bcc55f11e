#pragma once

#include <QDialog>

class App;
class QLineEdit;
class QPushButton;

// frmFind: the search text, with OK turning into "Next" while rows are found.
class FindDialog : public QDialog {
    Q_OBJECT
public:
    explicit FindDialog(App& app, QWidget* parent = nullptr);

    void cmdOK_Click();

    QLineEdit* txtSearch() const { return txtSearch_; }
    QPushButton* cmdOK() const { return cmdOK_; }

private:
    App& app_;
    QLineEdit* txtSearch_ = nullptr;
    QPushButton* cmdOK_ = nullptr;
};

// Shows frmFind as a modal dialog over the main window.
void menuFind_Click(App& app, QWidget* parent);
