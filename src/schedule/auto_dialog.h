#pragma once

#include <QDialog>
#include <array>

class App;
class QCheckBox;
class QLineEdit;
class QPushButton;
class QRadioButton;

// frmAuto: the time and the weekdays of the unattended download.
class AutoDialog : public QDialog {
    Q_OBJECT
public:
    explicit AutoDialog(App& app, QWidget* parent = nullptr);

    void cmdOK_Click();

    QLineEdit* txtTime() const { return txtTime_; }
    QRadioButton* optAM() const { return optAM_; }
    QRadioButton* optPM() const { return optPM_; }
    QCheckBox* Check1(int index) const { return Check1_[index]; }
    QPushButton* cmdOK() const { return cmdOK_; }

protected:
    bool eventFilter(QObject* watched, QEvent* e) override;

private:
    void Form_Load();
    void setAllDays(bool on);

    App& app_;
    QLineEdit* txtTime_ = nullptr;
    QRadioButton* optAM_ = nullptr;
    QRadioButton* optPM_ = nullptr;
    std::array<QCheckBox*, 7> Check1_{};
    QPushButton* cmdOK_ = nullptr;
};

// Shows frmAuto as a modal dialog.
void menuAuto_Click(App& app, QWidget* parent);
