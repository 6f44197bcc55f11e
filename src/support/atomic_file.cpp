#include "support/atomic_file.h"

#include <QSaveFile>

bool writeFileAtomically(const QString& path, const QByteArray& content) {
    QSaveFile f(path);
    if (!f.open(QIODevice::WriteOnly)) return false;
    if (f.write(content) != content.size()) {
        f.cancelWriting();
        return false;
    }
    return f.commit();
}
