#include "shell/app.h"

#include "shell/menu_table.h"
#include "shell/waits.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QSettings>

App::App(QObject* parent) : QObject(parent) {
    prompter = &silent_;
    ExeDir = QCoreApplication::applicationDirPath();
    DoEvents = [] { QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents); };
    EndProcess = [] { QCoreApplication::exit(0); };

    for (const MenuDef& m : menuTable())
        for (const MenuItemDef& i : m.items)
            if (i.number > 0) menuEnabled[i.number] = i.startsEnabled;
    menuConnectCaption = QStringLiteral("&Connect to Server");

    for (int b = 1; b <= kToolbarButtons; ++b) {
        toolbar[b].enabled = menuEnabled.value(b, true);
        toolbar[b].image = 0;
    }
    for (const ToolButtonDef& d : toolbarTable()) {
        toolbar[d.number].caption = QString::fromLatin1(d.caption);
        toolbar[d.number].image = d.image;
    }
    // Links is switched on at startup only when the link page exists.
    toolbar[13].enabled = false;

    Timer1.setInterval(1000);
    timerAuto.setInterval(5000);
    connect(&Timer1, &QTimer::timeout, this, [this] { Timer1_Timer(*this); });
    frame(Frame::Preview).title = QStringLiteral("Image Preview");
    Picture1.setBackground(QColor(0, 128, 128)); // preview starts on
}

App::~App() = default;

std::unique_ptr<QSettings> App::openSettings() const {
    std::unique_ptr<QSettings> s;
    if (SettingsFile.isEmpty())
        s = std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                        QStringLiteral("Zanderfell!"),
                                        QStringLiteral("Zanderfell!"));
    else
        s = std::make_unique<QSettings>(SettingsFile, QSettings::IniFormat);
    s->beginGroup(QStringLiteral("Settings"));
    return s;
}

void App::setStatus(int panel, const QString& text) {
    if (panel < 1 || panel > 3 || statbar[panel] == text) return;
    statbar[panel] = text;
    emit statusChanged(panel);
}

void App::setProgress(int min, int max, int value) {
    progMin = min;
    progMax = max;
    progValue = value;
    emit progressChanged();
}

void App::setProgressValue(int value) {
    if (progValue == value) return;
    progValue = value;
    emit progressChanged();
}
