#pragma once

#include <QString>

class App;

// Connects the decoder control's events to their handlers; called once by App.
void connectDecoderEvents(App& app);

// Handlers of the decoder's events.
void MDEC_Failure(App& app, int number, const QString& text);
void MDEC_Progress(App& app, int value, int maximum);
void MDEC_End(App& app);

// Ends the decoding of the post's parts into DestDir + AttachName and lists
// the file when it is there; the decoding step of cmdDownload.
void decodeAttachment(App& app);
