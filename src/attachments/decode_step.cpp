#include "attachments/decode_step.h"

#include "attachments/decoded_files.h"
#include "attachments/decoder.h"
#include "shell/app.h"
#include "shell/temp_files.h"

#include <QFile>

namespace {

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

void MDEC_Failure(App& app, int number, const QString& text) {
    // The number alone tells a user nothing: the decoder's words go with it.
    // A file that is there already reads as the duplicate it is.
    app.setStatus(2, number == int(DecodeResult::TargetExists)
                         ? QStringLiteral("Duplicate File")
                         : QString::number(number) + QStringLiteral(": ") + text);
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
    app.AttachName = fileNameToWrite(app.AttachName);
    // The decoder started with the first part (the download's feedPart);
    // without it, there is nothing to decode.
    if (app.AttachName.isEmpty() || !mdec.feedRunning()) {
        decodeFailed(app);
        return;
    }
    app.DecodeDone = false;
    mdec.endFeed(false);
    // Closing the window stops the decode; it leaves no file behind.
    bool cancelled = false;
    while (!app.DecodeDone) {
        if (app.ending && !cancelled) {
            mdec.cancel();
            cancelled = true;
        }
        app.DoEvents();
    }
    if (app.ending) return;

    app.setStatus(1, QStringLiteral("File Decoded"));
    if (app.LastError == 0 && app.SweepScope == -1) app.setStatus(2, QString());
    if (app.LastError == 0 && QFile::exists(app.DestDir + app.AttachName)) {
        QString name = app.AttachName;
        AddaFile(app, name);
    }
}
