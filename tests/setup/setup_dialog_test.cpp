// frmSetup driven offscreen the way a user drives it: options, number
// fields, the server list with its keys and toolbar, the directory chooser,
// and how the dialog comes up from the main window.
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "setup/dir_list_widget.h"
#include "setup/server_list.h"
#include "setup/setup_dialog.h"
#include "shell/list_view_widget.h"
#include "shell/main_window.h"
#include "shell/startup.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QFileInfo>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QToolBar>
#include <gtest/gtest.h>

namespace {

using Shown = ScriptedPrompter::Shown;
using Kind = ScriptedPrompter::Kind;

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

TEST_F(SetupWindow, OptionsComeFromTheStoreTakeEffectAtOnceAndAreWrittenAtOkOnly) {
    const std::pair<const char*, const char*> stored[] = {
        {"SaveHTTP", "0"},      {"BinariesOnly", "1"}, {"Remove SPAM", "1"},
        {"ShowMNumbers", "0"},  {"SpawnVideo", "0"},   {"ConfirmFileDelete", "0"},
        {"Timeout", "45"},      {"UserID", "me"},      {"Password", "secret"},
        {"Minimum Groups", "3"}};
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
    EXPECT_EQ(dlg->txtTimeout()->text(), "45");
    EXPECT_EQ(dlg->txtMinGroups()->text(), "3");
    EXPECT_EQ(dlg->txtUserID()->text(), "me");
    EXPECT_EQ(dlg->txtPassword()->text(), "secret");
    EXPECT_EQ(dlg->txtPassword()->displayText(), "******");
    EXPECT_EQ(dlg->dirDest()->path() + "/", app.DestDir);
    // Filling the dialog only ever ticks.
    box(SetupOption::HTTP)->setChecked(true);
    app.SaveHTTP = false;
    dlg->Form_Load();
    EXPECT_TRUE(box(SetupOption::HTTP)->isChecked());

    show();
    QTest::mouseClick(box(SetupOption::SPAM), Qt::LeftButton);
    EXPECT_FALSE(app.RemoveSpam);
    QTest::mouseClick(box(SetupOption::AutoLoad), Qt::LeftButton);
    EXPECT_FALSE(app.AutoLoadGroups);
    QTest::mouseClick(dlg->cmdCancel(), Qt::LeftButton);
    EXPECT_FALSE(dlg->isVisible());
    // Cancel keeps them for the run but writes nothing.
    EXPECT_FALSE(app.RemoveSpam || app.AutoLoadGroups);
    EXPECT_EQ(t.setting("Remove SPAM").toString(), "1");
    EXPECT_FALSE(t.hasSetting("AutoLoadGroups"));

    show();
    QTest::mouseClick(box(SetupOption::Binary), Qt::LeftButton);
    app.CurrentServer = "news.example.net";
    QTest::mouseClick(dlg->cmdOK(), Qt::LeftButton);
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(t.setting("Remove SPAM").toString(), "0");
    EXPECT_EQ(t.setting("BinariesOnly").toString(), "0");
    EXPECT_EQ(t.setting("AutoLoadGroups").toString(), "0");
    EXPECT_EQ(window->windowTitle(), "Zanderfell! v2.5 (news.example.net) ");
}

TEST_F(SetupWindow, FieldsFollowTheUserAndOnlyEnterInMinGroupsRunsOk) {
    start();
    show();
    QLineEdit* timeout = dlg->txtTimeout();
    // Lower-case letters and blanks never arrive; capitals up to "K" do.
    timeout->setFocus();
    timeout->selectAll();
    QTest::keyClicks(timeout, "1a 2zK");
    EXPECT_EQ(timeout->text(), "12K");
    QTest::keyClick(timeout, Qt::Key_Return); // Enter here does not run OK
    EXPECT_TRUE(dlg->isVisible());
    typeAndLeave(dlg->txtMinGroups(), "32768");
    EXPECT_EQ(timeout->text(), "255");
    EXPECT_EQ(dlg->txtMinGroups()->text(), "32767");

    dlg->txtUserID()->setFocus();
    QTest::keyClicks(dlg->txtUserID(), "ab");
    QTest::keyClick(dlg->txtUserID(), Qt::Key_Backspace);
    EXPECT_EQ(app.UserID, "a");
    dlg->txtPassword()->setFocus();
    QTest::keyClicks(dlg->txtPassword(), "p w");
    EXPECT_EQ(app.Password, "p w");
    EXPECT_FALSE(t.hasSetting("Timeout")) << "the store waits for OK or exit";

    typeAndLeave(dlg->txtMinGroups(), "40");
    dlg->txtMinGroups()->setFocus();
    QTest::keyClick(dlg->txtMinGroups(), Qt::Key_Return);
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(t.setting("Minimum Groups").toString(), "40");
    EXPECT_EQ(t.setting("Timeout").toString(), "255");
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
    EXPECT_FALSE(box(SetupOption::Show)->isEnabled());
    EXPECT_TRUE(box(SetupOption::Video)->isEnabled() && dlg->txtTimeout()->isEnabled() &&
                dlg->dirDest()->isEnabled() && dlg->cmdOK()->isEnabled());
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, rowPoint(1));
    EXPECT_EQ(app.CurrentServer, "c.example.com") << "a locked list picks nothing";
    dlg->hide();

    app.toolbar[6].caption = "Connect";
    show();
    EXPECT_TRUE(list()->isEnabled() && dlg->toolbar()->isEnabled() &&
                box(SetupOption::Show)->isEnabled());
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, rowPoint(1));
    EXPECT_EQ(app.CurrentServer, "b.example.com");
    EXPECT_EQ(window->windowTitle(), "Zanderfell! v2.5 (b.example.com) ");
    EXPECT_TRUE(dlg->isVisible());

    // The keyboard moves the current row the way a click does.
    list()->setFocus();
    QTest::keyClick(list(), Qt::Key_Down);
    EXPECT_EQ(app.CurrentServer, "c.example.com");
    // Characters other than ".", digits and capitals to "K" never reach the list.
    QTest::keyClick(list(), Qt::Key_Home);
    EXPECT_EQ(app.CurrentServer, "a.example.com");
    QTest::keyClicks(list(), "x ");
    EXPECT_EQ(app.txtNNTPServ.listIndex(), 0);
    QTest::keyClicks(list(), "?"); // type-ahead to the first New row
    EXPECT_EQ(app.txtNNTPServ.listIndex(), 1);
    EXPECT_EQ(app.CurrentServer, "b.example.com");

    QTest::keyClick(list(), Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(app.txtNNTPServ.selCount(), 4);
    app.txtNNTPServ.clearSelection();
    app.txtNNTPServ.setSelected(3, true);
    QTest::keyClick(list(), Qt::Key_Delete);
    EXPECT_EQ(app.txtNNTPServ.count(), 3);
    EXPECT_EQ(dlg->frameNNTP()->title(), "NNTP Servers (3)");
    EXPECT_TRUE(dlg->isEnabled() && list()->isVisible());

    QTest::keyClick(list(), Qt::Key_Escape);
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(t.setting("NNTPServer").toString(), "c.example.com") << "Escape writes nothing";
    show();
    doubleClick(list()->viewport(), rowPoint(0));
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(t.setting("NNTPServer").toString(), "a.example.com");
    show();
    list()->setFocus();
    app.txtNNTPServ.setListIndex(1);
    QTest::keyClick(list(), Qt::Key_Return);
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(t.setting("NNTPServer").toString(), "b.example.com");
}

TEST_F(SetupWindow, ToolbarCommandsRunWithTheDialogOffMeanwhile) {
    start();
    show();
    ASSERT_TRUE(t.writeFile("servers.txt", "a.example.org\nb.example.org\n"));
    t.prompter.answerFileName(t.path("servers.txt"));
    bool offDuring = false;
    QTimer::singleShot(0, dlg, [&] {
        offDuring = !dlg->isEnabled() && !dlg->cmdOK()->isEnabled() &&
                    !dlg->cmdCancel()->isEnabled() && !dlg->toolbar()->isEnabled() &&
                    !list()->isVisible();
    });
    dlg->toolbar()->findChild<QAction*>("Import")->trigger();
    EXPECT_TRUE(offDuring);
    EXPECT_TRUE(dlg->isEnabled() && dlg->cmdOK()->isEnabled() && dlg->cmdCancel()->isEnabled());
    EXPECT_TRUE(dlg->toolbar()->isEnabled() && list()->isVisible() && list()->isEnabled());
    EXPECT_EQ(dlg->frameNNTP()->title(), "NNTP Servers (2)");
}

TEST_F(SetupWindow, SetupAndConnectShowTheDialogModally) {
    start();
    bool shownModal = false, itemOff = false;
    QTimer::singleShot(0, dlg, [&] {
        shownModal = dlg->isVisible() && dlg->isModal();
        itemOff = !app.menuEnabled.value(2);
        QTest::mouseClick(dlg->cmdCancel(), Qt::LeftButton);
    });
    window->toolButton(2)->trigger(); // "Setup"
    EXPECT_TRUE(shownModal);
    EXPECT_TRUE(itemOff);
    EXPECT_TRUE(app.menuEnabled.value(2));
    EXPECT_FALSE(dlg->isVisible());

    // Connecting without a server asks for one.
    shownModal = false;
    QTimer::singleShot(0, dlg, [&] {
        shownModal = dlg->isVisible() && dlg->isModal();
        dlg->cmdCancel_Click();
    });
    cmdConnect(app, true);
    EXPECT_EQ(t.prompter.messages(), QStringList{"Please Configure Zanderfell!"});
    EXPECT_TRUE(shownModal);
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

    t.prompter.answerInput(QString("pictures")).answerInput(QString("pictures"));
    t.prompter.answerInput(QString(""));
    QTest::mouseClick(dlg->cmdDir(), Qt::LeftButton);
    EXPECT_TRUE(QFileInfo(download + "pictures").isDir());
    ASSERT_TRUE(entry("pictures"));
    EXPECT_EQ(app.DestDir, download) << "a new directory is not entered";
    EXPECT_EQ(t.prompter.shown().front(),
              (Shown{Kind::Input, "Enter Directory Name:", "Create Directory:"}));
    QTest::mouseClick(dlg->cmdDir(), Qt::LeftButton); // it exists now
    EXPECT_EQ(t.prompter.shown().back(), (Shown{Kind::Message, "Could not create directory",
                                                "Zanderfell!", Prompter::Icon::Critical}));
    QTest::mouseClick(dlg->cmdDir(), Qt::LeftButton); // no name: nothing
    EXPECT_EQ(t.prompter.messages().size(), 1);

    // Opening an entry moves DestDir there.
    doubleClick(chooser->viewport(), chooser->visualItemRect(entry("pictures")).center());
    EXPECT_EQ(app.DestDir, download + "pictures/");
    EXPECT_EQ(chooser->path(), download + "pictures");

    // A click on the dialog's own surface brings the chooser back to DestDir.
    app.DestDir = download;
    QTest::mouseClick(dlg, Qt::LeftButton, {}, QPoint(2, 2));
    EXPECT_EQ(chooser->path() + "/", download);

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
    EXPECT_EQ(t.prompter.messages().size(), 1) << "deleting says nothing";
}

} // namespace
