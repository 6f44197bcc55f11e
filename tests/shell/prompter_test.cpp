// The scripted prompter that every test of a dialog relies on: it answers in
// order, and it fails the test on a question nobody scripted or an answer
// nobody asked for.
#include "fixtures/scripted_prompter.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace {

using Kind = ScriptedPrompter::Kind;

TEST(ScriptedPrompter, AnswersFromItsQueuesInOrderAndRecordsWhatWasShown) {
    ScriptedPrompter p;
    p.answerYesNo(true).answerYesNo(false).answerOkCancel(true);
    p.answerInput(QString("typed")).answerInput(std::nullopt);
    p.answerFileName("/tmp/a.txt").answerFileName("").answerDirectory("/tmp/d");

    p.message("hello", "Zanderfell!", Prompter::Icon::Exclamation);
    EXPECT_TRUE(p.askYesNo("first?", "T"));
    EXPECT_FALSE(p.askYesNo("second?", "T"));
    EXPECT_TRUE(p.askOkCancel("ok?", "T"));
    EXPECT_EQ(p.input("name?", "T", "initial"), std::optional<QString>("typed"));
    EXPECT_EQ(p.input("again?", "T", ""), std::nullopt);
    EXPECT_EQ(p.openFileName("Open", "Text (*.txt)", "/tmp"), "/tmp/a.txt");
    EXPECT_EQ(p.saveFileName("Save", "Text (*.txt)", "/tmp"), "");
    EXPECT_EQ(p.directory("Folder", "/"), "/tmp/d");

    EXPECT_EQ(p.pendingAnswers(), 0);
    ASSERT_EQ(p.shown().size(), 9u);
    EXPECT_EQ(p.shown()[0].kind, Kind::Message);
    EXPECT_EQ(p.shown()[0].icon, Prompter::Icon::Exclamation);
    EXPECT_EQ(p.shown()[4].initial, "initial");
    EXPECT_EQ(p.shown()[6].filter, "Text (*.txt)");
    EXPECT_EQ(p.shown()[6].dir, "/tmp");
    EXPECT_EQ(p.texts(Kind::YesNo), (QStringList{"first?", "second?"}));
    EXPECT_EQ(p.messages(), QStringList{"hello"});
    EXPECT_EQ(p.count(Kind::Input), 2);
}

TEST(ScriptedPrompter, AnUnscriptedQuestionFailsAndGetsTheCautiousAnswer) {
    ScriptedPrompter p;
    bool yes = true;
    EXPECT_NONFATAL_FAILURE(yes = p.askYesNo("Delete all?", "Zanderfell!"), "Delete all?");
    EXPECT_FALSE(yes);
    bool ok = true;
    EXPECT_NONFATAL_FAILURE(ok = p.askOkCancel("Go on?", "T"), "unexpected");
    EXPECT_FALSE(ok);
    std::optional<QString> text = QString("x");
    EXPECT_NONFATAL_FAILURE(text = p.input("Name?", "T", ""), "input box");
    EXPECT_EQ(text, std::nullopt);
    QString file = "x";
    EXPECT_NONFATAL_FAILURE(file = p.openFileName("Open", "", ""), "open-file chooser");
    EXPECT_TRUE(file.isEmpty());
    EXPECT_EQ(p.shown().size(), 4u) << "unscripted questions are recorded too";
}

TEST(ScriptedPrompter, AnAnswerNobodyAskedForFailsAtTheEnd) {
    EXPECT_NONFATAL_FAILURE(
        {
            ScriptedPrompter p;
            p.answerYesNo(true);
        },
        "never asked for");
    ScriptedPrompter dropped;
    dropped.answerDirectory("/tmp");
    dropped.dropPendingAnswers();
    EXPECT_EQ(dropped.pendingAnswers(), 0);
}

} // namespace
