// The favourites in the main window: a group row dragged onto the list,
// the Delete key, and the file items of the File menu.
#include "fixtures/test_app.h"
#include "shell/list_view_widget.h"
#include "shell/main_window.h"

#include <QAction>
#include <QDropEvent>
#include <QGroupBox>
#include <QMimeData>
#include <QTest>
#include <gtest/gtest.h>

namespace {

struct FavoritesWindow : ::testing::Test {
    TestApp t;
    App& app = t.app;
    std::unique_ptr<MainWindow> window;

    void SetUp() override {
        window = std::make_unique<MainWindow>(app);
        app.prompter = &t.prompter; // the window installs real dialogs; tests script them
        t.load();
        window->applyGeometry();
        window->show();
        app.CurrentServer = "news.test";
    }
    void TearDown() override { app.prompter = &t.prompter; }

    // Drags row of lstGroups onto the favourites list, as the mouse would
    // deliver it: enter, move, drop on the list's viewport.
    bool dragGroupRow(int row) {
        app.lstGroups.setListIndex(row);
        std::unique_ptr<QMimeData> mime(app.lstGroups.mimeData({app.lstGroups.index(row)}));
        if (!mime) return false;
        ListView* favorites = window->view(app.lstFavorites);
        QWidget* target = favorites->viewport();
        const QPoint at = target->rect().center();
        QDragEnterEvent enter(at, Qt::CopyAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &enter);
        if (!enter.isAccepted()) return false;
        QDragMoveEvent move(at, Qt::CopyAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &move);
        QDropEvent drop(QPointF(at), Qt::CopyAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &drop);
        return drop.isAccepted();
    }
};

TEST_F(FavoritesWindow, DraggedGroupRowsBecomeFavouritesOnceAndDeleteRemovesTheSelection) {
    app.lstGroups.addItem(mark(1) + "alt.binaries.pics (12)");
    app.lstGroups.addItem("alt.quiet (0)");
    app.lstGroups.addItem("alt.c (0)");
    for (int row : {0, 1, 0, 2})
        EXPECT_TRUE(dragGroupRow(row));
    EXPECT_EQ(texts(app.lstFavorites),
              (QStringList{mark(1) + "alt.binaries.pics (news.test) (12)",
                           mark(4) + "alt.quiet (news.test) ", mark(4) + "alt.c (news.test) "}));
    EXPECT_EQ(window->frameBox(Frame::Favorites)->title(),
              "Favorite Groups [ZanderfellFavorites] (3)");
    // What is shown leaves the mark out.
    EXPECT_EQ(app.lstFavorites.data(app.lstFavorites.index(1), Qt::DisplayRole).toString(),
              "alt.quiet (news.test) ");

    ListView* favorites = window->view(app.lstFavorites);
    favorites->setFocus();
    favorites->selectionModel()->select(app.lstFavorites.index(1),
                                        QItemSelectionModel::ClearAndSelect);
    QTest::keyClick(favorites, Qt::Key_Delete);
    ASSERT_EQ(app.lstFavorites.count(), 2);
    EXPECT_EQ(app.lstFavorites.text(1), mark(4) + "alt.c (news.test) ");
    QTest::keyClick(favorites, Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(app.lstFavorites.selCount(), 2);
    QTest::keyClick(favorites, Qt::Key_Delete);
    EXPECT_EQ(app.lstFavorites.count(), 0);
}

TEST_F(FavoritesWindow, FileMenuItemsAskBeforeOverwritingAndRetitle) {
    app.lstGroups.addItem("alt.keep (0)");
    ASSERT_TRUE(dragGroupRow(0));
    ASSERT_TRUE(t.writeFile("taken.fav", "alt.other\n"));

    t.prompter.answerFileName(t.path("taken.fav")).answerYesNo(false);
    window->action("menuNew")->trigger();
    EXPECT_EQ(app.lstFavorites.count(), 1);
    EXPECT_EQ(t.readFile("taken.fav"), "alt.other\n");

    t.prompter.answerFileName(t.path("taken.fav")).answerYesNo(true);
    window->action("menuSave")->trigger();
    EXPECT_EQ(window->frameBox(Frame::Favorites)->title(), "Favorite Groups [taken] (1)");

    ASSERT_TRUE(t.writeFile("a.b.c", "alt.one\nalt.two\n"));
    t.prompter.answerFileName(t.path("a.b.c"));
    window->action("menuLoad")->trigger();
    EXPECT_EQ(window->frameBox(Frame::Favorites)->title(), "Favorite Groups [a] (2)");
}

} // namespace
