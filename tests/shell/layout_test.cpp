// The main window's layout in twips and the titles of its frames.
#include "shell/app.h"
#include "shell/layout.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

namespace {

struct Geometry {
    double left, top, width, height;
};

// On a screen of 30000 by 20000 twips: a window under 9000 by 6000 grows to
// it, one whose corner is off the screen (or within 100 of its far edges)
// comes back to 100.
TEST(Layout, MinimumSizeAndOffScreenRescue) {
    const std::pair<Geometry, Geometry> cases[] = {
        {{500, 500, 5000, 3000}, {500, 500, 9000, 6000}},
        {{500, 500, 8999, 6001}, {500, 500, 9000, 6001}},
        {{500, 500, 9000, 6000}, {500, 500, 9000, 6000}},
        {{500, 500, 12000, 5999}, {500, 500, 12000, 6000}},
        {{29950, 19950, 12000, 9000}, {100, 100, 12000, 9000}},
        {{29900, 19900, 12000, 9000}, {100, 100, 12000, 9000}},
        {{29899, 19899, 12000, 9000}, {29899, 19899, 12000, 9000}},
        {{5000, 19950, 12000, 9000}, {5000, 100, 12000, 9000}},
        {{29950, 5000, 12000, 9000}, {100, 5000, 12000, 9000}},
        {{50, -300, 12000, 9000}, {100, 100, 12000, 9000}},
        {{100, 100, 12000, 9000}, {100, 100, 12000, 9000}},
    };
    for (const auto& [given, expected] : cases) {
        App app;
        app.ScreenWidth = 30000;
        app.ScreenHeight = 20000;
        app.FormLeft = given.left;
        app.FormTop = given.top;
        app.FormWidth = given.width;
        app.FormHeight = given.height;
        Form_Resize(app);
        SCOPED_TRACE(testing::Message() << given.left << "," << given.top << " " << given.width
                                        << "x" << given.height);
        EXPECT_DOUBLE_EQ(app.FormLeft, expected.left);
        EXPECT_DOUBLE_EQ(app.FormTop, expected.top);
        EXPECT_DOUBLE_EQ(app.FormWidth, expected.width);
        EXPECT_DOUBLE_EQ(app.FormHeight, expected.height);
    }
}

TEST(Layout, ResizingWhileMinimisedChangesNothing) {
    App app;
    app.WindowState = 1;
    app.FormLeft = -50;
    app.FormTop = 40000;
    app.FormWidth = 500;
    app.FormHeight = 400;
    for (FrameState& f : app.frames)
        f.rect = QRectF(1, 2, 3, 4);
    app.statbarWidths = {0, 7, 8, 9};
    QSignalSpy geometry(&app, &App::geometryChanged);

    Form_Resize(app);

    EXPECT_DOUBLE_EQ(app.FormLeft, -50);
    EXPECT_DOUBLE_EQ(app.FormTop, 40000);
    EXPECT_DOUBLE_EQ(app.FormWidth, 500);
    EXPECT_DOUBLE_EQ(app.FormHeight, 400);
    for (const FrameState& f : app.frames)
        EXPECT_EQ(f.rect, QRectF(1, 2, 3, 4));
    EXPECT_EQ(app.statbarWidths, (std::array<double, 4>{0, 7, 8, 9}));
    EXPECT_EQ(geometry.count(), 0);
}

// ---- titles ----

struct Titles {
    std::array<QString, static_cast<int>(Frame::Count)> frames;
    QString caption;
};

Titles titlesOf(const App& app) {
    Titles t;
    for (int i = 0; i < static_cast<int>(Frame::Count); ++i)
        t.frames[i] = app.frames[i].title;
    t.caption = app.Caption;
    return t;
}

void fill(ListModel& list, int rows) {
    for (int i = 0; i < rows; ++i)
        list.addItem(QString::number(i));
}

void prepare(App& app) {
    fill(app.lstFavorites, 2);
    fill(app.lstMessages, 3);
    fill(app.lstGroups, 4);
    fill(app.lstFiles, 5);
    fill(app.lstHTTP, 6);
    fill(app.txtNNTPServ, 7);
    app.CurrentGroup = "alt.binaries.test";
    app.CurrentServer = "news.example.net";
    app.FavoritesTitle = "Mine";
    for (FrameState& f : app.frames)
        f.title = "old";
    app.Caption = "old";
}

TEST(Titles, EachCodeRebuildsItsOneTitleAndAnUnknownCodeNone) {
    const int kCaption = -1, kNone = -2;
    const std::tuple<const char*, int, const char*> cases[] = {
        {"0", int(Frame::Favorites), "Favorite Groups [Mine] (2)"},
        {"1", int(Frame::Messages), "Available Messages (3)  Group : alt.binaries.test"},
        {"2", int(Frame::Groups), "Available Groups : news.example.net (4)"},
        {"3", int(Frame::Files), "Decoded Files (5)"},
        {"4", int(Frame::HTTP), "HTTP Addresses (6)"},
        {"5", kCaption, "Zanderfell! v2.5 (news.example.net) "},
        {"6", int(Frame::HTTP), "Found/Status (6)"},
        {"7", int(Frame::Favorites), "Checking 2 Servers"},
        {"8", int(Frame::NNTP), "NNTP Servers (7)"},
        {"9", int(Frame::HTTP), "Email Addresses (6)"},
        {"", kNone, ""},
        {"10", kNone, ""},
        {"01", kNone, ""},
        {"x", kNone, ""},
        {"-1", kNone, ""},
        {" 1", kNone, ""},
    };
    for (const auto& [code, target, text] : cases) {
        App app;
        prepare(app);
        Titles expected = titlesOf(app);
        if (target == kCaption)
            expected.caption = text;
        else if (target >= 0)
            expected.frames[target] = text;
        QSignalSpy frames(&app, &App::frameChanged);
        QSignalSpy caption(&app, &App::captionChanged);
        UpdateListTitles(app, code);
        const Titles got = titlesOf(app);
        EXPECT_EQ(got.caption, expected.caption) << "code \"" << code << '"';
        for (int i = 0; i < static_cast<int>(Frame::Count); ++i)
            EXPECT_EQ(got.frames[i], expected.frames[i]) << "code \"" << code << "\", frame " << i;
        if (target == kNone) {
            EXPECT_EQ(frames.count() + caption.count(), 0) << "code \"" << code << '"';
        }
    }
}

} // namespace
