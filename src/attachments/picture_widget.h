#pragma once

#include <QPixmap>
#include <QWidget>

class PictureControl;

// Shows a PictureControl fitted into the widget, aspect ratio kept, centred
// on the control's background colour.
class PictureWidget : public QWidget {
    Q_OBJECT
public:
    explicit PictureWidget(PictureControl& control, QWidget* parent = nullptr);
    PictureControl& control() const { return control_; }

signals:
    void doubleClicked();
    void keyDown(int key);

protected:
    void paintEvent(QPaintEvent* e) override;
    void mouseDoubleClickEvent(QMouseEvent* e) override;
    void keyPressEvent(QKeyEvent* e) override;

private:
    PictureControl& control_;
    // The picture at the size last painted, so a repaint doesn't rescale.
    QPixmap scaled_;
    qint64 scaledKey_ = 0;
};
