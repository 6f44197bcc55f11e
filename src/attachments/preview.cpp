#include "attachments/preview.h"

#include "attachments/decoded_files.h"
#include "shell/app.h"
#include "shell/settings_values.h"

#include <QFileInfo>
#include <QSettings>

namespace {

const QColor kTeal(0, 128, 128);

void setCaption(App& app, const QString& name) {
    app.lPicture = name;
    app.maxPrevCaption = QStringLiteral("Preview (") + name + QStringLiteral(")");
    emit app.largePreviewChanged();
}

void openLargePreview(App& app) {
    if (app.PreviewOn == 0) return;
    if (!app.LargePreviewOpen && app.showLargePreview)
        app.showLargePreview();
    else if (!app.LargePreviewOpen)
        frmMaxPrev_Load(app);
}

} // namespace

void menuPreview_Click(App& app) {
    FrameState& frame = app.frame(Frame::Preview);
    if (app.menuPreviewChecked) {
        frame.title = QStringLiteral("*Image Preview");
        app.menuPreviewChecked = false;
        app.PreviewOn = 0;
        app.Picture1.setBackground(Qt::black);
        app.Picture1.setFileName(QString());
        if (app.LargePreviewOpen) {
            if (app.closeLargePreview)
                app.closeLargePreview();
            else
                frmMaxPrev_Unload(app);
        }
        app.menuPreviewLEnabled = false;
    } else {
        frame.title = QStringLiteral("Image Preview");
        app.menuPreviewLEnabled = true;
        app.menuPreviewChecked = true;
        app.PreviewOn = 1;
        app.Picture1.setBackground(kTeal);
    }
    emit app.frameChanged(Frame::Preview);
    emit app.previewChanged();
}

void ShowPreview(App& app, const QString& name) {
    app.Picture1.setFileName(app.DestDir + name);
    if (!app.LargePreviewOpen) return;
    setCaption(app, name);
    app.Image1.showLike(app.Picture1);
}

void ClearPreviews(App& app) {
    if (app.LargePreviewOpen) app.Image1.setFileName(QString());
    app.Picture1.setFileName(QString());
}

void menuPreviewL_Click(App& app) {
    if (app.PreviewOn == 0) return;
    openLargePreview(app);
    app.Image1.showLike(app.Picture1);
}

void Picture1_DblClick(App& app) {
    openLargePreview(app);
}

void frmMaxPrev_Load(App& app) {
    app.LargePreviewOpen = true;
    app.Image1.showLike(app.Picture1);
    // The arrow keys walk lstFiles from the picture on view.
    const QString shown = app.Picture1.fileName();
    if (!shown.isEmpty()) setCaption(app, QFileInfo(shown).fileName());
    auto s = app.openSettings();
    SettingsReader r(*s);
    r.real("PWidth", app.PWidth, 5115);
    r.real("PHeight", app.PHeight, 5115);
    r.real("PTop", app.PTop, app.ScreenHeight / 2 - app.PHeight / 2);
    r.real("PLeft", app.PLeft, app.ScreenWidth / 2 - app.PWidth / 2);
}

void frmMaxPrev_Unload(App& app) {
    app.LargePreviewOpen = false;
    auto s = app.openSettings();
    storeNumber(*s, "PTop", app.PTop);
    storeNumber(*s, "PLeft", app.PLeft);
    storeNumber(*s, "PHeight", app.PHeight);
    storeNumber(*s, "PWidth", app.PWidth);
    s->sync();
}

void SetlPicture(App& app, int key) {
    ListModel& files = app.lstFiles;
    const int row = app.lPicture.isEmpty() ? -1 : files.find(app.lPicture, FindMode::Contains, 0);
    switch (key) {
    case Qt::Key_Delete:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // Delete and open act on the current row of the list: the file on view.
        if (row >= 0) files.selectOnly(row);
        if (key == Qt::Key_Delete)
            lstFiles_KeyDown(app, key);
        else
            lstFiles_KeyPress(app, key);
        break;
    case Qt::Key_Space:
        lstFiles_KeyPress(app, key);
        break;
    case Qt::Key_Up:
    case Qt::Key_Down: {
        const int next = key == Qt::Key_Up ? row - 1 : row + 1;
        if (next < 0 || next >= files.count()) break;
        files.selectOnly(next);
        lstFiles_Click(app);
        break;
    }
    default:
        break;
    }
}
