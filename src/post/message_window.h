#pragma once

#include <QWidget>

class App;
class QGroupBox;
class QLabel;
class QPlainTextEdit;
class QPrinter;

// frmMessage: one article of lstMessages, beside the main window. It walks
// to the neighbouring rows without closing, prints and replies.
class MessageWindow : public QWidget {
    Q_OBJECT
public:
    MessageWindow(App& app, double pxPerTwip, QWidget* parent = nullptr);

    // The viewer's part of the right button on lstMessages: show row's article.
    void open(int row);
    void msgActivate();
    void menuNext_Click();
    void menuPrevious_Click();
    void menuPrint_Click();
    void menuReply_Click();
    // The printed document; menuPrint_Click sends it to the default printer.
    void printDocument(QPrinter& printer) const;

    qint32 MessageIndex = -1;
    QGroupBox* frameTitle = nullptr;
    QLabel* lblMsgContents = nullptr;
    QGroupBox* frameBody = nullptr;
    QPlainTextEdit* txtMsgBody = nullptr;
    QLabel* lblPlease = nullptr;

protected:
    void closeEvent(QCloseEvent* e) override;
    void resizeEvent(QResizeEvent* e) override;
    bool eventFilter(QObject* watched, QEvent* e) override;

private:
    void placeWindow();
    void layOut();
    void storeGeometry();

    App& app_;
    double k_; // pixels per twip
    QWidget* menuBar_ = nullptr;
    QString signature_;
    bool loaded_ = false;
    bool placing_ = false;
};
