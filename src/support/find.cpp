#include "support/find.h"

#include "shell/app.h"

#include <QSettings>

bool FindText(App& app, const QString& txt) {
    if (txt.isEmpty()) return false;
    ListModel* list = &app.lstMessages;
    if (app.frame(Frame::Groups).visible)
        list = app.lstGroups.count() > 0 ? &app.lstGroups : &app.lstFavorites;
    // The list's find wraps round to row 0, so the current row comes last.
    const int found = list->find(txt, FindMode::Contains, list->listIndex() + 1);
    if (found < 0) {
        app.prompter->message(QStringLiteral("Not Found"), QStringLiteral("Zanderfell!"),
                              Prompter::Icon::Exclamation);
        return false;
    }
    list->selectOnly(found);
    return true;
}

void menuFindNext_Click(App& app) {
    FindText(app, app.LastFind);
}

void StoreLastFind(App& app, const QString& txt) {
    app.LastFind = txt;
    app.openSettings()->setValue(QStringLiteral("LastFind"), txt);
}
