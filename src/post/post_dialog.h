#pragma once

#include "post/post_engine.h"

#include <QDialog>

class App;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;

// frmPostMsg: the modal dialog in which the user writes an article. It
// remembers the poster's details between uses and runs the post engine
// when OK is pressed. Destroying it is its unload.
class PostDialog : public QDialog, public PostForm {
    Q_OBJECT
public:
    explicit PostDialog(App& app, QWidget* parent = nullptr);
    ~PostDialog() override;

    // 0 selected groups, 1 selected favourites, 2 current group.
    quint8 PostMode = 2;
    // 1 when Reply filled the dialog.
    quint8 ReplyPost = 0;

    void cmdOK_Click();
    void cmdCancel_Click();
    // Refuses an address without "@" or without ".", and empties the field.
    void checkAddress();

    QLineEdit* txtEmailField() const { return txtEmail_; }
    QLineEdit* txtNameField() const { return txtName_; }
    QLineEdit* txtSubjectField() const { return txtSubject_; }
    QPlainTextEdit* txtMessageField() const { return txtMessage_; }
    QPlainTextEdit* txtSigField() const { return txtSig_; }
    QPushButton* cmdOK() const { return cmdOK_; }
    QPushButton* cmdCancel() const { return cmdCancel_; }

    // PostForm
    QString txtEmail() const override;
    QString txtSubject() const override;
    QString txtMessage() const override;
    void setTxtMessage(const QString& text) override;
    QString txtSig() const override;
    void disableForRun() override;
    void setCancelCaption(const QString& caption) override;
    void setStatus(const QString& text) override;
    void setProgress(int min, int max, int value) override;
    void setProgressValue(int value) override;

public slots:
    // Esc and the window's close button act as Cancel.
    void reject() override;

protected:
    bool eventFilter(QObject* watched, QEvent* e) override;
    void showEvent(QShowEvent* e) override;

private:
    void Form_Load();
    void Form_Unload();

    App& app_;
    QLineEdit* txtEmail_ = nullptr;
    QLineEdit* txtName_ = nullptr;
    QPlainTextEdit* txtSig_ = nullptr;
    QLineEdit* txtSubject_ = nullptr;
    QPlainTextEdit* txtMessage_ = nullptr;
    QPushButton* cmdOK_ = nullptr;
    QPushButton* cmdCancel_ = nullptr;
    QLabel* statbar_ = nullptr;
    QProgressBar* progBar_ = nullptr;
};

// The post commands of the main window, with PostMode 2, 0 and 1: the
// dialog opens only when CheckWindows lets it.
void menuPostC_Click(App& app, QWidget* parent);
void menuPostG_Click(App& app, QWidget* parent);
void menuPostF_Click(App& app, QWidget* parent);
// Reply of the message viewer: the dialog in PostMode 2, filled with the
// subject and text of the reply.
void replyToMessage(App& app, const QString& subject, const QString& message, QWidget* parent);
