#pragma once

#include "shell/app.h"

#include <QMainWindow>
#include <QMap>

class QAction;
class QGroupBox;
class QLabel;
class QProgressBar;
class QToolBar;
class ListView;
class DialogPrompter;
class SetupDialog;
class PictureWidget;
class MaxPreviewWindow;
class MessageWindow;

// frmMain: shows what the App holds and hands the user's commands to the
// procedures of the subsystems. It owns no state of the logic.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(App& app, QWidget* parent = nullptr);
    ~MainWindow() override;

    App& app() { return app_; }
    // The menu action of a control name such as "menuConnect".
    QAction* action(const QString& control) const { return actions_.value(control); }
    // All menu actions that SetMenuItem knows by number (item 51 has two).
    QList<QAction*> menuItems(int number) const { return numbered_.values(number); }
    QAction* toolButton(int number) const { return toolActions_.value(number); }
    QToolBar* toolbar() const { return toolbar_; }
    QGroupBox* frameBox(Frame f) const { return frameBoxes_[static_cast<int>(f)]; }
    QLabel* statusPanel(int panel) const { return panels_[panel]; }
    QProgressBar* progBar() const { return progBar_; }
    ListView* view(const ListModel& list) const;
    PictureWidget* picture() const { return picture1_; }
    // frmMaxPrev, made when first opened; null until then.
    MaxPreviewWindow* largePreview() const { return maxPrev_; }
    // The message viewer, made at its first opening.
    MessageWindow* viewer() const { return viewer_; }
    // frmSetup: made with the window, hidden until the end.
    SetupDialog* setupDialog() const { return setup_; }

    // Twips of the window system and back, by the screen's logical DPI.
    double pxPerTwip() const;
    // Moves and sizes the window to the App's geometry and lays out the frames.
    void applyGeometry();

protected:
    void closeEvent(QCloseEvent* e) override;
    void resizeEvent(QResizeEvent* e) override;
    void moveEvent(QMoveEvent* e) override;
    void changeEvent(QEvent* e) override;
    // A ".nzb" file dropped anywhere on the window is downloaded.
    void dragEnterEvent(QDragEnterEvent* e) override;
    void dropEvent(QDropEvent* e) override;

private:
    void buildMenus();
    void buildToolbar();
    void buildFrames();
    void buildStatusBar();
    void connectApp();
    void connectCommands();
    void connectFiles();
    void readGeometry();
    // 0 normal, 1 minimised, 2 maximised, as far as anyone knows yet.
    int shownState() const;
    void layoutFrames();
    void showFrame(Frame f);
    void showMenuItem(int number);
    void showToolButton(int number);
    void showStatus(int panel);
    void showProgress();
    QIcon image(int number) const;

    App& app_;
    std::unique_ptr<DialogPrompter> prompter_;
    QMap<QString, QAction*> actions_;
    QMultiMap<int, QAction*> numbered_;
    QMap<int, QAction*> toolActions_;
    QToolBar* toolbar_ = nullptr;
    class QMenu* postMenu_ = nullptr;
    std::array<QGroupBox*, static_cast<int>(Frame::Count)> frameBoxes_{};
    std::array<QLabel*, 4> panels_{};
    QProgressBar* progBar_ = nullptr;
    PictureWidget* picture1_ = nullptr;
    MaxPreviewWindow* maxPrev_ = nullptr;
    MessageWindow* viewer_ = nullptr;
    SetupDialog* setup_ = nullptr;
    QList<ListView*> views_;
    bool applying_ = false;
    QRectF normal_; // twips: the last rectangle the window had while normal
};
