#pragma once

#include <QWidget>

class App;
class PictureWidget;

// frmMaxPrev: the large preview, a window of its own that follows lstFiles.
// Its rectangle is kept in the settings between runs.
class MaxPreviewWindow : public QWidget {
    Q_OBJECT
public:
    MaxPreviewWindow(App& app, double pxPerTwip, QWidget* parent = nullptr);
    PictureWidget* image() const { return image1_; }
    // Reads the settings, places the window and shows it, not modal.
    void open();

protected:
    void closeEvent(QCloseEvent* e) override;
    void resizeEvent(QResizeEvent* e) override;

private:
    App& app_;
    double k_; // pixels per twip
    PictureWidget* image1_;
};
