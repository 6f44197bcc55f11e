#include "news/news_events.h"

#include "news/connection.h"
#include "news/headers.h"
#include "news/line_receiver.h"
#include "news/nntp_control.h"
#include "shell/app.h"

void connectNewsEvents(App& app) {
    NntpControl* c = app.NNTP.get();
    QObject::connect(c, &NntpControl::stateChanged, &app, [&app] { NNTP_StateChanged(app); });
    QObject::connect(c, &NntpControl::protocolStateChanged, &app,
                     [&app] { NNTP_StateChanged(app); });
    QObject::connect(c, &NntpControl::error, &app,
                     [&app](int code, const QString& d) { NNTP_Error(app, code, d); });
    QObject::connect(c, &NntpControl::authenticateRequest, &app,
                     [&app](QString& u, QString& p) { NNTP_AuthenticateRequest(app, u, p); });
    QObject::connect(c, &NntpControl::authenticateResponse, &app,
                     [&app](bool ok) { NNTP_AuthenticateResponse(app, ok); });
    QObject::connect(c, &NntpControl::document, &app, [&app](int state, const QByteArray& data) {
        NNTP_Document(app, state, data);
    });
    QObject::connect(c, &NntpControl::groupSelected, &app,
                     [&app](const QString& name, qint64 first, qint64 last, qint64 count) {
                         NNTP_GroupSelected(app, name, first, last, count);
                     });
}
