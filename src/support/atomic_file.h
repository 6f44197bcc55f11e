#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

class QFileDevice;

// Writes the whole content to a temporary file beside path and renames it
// over path only when everything was written, so a crash or a full disk in
// the middle leaves either the old file or the new one.
bool writeFileAtomically(const QString& path, const QByteArray& content);

// Writes all of bytes. A write cut short (the disk filled up) is tried again
// for the rest, so that a failure leaves the system's reason in
// file.errorString().
bool writeWhole(QFileDevice& file, QByteArrayView bytes);
