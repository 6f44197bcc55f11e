#pragma once

#include "setup/setup_options.h"

#include <QDialog>
#include <QMap>

class App;
class DirListBox;
class ListView;
class QCheckBox;
class QGroupBox;
class QLineEdit;
class QPushButton;
class QToolBar;

// frmSetup: every option of the program and the server list. Made once by
// the main window and only shown and hidden until the end, because its list
// is the live server list; each option takes effect in its variable at once.
class SetupDialog : public QDialog {
    Q_OBJECT
public:
    explicit SetupDialog(App& app, QWidget* parent = nullptr);

    // The settings just read reach the controls: the boxes of the flags that
    // are on are ticked (none is cleared), the text fields are filled, and
    // the directory chooser opens DestDir.
    void Form_Load();

    void cmdOK_Click();
    void cmdCancel_Click();

    QCheckBox* checkBox(SetupOption option) const { return boxes_.value(option); }
    QLineEdit* txtTimeout() const { return txtTimeout_; }
    QLineEdit* txtMinGroups() const { return txtMinGroups_; }
    QLineEdit* txtHeaderChunk() const { return txtHeaderChunk_; }
    QLineEdit* txtNewestHeaders() const { return txtNewestHeaders_; }
    QLineEdit* txtUserID() const { return txtUserID_; }
    QLineEdit* txtPassword() const { return txtPassword_; }
    DirListBox* dirDest() const { return dirDest_; }
    QPushButton* cmdDir() const { return cmdDir_; }
    QPushButton* cmdOK() const { return cmdOK_; }
    QPushButton* cmdCancel() const { return cmdCancel_; }
    QToolBar* toolbar() const { return toolbar_; }
    ListView* serverList() const { return txtNNTPServ_; }
    QGroupBox* frameNNTP() const { return frameNNTP_; }

protected:
    void showEvent(QShowEvent* e) override;
    void mousePressEvent(QMouseEvent* e) override;
    bool eventFilter(QObject* watched, QEvent* e) override;

private:
    QWidget* buildOptions();
    QWidget* buildDirectory();
    QWidget* buildServers();
    // Keys on the server list; true when the key was dealt with or discarded.
    bool serverListKey(QKeyEvent* e);
    void showEnabled();

    App& app_;
    QMap<SetupOption, QCheckBox*> boxes_;
    QLineEdit* txtTimeout_ = nullptr;
    QLineEdit* txtMinGroups_ = nullptr;
    QLineEdit* txtHeaderChunk_ = nullptr;
    QLineEdit* txtNewestHeaders_ = nullptr;
    QLineEdit* txtUserID_ = nullptr;
    QLineEdit* txtPassword_ = nullptr;
    DirListBox* dirDest_ = nullptr;
    QPushButton* cmdDir_ = nullptr;
    QPushButton* cmdOK_ = nullptr;
    QPushButton* cmdCancel_ = nullptr;
    QToolBar* toolbar_ = nullptr;
    ListView* txtNNTPServ_ = nullptr;
    QGroupBox* frameNNTP_ = nullptr;
};
