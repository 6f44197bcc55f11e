// The compose dialog offscreen: the check of the e-mail address.
#include "fixtures/test_app.h"
#include "post/post_dialog.h"
#include "post/post_engine.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTest>

namespace {

const QString kInvalid = QStringLiteral("Invalid Email Address!");

std::unique_ptr<PostDialog> openDialog(App& app) {
    auto dlg = std::make_unique<PostDialog>(app);
    dlg->show();
    dlg->activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(dlg.get()));
    return dlg;
}

TEST(PostDialog, AddressNeedsAnAtAndADotAnywhere) {
    struct Case {
        const char* typed;
        bool valid;
    };
    const Case cases[] = {
        {"news.example.com", false}, // a dot, no "@"
        {"me@localhost", false},     // typed in full, no dot
        {"", false},                 // tabbing out of an empty field
        {"first.last@host", true},
        {"x.y@z", true},
        {".@", true}, // order and number do not matter
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.typed);
        TestApp t;
        t.app.EmailAddress = QStringLiteral("old@example.com");
        auto dlg = openDialog(t.app);
        dlg->txtEmailField()->setFocus();
        dlg->txtEmailField()->setText(QString::fromLatin1(c.typed));
        QTest::keyClick(dlg->txtEmailField(), Qt::Key_Tab);
        EXPECT_EQ(t.prompter.messages().contains(kInvalid), !c.valid);
        EXPECT_EQ(dlg->txtEmailField()->text(), c.valid ? QString::fromLatin1(c.typed) : QString());
        EXPECT_EQ(t.app.EmailAddress, c.valid ? QString::fromLatin1(c.typed) : QString());
        dlg.reset();
        EXPECT_EQ(t.setting("Email Address").toString(), t.app.EmailAddress);
    }

    // Enter on OK checks the address before the post goes out.
    TestApp t;
    t.app.CurrentServer = QStringLiteral("bad address");
    auto dlg = openDialog(t.app);
    dlg->txtEmailField()->setText(QStringLiteral("nobody"));
    dlg->cmdOK()->setFocus();
    t.prompter.clearShown();
    QTest::keyClick(dlg->cmdOK(), Qt::Key_Return);
    EXPECT_EQ(t.prompter.messages(), QStringList{kInvalid});
    EXPECT_TRUE(dlg->txtEmailField()->text().isEmpty());
    EXPECT_FALSE(dlg->cmdOK()->isEnabled()); // and OK ran
}

} // namespace
