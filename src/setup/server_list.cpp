#include "setup/server_list.h"

#include "news/group_list.h"
#include "setup/server_import.h"
#include "shell/app.h"
#include "shell/gating.h"
#include "shell/layout.h"
#include "support/routines.h"

#include <QCoreApplication>
#include <QFile>

namespace {

constexpr qint64 kPassIntervalMs = 40;

} // namespace

bool RowPass::due() {
    if (clock_.isValid() && clock_.elapsed() < kPassIntervalMs) return false;
    clock_.start();
    return true;
}

void RowPass::run() {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
}

QString serverListPath(const App& app) {
    return app.AppPath + QStringLiteral("NNTP_NET.INI");
}

void LoadServerList(App& app) {
    if (!app.txtNNTPServ.load(serverListPath(app))) SaveServerList(app);
    UpdateListTitles(app, QStringLiteral("8"));
    app.txtNNTPServ.clearSelection();
    const int row = findServer(app, app.CurrentServer);
    if (row >= 0) app.txtNNTPServ.setListIndex(row);
}

void SaveServerList(App& app) {
    app.txtNNTPServ.save(serverListPath(app));
}

int findServer(const App& app, const QString& serv) {
    const ListModel& list = app.txtNNTPServ;
    for (int i = 0; i < list.count(); ++i) {
        const QStringView t = list.textView(i);
        const qsizetype blank = t.lastIndexOf(u' ');
        if (blank >= 0 && t.mid(blank + 1) == serv) return i;
    }
    return -1;
}

QString serverRowAddress(const QString& row) {
    QStringView rest(row);
    // The count column, its blank and one more character...
    if (const qsizetype first = rest.indexOf(u' '); first >= 0) rest = rest.mid(first + 2);
    // ...then the posting column up to its blank; the Count form has a blank here.
    if (const qsizetype next = rest.indexOf(u' '); next >= 0) rest = rest.mid(next + 1);
    return rest.trimmed().toString();
}

void pickServer(App& app) {
    const int row = app.txtNNTPServ.listIndex();
    if (row < 0) return;
    app.CurrentServer = serverRowAddress(app.txtNNTPServ.text(row));
    UpdateListTitles(app, QStringLiteral("5"));
}

void SetupOnOff(App& app, bool isOn) {
    if (app.setupEnabled == isOn) return;
    app.setupEnabled = isOn;
    emit app.setupEnabledChanged();
}

void cmdNewServ(App& app) {
    const std::optional<QString> answer = app.prompter->input(
        QStringLiteral("Enter NNTP Server Address :"), QStringLiteral("Zanderfell!"), QString());
    if (!answer || answer->isEmpty()) return;
    if (findServer(app, *answer) >= 0) {
        app.prompter->message(QStringLiteral("Duplicate Address"), QStringLiteral("Zanderfell!"),
                              Prompter::Icon::Exclamation);
    } else {
        app.txtNNTPServ.addItem(kNewServerRow + *answer);
        app.CurrentServer = *answer;
        SaveServerList(app);
    }
    UpdateListTitles(app, QStringLiteral("8"));
}

void cmdFind(App& app) {
    const std::optional<QString> answer = app.prompter->input(
        QStringLiteral("Enter Server Name: "), QStringLiteral("Enter Server Name"), QString());
    if (!answer || answer->isEmpty()) return;
    const int row = findServer(app, *answer);
    if (row < 0) {
        app.prompter->message(QStringLiteral("Not Found"), QStringLiteral("Zanderfell!"),
                              Prompter::Icon::Exclamation);
        return;
    }
    app.txtNNTPServ.selectOnly(row);
    pickServer(app);
}

void cmdDeleteServ(App& app) {
    ListModel& list = app.txtNNTPServ;
    if (!HasSelection(app, list, true)) return;
    SetupOnOff(app, false);
    list.setVisible(false);
    list.setRedraw(false);
    HourGlass(app, true);
    // From the end, so that the indices still to come stay where they are.
    RowPass pass;
    for (int i = list.count() - 1; i >= 0; --i) {
        if (list.selected(i)) list.removeItem(i);
        pass();
    }
    list.setVisible(true);
    list.setRedraw(true);
    SaveServerList(app);
    // Only the current server's cache goes, whichever rows were removed.
    const QString cache = groupCachePath(app);
    if (QFile::exists(cache)) QFile::remove(cache);
    SetupOnOff(app, true);
    list.setListIndex(0);
    list.setSelected(0, true);
    UpdateListTitles(app, QStringLiteral("8"));
    HourGlass(app, false);
}

void SortServerRows(App& app) {
    ListModel& list = app.txtNNTPServ;
    ListModel& temp = app.setupLstTemp;
    temp.clear();
    list.setEnabled(false);
    list.setRedraw(false);
    list.setVisible(false);
    QVector<ListRow> rows;
    rows.reserve(list.count());
    for (int i = 0; i < list.count(); ++i)
        rows.append(ListRow{list.text(i), QString(), 0, -1, false});
    // The dialog's lstTemp is the sorted list. Taking the rows in whole and sorting once
    // gives the order that adding them one by one would give (equal rows keep
    // their order), without moving the list's tail at every row.
    temp.setSorted(false);
    temp.appendRows(std::move(rows));
    temp.setSorted(true);
    list.clear();
    QVector<ListRow> sorted;
    sorted.reserve(temp.count());
    for (int i = 0; i < temp.count(); ++i)
        sorted.append(ListRow{temp.text(i), QString(), 0, -1, false});
    list.appendRows(std::move(sorted));
    SaveServerList(app);
    list.setEnabled(true);
    list.setRedraw(true);
    list.setVisible(true);
}

void cmdSort(App& app) {
    SortServerRows(app);
}

void serverToolbarCommand(App& app, const QString& key) {
    if (key == QLatin1String("New"))
        cmdNewServ(app);
    else if (key == QLatin1String("Find"))
        cmdFind(app);
    else if (key == QLatin1String("Delete"))
        cmdDeleteServ(app);
    else if (key == QLatin1String("Import"))
        cmdImport(app);
    else if (key == QLatin1String("Export"))
        cmdExport(app);
    else if (key == QLatin1String("Sort"))
        cmdSort(app);
}
