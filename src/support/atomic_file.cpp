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

bool writeWhole(QFileDevice& file, QByteArrayView bytes) {
    for (qsizetype done = 0; done < bytes.size();) {
        const qint64 n = file.write(bytes.data() + done, bytes.size() - done);
        if (n <= 0) return false;
        done += qsizetype(n);
    }
    return true;
}
