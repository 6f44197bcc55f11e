// The small shared routines.
#include "fixtures/test_app.h"
#include "support/routines.h"

#include <gtest/gtest.h>

namespace {

using Shown = ScriptedPrompter::Shown;
using Kind = ScriptedPrompter::Kind;

TEST(Routines, ZeroPadFillsToFiveDigitsAndAddBackslashEndsInOneSeparator) {
    const std::pair<qint32, const char*> pads[] = {
        {-99999, "0000"}, {0, "0000"}, {9, "0000"}, {10, "000"}, {99, "000"}, {100, "00"},
        {999, "00"},      {1000, "0"}, {9999, "0"}, {10000, ""}, {123456, ""}};
    for (auto [n, zeros] : pads)
        EXPECT_EQ(ZeroPad(n), zeros) << n;

    // Callers use both the result and the path they passed.
    for (auto [given, expected] :
         {std::pair{"/data", "/data/"}, {"/data/", "/data/"}, {"/", "/"}, {"", "/"}}) {
        QString path = given;
        EXPECT_EQ(AddBackslash(path), expected) << given;
        EXPECT_EQ(path, expected) << given;
    }
}

TEST(Routines, HasSelectionWarnsOnlyWhenAskedAndNothingIsSelected) {
    TestApp t;
    ListModel list;
    list.addItem("a");
    list.addItem("b");
    EXPECT_FALSE(HasSelection(t.app, list, false));
    EXPECT_TRUE(t.prompter.shown().empty());
    EXPECT_FALSE(HasSelection(t.app, list, true));
    list.setSelected(1, true);
    EXPECT_TRUE(HasSelection(t.app, list, true));
    EXPECT_EQ(t.prompter.shown(),
              (std::vector<Shown>{{Kind::Message, "Please Select Item(s) First", "Zanderfell!",
                                   Prompter::Icon::Exclamation}}));
}

TEST(Routines, ShellLaunchOpensFilesAndAddressesUnderTheHourglassAndSaysWhenItFails) {
    TestApp t;
    bool hourGlassDuringCalls = true;
    t.app.openUrl = [&](const QUrl& url) {
        t.openedUrls << url;
        hourGlassDuringCalls = hourGlassDuringCalls && t.app.hourGlass;
        return t.openUrlSucceeds;
    };
    ShellLaunch(t.app, t.path("UsenetHTTP.htm"));
    ShellLaunch(t.app, "http://www.example.com/page");
    EXPECT_EQ(t.openedUrls, (QList<QUrl>{QUrl::fromLocalFile(t.path("UsenetHTTP.htm")),
                                         QUrl("http://www.example.com/page")}));
    EXPECT_TRUE(t.prompter.shown().empty());

    t.openUrlSucceeds = false;
    ShellLaunch(t.app, t.path("missing.jpg"));
    EXPECT_EQ(t.prompter.shown(),
              (std::vector<Shown>{{Kind::Message, "Error Executing Application or File Not Found",
                                   "Zanderfell!", Prompter::Icon::None}}));
    EXPECT_TRUE(hourGlassDuringCalls);
    EXPECT_FALSE(t.app.hourGlass);
}

} // namespace
