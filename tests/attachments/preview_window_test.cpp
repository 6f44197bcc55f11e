// The preview and the decoded files in the real windows, offscreen: what
// Picture1 and the large window draw, their keys and mouse, and where the
// large window's rectangle goes.
#include "attachments/decoded_files.h"
#include "attachments/max_preview_window.h"
#include "attachments/picture_widget.h"
#include "fixtures/test_app.h"
#include "shell/list_view_widget.h"
#include "shell/main_window.h"
#include "test_pictures.h"

#include <QAction>
#include <QFile>
#include <QGroupBox>
#include <QTest>
#include <gtest/gtest.h>

namespace {

const QColor kTeal(0, 128, 128);

struct PreviewWindow : ::testing::Test {
    TestApp t;
    App& app = t.app;
    std::unique_ptr<MainWindow> window;

    void SetUp() override {
        window = t.openWindow();
        app.DestDir = t.path("download/");
        window->resize(1024, 768);
        QCoreApplication::processEvents();
    }
    void TearDown() override {
        if (MaxPreviewWindow* w = window->largePreview()) w->close();
        app.prompter = &t.prompter;
    }

    void decoded(const QString& name, const QByteArray& data) {
        ASSERT_TRUE(t.writeFile("download/" + name, data));
        QString n = name;
        AddaFile(app, n);
        QCoreApplication::processEvents();
    }
    static QImage drawn(QWidget* w) { return w->grab().toImage(); }
    static QColor centre(QWidget* w) {
        const QImage i = drawn(w);
        return i.pixelColor(i.width() / 2, i.height() / 2);
    }
    MaxPreviewWindow* openLarge() {
        window->action("menuPreviewL")->trigger();
        QCoreApplication::processEvents();
        return window->largePreview();
    }
};

TEST_F(PreviewWindow, Picture1DrawsTheLastDecodedPictureFittedToItsFrame) {
    PictureWidget* picture = window->picture();
    ASSERT_GT(picture->width(), 20);
    EXPECT_EQ(centre(picture), kTeal);

    decoded("red.png", png({40, 40}, Qt::red));
    // Far wider than the frame: it fills the width, teal above and below.
    decoded("band.png", png({400, 20}, Qt::blue));
    const QImage shown = drawn(picture);
    EXPECT_EQ(shown.pixelColor(shown.width() / 2, shown.height() / 2), QColor(Qt::blue));
    EXPECT_EQ(shown.pixelColor(2, shown.height() / 2), QColor(Qt::blue));
    EXPECT_EQ(shown.pixelColor(shown.width() / 2, 1), kTeal);
    EXPECT_EQ(shown.pixelColor(shown.width() / 2, shown.height() - 2), kTeal);

    // A video, a cut picture and one that claims to be enormous change nothing.
    decoded("clip.MOV", png({40, 40}, Qt::green));
    const QByteArray whole = png({300, 300}, Qt::green);
    decoded("cut.png", whole.left(whole.size() / 2));
    decoded("huge.png", pngClaiming(60000, 60000));
    EXPECT_EQ(drawn(picture), shown);
    EXPECT_EQ(app.lstFiles.count(), 5);

    // Clicking a row shows it; the arrow keys on the list move and show.
    ListView* files = window->view(app.lstFiles);
    QTest::mouseClick(files->viewport(), Qt::LeftButton, {},
                      files->visualRect(app.lstFiles.index(0)).center());
    EXPECT_EQ(centre(picture), QColor(Qt::red));
    QTest::keyClick(files, Qt::Key_Down);
    EXPECT_EQ(app.lstFiles.listIndex(), 1);
    EXPECT_EQ(centre(picture), QColor(Qt::blue));

    // Preview off: black and empty.
    window->action("menuPreview")->trigger();
    EXPECT_EQ(centre(picture), QColor(Qt::black));
    EXPECT_EQ(window->frameBox(Frame::Preview)->title(), "*Image Preview");
    EXPECT_FALSE(window->action("menuPreviewL")->isEnabled());
    QTest::mouseDClick(picture, Qt::LeftButton);
    EXPECT_EQ(window->largePreview(), nullptr);
    window->action("menuPreview")->trigger();
    EXPECT_EQ(centre(picture), kTeal);
    EXPECT_EQ(window->frameBox(Frame::Preview)->title(), "Image Preview");
}

TEST_F(PreviewWindow, LargeWindowWalksTheListDeletesAndKeepsItsNormalRectangle) {
    const std::pair<const char*, int> rect[] = {
        {"PLeft", 1500}, {"PTop", 1200}, {"PWidth", 6000}, {"PHeight", 4500}};
    for (auto [key, twips] : rect)
        t.setSetting(key, twips);
    decoded("a.png", png({30, 30}, Qt::red));
    decoded("b.png", png({30, 30}, Qt::green));
    decoded("c.png", png({30, 30}, Qt::blue));
    QTest::mouseDClick(window->picture(), Qt::LeftButton);
    MaxPreviewWindow* large = window->largePreview();
    ASSERT_NE(large, nullptr);
    ASSERT_TRUE(large->isVisible());
    EXPECT_TRUE(app.LargePreviewOpen);
    EXPECT_EQ(large->windowTitle(), "Preview (c.png)");
    const double k = window->pxPerTwip();
    const QSize normal(qRound(6000 * k), qRound(4500 * k));
    EXPECT_EQ(large->size(), normal);
    PictureWidget* image = large->image();
    EXPECT_EQ(image->size(), normal);
    EXPECT_EQ(centre(image), QColor(Qt::blue));

    const QColor up[] = {Qt::green, Qt::red, Qt::red};
    for (const QColor& c : up) {
        QTest::keyClick(image, Qt::Key_Up);
        EXPECT_EQ(centre(image), c);
    }
    EXPECT_EQ(large->windowTitle(), "Preview (a.png)");
    const QColor down[] = {Qt::green, Qt::blue, Qt::blue};
    for (const QColor& c : down) {
        QTest::keyClick(image, Qt::Key_Down);
        EXPECT_EQ(centre(image), c);
    }

    QTest::keyClick(image, Qt::Key_Up);
    t.prompter.answerOkCancel(true);
    QTest::keyClick(image, Qt::Key_Delete);
    EXPECT_EQ(texts(app.lstFiles), QStringList({"a.png", "c.png"}));
    EXPECT_FALSE(QFile::exists(app.DestDir + "b.png"));
    EXPECT_EQ(window->frameBox(Frame::Files)->title(), "Decoded Files (2)");
    // Row 0 is current again and on view.
    EXPECT_EQ(centre(image), QColor(Qt::red));

    // Closed maximised, it keeps its normal rectangle.
    large->showMaximized();
    QCoreApplication::processEvents();
    ASSERT_NE(large->size(), normal);
    large->close();
    EXPECT_FALSE(app.LargePreviewOpen);
    for (auto [key, twips] : rect)
        EXPECT_NEAR(t.setting(key).toDouble(), twips, 1 / k) << key;

    // The preview switch closes it.
    large = openLarge();
    window->action("menuPreview")->trigger();
    EXPECT_FALSE(large->isVisible());
    EXPECT_FALSE(app.LargePreviewOpen);

    // Left open at exit, it still keeps where it was.
    window->action("menuPreview")->trigger();
    large = openLarge();
    large->move(qRound(2400 * k), qRound(1200 * k));
    window->close();
    EXPECT_EQ(t.endProcessCalls, 1);
    EXPECT_NEAR(t.setting("PLeft").toDouble(), 2400, 1 / k);
}

} // namespace
