// Decoded files without a screen: AddaFile with its icons and preview, the
// handlers of lstFiles, and reading pictures that are damaged or too large.
#include "attachments/decoded_files.h"
#include "attachments/file_icons.h"
#include "attachments/picture_control.h"
#include "attachments/preview.h"
#include "fixtures/test_app.h"
#include "test_pictures.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>

namespace {

// A white 1x1 GIF, as small as the format allows.
const QByteArray kGif("GIF89a\x01\x00\x01\x00\x80\x00\x00\xff\xff\xff\x00\x00\x00"
                      ",\x00\x00\x00\x00\x01\x00\x01\x00\x00\x02\x02\x44\x01\x00;",
                      35);

struct DecodedFiles : ::testing::Test {
    TestApp t;
    App& app = t.app;

    void SetUp() override { app.DestDir = t.path("download/"); }
    QString write(const QString& name, const QByteArray& data) {
        EXPECT_TRUE(t.writeFile("download/" + name, data));
        return app.DestDir + name;
    }
    // Writes a file into DestDir and lists it the way a finished download does.
    void decoded(const QString& name, const QByteArray& data) {
        write(name, data);
        QString n = name;
        AddaFile(app, n);
    }
    QColor shownColour() const { return app.Picture1.image().pixelColor(0, 0); }
};

TEST_F(DecodedFiles, AddaFileListsOnceWithTheIconOfTheTypeAndPreviewsPicturesButNotVideos) {
    const QByteArray red = png({8, 4}, Qt::red);
    decoded("a.jpg", encoded(filled({8, 4}, Qt::green), "JPG"));
    decoded("aa.png", red);
    decoded("notes", "plain text");
    decoded("b.tar.gz", "not really");
    EXPECT_EQ(texts(app.lstFiles), QStringList({"a.jpg", "aa.png", "notes", "b.tar.gz"}));
    EXPECT_EQ(app.frame(Frame::Files).title, "Decoded Files (4)");

    // Pictures get the image icon; a name without extension gets the icon
    // drawn last; the whole ending picks the type.
    auto icon = [this](int row) {
        return app.fileIconNames.value(app.lstFiles.picture(row) - kFileIconBase);
    };
    EXPECT_EQ(icon(0), FindIconSource(".jpg"));
    EXPECT_FALSE(icon(0).isEmpty()) << "adwaita-icon-theme installed?";
    EXPECT_EQ(app.lstFiles.picture(2), app.lstFiles.picture(1));
    EXPECT_EQ(icon(3), FindIconSource(".tar.gz"));
    EXPECT_NE(icon(3), icon(0));

    // The preview shows the last picture; text files leave it.
    EXPECT_EQ(app.Picture1.fileName(), app.DestDir + "aa.png");
    EXPECT_EQ(shownColour(), QColor(Qt::red));

    // A name that a listed name contains counts as listed.
    decoded("a.png", png({8, 4}, Qt::blue));
    EXPECT_EQ(app.lstFiles.count(), 4);
    EXPECT_EQ(shownColour(), QColor(Qt::blue));

    // Only the last four characters decide what is a video.
    decoded("x.jpg.avi", red);
    EXPECT_EQ(shownColour(), QColor(Qt::blue));
    decoded("x.MOV", red);
    EXPECT_EQ(shownColour(), QColor(Qt::blue));
    decoded("x.avi.jpg", encoded(filled({8, 4}, Qt::yellow), "JPG"));
    EXPECT_EQ(app.Picture1.fileName(), app.DestDir + "x.avi.jpg");

    // Preview off: rows still come, no picture.
    menuPreview_Click(app);
    decoded("c.png", red);
    EXPECT_TRUE(app.Picture1.fileName().isEmpty());
    EXPECT_EQ(app.lstFiles.count(), 8);
}

TEST_F(DecodedFiles, PictureControlKeepsItsPictureWhenAFileCantBeShownAndShrinksHugeOnes) {
    // Enough scan data that a cut lands inside it, not in the tables.
    QImage noise(200, 150, QImage::Format_RGB32);
    for (int y = 0; y < noise.height(); ++y)
        for (int x = 0; x < noise.width(); ++x)
            noise.setPixel(x, y, qRgb(0, (x * 7 + y * 13) % 256, (x * y) % 256));
    const QByteArray jpeg = encoded(noise, "JPG");
    const QByteArray bmp = encoded(filled({64, 48}, Qt::blue), "BMP");
    const QByteArray cutPng = png({64, 48}, Qt::blue);
    struct Case {
        const char* name;
        QByteArray data;
        bool shown;
    };
    const Case cases[] = {
        {"whole.jpg", jpeg, true},
        {"whole.bmp", bmp, true},
        {"whole.gif", kGif, true},
        {"cut.png", cutPng.left(cutPng.size() * 6 / 10), false},
        {"cut.jpg", jpeg.left(jpeg.size() * 6 / 10), false},
        {"cut.bmp", bmp.left(bmp.size() / 2), false},
        {"cut.gif", kGif.left(kGif.size() - 1), false},
        {"text.jpg", "no picture in here", false},
        {"empty.png", "", false},
        {"huge.png", pngClaiming(100000, 100000), false},
        {"wide.png", pngClaiming(0x7fffffff, 1), false},
    };
    PictureControl control;
    const QString red = write("red.png", png({4, 4}, Qt::red));
    for (const Case& c : cases) {
        ASSERT_TRUE(control.setFileName(red));
        const QString path = write(c.name, c.data);
        EXPECT_EQ(control.setFileName(path), c.shown) << c.name;
        EXPECT_EQ(control.fileName(), c.shown ? path : red) << c.name;
        EXPECT_EQ(control.image().pixelColor(0, 0) != QColor(Qt::red), c.shown) << c.name;
    }

    // Larger than any screen, but readable: kept smaller, in proportion.
    QImage big(6000, 4000, QImage::Format_Grayscale8);
    big.fill(200);
    ASSERT_TRUE(control.setFileName(write("big.jpg", encoded(big, "JPG"))));
    const QSize kept = control.image().size();
    EXPECT_LE(qint64(kept.width()) * kept.height(), qint64(1) << 24);
    EXPECT_NEAR(double(kept.width()) / kept.height(), 1.5, 0.01);
    ASSERT_TRUE(control.setFileName(QString()));
    EXPECT_TRUE(control.image().isNull());
}

TEST_F(DecodedFiles, ClickSpaceEnterDoubleClickAndDeleteOnTheList) {
    for (const char* name : {"a.png", "b.png", "c.png"})
        decoded(name, png({8, 4}, Qt::red));
    app.Picture1.setFileName(QString());

    // Nothing selected or current: nothing is shown, opened or deleted.
    lstFiles_Click(app);
    lstFiles_DblClick(app);
    lstFiles_KeyDown(app, Qt::Key_Delete);
    EXPECT_TRUE(app.Picture1.fileName().isEmpty());
    EXPECT_TRUE(t.openedUrls.isEmpty());
    EXPECT_EQ(t.prompter.messages(), QStringList(2, "Please Select Item(s) First"));
    EXPECT_EQ(app.lstFiles.count(), 3);

    // Space makes row 0 current, and leaves a current row as it is.
    lstFiles_KeyPress(app, Qt::Key_Space);
    EXPECT_EQ(app.lstFiles.listIndex(), 0);
    EXPECT_TRUE(app.lstFiles.selected(0));
    app.lstFiles.setListIndex(1);
    lstFiles_KeyPress(app, Qt::Key_Space);
    EXPECT_EQ(app.lstFiles.listIndex(), 1);
    lstFiles_Click(app);
    EXPECT_EQ(app.Picture1.fileName(), app.DestDir + "b.png");
    lstFiles_KeyPress(app, Qt::Key_Return);
    lstFiles_DblClick(app);
    EXPECT_EQ(t.openedUrls, QList<QUrl>(2, QUrl::fromLocalFile(app.DestDir + "b.png")));

    // Delete takes the current row only, whatever else is selected; Cancel keeps it.
    app.lstFiles.selectAll();
    t.prompter.clearShown();
    t.prompter.answerOkCancel(false).answerOkCancel(true);
    lstFiles_KeyDown(app, Qt::Key_Delete);
    EXPECT_EQ(app.lstFiles.count(), 3);
    lstFiles_KeyDown(app, Qt::Key_Delete);
    EXPECT_EQ(texts(app.lstFiles), QStringList({"a.png", "c.png"}));
    EXPECT_FALSE(QFile::exists(app.DestDir + "b.png"));
    EXPECT_EQ(t.prompter.texts(ScriptedPrompter::Kind::OkCancel),
              QStringList({"Delete file : b.png ?", "Delete file : b.png ?"}));
    EXPECT_EQ(t.prompter.shown().back().title, "Delete");
    // Row 0 becomes current and the key's click shows it.
    EXPECT_EQ(app.lstFiles.listIndex(), 0);
    EXPECT_EQ(app.Picture1.fileName(), app.DestDir + "a.png");
    EXPECT_EQ(app.frame(Frame::Files).title, "Decoded Files (2)");

    // Unconfirmed; a file that can't be removed keeps its row.
    app.ConfirmFileDelete = false;
    t.prompter.clearShown();
    app.lstFiles.setListIndex(1);
    lstFiles_KeyDown(app, Qt::Key_Delete);
    EXPECT_EQ(texts(app.lstFiles), QStringList({"a.png"}));
    EXPECT_FALSE(QFile::exists(app.DestDir + "c.png"));
    QFile::remove(app.DestDir + "a.png");
    QDir(app.DestDir).mkpath("a.png/inside");
    lstFiles_KeyDown(app, Qt::Key_Delete);
    EXPECT_EQ(t.prompter.messages(), QStringList({"Could not remove file"}));
    EXPECT_EQ(t.prompter.shown().size(), 1u) << "no question while ConfirmFileDelete is off";
    EXPECT_EQ(t.prompter.shown().back().title, "Error!");
    EXPECT_EQ(app.lstFiles.count(), 1);
}

} // namespace
