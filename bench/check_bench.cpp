// A check of 200 servers on loopback: 150 refuse the connection, 40 accept
// it and say nothing, 10 are INN instances with a readable group. Timeout is
// 2. Prints the wall time, what bounds it (the silent servers times what
// each may take), the program's CPU time during the run, and how many
// servers stayed.
#include "bench_kit.h"
#include "harvest/server_check.h"
#include "program/assembly.h"
#include "setup/server_list.h"
#include "shell/app.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <cstdio>
#include <sys/resource.h>

namespace {

QByteArray reply(QTcpSocket& s) {
    while (!s.canReadLine())
        if (!s.waitForReadyRead(10000)) return {};
    return s.readLine();
}

// Two articles in a group of the server, so that it has one to read.
bool loadServer(quint16 port) {
    QTcpSocket s;
    s.connectToHost(QHostAddress::LocalHost, port);
    if (!s.waitForConnected(10000)) return false;
    reply(s);
    s.write("MODE READER\r\n");
    reply(s);
    for (int i = 0; i < 2; ++i) {
        s.write("POST\r\n");
        if (!reply(s).startsWith("340")) return false;
        s.write("From: bench <bench@example.com>\r\nNewsgroups: alt.bench.check\r\n"
                "Subject: check " +
                QByteArray::number(i) + "\r\n\r\nbody\r\n.\r\n");
        if (!reply(s).startsWith("240")) return false;
    }
    s.write("QUIT\r\n");
    s.waitForBytesWritten();
    return true;
}

double cpuSeconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication qapp(argc, argv);
    QTemporaryDir dir;
    // INN runs as its own user, who must be able to enter the directory.
    QFile::setPermissions(dir.path(), QFile::permissions(dir.path()) | QFile::ReadOther |
                                          QFile::ExeOther | QFile::ReadGroup | QFile::ExeGroup);
    QStringList inn;
    QStringList innDirs;
    for (int i = 0; i < 10; ++i) {
        const QString d = dir.path() + QStringLiteral("/inn%1").arg(i);
        QByteArray port;
        if (!newsServer({QStringLiteral("fresh"), d}, &port) ||
            !newsServer({QStringLiteral("newgroup"), d, QStringLiteral("alt.bench.check")}))
            return 1;
        innDirs << d;
        const quint16 p = QByteArray(port).trimmed().toUShort();
        if (!loadServer(p)) return 1;
        inn << QStringLiteral("127.0.0.1:%1").arg(p);
    }
    // Ports that refuse: taken and given back.
    QStringList refused;
    for (int i = 0; i < 150; ++i) {
        QTcpServer s;
        s.listen(QHostAddress::LocalHost, 0);
        refused << QStringLiteral("127.0.0.1:%1").arg(s.serverPort());
    }
    std::vector<std::unique_ptr<QTcpServer>> silent;
    QList<QTcpSocket*> held;
    QStringList silentAddresses;
    for (int i = 0; i < 40; ++i) {
        auto s = std::make_unique<QTcpServer>();
        s->listen(QHostAddress::LocalHost, 0);
        QObject::connect(s.get(), &QTcpServer::newConnection, s.get(), [&held, srv = s.get()] {
            while (QTcpSocket* c = srv->nextPendingConnection())
                held << c; // accepted, never answered
        });
        silentAddresses << QStringLiteral("127.0.0.1:%1").arg(s->serverPort());
        silent.push_back(std::move(s));
    }

    App app;
    AssembleControls(app);
    app.ExeDir = dir.path() + '/';
    app.AppPath = dir.path() + '/';
    app.FavoritesFile = dir.path() + QStringLiteral("/fav.fav");
    QDir().mkpath(app.AppPath + QStringLiteral("Cache"));
    app.Timeout = 2;
    app.MinGroups = 1;
    for (int i = 0; i < 200; ++i) {
        const QString a = i % 20 == 0  ? inn.value(i / 20)
                          : i % 5 == 1 ? silentAddresses.value(i / 5)
                                       : QString();
        app.txtNNTPServ.addItem(QString(kNewServerRow) + (a.isEmpty() ? refused.takeFirst() : a));
    }
    app.txtNNTPServ.selectAll();
    app.Timer1.start();

    const double cpu0 = cpuSeconds();
    QElapsedTimer clock;
    clock.start();
    QString mode;
    cmdCheckAll(app, mode);
    const double wall = clock.nsecsElapsed() / 1e9;
    const double cpu = cpuSeconds() - cpu0;

    std::printf("check_200_servers_wall_s: %.1f s\n", wall);
    std::printf("check_silent_bound_s: %d s\n", 40 * (app.Timeout + 1));
    std::printf("check_200_servers_cpu_s: %.2f s\n", cpu);
    std::printf("check_servers_kept: %d servers\n", int(app.txtNNTPServ.count()));
    for (const QString& d : innDirs)
        newsServer({QStringLiteral("stop"), d});
    return 0;
}
