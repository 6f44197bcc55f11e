#include "fuzz_support.h"

#include "program/assembly.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>

namespace {

void quiet(QtMsgType, const QMessageLogContext&, const QString&) {}

} // namespace

void fuzzInit() {
    static QGuiApplication* application = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qInstallMessageHandler(quiet);
        static int argc = 1;
        static char name[] = "fuzz";
        static char* argv[] = {name, nullptr};
        return new QGuiApplication(argc, argv);
    }();
    (void)application;
}

QString fuzzDir() {
    static QTemporaryDir dir;
    return dir.path() + u'/';
}

QString fuzzFile(const QString& name, const std::uint8_t* data, std::size_t size) {
    const QString path = fuzzDir() + name;
    QFile f(path);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        f.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    return path;
}

std::unique_ptr<App> fuzzApp() {
    fuzzInit();
    auto app = std::make_unique<App>();
    AssembleControls(*app);
    app->ExeDir = fuzzDir();
    app->AppPath = fuzzDir();
    app->EndProcess = [] {};
    app->openUrl = [](const QUrl&) { return false; };
    return app;
}
