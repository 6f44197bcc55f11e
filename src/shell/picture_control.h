#pragma once

#include <QColor>
#include <QImage>
#include <QObject>
#include <QString>

// Reads a picture file for showing: PNG, JPEG, GIF, BMP or WebP, told by
// its content and read by that format's reader alone. Decoding is bounded: a picture larger
// than a screen is decoded at a smaller size where the format allows, no
// image may need more than a fixed allocation, and a file that is cut short
// counts as unreadable. A null image means the file can't be shown.
QImage loadPicture(const QString& path);

// The picture control behind Picture1 and the large preview's Image1: a file
// name that, when written, shows that picture; a background colour. A file
// that isn't a picture leaves the picture (and the name) as they were.
// The windows layer paints it fitted into its rectangle.
class PictureControl : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    QString fileName() const { return fileName_; }
    // "" empties the control. False when the file couldn't be shown.
    bool setFileName(const QString& path);
    // Shows what another control shows, without reading the file again.
    void showLike(const PictureControl& other);
    const QImage& image() const { return image_; }

    QColor background() const { return background_; }
    void setBackground(const QColor& colour);

signals:
    void changed();

private:
    QString fileName_;
    QImage image_;
    QColor background_ = Qt::black;
};
