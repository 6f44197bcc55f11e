#include "attachments/max_preview_window.h"

#include "attachments/picture_widget.h"
#include "attachments/preview.h"
#include "shell/app.h"

#include <QCloseEvent>

MaxPreviewWindow::MaxPreviewWindow(App& app, double pxPerTwip, QWidget* parent)
    : QWidget(parent, Qt::Window), app_(app), k_(pxPerTwip) {
    setObjectName(QStringLiteral("frmMaxPrev"));
    setWindowTitle(app_.maxPrevCaption);
    image1_ = new PictureWidget(app_.Image1, this);
    image1_->setObjectName(QStringLiteral("Image1"));
    image1_->setFocusPolicy(Qt::StrongFocus);
    connect(image1_, &PictureWidget::keyDown, this, [this](int key) {
        SetlPicture(app_, key);
        // The window may have been closed by the key (preview switched off).
        if (isVisible()) image1_->setFocus();
    });
    connect(&app_, &App::largePreviewChanged, this,
            [this] { setWindowTitle(app_.maxPrevCaption); });
}

void MaxPreviewWindow::open() {
    frmMaxPrev_Load(app_);
    setWindowTitle(app_.maxPrevCaption);
    move(qRound(app_.PLeft * k_), qRound(app_.PTop * k_));
    resize(std::max(1, qRound(app_.PWidth * k_)), std::max(1, qRound(app_.PHeight * k_)));
    show();
    raise();
    activateWindow();
    image1_->setFocus();
}

void MaxPreviewWindow::closeEvent(QCloseEvent* e) {
    // Maximised or minimised, the normal rectangle is the one worth keeping.
    // Positions are the frame's, as move() takes them.
    const bool normal = !isMaximized() && !isMinimized();
    const QPoint frame = geometry().topLeft() - pos();
    const QRect r = normal ? QRect(pos(), size())
                           : QRect(normalGeometry().topLeft() - frame, normalGeometry().size());
    app_.PLeft = r.left() / k_;
    app_.PTop = r.top() / k_;
    app_.PWidth = r.width() / k_;
    app_.PHeight = r.height() / k_;
    if (!normal) showNormal();
    frmMaxPrev_Unload(app_);
    e->accept();
}

void MaxPreviewWindow::resizeEvent(QResizeEvent* e) {
    QWidget::resizeEvent(e);
    image1_->setGeometry(0, 0, width(), height());
}
