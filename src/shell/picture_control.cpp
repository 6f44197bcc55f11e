#include "shell/picture_control.h"

#include <QFile>
#include <QImageReader>
#include <cmath>

namespace {

// No single decode may allocate more than this; Qt's readers refuse beyond it.
constexpr int kAllocationLimitMb = 128;
// Decoded pictures are kept at most this large (64 MB at 32 bits a pixel):
// more than any screen shows, so nothing is lost by fitting into it.
constexpr qint64 kMaxShownPixels = qint64(1) << 24;
// Nor is a side kept longer than this: Qt's smooth scaling fails on a
// target side of millions of pixels, as a picture one pixel wide asks for.
constexpr int kMaxShownSide = 1 << 15;

// Whether the file carries the end mark of its format. Some readers fill a
// picture that stops short with grey and call it a success.
bool looksComplete(QFile& file, const QByteArray& format) {
    const qint64 size = file.size();
    auto tail = [&](qint64 n) {
        n = std::min(n, size);
        return file.seek(size - n) ? file.read(n) : QByteArray();
    };
    if (format == "jpeg" || format == "jpg") {
        // Cameras may append data behind the end mark; it must be near the end.
        return tail(64 * 1024).contains("\xFF\xD9");
    }
    if (format == "png") return tail(64).contains("IEND");
    if (format == "gif") {
        const QByteArray t = tail(16).trimmed();
        return t.endsWith(';');
    }
    if (format == "bmp") {
        if (!file.seek(2)) return false;
        const QByteArray h = file.read(4);
        if (h.size() < 4) return false;
        const quint32 declared = quint32(uchar(h[0])) | quint32(uchar(h[1])) << 8 |
                                 quint32(uchar(h[2])) << 16 | quint32(uchar(h[3])) << 24;
        return declared == 0 || qint64(declared) <= size;
    }
    return true;
}

// The formats a preview shows, told by their first bytes, whatever the
// name says. No other image reader ever sees a downloaded file: each is more
// code a hostile file can reach, and some (the ICNS one) read what a header
// claims before any allocation limit applies.
QByteArray previewFormat(QIODevice& file) {
    const QByteArray head = file.peek(12);
    if (head.startsWith("\x89PNG\r\n\x1a\n")) return "png";
    if (head.startsWith("\xFF\xD8\xFF")) return "jpeg";
    if (head.startsWith("GIF87a") || head.startsWith("GIF89a")) return "gif";
    if (head.startsWith("BM")) return "bmp";
    if (head.startsWith("RIFF") && head.mid(8) == "WEBP") return "webp";
    return {};
}

// The size at which a picture of this size is kept.
QSize keptSize(QSize size) {
    const qint64 pixels = qint64(size.width()) * size.height();
    if (pixels <= kMaxShownPixels) return size;
    const double k = std::min(std::sqrt(double(kMaxShownPixels) / double(pixels)),
                              double(kMaxShownSide) / std::max(size.width(), size.height()));
    return QSize(std::max(1, int(size.width() * k)), std::max(1, int(size.height() * k)));
}

} // namespace

QImage loadPicture(const QString& path) {
    if (path.isEmpty()) return {};
    QImageReader::setAllocationLimit(kAllocationLimitMb);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QByteArray format = previewFormat(file);
    if (format.isEmpty()) return {};
    QImageReader reader(&file, format);
    reader.setAutoDetectImageFormat(false);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (size.isValid()) {
        if (size.isEmpty()) return {};
        const qint64 pixels = qint64(size.width()) * size.height();
        if (pixels > kMaxShownPixels) {
            // Without scaled decoding the whole picture would be allocated.
            if (!reader.supportsOption(QImageIOHandler::ScaledSize) &&
                pixels * 4 > qint64(kAllocationLimitMb) << 20)
                return {};
            reader.setScaledSize(keptSize(size));
        }
    }
    QImage image = reader.read();
    if (image.isNull() || !looksComplete(file, format)) return {};
    // A reader that ignored the scaled size still stayed inside the limit.
    if (keptSize(image.size()) != image.size())
        image =
            image.scaled(keptSize(image.size()), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return image;
}

bool PictureControl::setFileName(const QString& path) {
    if (path.isEmpty()) {
        const bool had = !fileName_.isEmpty() || !image_.isNull();
        fileName_.clear();
        image_ = QImage();
        if (had) emit changed();
        return true;
    }
    QImage image = loadPicture(path);
    if (image.isNull()) return false;
    fileName_ = path;
    image_ = std::move(image);
    emit changed();
    return true;
}

void PictureControl::showLike(const PictureControl& other) {
    fileName_ = other.fileName_;
    image_ = other.image_; // shared, not copied
    emit changed();
}

void PictureControl::setBackground(const QColor& colour) {
    if (background_ == colour) return;
    background_ = colour;
    emit changed();
}
