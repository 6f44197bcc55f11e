// The real dialogs, as the user meets them.
#include "shell/list_model.h"
#include "shell/prompter_dialog.h"

#include <QApplication>
#include <QFileDialog>
#include <QTest>
#include <QTimer>
#include <gtest/gtest.h>

namespace {

// The save chooser leaves the "overwrite?" question to the program, which
// asks its own where it matters.
TEST(DialogPrompter, TheSaveChooserDoesNotAskAboutOverwritingItself) {
    QWidget parent;
    DialogPrompter prompter(&parent);
    bool seen = false, confirms = true;
    QTimer::singleShot(0, [&] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (!dialog) {
            const auto all = QApplication::topLevelWidgets();
            for (QWidget* w : all)
                if (auto* d = qobject_cast<QFileDialog*>(w); d && d->isVisible()) dialog = d;
        }
        if (!dialog) return;
        seen = true;
        confirms = !dialog->testOption(QFileDialog::DontConfirmOverwrite);
        dialog->reject();
    });
    EXPECT_EQ(prompter.saveFileName("Save Favorites", "Favorites (*.fav)", QDir::tempPath()),
              QString());
    ASSERT_TRUE(seen) << "the chooser never came up";
    EXPECT_FALSE(confirms);
}

} // namespace
