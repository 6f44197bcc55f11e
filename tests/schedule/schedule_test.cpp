// The unattended download: when timerAuto starts a run, what the run does,
// and one scheduled download from a real server.
#include "fixtures/encoders.h"
#include "fixtures/inn_server.h"
#include "fixtures/test_app.h"
#include "news/connection.h"
#include "schedule/auto_schedule.h"
#include "shell/temp_files.h"
#include "shell/waits.h"

#include <QDir>
#include <QTest>

namespace {

// Monday 23 November 2026; the 29th is the Sunday of that week.
QDateTime at(int day, int hour, int minute, int second = 0) {
    return QDateTime(QDate(2026, 11, day), QTime(hour, minute, second));
}

struct Due {
    const char* what;
    QString time;
    quint8 ampm;
    QDateTime now;
    bool due;
};

TEST(Schedule, DueOnlyInTheScheduledMinuteOfAnOnDayWithTheWindowMinimisedAndNothingBusy) {
    TestApp t;
    App& app = t.app;
    auto dueWith = [&](const QString& time, quint8 ampm, const QDateTime& now) {
        app.AutoTime = time;
        app.AutoAMPM = ampm;
        return ScheduleDue(app, now);
    };
    app.WindowState = 1;
    app.AutoDays = "1111111";
    const Due cases[] = {
        {"minute before", "9:30", 1, at(23, 21, 29, 59), false},
        {"the minute begins", "9:30", 1, at(23, 21, 30, 0), true},
        {"the minute ends", "9:30", 1, at(23, 21, 30, 59), true},
        {"minute after", "9:30", 1, at(23, 21, 31, 0), false},
        {"AM is the morning", "9:30", 0, at(23, 9, 30), true},
        {"PM is not the morning", "9:30", 1, at(23, 9, 30), false},
        {"12:00 PM is noon", "12:00", 1, at(23, 12, 0), true},
        {"12:00 PM is not midnight", "12:00", 1, at(23, 0, 0), false},
        {"12:00 AM is midnight", "12:00", 0, at(23, 0, 0), true},
        {"12:00 AM is not noon", "12:00", 0, at(23, 12, 0), false},
        {"a bare hour", "7", 1, at(23, 19, 0, 30), true},
        {"24-hour clock", "21:30", 0, at(23, 21, 30), true},
        {"empty time", "", 1, at(23, 0, 0), false},
        {"hour past the day", "24:00", 0, at(23, 0, 0), false},
        {"minute past the hour", "9:60", 0, at(23, 10, 0), false},
        {"seconds", "9:30:00", 0, at(23, 9, 30), false},
    };
    for (const Due& c : cases)
        EXPECT_EQ(dueWith(c.time, c.ampm, c.now), c.due) << c.what;

    app.AutoTime = "9:30";
    app.AutoAMPM = 1;
    const QDateTime now = at(23, 21, 30);
    app.WindowState = 0;
    EXPECT_FALSE(ScheduleDue(app, now));
    app.WindowState = 1;
    app.Busy = true;
    EXPECT_FALSE(ScheduleDue(app, now));
    app.Busy = false;

    // Each position of AutoDays is one weekday, from Monday to Sunday.
    for (int position = 1; position <= 7; ++position) {
        app.AutoDays = QString(7, u'0');
        app.AutoDays[position - 1] = u'1';
        for (int day = 23; day <= 29; ++day)
            EXPECT_EQ(ScheduleDue(app, at(day, 21, 30)), day - 22 == position)
                << "position " << position << ", day " << day;
    }
}

// A run without a server: with no favourites, the walk stops at its warning,
// which shows that a run took place.
class ScheduledRun : public ::testing::Test {
protected:
    void SetUp() override {
        app.WindowState = 1;
        app.AutoTime = "6:15";
        app.AutoAMPM = 0;
        app.AutoDays = "0010000"; // Wednesday
        clock = at(25, 6, 15, 10);
        app.Now = [this] { return clock; };
        // Every pass of a wait is a second of the clock as well.
        t.useFakeClock([this](int pass) {
            clock = clock.addSecs(1);
            timerOnDuringRun = timerOnDuringRun || app.timerAuto.isActive();
            if (pass == stopAtPass) app.StopRequested = true;
        });
        app.timerAuto.start();
    }
    QStringList runs() const { return t.prompter.messages(); }

    TestApp t;
    App& app = t.app;
    QDateTime clock;
    bool timerOnDuringRun = false;
    int stopAtPass = -1;
    const QStringList oneRun{"Please Select Item(s) First"};
};

TEST_F(ScheduledRun, RunsWithTheTimerOffAndPausesOutOfItsMinuteSoItRunsOncePerMinute) {
    timerAuto_Timer(app);
    EXPECT_EQ(runs(), oneRun);
    EXPECT_FALSE(timerOnDuringRun);
    EXPECT_TRUE(app.timerAuto.isActive());
    EXPECT_EQ(t.passes, 61) << "a pause of 60 ticks";
    EXPECT_EQ(clock.time().minute(), 16);
    timerAuto_Timer(app);
    EXPECT_EQ(runs(), oneRun);

    // The next Wednesday, the same minute.
    clock = clock.addDays(7).addSecs(-60);
    timerAuto_Timer(app);
    EXPECT_EQ(runs(), oneRun + oneRun);
}

TEST_F(ScheduledRun, AStopEndsThePauseAndTheRunStartsAnewWhileTheMinuteLasts) {
    stopAtPass = 3;
    timerAuto_Timer(app);
    EXPECT_EQ(t.passes, 3);
    EXPECT_TRUE(app.timerAuto.isActive());
    EXPECT_EQ(runs(), oneRun);
    // The clock is still in the minute: the next tick runs again.
    timerAuto_Timer(app);
    EXPECT_EQ(runs(), oneRun + oneRun);
}

TEST_F(ScheduledRun, TheTimerOfTheProgramStartsTheRun) {
    app.timerAuto.setInterval(0);
    app.timerAuto.start();
    EXPECT_TRUE(QTest::qWaitFor([this] { return !runs().isEmpty(); }));
    EXPECT_EQ(runs(), oneRun);
    app.timerAuto.stop();
}

// A scheduled minute comes while the user is connected: the run disconnects,
// walks the favourites on the server and leaves their files in DestDir.
class ScheduledDownload : public InnTest {};

TEST_F(ScheduledDownload, DisconnectsThenFetchesTheFavouritesFiles) {
    if (IsSkipped() || HasFatalFailure()) return;
    TestApp t;
    App& app = t.app;
    app.AppPath = t.dir.path() + "/";
    app.DestDir = t.path("download/");
    QDir().mkpath(app.DestDir);
    MakeTempFile(app);
    app.CurrentServer = inn.address();
    const QString group = InnServer::uniqueGroup("alt.binaries.zf.schedule");
    ASSERT_TRUE(inn.newGroup(group));
    const QByteArray data = randomBytes(5000, 71);
    ASSERT_TRUE(inn.post(group, "night.bin", joined(uuencode(data, "night.bin"))));
    app.lstFavorites.addItem(group + " (" + inn.address() + ")");

    app.Timer1.start();
    app.StopRequested = false;
    cmdConnect(app, false);
    ASSERT_TRUE(app.IsConnected);

    app.WindowState = 1;
    app.AutoTime = "11:59";
    app.AutoAMPM = 1;
    app.AutoDays = "0000001";
    QDateTime clock = at(29, 23, 59, 55);
    app.Now = [&] { return clock; };
    // The walk runs on the real event queue; the pause after it on a fake
    // clock, so the test doesn't sit out a real minute.
    bool walked = false;
    QObject::connect(&app, &App::statusChanged, [&](int panel) {
        if (panel == 1 && app.statbar[1] == "Finished Downloading From Favorites") walked = true;
    });
    const auto realPass = app.DoEvents;
    app.DoEvents = [&] {
        if (!walked) return realPass();
        Timer1_Timer(app);
        clock = clock.addSecs(1);
    };
    timerAuto_Timer(app);
    app.Timer1.stop();

    EXPECT_TRUE(walked);
    EXPECT_TRUE(t.prompter.messages().isEmpty()) << t.prompter.messages().join('|').toStdString();
    EXPECT_EQ(t.readFile("download/night.bin"), data);
    EXPECT_FALSE(app.IsConnected);
    EXPECT_TRUE(app.timerAuto.isActive());
    EXPECT_EQ(clock.date(), QDate(2026, 11, 30)) << "the pause ran on past the minute";
}

} // namespace
