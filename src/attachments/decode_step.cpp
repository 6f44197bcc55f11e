#include "attachments/decode_step.h"

#include "attachments/decoded_files.h"
#include "attachments/decoder.h"
#include "shell/app.h"
#include "shell/temp_files.h"
#include "shell/waits.h"

#include <QFile>

namespace {

constexpr int kProgressSteps = 34;

// What the decoder is given as the name: the last element of any path,
// whichever separator the poster's system used.
void keepLastPathElement(App& app) {
    QString& name = app.AttachName;
    for (const QChar separator : {u'\\', u'/', u':'}) {
        qsizetype at;
        while ((at = name.indexOf(separator)) >= 0) {
            name.remove(0, at + 1);
            LetEventsRun(app);
        }
    }
}

// A failure before the decoder could run. The temporary file goes with the
// name it had, and the next attachment gets a fresh one.
void decodeFailed(App& app) {
    app.LastError = -1;
    app.setStatus(2, QStringLiteral("Error Decoding"));
    KillTempFiles(app, false);
    MakeTempFile(app);
}

} // namespace

void connectDecoderEvents(App& app) {
    Decoder* d = app.MDEC.get();
    QObject::connect(d, &Decoder::failure, &app,
                     [&app](int number, const QString& text) { MDEC_Failure(app, number, text); });
    QObject::connect(d, &Decoder::progress, &app,
                     [&app](int value, int maximum) { MDEC_Progress(app, value, maximum); });
    QObject::connect(d, &Decoder::end, &app, [&app] { MDEC_End(app); });
}

void MDEC_Failure(App& app, int number, const QString&) {
    app.setStatus(2, QString::number(number));
    app.LastError = number;
}

void MDEC_Progress(App& app, int value, int maximum) {
    app.setProgress(0, maximum, value);
}

void MDEC_End(App& app) {
    app.DecodeDone = true;
}

void decodeAttachment(App& app) {
    Decoder& mdec = *app.MDEC;
    app.setStatus(1, QStringLiteral("Decoding File"));
    mdec.setKeepDamaged(false);
    mdec.setSourcePath(app.DestDir + app.TempFile);
    keepLastPathElement(app);
    // "." or ".." would put the file beside DestDir, or nowhere.
    if (app.AttachName.isEmpty() || app.AttachName == QLatin1String(".") ||
        app.AttachName == QLatin1String("..")) {
        decodeFailed(app);
        return;
    }
    mdec.setTargetPath(app.DestDir + app.AttachName);
    mdec.setProgressSteps(kProgressSteps);
    mdec.setEncoding(app.IsBase64 ? QStringLiteral("base64") : QStringLiteral("x-uuencode"));
    app.DecodeDone = false;
    if (mdec.isRunning()) {
        decodeFailed(app);
        return;
    }
    mdec.setAction(Decoder::ActionDecode);
    while (!app.DecodeDone)
        app.DoEvents();

    app.setStatus(1, QStringLiteral("File Decoded"));
    if (app.LastError == 0 && app.SweepScope == -1) app.setStatus(2, QString());
    if (app.LastError == 0 && QFile::exists(app.DestDir + app.AttachName)) {
        QString name = app.AttachName;
        AddaFile(app, name);
    }
}
