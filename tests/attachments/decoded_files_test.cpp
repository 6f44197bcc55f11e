// Decoded files in the real windows, offscreen: their rows and icons, the
// handlers of the list, what Picture1 and the large window draw, their keys
// and mouse, where the large window's rectangle goes; and reading pictures
// that are damaged or too large.
#include "attachments/decoded_files.h"
#include "attachments/file_icons.h"
#include "attachments/max_preview_window.h"
#include "attachments/picture_widget.h"
#include "fixtures/test_app.h"
#include "program/main_window.h"
#include "shell/list_view_widget.h"
#include "shell/picture_control.h"
#include "test_data.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QTest>
#include <gtest/gtest.h>

namespace {

const QColor kTeal(0, 128, 128);

// A white 1x1 GIF, as small as the format allows.
const QByteArray kGif("GIF89a\x01\x00\x01\x00\x80\x00\x00\xff\xff\xff\x00\x00\x00"
                      ",\x00\x00\x00\x00\x01\x00\x01\x00\x00\x02\x02\x44\x01\x00;",
                      35);

// A macOS icon file: "icns" and its length, a table of contents whose one
// entry claims 4 GB, and that entry, a PNG signature and nothing behind it.
QByteArray icnsClaiming4Gb() {
    QByteArray data;
    QDataStream out(&data, QIODevice::WriteOnly);
    out.writeRawData("icns", 4);
    out << quint32(151);
    out.writeRawData("TOC ", 4);
    out << quint32(16);
    out.writeRawData("ic08", 4);
    out << quint32(0xFFFFFFFF);
    out.writeRawData("ic08", 4);
    out << quint32(127);
    out.writeRawData("\x89PNG\r\n\x1a\n\0\0\0\r", 12);
    return data.leftJustified(151, '\0');
}

TEST(PictureControl, KeepsItsPictureWhenAFileCantBeShownAndShrinksHugeOnes) {
    TestApp t;
    auto write = [&t](const QString& name, const QByteArray& data) {
        EXPECT_TRUE(t.writeFile(name, data));
        return t.path(name);
    };
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
        {"whole.webp", encoded(filled({16, 8}, Qt::blue), "WEBP"), true},
        // The content decides, never the name.
        {"png.jpg", png({8, 8}, Qt::blue), true},
        // Only the formats a preview needs: no other reader sees a download.
        {"icon.jpg", encoded(filled({16, 16}, Qt::blue), "ICNS"), false},
        {"hostile.jpg", icnsClaiming4Gb(), false},
        {"tiff.jpg", encoded(filled({8, 8}, Qt::blue), "TIFF"), false},
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
    // One pixel wide and 2^24 + 1 tall, in a file of 64 bytes: shrinking it
    // to a side of millions of pixels brought the process down.
    QByteArray tall;
    QDataStream bmpOut(&tall, QIODevice::WriteOnly);
    bmpOut.setByteOrder(QDataStream::LittleEndian);
    bmpOut.writeRawData("BM", 2);
    bmpOut << quint32(58) << quint32(0) << quint32(54) << quint32(40) << qint32(1)
           << qint32((1 << 24) + 1) << quint16(1) << quint16(24) << quint32(0) << quint32(4)
           << qint32(2835) << qint32(2835) << quint32(0) << quint32(0) << quint32(0x00ff0000)
           << quint16(0);
    if (control.setFileName(write("tall.bmp", tall))) {
        EXPECT_LE(control.image().height(), 1 << 15);
    }
    ASSERT_TRUE(control.setFileName(QString()));
    EXPECT_TRUE(control.image().isNull());
}

struct DecodedFiles : WindowTest {
    void SetUp() override {
        WindowTest::SetUp();
        app.DestDir = t.path("download/");
        window->resize(1024, 768);
        QCoreApplication::processEvents();
    }
    void TearDown() override {
        if (MaxPreviewWindow* w = window->largePreview()) w->close();
        app.prompter = &t.prompter;
    }

    // Writes a file into DestDir and lists it the way a finished download does.
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
};

// Every decoded file gets one row with the icon of its type; Picture1 draws
// the last picture, fitted to its frame.
TEST_F(DecodedFiles, ListedOnceWithTheirIconAndTheLastPictureIsDrawnFitted) {
    PictureWidget* picture = window->picture();
    ASSERT_GT(picture->width(), 20);
    EXPECT_EQ(centre(picture), kTeal);

    decoded("aa.png", png({40, 40}, Qt::red));
    // Far wider than the frame: it fills the width, teal above and below.
    decoded("band.png", png({400, 20}, Qt::blue));
    const QImage shown = drawn(picture);
    EXPECT_EQ(shown.pixelColor(shown.width() / 2, shown.height() / 2), QColor(Qt::blue));
    EXPECT_EQ(shown.pixelColor(2, shown.height() / 2), QColor(Qt::blue));
    EXPECT_EQ(shown.pixelColor(shown.width() / 2, 1), kTeal);
    EXPECT_EQ(shown.pixelColor(shown.width() / 2, shown.height() - 2), kTeal);

    // Text, videos (the last four characters tell), a cut picture and one
    // that claims to be enormous are listed and change nothing.
    const QByteArray green = png({300, 300}, Qt::green);
    decoded("notes", "plain text");
    decoded("b.tar.gz", "not really");
    decoded("x.jpg.avi", green);
    decoded("x.MOV", green);
    decoded("cut.png", green.left(green.size() / 2));
    decoded("huge.png", pngClaiming(60000, 60000));
    EXPECT_EQ(drawn(picture), shown);
    const QStringList rows = {"aa.png",    "band.png", "notes",   "b.tar.gz",
                              "x.jpg.avi", "x.MOV",    "cut.png", "huge.png"};
    EXPECT_EQ(texts(app.lstFiles), rows);
    // A name that a listed name contains counts as listed.
    decoded("a.png", green);
    EXPECT_EQ(texts(app.lstFiles), rows);
    EXPECT_EQ(centre(picture), QColor(Qt::green));
    decoded("x.avi.jpg", encoded(filled({8, 4}, Qt::yellow), "JPG"));
    EXPECT_EQ(app.Picture1.fileName(), app.DestDir + "x.avi.jpg");

    // Clicking a row shows it; the arrow keys on the list move and show.
    ListView* files = window->view(app.lstFiles);
    QTest::mouseClick(files->viewport(), Qt::LeftButton, {},
                      files->visualRect(app.lstFiles.index(0)).center());
    EXPECT_EQ(centre(picture), QColor(Qt::red));
    QTest::keyClick(files, Qt::Key_Down);
    EXPECT_EQ(app.lstFiles.listIndex(), 1);
    EXPECT_EQ(centre(picture), QColor(Qt::blue));
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
    // Row 0 becomes current and the key's click shows it.
    EXPECT_EQ(app.lstFiles.listIndex(), 0);
    EXPECT_EQ(app.Picture1.fileName(), app.DestDir + "a.png");

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
    EXPECT_EQ(app.lstFiles.count(), 1);
}

} // namespace
