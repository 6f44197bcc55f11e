#include "program/assembly.h"

#include "attachments/decode_step.h"
#include "attachments/decoder.h"
#include "harvest/address_scans.h"
#include "news/news_events.h"
#include "news/nntp_control.h"
#include "nzb/par2_check.h"
#include "post/news_client.h"
#include "post/post_events.h"
#include "program/settings.h"
#include "schedule/auto_schedule.h"
#include "shell/app.h"

void AssembleControls(App& app) {
    app.NNTP = std::make_shared<NntpControl>();
    connectNewsEvents(app);
    app.NNTP2 = std::make_shared<NewsClient>();
    connectPostEvents(app);
    app.MDEC = std::make_shared<Decoder>();
    connectDecoderEvents(app);
    app.saveSettings = [&app] { SaveSettings(app); };
    app.harvestData = [&app](const QByteArray& block) { HarvestHeaderData(app, block); };
    app.harvestArticle = [&app] { HarvestArticle(app); };
    app.harvestTitle = [&app](const QString& title) { SaveHTTPs(app, title); };
    app.checkPar2Set = [&app](const QStringList& names) { checkPar2Set(app, names); };
    QObject::connect(&app.timerAuto, &QTimer::timeout, &app, [&app] { timerAuto_Timer(app); });
}
