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
#include <QDir>
#include <QFileInfo>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QToolBar>
#include <gtest/gtest.h>

namespace {

// A double click as the window system delivers it: press, release, then the
// double-click event and its release. Item views act on the second press only
// when the first one went down on the same row.
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

    // Startup as the program runs it; settings and files written before
    // count as those of an earlier run.
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
    void servers(const QStringList& rows) {
        ListModel stored;
        for (const QString& r : rows)
            stored.addItem(r);
        ASSERT_TRUE(stored.save(t.path("NNTP_NET.INI")));
    }
    QCheckBox* box(SetupOption o) const { return dlg->checkBox(o); }
    ListView* list() const { return dlg->serverList(); }
    QPoint rowPoint(int row) const {
        return list()->visualRect(app.txtNNTPServ.index(row)).center();
    }
    QAction* toolButton(const char* key) const {
        return dlg->toolbar()->findChild<QAction*>(QLatin1String(key));
    }
    // Types into a field and then leaves it, as a user does with Tab.
    void typeAndLeave(QLineEdit* field, const QString& text) {
        field->setFocus();
        field->selectAll();
        if (text.isEmpty())
            QTest::keyClick(field, Qt::Key_Backspace);
        else
            QTest::keyClicks(field, text);
        dlg->txtUserID()->setFocus();
        QApplication::processEvents();
    }
};

TEST_F(SetupWindow, StartupFillsTheHiddenDialogTickingOnlyTheFlagsThatAreOn) {
    for (auto [key, value] : {std::pair{"SaveHTTP", "0"},
                              {"BinariesOnly", "1"},
                              {"Remove SPAM", "1"},
                              {"ShowMNumbers", "0"},
                              {"SpawnVideo", "0"},
                              {"ConfirmFileDelete", "0"},
                              {"Timeout", "45"},
                              {"UserID", "me"},
                              {"Password", "secret"},
                              {"Minimum Groups", "3"}})
        t.setSetting(key, value);
    start();

    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(dlg->objectName(), "frmSetup");
    EXPECT_EQ(dlg->windowTitle(), "Setup");
    const std::tuple<SetupOption, const char*, bool> boxes[] = {
        {SetupOption::SPAM, "Filter SPAM from Messages", true},
        {SetupOption::HTTP, "Save HTTP Addreseses", false},
        {SetupOption::Binary, "Filter ONLY .binaries groups", true},
        {SetupOption::AutoLoad, "Auto Load Group List", true}, // the default
        {SetupOption::FileDelete, "Confirm File Delete", false},
        {SetupOption::Video, "Spawn Video in Preview Mode", false},
        {SetupOption::Show, "Show Message Numbers", false},
    };
    for (auto [option, caption, ticked] : boxes) {
        EXPECT_EQ(box(option)->text(), caption);
        EXPECT_EQ(box(option)->isChecked(), ticked) << caption;
    }
    EXPECT_EQ(dlg->txtTimeout()->text(), "45");
    EXPECT_EQ(dlg->txtMinGroups()->text(), "3");
    EXPECT_EQ(dlg->txtUserID()->text(), "me");
    EXPECT_EQ(dlg->txtPassword()->text(), "secret");
    EXPECT_EQ(dlg->txtPassword()->displayText(), "******");
    EXPECT_EQ(dlg->dirDest()->path() + "/", app.DestDir);

    QStringList labels;
    for (QLabel* l : dlg->findChildren<QLabel*>())
        labels << l->text();
    for (const char* text :
         {"Setup Options", "Server Timeout", "Minimum Groups to be Valid", "User ID", "Password"})
        EXPECT_TRUE(labels.contains(text)) << text;
    QStringList frames;
    for (QGroupBox* g : dlg->findChildren<QGroupBox*>())
        frames << g->title();
    for (const char* title : {"User Authentication", "Save Files In", "NNTP Servers (0)"})
        EXPECT_TRUE(frames.contains(title)) << title;
    EXPECT_EQ(dlg->cmdDir()->text(), "Create Directory");
    EXPECT_EQ(dlg->cmdOK()->text(), "&OK");
    EXPECT_EQ(dlg->cmdCancel()->text(), "&Cancel");
    QStringList keys;
    for (QAction* a : dlg->toolbar()->actions())
        keys << a->text();
    EXPECT_EQ(keys, (QStringList{"New", "Find", "Delete", "Import", "Export", "Sort"}));

    // Filling the dialog only ever ticks.
    box(SetupOption::HTTP)->setChecked(true);
    app.SaveHTTP = false;
    dlg->Form_Load();
    EXPECT_TRUE(box(SetupOption::HTTP)->isChecked());
}

TEST_F(SetupWindow, OptionsTakeEffectAtOnceAndReachTheStoreAtOkOrExit) {
    start();
    show();
    EXPECT_FALSE(app.RemoveSpam);
    QTest::mouseClick(box(SetupOption::SPAM), Qt::LeftButton);
    EXPECT_TRUE(app.RemoveSpam);
    QTest::mouseClick(box(SetupOption::AutoLoad), Qt::LeftButton);
    EXPECT_FALSE(app.AutoLoadGroups);
    QTest::mouseClick(dlg->cmdCancel(), Qt::LeftButton);
    EXPECT_FALSE(dlg->isVisible());
    // Cancel keeps them for the run but writes nothing.
    EXPECT_TRUE(app.RemoveSpam);
    EXPECT_FALSE(app.AutoLoadGroups);
    EXPECT_FALSE(t.hasSetting("Remove SPAM"));

    show();
    QTest::mouseClick(box(SetupOption::Binary), Qt::LeftButton);
    app.CurrentServer = "news.example.net";
    QTest::mouseClick(dlg->cmdOK(), Qt::LeftButton);
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(t.setting("Remove SPAM").toString(), "1");
    EXPECT_EQ(t.setting("BinariesOnly").toString(), "1");
    EXPECT_EQ(t.setting("AutoLoadGroups").toString(), "0");
    EXPECT_EQ(window->windowTitle(), "Zanderfell! v2.5 (news.example.net) ");

    // A change after OK and Cancel reaches the store at exit.
    show();
    QTest::mouseClick(box(SetupOption::Video), Qt::LeftButton);
    EXPECT_EQ(app.SpawnVideo, 0);
    QTest::mouseClick(dlg->cmdCancel(), Qt::LeftButton);
    EXPECT_EQ(t.setting("SpawnVideo").toString(), "1");
    cmdExit(app);
    EXPECT_EQ(t.setting("SpawnVideo").toString(), "0");
    EXPECT_EQ(t.endProcessCalls, 1);
}

TEST_F(SetupWindow, TimeoutFieldKeepsOnlyNumbersUpTo32767) {
    start();
    show();
    QLineEdit* field = dlg->txtTimeout();
    typeAndLeave(field, "32767");
    EXPECT_EQ(field->text(), "32767");
    EXPECT_EQ(app.Timeout, 32767);
    typeAndLeave(field, "32768");
    EXPECT_EQ(field->text(), "255");
    EXPECT_EQ(app.Timeout, 255);
    typeAndLeave(field, "60");
    EXPECT_EQ(app.Timeout, 60);
    typeAndLeave(field, "");
    EXPECT_EQ(field->text(), "255");
    EXPECT_EQ(app.Timeout, 255);

    // Lower-case letters and blanks never arrive; capitals up to "K" do.
    field->setFocus();
    field->selectAll();
    QTest::keyClicks(field, "1a 2z");
    EXPECT_EQ(field->text(), "12");
    QTest::keyClicks(field, "K");
    EXPECT_EQ(field->text(), "12K");
    QTest::keyClick(field, Qt::Key_Return); // nothing more than a key here
    EXPECT_TRUE(dlg->isVisible());
    dlg->txtUserID()->setFocus();
    QApplication::processEvents();
    EXPECT_EQ(field->text(), "255");
    EXPECT_FALSE(t.hasSetting("Timeout")) << "the store waits for OK or exit";
}

TEST_F(SetupWindow, MinGroupsFieldCutsTo32767AndEnterRunsOk) {
    start();
    show();
    QLineEdit* field = dlg->txtMinGroups();
    typeAndLeave(field, "32768");
    EXPECT_EQ(field->text(), "32767");
    EXPECT_EQ(app.MinGroups, 32767);
    typeAndLeave(field, "12AB");
    EXPECT_EQ(field->text(), "12AB");
    EXPECT_EQ(app.MinGroups, 32767) << "a text that is no number leaves the variable";
    typeAndLeave(field, "40");
    EXPECT_EQ(app.MinGroups, 40);

    field->setFocus();
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(t.setting("Minimum Groups").toString(), "40");
}

TEST_F(SetupWindow, UserAndPasswordFollowEveryChangeAndThePasswordShowsStars) {
    start();
    show();
    dlg->txtUserID()->setFocus();
    QTest::keyClicks(dlg->txtUserID(), "ab");
    EXPECT_EQ(app.UserID, "ab");
    QTest::keyClick(dlg->txtUserID(), Qt::Key_Backspace);
    EXPECT_EQ(app.UserID, "a");
    dlg->txtPassword()->setFocus();
    QTest::keyClicks(dlg->txtPassword(), "p w");
    EXPECT_EQ(app.Password, "p w");
    EXPECT_EQ(dlg->txtPassword()->displayText(), "***");
}

TEST_F(SetupWindow, WhileConnectedTheListItsToolbarAndShowNumbersAreLocked) {
    servers({"00012  OK    a.example.com", "????? ???    b.example.com"});
    start();
    app.toolbar[6].caption = "Disconnect";
    show();
    EXPECT_FALSE(list()->isEnabled());
    EXPECT_FALSE(dlg->toolbar()->isEnabled());
    EXPECT_FALSE(box(SetupOption::Show)->isEnabled());
    for (SetupOption o : {SetupOption::SPAM, SetupOption::HTTP, SetupOption::Binary,
                          SetupOption::AutoLoad, SetupOption::FileDelete, SetupOption::Video})
        EXPECT_TRUE(box(o)->isEnabled());
    EXPECT_TRUE(dlg->txtTimeout()->isEnabled());
    EXPECT_TRUE(dlg->dirDest()->isEnabled());
    EXPECT_TRUE(dlg->cmdOK()->isEnabled());
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, rowPoint(1));
    EXPECT_EQ(app.CurrentServer, "") << "a locked list picks nothing";
    dlg->hide();

    app.toolbar[6].caption = "Connect";
    show();
    EXPECT_TRUE(list()->isEnabled());
    EXPECT_TRUE(dlg->toolbar()->isEnabled());
    EXPECT_TRUE(box(SetupOption::Show)->isEnabled());
}

TEST_F(SetupWindow, ComingUpSelectsTheCurrentServersRowOnTopOfTheSelection) {
    servers(
        {"00012  OK    a.example.com", "????? ???    b.example.com", "????? ???    c.example.com"});
    t.setSetting("NNTPServer", "c.example.com");
    start();
    app.txtNNTPServ.setSelected(0, true);
    show();
    EXPECT_TRUE(app.txtNNTPServ.selected(0));
    EXPECT_FALSE(app.txtNNTPServ.selected(1));
    EXPECT_TRUE(app.txtNNTPServ.selected(2));
    QApplication::processEvents(); // the view follows the rows' selection
    EXPECT_TRUE(list()->selectionModel()->isRowSelected(2, QModelIndex()));
}

TEST_F(SetupWindow, ClicksAndKeysOnTheListPickServersAndCloseTheDialog) {
    servers(
        {"00012  OK    a.example.com", "????? ???    b.example.com", "00012     c.example.com"});
    start();
    show();
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
    QTest::keyClick(list(), Qt::Key_Escape);
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_FALSE(t.hasSetting("NNTPServer"));

    show();
    doubleClick(list()->viewport(), rowPoint(2));
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(t.setting("NNTPServer").toString(), "c.example.com");

    show();
    list()->setFocus();
    app.txtNNTPServ.setListIndex(1);
    QTest::keyClick(list(), Qt::Key_Return);
    EXPECT_FALSE(dlg->isVisible());
    EXPECT_EQ(t.setting("NNTPServer").toString(), "b.example.com");
}

TEST_F(SetupWindow, CtrlASelectsAllAndDeleteRemovesTheSelection) {
    servers(
        {"00012  OK    a.example.com", "????? ???    b.example.com", "00012     c.example.com"});
    start();
    show();
    list()->setFocus();
    QTest::keyClick(list(), Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(app.txtNNTPServ.selCount(), 3);
    app.txtNNTPServ.clearSelection();
    app.txtNNTPServ.setSelected(1, true);
    QTest::keyClick(list(), Qt::Key_Delete);
    ASSERT_EQ(app.txtNNTPServ.count(), 2);
    EXPECT_EQ(app.txtNNTPServ.text(1), "00012     c.example.com");
    EXPECT_EQ(dlg->frameNNTP()->title(), "NNTP Servers (2)");
    EXPECT_TRUE(dlg->isEnabled());
    EXPECT_TRUE(list()->isVisible());
}

TEST_F(SetupWindow, ToolbarRunsItsCommandsWithTheDialogOffMeanwhile) {
    start();
    show();
    t.prompter.answerInput(QString("news.example.net"));
    toolButton("New")->trigger();
    ASSERT_EQ(app.txtNNTPServ.count(), 1);
    EXPECT_EQ(app.txtNNTPServ.text(0), "????? ???    news.example.net");
    EXPECT_EQ(dlg->frameNNTP()->title(), "NNTP Servers (1)");
    EXPECT_TRUE(dlg->toolbar()->isEnabled());

    QByteArray content;
    for (int i = 0; i < 50; ++i)
        content += "host" + QByteArray::number(i) + ".example.org\n";
    ASSERT_TRUE(t.writeFile("servers.txt", content));
    t.prompter.answerFileName(t.path("servers.txt"));
    bool offDuring = false;
    QTimer::singleShot(0, dlg, [&] {
        offDuring = !dlg->isEnabled() && !dlg->cmdOK()->isEnabled() &&
                    !dlg->cmdCancel()->isEnabled() && !dlg->toolbar()->isEnabled() &&
                    !list()->isVisible();
    });
    toolButton("Import")->trigger();
    EXPECT_TRUE(offDuring);
    EXPECT_EQ(app.txtNNTPServ.count(), 51);
    EXPECT_TRUE(dlg->isEnabled());
    EXPECT_TRUE(dlg->cmdOK()->isEnabled());
    EXPECT_TRUE(dlg->toolbar()->isEnabled());
    EXPECT_TRUE(list()->isVisible());
    EXPECT_TRUE(list()->isEnabled());
    EXPECT_EQ(dlg->frameNNTP()->title(), "NNTP Servers (51)");
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
    QTest::mouseClick(dlg->cmdDir(), Qt::LeftButton);
    EXPECT_TRUE(QFileInfo(download + "pictures").isDir());
    ASSERT_TRUE(entry("pictures"));
    EXPECT_EQ(app.DestDir, download) << "a new directory is not entered";
    QTest::mouseClick(dlg->cmdDir(), Qt::LeftButton); // it exists now
    EXPECT_EQ(t.prompter.messages(), QStringList{"Could not create directory"});

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
    EXPECT_TRUE(t.prompter.messages().size() == 1) << "deleting says nothing";
}

} // namespace
