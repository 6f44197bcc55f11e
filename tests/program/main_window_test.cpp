// The main window offscreen: what it shows at startup, how it keeps its
// size, and that closing it saves and a restart gives the same window back.
#include "fixtures/test_app.h"
#include "program/main_window.h"
#include "shell/menu_table.h"

#include <QAction>
#include <QCoreApplication>
#include <QGroupBox>
#include <QLabel>
#include <QMenuBar>
#include <QToolBar>
#include <gtest/gtest.h>

namespace {

// Samples of the menu table at startup (a shortcut, an item gated off, a checked
// one, an item in two menus), then the size kept across a restart.
TEST(Window, ShowsItsControlsAtStartupAndKeepsItsGeometryForTheNextStart) {
    TestApp t;
    const auto window = t.openWindow();
    QStringList top, buttons;
    for (QAction* a : window->menuBar()->actions())
        top << a->text();
    EXPECT_EQ(top, (QStringList{"&File", "&Edit", "&Connection", "&Retreive", "&Post", "&Advanced",
                                "&Help"}));
    EXPECT_EQ(window->action("menuExit")->shortcut().toString(), "Ctrl+X");
    EXPECT_FALSE(window->action("menuGroup")->isEnabled());
    EXPECT_TRUE(window->action("menuConnect")->isEnabled());
    EXPECT_TRUE(window->action("menuPreview")->isChecked());
    EXPECT_EQ(window->menuItems(51).size(), 2);

    for (int b = 1; b <= kToolbarButtons; ++b)
        if (QAction* a = window->toolButton(b)) buttons << a->text();
    EXPECT_EQ(buttons, (QStringList{"Setup", "Groups", "Stop", "Connect", "Download", "All", "View",
                                    "Post", "Links"}));
    EXPECT_FALSE(window->toolButton(13)->isEnabled()) << "no link page yet";

    for (int p = 1; p <= 3; ++p)
        EXPECT_TRUE(window->statusPanel(p)->isVisible());
    EXPECT_EQ(window->frameBox(Frame::Favorites)->title(),
              "Favorite Groups [ZanderfellFavorites] (0)");
    EXPECT_FALSE(window->frameBox(Frame::Messages)->isVisible());
    EXPECT_EQ(window->windowTitle(), "Zanderfell! v2.5 () ");

    const double k = window->pxPerTwip();
    window->resize(100, 100);
    EXPECT_GE(window->geometry().width(), qRound(9000 * k) - 1);
    EXPECT_GE(window->geometry().height(), qRound(6000 * k) - 1);

    window->move(qRound(300 * k / 15 * 15), qRound(200 * k / 15 * 15));
    window->resize(qRound(12000 * k), qRound(8000 * k));
    const QRect before = window->geometry();
    const QPoint beforePos = window->pos();
    // Closed maximised, the normal rectangle is what is kept.
    window->showMaximized();
    QCoreApplication::processEvents();
    ASSERT_NE(window->geometry(), before);
    window->close();
    EXPECT_EQ(t.endProcessCalls, 1);

    // A new start on the saved settings comes back at the same place and size.
    TestApp again;
    for (const char* key : {"Width", "Height", "Top", "Left"})
        again.setSetting(QLatin1String(key), t.setting(QLatin1String(key)));
    const auto second = again.openWindow();
    EXPECT_NEAR(second->geometry().width(), before.width(), 1.5);
    EXPECT_NEAR(second->geometry().height(), before.height(), 1.5);
    EXPECT_NEAR(second->pos().x(), beforePos.x(), 1.5);
    EXPECT_NEAR(second->pos().y(), beforePos.y(), 1.5);
}

} // namespace
