#include "post/post_events.h"

#include "post/news_client.h"
#include "shell/app.h"

namespace {

// The one code after which nothing can go on.
constexpr int kCriticalNetError = 26501;

} // namespace

void connectPostEvents(App& app) {
    NewsClient* c = app.NNTP2.get();
    QObject::connect(c, &NewsClient::connected, &app, [&app] { NNTP2_Connected(app); });
    QObject::connect(c, &NewsClient::disconnected, &app, [&app] { NNTP2_Disconnected(app); });
    QObject::connect(c, &NewsClient::error, &app,
                     [&app](int code, const QString& d) { NNTP2_Error(app, code, d); });
    // The same login as the main connection.
    QObject::connect(c, &NewsClient::authenticateRequest, &app,
                     [&app](QString& user, QString& pass) {
                         user = app.UserID;
                         pass = app.Password;
                     });
}

void NNTP2_Connected(App& app) {
    app.PostConnected = true;
    app.setStatus(3, QStringLiteral("Connected"));
    const QString reply = app.NNTP2->lastReply().toUpper();
    app.PostAllowed = reply.contains(QLatin1String("POSTING OK")) ||
                      reply.contains(QLatin1String("POSTING ALLOWED"));
}

void NNTP2_Disconnected(App& app) {
    app.PostConnected = false;
}

void NNTP2_Error(App& app, int code, const QString& description) {
    if (code == kCriticalNetError) {
        app.prompter->message(QStringLiteral("Critical Net Error"), QStringLiteral("Zanderfell!"),
                              Prompter::Icon::Exclamation);
        app.ending = true;
        app.EndProcess();
        return;
    }
    app.setStatus(2, description);
    app.LastError = code;
}
