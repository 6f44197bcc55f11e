// The number fields on their own, then frmSetup driven offscreen the way a
// user drives it: options, fields, the server list with its keys and toolbar,
// the directory chooser, and how the dialog comes up from the main window.
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "program/main_window.h"
#include "setup/dir_list_widget.h"
#include "setup/setup_dialog.h"
#include "setup/setup_options.h"
#include "shell/list_view_widget.h"

#include <QApplication>
#include <QCheckBox>
#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QToolBar>
#include <gtest/gtest.h>

namespace {

// Timeout turns what is no number or above 32767 into 255; MinGroups cuts a
// leading number above 32767 and keeps a text that is no number, leaving the
// variable as it was (30 and 7). Halves go to the even neighbour.
TEST(NumberFields, LeavingAFieldShowsAndTakesItsValue) {
    // Typed; Timeout shown and taken; MinGroups shown and taken.
    const std::tuple<const char*, const char*, qint32, const char*, qint32> cases[] = {
        {"32767", "32767", 32767, "32767", 32767},
        {"32768", "255", 255, "32767", 32767},
        {"", "255", 255, "", 7},
        {".", "255", 255, ".", 7},
        {"0", "0", 0, "0", 0},
        {"1E3", "1E3", 1000, "1E3", 1000},
        {"1D2", "1D2", 100, "1D2", 100},
        {"4E4", "255", 255, "32767", 32767},
        {"12.5", "12.5", 12, "12.5", 12},
        {"13.5", "13.5", 14, "13.5", 14},
        {".5", ".5", 0, ".5", 0},
        {"1E", "255", 255, "1E", 7},
        {"12AB", "255", 255, "12AB", 7},
        {"40000AB", "255", 255, "32767", 32767}};
    for (auto [typed, timeoutShown, timeout, minShown, minGroups] : cases) {
        App app;
        app.Timeout = 30;
        app.MinGroups = 7;
        EXPECT_EQ(txtTimeout_LostFocus(app, typed), timeoutShown) << '"' << typed << '"';
        EXPECT_EQ(app.Timeout, timeout) << '"' << typed << '"';
        EXPECT_EQ(txtMinGroups_LostFocus(app, typed), minShown) << '"' << typed << '"';
        EXPECT_EQ(app.MinGroups, minGroups) << '"' << typed << '"';
    }
    // The header counts take whole numbers in range (from 1 per request, from
    // 0 newest) and show the value kept for anything else.
    const std::tuple<const char*, const char*, const char*> counts[] = {
        {"50000", "50000", "50000"}, {"1E5", "100000", "100000"}, {"0", "20000", "0"},
        {"-5", "20000", "0"},        {"1.5", "20000", "0"},       {"", "20000", "0"},
        {"12AB", "20000", "0"},      {"3000000000", "20000", "0"}};
    for (auto [typed, chunk, newest] : counts) {
        App app;
        EXPECT_EQ(txtHeaderChunk_LostFocus(app, typed), chunk) << '"' << typed << '"';
        EXPECT_EQ(QString::number(app.HeaderChunk), chunk) << '"' << typed << '"';
        EXPECT_EQ(txtNewestHeaders_LostFocus(app, typed), newest) << '"' << typed << '"';
        EXPECT_EQ(QString::number(app.NewestHeaders), newest) << '"' << typed << '"';
    }
}

// A double click as the window system delivers it; item views act on the
// second press only when the first one went down on the same row.
void doubleClick(QWidget* w, QPoint pos) {
    QTest::mousePress(w, Qt::LeftButton, {}, pos);
    QTest::mouseRelease(w, Qt::LeftButton, {}, pos);
    QTest::mouseDClick(w, Qt::LeftButton, {}, pos);
    QTest::mouseRelease(w, Qt::LeftButton, {}, pos);
}

struct SetupWindow : ::testing::Test {
    TestApp t;
    App& app = t.app;
    std::unique_ptr<MainWindow> window;
    SetupDialog* dlg = nullptr;

    // Startup as the program runs it; what was written before is an earlier run.
    void start() {
        window = std::make_unique<MainWindow>(app);
        app.prompter = &t.prompter;
        t.load();
        dlg = window->setupDialog();
        ASSERT_TRUE(dlg);
    }
    void show() {
        dlg->show();
        QApplication::setActiveWindow(dlg);
        ASSERT_TRUE(QTest::qWaitForWindowActive(dlg));
    }
    QCheckBox* box(SetupOption o) const { return dlg->checkBox(o); }
    ListView* list() const { return dlg->serverList(); }
    QPoint rowPoint(int row) const {
        return list()->visualRect(app.txtNNTPServ.index(row)).center();
    }
    // Types into a field and then leaves it, as a user does with Tab.
    void typeAndLeave(QLineEdit* field, const QString& text) {
        field->setFocus();
        field->selectAll();
        QTest::keyClicks(field, text);
        dlg->txtUserID()->setFocus();
        QApplication::processEvents();
    }
};

// One visit cancelled, one ended by Enter in txtMinGroups, one by OK.
TEST_F(SetupWindow, FieldsComeFromTheStoreFollowTheUserAtOnceAndAreWrittenAtOkOnly) {
    const std::pair<const char*, const char*> stored[] = {
        {"SaveHTTP", "0"},       {"BinariesOnly", "1"},   {"Remove SPAM", "1"},
        {"ShowMNumbers", "0"},   {"SpawnVideo", "0"},     {"ConfirmFileDelete", "0"},
        {"Timeout", "45"},       {"UserID", "me"},        {"Password", "secret"},
        {"Minimum Groups", "3"}, {"HeaderChunk", "5000"}, {"NewestHeaders", "100"}};
    for (auto [key, value] : stored)
        t.setSetting(key, value);
    start();
    EXPECT_FALSE(dlg->isVisible());
    QString ticks;
    for (SetupOption o :
         {SetupOption::SPAM, SetupOption::HTTP, SetupOption::Binary, SetupOption::AutoLoad,
          SetupOption::FileDelete, SetupOption::Video, SetupOption::Show})
        ticks += box(o)->isChecked() ? u'1' : u'0';
    EXPECT_EQ(ticks, "1011000") << "AutoLoad is on by default";
    EXPECT_EQ((QStringList{dlg->txtTimeout()->text(), dlg->txtMinGroups()->text(),
                           dlg->txtUserID()->text(), dlg->txtPassword()->text(),
                           dlg->txtPassword()->displayText()}),
              (QStringList{"45", "3", "me", "secret", "******"}));

    show();
    QTest::mouseClick(box(SetupOption::SPAM), Qt::LeftButton);
    QTest::mouseClick(box(SetupOption::AutoLoad), Qt::LeftButton);
    QLineEdit* timeout = dlg->txtTimeout();
    typeAndLeave(timeout, "102.K");
    timeout->setFocus();
    QTest::keyClick(timeout, Qt::Key_Return); // Enter here does not run OK
    EXPECT_TRUE(dlg->isVisible());
    typeAndLeave(dlg->txtMinGroups(), "32768");
    EXPECT_EQ(timeout->text(), "255");
    EXPECT_EQ(dlg->txtMinGroups()->text(), "32767");
    dlg->txtUserID()->setFocus();
    QTest::keyClicks(dlg->txtUserID(), "ab");
    QTest::keyClick(dlg->txtUserID(), Qt::Key_Backspace);
    dlg->txtPassword()->setFocus();
    QTest::keyClicks(dlg->txtPassword(), " w");
    QTest::mouseClick(dlg->cmdCancel(), Qt::LeftButton);
    // Cancel keeps it all for the run but writes nothing.
    EXPECT_FALSE(app.RemoveSpam || app.AutoLoadGroups);
    EXPECT_EQ(app.UserID, "mea");
    EXPECT_EQ(app.Password, "secret w");
    EXPECT_EQ(t.setting("Remove SPAM").toString(), "1");
    EXPECT_EQ(t.setting("Timeout").toString(), "45");
    EXPECT_FALSE(t.hasSetting("AutoLoadGroups"));

    show();
    QTest::mouseClick(box(SetupOption::Binary), Qt::LeftButton);
    typeAndLeave(dlg->txtMinGroups(), "40");
    dlg->txtMinGroups()->setFocus();
    QTest::keyClick(dlg->txtMinGroups(), Qt::Key_Return);
    EXPECT_FALSE(dlg->isVisible());
    const std::pair<const char*, const char*> written[] = {
        {"Remove SPAM", "0"},    {"BinariesOnly", "0"},    {"AutoLoadGroups", "0"},
        {"Timeout", "255"},      {"Minimum Groups", "40"}, {"UserID", "mea"},
        {"Password", "secret w"}};
    for (auto [key, value] : written)
        EXPECT_EQ(t.setting(key).toString(), value) << key;
}

TEST_F(SetupWindow, TheServerListLockedWhileConnectedAndItsClicksAndKeysOtherwise) {
    ASSERT_TRUE(t.writeFile("NNTP_NET.INI",
                            "00012  OK    a.example.com\n????? ???    b.example.com\n"
                            "00012     c.example.com\n00012     d.example.com\n"));
    t.setSetting("NNTPServer", "c.example.com");
    start();
    app.txtNNTPServ.setSelected(0, true);
    app.toolbar[6].caption = "Disconnect";
    show();
    // The current server's row joins the selection, in the rows and in the view.
    EXPECT_EQ(app.txtNNTPServ.selCount(), 2);
    EXPECT_TRUE(app.txtNNTPServ.selected(0) && app.txtNNTPServ.selected(2));
    QApplication::processEvents();
    EXPECT_TRUE(list()->selectionModel()->isRowSelected(2, QModelIndex()));
    EXPECT_FALSE(list()->isEnabled());
    EXPECT_FALSE(dlg->toolbar()->isEnabled());
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, rowPoint(1));
    EXPECT_EQ(app.CurrentServer, "c.example.com") << "a locked list picks nothing";
    dlg->hide();

    app.toolbar[6].caption = "Connect";
    show();
    EXPECT_TRUE(list()->isEnabled() && dlg->toolbar()->isEnabled() &&
                box(SetupOption::Show)->isEnabled());
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, rowPoint(1));
    EXPECT_EQ(app.CurrentServer, "b.example.com");

    list()->setFocus();
    QTest::keyClick(list(), Qt::Key_Escape);
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(t.setting("NNTPServer").toString(), "c.example.com") << "Escape writes nothing";
    show();
    doubleClick(list()->viewport(), rowPoint(0));
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(t.setting("NNTPServer").toString(), "a.example.com");
    show();
    list()->setFocus();
    // A current row set without a click or a move of the user's is not picked:
    // Enter is OK and keeps the server the double click chose.
    app.txtNNTPServ.setListIndex(1);
    QTest::keyClick(list(), Qt::Key_Return);
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(t.setting("NNTPServer").toString(), "a.example.com");
}

TEST_F(SetupWindow, DirectoryChooserSetsDestDirDeletesEmptyDirectoriesAndCreatesNew) {
    start();
    show();
    DirListBox* chooser = dlg->dirDest();
    const QString download = app.DestDir;
    auto entry = [&](const QString& name) -> QListWidgetItem* {
        for (int i = 0; i < chooser->count(); ++i)
            if (chooser->item(i)->text().trimmed() == name) return chooser->item(i);
        return nullptr;
    };

    t.prompter.answerInput(QString("pictures"));
    QTest::mouseClick(dlg->cmdDir(), Qt::LeftButton);
    EXPECT_TRUE(QFileInfo(download + "pictures").isDir());
    ASSERT_TRUE(entry("pictures"));
    EXPECT_EQ(app.DestDir, download) << "a new directory is not entered";

    // Delete removes an empty directory and leaves one with files.
    ASSERT_TRUE(t.writeFile("Download/full/a.jpg", "x"));
    chooser->refresh();
    chooser->setFocus();
    chooser->setCurrentItem(entry("full"));
    QTest::keyClick(chooser, Qt::Key_Delete);
    EXPECT_TRUE(QFileInfo(download + "full").isDir());
    chooser->setCurrentItem(entry("pictures"));
    QTest::keyClick(chooser, Qt::Key_Delete);
    EXPECT_FALSE(QFileInfo::exists(download + "pictures"));
    EXPECT_FALSE(entry("pictures"));
    EXPECT_TRUE(entry("full"));

    // Opening an entry moves DestDir there.
    doubleClick(chooser->viewport(), chooser->visualItemRect(entry("full")).center());
    EXPECT_EQ(app.DestDir, download + "full/");
}

} // namespace
