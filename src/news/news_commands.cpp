#include "news/news_commands.h"

#include "news/connection.h"
#include "news/group_list.h"
#include "news/headers.h"
#include "shell/app.h"
#include "support/routines.h"

void menuGroup_Click(App& app) {
    cmdGroup(app, true);
}

void menuRefreshG_Click(App& app) {
    if (app.menuEnabled.value(53)) cmdGroup(app, false);
}

void menuRefreshM_Click(App& app) {
    if (app.menuEnabled.value(52)) cmdGetMessageHeaders(app, false);
}

void menuStop_Click(App& app) {
    cmdStop(app);
}

void lstGroups_DblClick(App& app) {
    if (!HasSelection(app, app.lstGroups, true) || app.SweepScope != -1 || app.Busy) return;
    if (app.lstGroups.selCount() > 1) {
        app.prompter->message(QStringLiteral("Please Only Select 1 Group"),
                              QStringLiteral("Zanderfell!"), Prompter::Icon::Exclamation);
        return;
    }
    QString row = app.lstGroups.text(app.lstGroups.listIndex());
    const qsizetype bracket = row.indexOf(u'(');
    if (bracket >= 0) row.truncate(bracket);
    app.CurrentGroup = cleanNewsGroup(row);
    app.lstGroups.setEnabled(false);
    app.HeaderField = QStringLiteral("Subject");
    cmdGetMessageHeaders(app, true);
    app.lstGroups.setEnabled(true);
}
