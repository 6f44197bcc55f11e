#include "attachments/picture_widget.h"

#include "shell/picture_control.h"

#include <QKeyEvent>
#include <QPainter>

PictureWidget::PictureWidget(PictureControl& control, QWidget* parent)
    : QWidget(parent), control_(control) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    connect(&control_, &PictureControl::changed, this, [this] {
        scaled_ = QPixmap();
        update();
    });
}

void PictureWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), control_.background());
    const QImage& image = control_.image();
    if (image.isNull() || width() <= 0 || height() <= 0) return;
    const QSize fitted = image.size().scaled(size(), Qt::KeepAspectRatio);
    if (fitted.isEmpty()) return;
    const qint64 key = image.cacheKey() ^ (qint64(fitted.width()) << 32 | fitted.height());
    if (scaled_.isNull() || scaledKey_ != key) {
        scaled_ = QPixmap::fromImage(
            image.scaled(fitted, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
        scaledKey_ = key;
    }
    p.drawPixmap((width() - fitted.width()) / 2, (height() - fitted.height()) / 2, scaled_);
}

void PictureWidget::mouseDoubleClickEvent(QMouseEvent* e) {
    if (e->button() == Qt::LeftButton) emit doubleClicked();
}

void PictureWidget::keyPressEvent(QKeyEvent* e) {
    emit keyDown(e->key());
}
