#include "support/app_icon.h"

QIcon AppIcon() {
    // PNGs rather than the SVG: Qt needs no SVG plugin to show them.
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48, 64, 128, 256})
        icon.addFile(QStringLiteral(":/icons/zanderfell-%1.png").arg(size), QSize(size, size));
    return icon;
}
