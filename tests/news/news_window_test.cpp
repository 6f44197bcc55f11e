// From the main window's toolbar to a group's subjects against INN, the way
// a user goes: Connect, the group list fills, Enter on a group row.
#include "fixtures/inn_server.h"
#include "news/connection.h"
#include "news/group_list.h"
#include "shell/app.h"
#include "shell/list_view_widget.h"
#include "shell/main_window.h"
#include "shell/startup.h"

#include <QAction>
#include <QDir>
#include <QGroupBox>
#include <QLabel>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

namespace {

class NewsWindow : public InnTest {
protected:
    void SetUp() override {
        InnTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        app.ExeDir = dir.path();
        app.SettingsFile = dir.filePath("settings.ini");
        QSettings s(app.SettingsFile, QSettings::IniFormat);
        s.setValue("Settings/NNTPServer", inn.address());
        s.sync();
        window = std::make_unique<MainWindow>(app);
        Form_Load(app);
        window->applyGeometry();
        window->show();
    }
    void TearDown() override {
        if (window) cmdDisconnect(app);
    }
    int rowOf(const ListModel& list, const QString& group) const {
        for (int i = 0; i < list.count(); ++i) {
            QString t = list.text(i);
            if (cleanNewsGroup(t) == group) return i;
        }
        return -1;
    }

    QTemporaryDir dir;
    App app;
    std::unique_ptr<MainWindow> window;
};

TEST_F(NewsWindow, ConnectButtonListsGroupsAndEnterOpensOne) {
    const QString group = InnServer::uniqueGroup("alt.binaries.zf.window");
    ASSERT_TRUE(inn.newGroup(group));
    ASSERT_TRUE(inn.post(group, "first.jpg (1/1)", "x\n"));
    ASSERT_TRUE(inn.post(group, "second.jpg (1/1)", "y\n"));

    QAction* connectButton = window->toolButton(6);
    ASSERT_TRUE(connectButton);
    EXPECT_EQ(connectButton->text(), "Connect");
    connectButton->trigger();

    EXPECT_EQ(connectButton->text(), "Disconnect");
    EXPECT_EQ(window->action("menuConnect")->text(), "&Disconnect");
    EXPECT_EQ(window->statusPanel(3)->text(), "Connected");
    EXPECT_TRUE(window->action("menuRefreshG")->isEnabled());
    EXPECT_TRUE(window->frameBox(Frame::Groups)->isVisible());
    EXPECT_TRUE(window->frameBox(Frame::Groups)->title().startsWith("Available Groups : "));

    const int row = rowOf(app.lstGroups, group);
    ASSERT_GE(row, 0);
    ListView* groups = window->view(app.lstGroups);
    groups->setFocus();
    groups->setCurrentIndex(app.lstGroups.index(row));
    QTest::keyClick(groups, Qt::Key_Return);

    EXPECT_EQ(app.CurrentGroup, group);
    ASSERT_EQ(app.lstMessages.count(), 2);
    EXPECT_EQ(app.lstMessages.text(0), "first.jpg (1/1)");
    EXPECT_TRUE(window->frameBox(Frame::Messages)->isVisible());
    EXPECT_FALSE(window->frameBox(Frame::Groups)->isVisible());
    EXPECT_EQ(window->frameBox(Frame::Messages)->title(),
              "Available Messages (2)  Group : " + group);
    // The group row learnt the count of the listing.
    EXPECT_EQ(app.lstGroups.text(row), QString(QChar(0xFF)) + "1" + group + " (2)");
    EXPECT_TRUE(window->action("menuRefreshM")->isEnabled());

    // Disconnect from the toolbar: both lists go, the groups come back.
    connectButton->trigger();
    EXPECT_EQ(connectButton->text(), "Connect");
    EXPECT_EQ(window->statusPanel(1)->text(), "Click on CONNECT to connect to Server");
    EXPECT_EQ(app.lstMessages.count(), 0);
    EXPECT_TRUE(window->frameBox(Frame::Groups)->isVisible());
}

} // namespace
