#pragma once

// Pictures and posts made on the spot, and the damage done to them.
#include "attachments/crc32.h"

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <cctype>
#include <gtest/gtest.h>

// Changes one data byte of a yEnc body without touching an escape, so the
// size stays and only the CRC can tell.
inline void corruptYencData(QByteArray& body) {
    qsizetype i = body.indexOf("\r\n", body.lastIndexOf("=y", body.indexOf("=yend") - 1)) + 10;
    while (!std::isalnum(static_cast<unsigned char>(body[i])) || body[i - 1] == '=')
        ++i;
    body[i] = body[i] == 'a' ? 'b' : 'a';
}

inline QByteArray encoded(const QImage& image, const char* format) {
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, format)) << format;
    return data;
}

inline QImage filled(QSize size, QColor colour) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

inline QByteArray png(QSize size, QColor colour) {
    return encoded(filled(size, colour), "PNG");
}

// A PNG whose header announces width x height over the data of a 1x1 one.
inline QByteArray pngClaiming(quint32 width, quint32 height) {
    QByteArray data = png({1, 1}, Qt::red);
    for (int i = 0; i < 4; ++i) {
        data[16 + i] = char(width >> (24 - 8 * i));
        data[20 + i] = char(height >> (24 - 8 * i));
    }
    const quint32 crc = crc32Update(0, reinterpret_cast<const uchar*>(data.constData()) + 12, 17);
    for (int i = 0; i < 4; ++i)
        data[29 + i] = char(crc >> (24 - 8 * i));
    return data;
}
