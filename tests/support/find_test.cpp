// Find in the main window's lists, frmFind, the quick help and the about window.
#include "fixtures/test_app.h"
#include "shell/gating.h"
#include "shell/list_view_widget.h"
#include "support/about_window.h"
#include "support/app_icon.h"
#include "support/find.h"
#include "support/find_dialog.h"
#include "support/quick_help_window.h"

#include <QAction>
#include <QApplication>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

namespace {

using Shown = ScriptedPrompter::Shown;
using Kind = ScriptedPrompter::Kind;

void fill(ListModel& list, const QStringList& rows) {
    for (const QString& r : rows)
        list.addItem(r);
}

QList<int> selectedRows(const ListModel& list) {
    QList<int> rows;
    for (int i = 0; i < list.count(); ++i)
        if (list.selected(i)) rows << i;
    return rows;
}

TEST(Find, SearchesOnFromTheCurrentRowAndReachesItLast) {
    TestApp t;
    App& app = t.app;
    app.frame(Frame::Groups).visible = false;
    fill(app.lstMessages, {"alpha", "Beta one", "gamma", "beta two", "delta"});
    app.lstMessages.setSelected(4, true);

    EXPECT_TRUE(FindText(app, "BETA"));
    EXPECT_EQ(app.lstMessages.listIndex(), 1);
    EXPECT_EQ(selectedRows(app.lstMessages), QList<int>{1});
    EXPECT_TRUE(FindText(app, "beta"));
    EXPECT_EQ(app.lstMessages.listIndex(), 3);
    EXPECT_TRUE(FindText(app, "beta"));
    EXPECT_EQ(app.lstMessages.listIndex(), 1) << "round from the end";
    // The only match is the current row: nothing behind it, found again.
    EXPECT_TRUE(FindText(app, "gam"));
    EXPECT_TRUE(FindText(app, "gam"));
    EXPECT_EQ(app.lstMessages.listIndex(), 2);
    EXPECT_EQ(selectedRows(app.lstMessages), QList<int>{2});
    EXPECT_TRUE(t.prompter.shown().empty());

    EXPECT_FALSE(FindText(app, "omega"));
    EXPECT_EQ(app.lstMessages.listIndex(), 2);
    EXPECT_EQ(t.prompter.shown(), (std::vector<Shown>{{Kind::Message, "Not Found", "Zanderfell!",
                                                       Prompter::Icon::Exclamation}}));

    // Find Next with no search text yet: nothing happens, nothing is shown.
    t.prompter.clearShown();
    menuFindNext_Click(app);
    EXPECT_EQ(app.lstMessages.listIndex(), 2);
    EXPECT_TRUE(t.prompter.shown().empty());
    app.LastFind = "delta";
    menuFindNext_Click(app);
    EXPECT_EQ(app.lstMessages.listIndex(), 4);
}

TEST(Find, WithTheGroupFrameOnViewSearchesTheGroupsOrTheFavouritesWhenThereAreNone) {
    TestApp t;
    App& app = t.app;
    ASSERT_TRUE(app.frame(Frame::Groups).visible);
    fill(app.lstMessages, {"alt.test"});
    fill(app.lstFavorites, {"comp.misc (news.a)", "alt.test (news.b)"});
    EXPECT_TRUE(FindText(app, "alt.test"));
    EXPECT_EQ(app.lstFavorites.listIndex(), 1);
    EXPECT_EQ(app.lstMessages.listIndex(), -1);

    fill(app.lstGroups, {"alt.test.x", "comp.misc"});
    EXPECT_TRUE(FindText(app, "comp"));
    EXPECT_EQ(app.lstGroups.listIndex(), 1);
    EXPECT_EQ(app.lstFavorites.listIndex(), 1);
}

TEST(Find, FindWindowKeepsEveryKeystrokeAndTurnsOkIntoNextUntilNothingIsFound) {
    TestApp t;
    App& app = t.app;
    app.frame(Frame::Groups).visible = false;
    fill(app.lstMessages, {"one pic", "two", "three pic"});
    app.LastFind = "old";
    FindDialog dlg(app);
    dlg.show();
    QApplication::setActiveWindow(&dlg);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&dlg));
    EXPECT_EQ(dlg.windowTitle(), "Find!");
    QLineEdit* field = dlg.txtSearch();
    field->setFocus();
    EXPECT_EQ(field->selectedText(), "old");

    QTest::keyClick(field, Qt::Key_P); // replaces the selected text
    EXPECT_EQ(app.LastFind, "p");
    EXPECT_EQ(t.setting("LastFind").toString(), "p");
    QTest::keyClicks(field, "ic");
    EXPECT_EQ(t.setting("LastFind").toString(), "pic");

    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(app.lstMessages.listIndex(), 0);
    EXPECT_EQ(dlg.cmdOK()->text(), "Next");
    QTest::mouseClick(dlg.cmdOK(), Qt::LeftButton);
    EXPECT_EQ(app.lstMessages.listIndex(), 2);
    EXPECT_TRUE(dlg.isVisible());

    field->setText("four");
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_FALSE(dlg.isVisible());
    EXPECT_EQ(t.prompter.messages(), QStringList{"Not Found"});

    dlg.show();
    QApplication::setActiveWindow(&dlg);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&dlg));
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_FALSE(dlg.isVisible());
    EXPECT_EQ(app.lstMessages.listIndex(), 2);
}

TEST_F(WindowTest, HelpAboutFindAndScheduleOpenFromTheirMenus) {
    QAction* help = window->action("menuQuickHelp");
    help->trigger();
    auto* quick = window->findChild<QuickHelpWindow*>();
    ASSERT_TRUE(quick && quick->isVisible());
    EXPECT_FALSE(quick->isModal());
    EXPECT_EQ(quick->windowTitle(), "Zanderfell! - Quick Help");
    QTabWidget* tabs = quick->tabs();
    QStringList captions;
    for (int i = 0; i < tabs->count(); ++i)
        captions << tabs->tabText(i);
    EXPECT_EQ(captions,
              (QStringList{"Connecting", "Group List", "Messages", "Downloading", "Advanced"}));
    help->trigger();
    EXPECT_EQ(window->findChildren<QuickHelpWindow*>().size(), 1);
    // Esc from the tabs closes it; the window goes with its close.
    QApplication::setActiveWindow(quick);
    ASSERT_TRUE(QTest::qWaitForWindowActive(quick));
    tabs->tabBar()->setFocus();
    QTest::keyClick(tabs->tabBar(), Qt::Key_Escape);
    EXPECT_FALSE(quick->isVisible());

    window->action("menuAbout")->trigger();
    auto* about = window->findChild<AboutWindow*>();
    ASSERT_TRUE(about && about->isVisible());
    EXPECT_FALSE(about->isModal());
    EXPECT_EQ(about->windowTitle(), "About");
    EXPECT_EQ(about->lblVersion()->text(), "Version 2.5 Build (2.5.69)");
    EXPECT_EQ(about->findChild<QGroupBox*>()->title(), "Software Disclaimer");
    // One icon for the about box, the window and the desktop entry's theme
    // sizes, each of which must load at its own size.
    const QIcon icon = AppIcon();
    EXPECT_EQ(about->findChild<QLabel*>("picLogo")->pixmap().toImage(), icon.pixmap(72).toImage());
    EXPECT_EQ(window->windowIcon().pixmap(48).toImage(), icon.pixmap(48).toImage());
    for (int side : {16, 22, 24, 32, 48, 64, 128, 256}) {
        const QPixmap p = icon.pixmap(QSize(side, side));
        EXPECT_EQ(p.size(), QSize(side, side)) << side;
        EXPECT_EQ(p.toImage().pixelColor(side / 2, side / 10), QColor(0, 128, 128)) << side;
    }
    const QSize size = about->size();
    about->resize(size * 2);
    EXPECT_EQ(about->size(), size);
    QPushButton* ok = about->findChild<QPushButton*>("cmdOK");
    EXPECT_EQ(ok->text(), "&OK");
    QTest::mouseClick(ok, Qt::LeftButton);
    EXPECT_FALSE(about->isVisible());

    // The two modal ones: seen from inside their own event loop, then left.
    QStringList modal;
    for (const char* item : {"menuFind", "menuAuto"}) {
        QTimer::singleShot(0, window.get(), [&] {
            if (QWidget* w = QApplication::activeModalWidget()) {
                modal << w->objectName();
                w->close();
            }
        });
        window->action(item)->trigger();
    }
    EXPECT_EQ(modal, (QStringList{"frmFind", "frmAuto"}));
}

TEST_F(WindowTest, F3InTheMessageListFindsTheNextRow) {
    MessagesOnOff(app, true);
    GroupsOnOff(app, false);
    fill(app.lstMessages, {"a.jpg", "b.txt", "c.jpg"});
    app.LastFind = ".jpg";
    ListView* list = window->view(app.lstMessages);
    QApplication::setActiveWindow(window.get());
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    list->setFocus();
    app.lstMessages.setListIndex(2);
    QTest::keyClick(list, Qt::Key_F3);
    EXPECT_EQ(app.lstMessages.listIndex(), 0);
    QTest::keyClick(list, Qt::Key_F3);
    EXPECT_EQ(app.lstMessages.listIndex(), 2);
}

} // namespace
