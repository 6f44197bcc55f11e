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
    ASSERT_EQ(t.prompter.shown().size(), 2u);
    for (const auto& shown : t.prompter.shown()) {
        EXPECT_EQ(shown.kind, ScriptedPrompter::Kind::Message);
        EXPECT_EQ(shown.text, "Please Select Item(s) First");
        EXPECT_EQ(shown.title, "Zanderfell!");
        EXPECT_EQ(shown.icon, Prompter::Icon::Exclamation);
    }

    t.prompter.clearShown();
    list.setSelected(1, true);
    EXPECT_TRUE(HasSelection(t.app, list, true));
    EXPECT_TRUE(HasSelection(t.app, list, false));
    EXPECT_TRUE(t.prompter.shown().empty());
}

TEST(ShellLaunch, OpensFilesAndAddressesUnderTheHourglass) {
    TestApp t;
    std::vector<bool> hourGlassDuringCall;
    t.app.openUrl = [&](const QUrl& url) {
        t.openedUrls << url;
        hourGlassDuringCall.push_back(t.app.hourGlass);
        return true;
    };
    ShellLaunch(t.app, t.path("UsenetHTTP.htm"));
    ShellLaunch(t.app, "http://www.example.com/page");
    ASSERT_EQ(t.openedUrls.size(), 2);
    EXPECT_EQ(t.openedUrls[0], QUrl::fromLocalFile(t.path("UsenetHTTP.htm")));
    EXPECT_EQ(t.openedUrls[1], QUrl("http://www.example.com/page"));
    EXPECT_EQ(hourGlassDuringCall, (std::vector<bool>{true, true}));
    EXPECT_FALSE(t.app.hourGlass);
    EXPECT_TRUE(t.prompter.shown().empty());
}

TEST(ShellLaunch, AFailureSaysSo) {
    TestApp t;
    t.openUrlSucceeds = false;
    ShellLaunch(t.app, t.path("missing.jpg"));
    ASSERT_EQ(t.prompter.shown().size(), 1u);
    const auto& shown = t.prompter.shown()[0];
    EXPECT_EQ(shown.kind, ScriptedPrompter::Kind::Message);
    EXPECT_EQ(shown.text, "Error Executing Application or File Not Found");
    EXPECT_EQ(shown.title, "Zanderfell!");
    EXPECT_EQ(shown.icon, Prompter::Icon::None);
    EXPECT_FALSE(t.app.hourGlass);
}

} // namespace
