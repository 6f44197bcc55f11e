#pragma once

#include <QByteArray>
#include <QString>

// Writes the whole content to a temporary file beside path and renames it
// over path only when everything was written, so a crash or a full disk in
// the middle leaves either the old file or the new one.
bool writeFileAtomically(const QString& path, const QByteArray& content);
