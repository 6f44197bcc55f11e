#include "attachments/download_drivers.h"

#include "attachments/download.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/waits.h"
#include "support/routines.h"

#include <QVector>

namespace {

constexpr int kMaxSelectedRows = 200;

// Groups (item 4) stays off afterwards: the messages are on show.
void menusForDownload(App& app, bool on) {
    for (int item : {8, 9, 10, 6})
        SetMenuItem(app, item, on);
    if (!on) SetMenuItem(app, 4, false);
    MenuOnOff(app, QStringLiteral("CG"), on);
    MenuOnOff(app, QStringLiteral("SM"), on);
}

} // namespace

void lstMessages_DblClick(App& app) {
    const bool selected = HasSelection(app, app.lstMessages, true);
    if (app.SweepScope != -1 || !selected || app.Busy) return;
    if (app.BatchRun) {
        app.setStatus(2, QStringLiteral("Please wait until current transaction is finished"));
        return;
    }
    HourGlass(app, true);
    app.setStatus(1, QStringLiteral("Looking for attachments"));
    menusForDownload(app, false);
    app.StopRequested = false;
    app.HeaderField = QStringLiteral("Subject");

    // The selection is frozen before the first fetch; rows are deselected
    // one by one as they are done.
    QVector<qint32> rows;
    for (int i = 0; i < app.lstMessages.count() && !app.StopRequested; ++i) {
        if (app.lstMessages.selected(i) && rows.size() < kMaxSelectedRows) rows.append(i);
        LetEventsRun(app);
    }
    for (qint32 row : rows) {
        if (app.StopRequested) break;
        cmdDownload(app, row);
    }

    HourGlass(app, false);
    if (app.LastError == 0) {
        app.setStatus(1, QStringLiteral("Finished Downloading"));
        // The last refusal stays readable after the run.
        if (app.statbar[2] != QLatin1String("Incomplete") &&
            app.statbar[2] != QLatin1String("Duplicate File"))
            app.setStatus(2, QString());
    }
    app.setStatus(3, QStringLiteral("Connected"));
    menusForDownload(app, true);
}
