#include "attachments/preview.h"

#include "shell/app.h"

void menuPreview_Click(App& app) {
    FrameState& frame = app.frame(Frame::Preview);
    if (app.menuPreviewChecked) {
        frame.title = QStringLiteral("*Image Preview");
        app.menuPreviewChecked = false;
        app.PreviewOn = 0;
        app.previewTeal = false;
        app.menuPreviewLEnabled = false;
    } else {
        frame.title = QStringLiteral("Image Preview");
        app.menuPreviewLEnabled = true;
        app.menuPreviewChecked = true;
        app.PreviewOn = 1;
        app.previewTeal = true;
    }
    emit app.frameChanged(Frame::Preview);
    emit app.previewChanged();
}
