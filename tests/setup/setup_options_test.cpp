// Rules of the setup dialog that hold without a window: the number fields,
// the check box variables, the download directory and OK.
#include "fixtures/test_app.h"
#include "setup/setup_options.h"

#include <QDir>
#include <QFileInfo>
#include <gtest/gtest.h>

namespace {

TEST(NumberFields, TimeoutTurnsWhatIsNoNumberOrTooLargeInto255) {
    struct Case {
        const char* typed;
        const char* shown;
        qint32 timeout;
    };
    const Case cases[] = {
        {"32767", "32767", 32767}, {"32768", "255", 255}, {"", "255", 255},    {"K", "255", 255},
        {"1K", "255", 255},        {".", "255", 255},     {"45", "45", 45},    {"0", "0", 0},
        {"1E3", "1E3", 1000},      {"1D2", "1D2", 100},   {"4E4", "255", 255}, {"12.5", "12.5", 12},
        {"13.5", "13.5", 14},      {"1E", "255", 255},    {"3..", "255", 255},
    };
    for (const Case& c : cases) {
        TestApp t;
        t.app.Timeout = 30;
        EXPECT_EQ(txtTimeout_LostFocus(t.app, c.typed), c.shown) << '"' << c.typed << '"';
        EXPECT_EQ(t.app.Timeout, c.timeout) << '"' << c.typed << '"';
    }
}

TEST(NumberFields, MinGroupsCutsALeadingNumberAbove32767AndKeepsNonNumbers) {
    struct Case {
        const char* typed;
        const char* shown;
        qint32 minGroups; // 7 is what it was
    };
    const Case cases[] = {
        {"32767", "32767", 32767},
        {"32768", "32767", 32767},
        {"40000AB", "32767", 32767},
        {"12AB", "12AB", 7},
        {"", "", 7},
        {"K", "K", 7},
        {"500", "500", 500},
        {"2.5", "2.5", 2},
        {"1E9", "32767", 32767},
        {"1E", "1E", 7},
        {".5", ".5", 0},
    };
    for (const Case& c : cases) {
        TestApp t;
        t.app.MinGroups = 7;
        EXPECT_EQ(txtMinGroups_LostFocus(t.app, c.typed), c.shown) << '"' << c.typed << '"';
        EXPECT_EQ(t.app.MinGroups, c.minGroups) << '"' << c.typed << '"';
    }
}

TEST(NumberFields, AcceptBackspaceEnterDotAndZeroToCapitalK) {
    QString accepted;
    for (char16_t c = 0; c < 128; ++c)
        if (numberFieldAccepts(c)) accepted += QChar(c);
    EXPECT_EQ(accepted, QString("\b\r.0123456789:;<=>?@ABCDEFGHIJK"));
}

TEST(Directory, CreateDirectoryMakesItInsideTheChoosersPathAndLeavesDestDir) {
    TestApp t;
    t.load();
    const QString dest = t.app.DestDir;
    QDir().mkdir(t.path("base"));
    t.prompter.answerInput(QString("new"))
        .answerInput(QString("inner"))
        .answerInput(QString("new"))
        .answerInput(QString(""));
    EXPECT_TRUE(cmdDir(t.app, t.path("base")));
    // A path that already ends in the separator gets no second one.
    EXPECT_TRUE(cmdDir(t.app, t.path("base") + "/"));
    EXPECT_TRUE(QFileInfo(t.path("base/new")).isDir());
    EXPECT_TRUE(QFileInfo(t.path("base/inner")).isDir());
    const auto& asked = t.prompter.shown().front();
    EXPECT_EQ(asked.text, "Enter Directory Name:");
    EXPECT_EQ(asked.title, "Create Directory:");
    EXPECT_TRUE(t.prompter.messages().isEmpty());

    EXPECT_FALSE(cmdDir(t.app, t.path("base"))); // exists already
    EXPECT_EQ(t.prompter.messages(), QStringList{"Could not create directory"});
    EXPECT_EQ(t.prompter.shown().back().icon, Prompter::Icon::Critical);
    EXPECT_FALSE(cmdDir(t.app, t.path("base"))); // empty answer: nothing
    EXPECT_EQ(t.prompter.messages().size(), 1);
    EXPECT_EQ(t.app.DestDir, dest);
}

} // namespace
