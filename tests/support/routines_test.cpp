// The small shared routines.
#include "fixtures/test_app.h"
#include "support/routines.h"

#include <gtest/gtest.h>

namespace {

TEST(ZeroPad, BringsTheNumberToFiveDigits) {
    const std::pair<qint32, const char*> cases[] = {
        {0, "0000"}, {9, "0000"}, {10, "000"}, {99, "000"},  {100, "00"},  {999, "00"},
        {1000, "0"}, {9999, "0"}, {10000, ""}, {123456, ""}, {-5, "0000"}, {-99999, "0000"},
    };
    for (auto [n, zeros] : cases)
        EXPECT_EQ(ZeroPad(n), zeros) << n;
}

TEST(AddBackslash, AppendsTheSeparatorOnlyWhenMissing) {
    const std::pair<const char*, const char*> cases[] = {
        {"/data/files", "/data/files/"}, {"/data/files/", "/data/files/"}, {"/", "/"}, {"", "/"}};
    for (auto [given, expected] : cases) {
        QString path = given;
        QString& result = AddBackslash(path);
        EXPECT_EQ(path, expected) << '"' << given << '"';
        EXPECT_EQ(&result, &path) << "changed in place";
    }
}

TEST(HasSelection, TrueWithSelectedRowsOtherwiseWarnsWhenAsked) {
    TestApp t;
    ListModel list;
    EXPECT_FALSE(HasSelection(t.app, list, false));
    EXPECT_TRUE(t.prompter.shown().empty());
    EXPECT_FALSE(HasSelection(t.app, list, true));
    list.addItem("a");
    list.addItem("b");
    EXPECT_FALSE(HasSelection(t.app, list, true));
    const ScriptedPrompter::Shown warning{ScriptedPrompter::Kind::Message,
                                          "Please Select Item(s) First", "Zanderfell!",
                                          Prompter::Icon::Exclamation};
    EXPECT_EQ(t.prompter.shown(), (std::vector{warning, warning}));

    t.prompter.clearShown();
    list.setSelected(1, true);
    EXPECT_TRUE(HasSelection(t.app, list, true));
    EXPECT_TRUE(HasSelection(t.app, list, false));
    EXPECT_TRUE(t.prompter.shown().empty());
}

TEST(ShellLaunch, OpensFilesAndAddressesUnderTheHourglassAndSaysWhenItFails) {
    TestApp t;
    std::vector<bool> hourGlassDuringCall;
    t.app.openUrl = [&](const QUrl& url) {
        t.openedUrls << url;
        hourGlassDuringCall.push_back(t.app.hourGlass);
        return t.openUrlSucceeds;
    };
    ShellLaunch(t.app, t.path("UsenetHTTP.htm"));
    ShellLaunch(t.app, "http://www.example.com/page");
    EXPECT_EQ(t.openedUrls, (QList<QUrl>{QUrl::fromLocalFile(t.path("UsenetHTTP.htm")),
                                         QUrl("http://www.example.com/page")}));
    EXPECT_EQ(hourGlassDuringCall, (std::vector<bool>{true, true}));
    EXPECT_FALSE(t.app.hourGlass);
    EXPECT_TRUE(t.prompter.shown().empty());

    t.openUrlSucceeds = false;
    ShellLaunch(t.app, t.path("missing.jpg"));
    EXPECT_EQ(t.prompter.shown(),
              (std::vector<ScriptedPrompter::Shown>{
                  {ScriptedPrompter::Kind::Message, "Error Executing Application or File Not Found",
                   "Zanderfell!", Prompter::Icon::None}}));
    EXPECT_FALSE(t.app.hourGlass);
}

} // namespace
