// Find in the main window's lists.
#include "fixtures/test_app.h"
#include "support/find.h"

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

} // namespace
