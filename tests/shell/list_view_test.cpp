// The list view and the real dialogs, as the user meets them.
#include "shell/list_model.h"
#include "shell/list_view_widget.h"
#include "shell/prompter_dialog.h"

#include <QApplication>
#include <QFileDialog>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <gtest/gtest.h>

namespace {

void sendMouse(QWidget* w, QEvent::Type type, QPoint at, Qt::MouseButton button,
               Qt::MouseButtons held) {
    QMouseEvent e(type, QPointF(at), w->mapToGlobal(QPointF(at)), button, held, Qt::NoModifier);
    QApplication::sendEvent(w, &e);
}

// A row dragged away with either button: press on the row, move past the
// drag distance with the button held.
TEST(ListView, ARowOfADragSourceIsDraggedWithEitherButton) {
    for (Qt::MouseButton button : {Qt::LeftButton, Qt::RightButton}) {
        ListModel list;
        list.addItem("alt.binaries.pics 12");
        list.addItem("alt.test 3");
        ListView view(&list);
        view.setDragSource(true);
        view.resize(300, 200);
        view.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
        QSignalSpy drags(&view, &ListView::dragStarting);
        QSignalSpy right(&view, &ListView::rightClicked);
        const QPoint at = view.visualRect(list.index(1)).center();
        const QPoint away = at + QPoint(QApplication::startDragDistance() * 3, 0);
        sendMouse(view.viewport(), QEvent::MouseButtonPress, at, button, button);
        // The view arms the drag at the first move and starts it at the next.
        sendMouse(view.viewport(), QEvent::MouseMove, away, Qt::NoButton, button);
        sendMouse(view.viewport(), QEvent::MouseMove, away + QPoint(2, 0), Qt::NoButton, button);
        sendMouse(view.viewport(), QEvent::MouseButtonRelease, away, button, Qt::NoButton);
        EXPECT_EQ(drags.count(), 1) << "button " << int(button);
        EXPECT_EQ(right.count(), button == Qt::RightButton ? 1 : 0);
    }
}

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
