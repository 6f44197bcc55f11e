#pragma once

#include <QElapsedTimer>
#include <QString>

class App;

// The live server list in txtNNTPServ and its file "NNTP_NET.INI".
QString serverListPath(const App& app);
void LoadServerList(App& app);
void SaveServerList(App& app);
// Row whose address (the text after the last blank) is exactly serv; -1 if
// none. A row without a blank has no address and never matches.
int findServer(const App& app, const QString& serv);

// The start of a row that nothing is known of yet; the address follows.
inline constexpr QLatin1String kNewServerRow("????? ???    ");
// The address of a row of any of its forms: the text behind the count and
// the posting columns. A row without a blank is all address.
QString serverRowAddress(const QString& row);
// The row at the list's current index becomes CurrentServer (a click on a row).
void pickServer(App& app);

// OK, Cancel and the setup dialog as a whole, off while a list command works.
void SetupOnOff(App& app, bool isOn);

// Toolbar1 of the setup dialog, by the buttons' keys.
void cmdNewServ(App& app);
void cmdFind(App& app);
void cmdDeleteServ(App& app);
void cmdSort(App& app);
// Orders the rows by their text through the dialog's sorted scratch list.
void SortServerRows(App& app);
// Runs the command of a toolbar key: "New", "Find", "Delete", "Import",
// "Export" or "Sort"; any other key does nothing.
void serverToolbarCommand(App& app, const QString& key);

// "Let the event queue run once" inside a loop over rows, without waiting:
// at the first row, then at most every few milliseconds, so that a list of
// a hundred thousand rows is not held up by a pass per row.
class RowPass {
public:
    // True when a pass is due; the caller then runs one with run().
    bool due();
    static void run();
    void operator()() {
        if (due()) run();
    }

private:
    QElapsedTimer clock_;
};
