#pragma once

#include <QDialog>

class QLabel;

// The program's version record.
constexpr int kVersionMajor = 2;
constexpr int kVersionMinor = 5;
constexpr int kVersionRevision = 69;

// "Version 2.5 Build (2.5.69)".
QString VersionLine();

// frmAbout: logo, version and disclaimer, at a size that doesn't change.
class AboutWindow : public QDialog {
    Q_OBJECT
public:
    explicit AboutWindow(QWidget* parent = nullptr);

    QLabel* lblVersion() const { return lblVersion_; }

private:
    QLabel* lblVersion_ = nullptr;
};

// Shows frmAbout, not modal; a second call brings the open one forward.
AboutWindow* menuAbout_Click(QWidget* parent);
