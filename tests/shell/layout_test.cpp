// The main window's layout in twips and the titles of its frames.
#include "shell/app.h"
#include "shell/layout.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

namespace {

void expectRect(const QRectF& r, double left, double top, double width, double height,
                const char* what) {
    EXPECT_DOUBLE_EQ(r.left(), left) << what;
    EXPECT_DOUBLE_EQ(r.top(), top) << what;
    EXPECT_DOUBLE_EQ(r.width(), width) << what;
    EXPECT_DOUBLE_EQ(r.height(), height) << what;
}

double bottom(const QRectF& r) {
    return r.top() + r.height();
}

struct Geometry {
    double left, top, width, height;
};

TEST(Layout, TooSmallAWindowSnapsBackTo9000By6000) {
    const std::pair<Geometry, Geometry> cases[] = {
        {{500, 500, 5000, 3000}, {500, 500, 9000, 6000}},
        {{500, 500, 8999, 6001}, {500, 500, 9000, 6001}},
        {{500, 500, 9000, 6000}, {500, 500, 9000, 6000}},
        {{500, 500, 12000, 5999}, {500, 500, 12000, 6000}},
    };
    for (const auto& [given, expected] : cases) {
        App app;
        app.FormLeft = given.left;
        app.FormTop = given.top;
        app.FormWidth = given.width;
        app.FormHeight = given.height;
        Form_Resize(app);
        EXPECT_DOUBLE_EQ(app.FormWidth, expected.width) << given.width << "x" << given.height;
        EXPECT_DOUBLE_EQ(app.FormHeight, expected.height) << given.width << "x" << given.height;
    }
}

TEST(Layout, AWindowOffTheScreenComesBackTo100) {
    // Screen 30000 by 20000 twips.
    const std::pair<Geometry, Geometry> cases[] = {
        {{29950, 19950, 12000, 9000}, {100, 100, 12000, 9000}}, // lost bottom right
        {{29900, 19900, 12000, 9000}, {100, 100, 12000, 9000}}, // exactly at the limit
        {{29899, 19899, 12000, 9000}, {29899, 19899, 12000, 9000}},
        {{5000, 19950, 12000, 9000}, {5000, 100, 12000, 9000}},
        {{29950, 5000, 12000, 9000}, {100, 5000, 12000, 9000}},
        {{50, -300, 12000, 9000}, {100, 100, 12000, 9000}}, // off the top left
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
        EXPECT_DOUBLE_EQ(app.FormLeft, expected.left) << given.left << "," << given.top;
        EXPECT_DOUBLE_EQ(app.FormTop, expected.top) << given.left << "," << given.top;
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

TEST(Layout, FramesOfA12000By9000Window) {
    App app;
    app.FormLeft = 500;
    app.FormTop = 500;
    app.FormWidth = 12000;
    app.FormHeight = 9000;
    Form_Resize(app);
    const double W = 12000, H = 9000;

    // First band.
    const double favW = W * 0.8, favH = H * 0.2; // 9600, 1800
    expectRect(app.frame(Frame::Favorites).rect, 10, 630, favW, favH, "frameFavorites");
    expectRect(app.frame(Frame::Favorites).listRect, 100, 300, favW - 200, favH - 350,
               "lstFavorites");
    const double prevW = W - (favW + 190); // 2210
    expectRect(app.frame(Frame::Preview).rect, 10 + favW + 25, 630, prevW, favH, "framePreview");
    expectRect(app.frame(Frame::Preview).listRect, 100, 250, prevW - 200, favH - 350, "Picture1");

    // Second band: groups and messages share one place.
    const double band2Top = 630 + favH + 25; // 2455
    const double band2W = W - 150, band2H = H * 0.35;
    for (Frame f : {Frame::Messages, Frame::Groups}) {
        expectRect(app.frame(f).rect, 10, band2Top, band2W, band2H, "second band");
        expectRect(app.frame(f).listRect, 100, 300, band2W - 200, band2H - 400, "second list");
    }

    // Third band keeps its designed height.
    const QRectF prog = app.frame(Frame::Prog).rect;
    const double progH = prog.height();
    EXPECT_GT(progH, 0);
    expectRect(prog, 1, band2Top + band2H, band2W, progH, "frameProg");
    EXPECT_DOUBLE_EQ(app.frame(Frame::Prog).listRect.left(), 100);
    EXPECT_DOUBLE_EQ(app.frame(Frame::Prog).listRect.width(), band2W - 200);

    // Fourth band fills the rest.
    const double band4Top = band2Top + band2H + progH;
    const double band4H = H - (band4Top + 1100);
    const double filesW = W * 0.35; // 4200
    expectRect(app.frame(Frame::Files).rect, 10, band4Top, filesW, band4H, "frameFiles");
    expectRect(app.frame(Frame::Files).listRect, 100, 200, filesW - 200, band4H - 250, "lstFiles");
    const double httpW = W - (10 + filesW + 150); // 7640
    expectRect(app.frame(Frame::HTTP).rect, 10 + filesW + 25, band4Top, httpW, band4H, "frameHTTP");
    expectRect(app.frame(Frame::HTTP).listRect, 100, 200, httpW - 200, band4H - 250, "lstHTTP");
    EXPECT_DOUBLE_EQ(bottom(app.frame(Frame::Files).rect), H - 1100);
}

TEST(Layout, StatusPanelWidths) {
    for (auto [W, p1, p2] : {std::tuple{12000.0, 5362.0, 4342.0}, {9000.0, 3682.0, 2962.0}}) {
        App app;
        app.FormLeft = app.FormTop = 500;
        app.FormWidth = W;
        app.FormHeight = 9000;
        Form_Resize(app);
        EXPECT_DOUBLE_EQ(app.statbarWidths[1], p1) << W;
        EXPECT_DOUBLE_EQ(app.statbarWidths[2], p2) << W;
        EXPECT_DOUBLE_EQ(app.statbarWidths[3], 1800) << W;
    }
}

// ---- titles ----

struct Titles {
    std::array<QString, static_cast<int>(Frame::Count)> frames;
    QString caption;
    bool operator==(const Titles&) const = default;
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

TEST(Titles, EachCodeRebuildsItsOneTitle) {
    const int kCaption = -1;
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
    };
    for (const auto& [code, target, text] : cases) {
        App app;
        prepare(app);
        Titles expected = titlesOf(app);
        if (target == kCaption)
            expected.caption = text;
        else
            expected.frames[target] = text;
        UpdateListTitles(app, code);
        const Titles got = titlesOf(app);
        EXPECT_EQ(got.caption, expected.caption) << "code " << code;
        for (int i = 0; i < static_cast<int>(Frame::Count); ++i)
            EXPECT_EQ(got.frames[i], expected.frames[i]) << "code " << code << ", frame " << i;
    }
}

TEST(Titles, AnUnknownCodeChangesNoTitle) {
    for (const char* code : {"", "10", "01", "x", "-1", " 1"}) {
        App app;
        prepare(app);
        const Titles before = titlesOf(app);
        QSignalSpy frames(&app, &App::frameChanged);
        QSignalSpy caption(&app, &App::captionChanged);
        UpdateListTitles(app, code);
        EXPECT_TRUE(titlesOf(app) == before) << '"' << code << '"';
        EXPECT_EQ(frames.count(), 0);
        EXPECT_EQ(caption.count(), 0);
    }
}

} // namespace
