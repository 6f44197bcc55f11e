#include "news/nntp_control.h"

#include "news/nntp_errors.h"
#include "news/nntp_lines.h"

#include <QMetaObject>
#include <QSslSocket>

// The conversation: what each reply means in the step it answers, login,
// the fallbacks of header ranges, and the events that tell the caller.

void NntpControl::handleLine(const QByteArray& line) {
    const int code = nntpReplyCode(line);
    const QString text = QString::fromUtf8(line);
    if (code < 0) {
        if (await_ == Await::Nothing) return; // stray text between replies
        failConnection(NntpError::ProtocolViolation,
                       NntpError::describe(NntpError::ProtocolViolation, text));
        return;
    }
    switch (await_) {
    case Await::Nothing:
        // An idle server says 400 just before it hangs up; anything else is noise.
        if (code == 400) failConnection(code, text);
        break;
    case Await::Greeting:
        if (code == 200 || code == 201) {
            postingAllowed_ = code == 200;
            await_ = Await::ModeReader;
            sendCommand(QByteArrayLiteral("MODE READER"));
        } else if (code == 480) {
            resumeRequest_ = false;
            beginAuthentication();
        } else {
            failConnection(errorCodeFor(code), text);
        }
        break;
    case Await::ModeReader:
        if (code == 200 || code == 201) {
            postingAllowed_ = code == 200;
            modeReaderAnswered();
        } else if (code == 480 && authenticated_) {
            failConnection(errorCodeFor(code), text);
        } else if (code == 480) {
            resumeRequest_ = false;
            beginAuthentication();
        } else if (code == 500 || code == 501) {
            modeReaderAnswered(); // a server without MODE READER is a reader already
        } else {
            failConnection(errorCodeFor(code), text);
        }
        break;
    case Await::AuthUser:
        if (code == 281) {
            authenticationSucceeded();
        } else if (code == 381) {
            await_ = Await::AuthPass;
            sendCommand("AUTHINFO PASS " + withoutLineBreaks(authPass_));
            authPass_.clear();
        } else {
            authenticationFailed(line);
        }
        break;
    case Await::AuthPass:
        if (code == 281)
            authenticationSucceeded();
        else
            authenticationFailed(line);
        break;
    case Await::Reply:
        handleRequestReply(code, line);
        break;
    case Await::Quit:
        closeConnection();
        break;
    case Await::Body:
        break; // consume() never hands body lines here
    }
}

void NntpControl::handleRequestReply(int code, const QByteArray& line) {
    if (code == 480 && !authTried_) {
        authTried_ = true;
        resumeRequest_ = true;
        beginAuthentication();
        return;
    }
    const QString text = QString::fromUtf8(line);
    switch (request_) {
    case Request::List:
        if (code == 215)
            beginDocument(line);
        else
            failRequest(errorCodeFor(code), text);
        break;
    case Request::Group: {
        if (code != 211) {
            failRequest(errorCodeFor(code), text);
            break;
        }
        // "211 count first last name". Numbers that are missing, negative or
        // past 2^63 are reported as an empty group (last below first).
        const QList<QByteArray> fields = line.simplified().split(' ');
        bool ok[3] = {};
        qint64 count = fields.value(1).toLongLong(&ok[0]);
        qint64 first = fields.value(2).toLongLong(&ok[1]);
        qint64 last = fields.value(3).toLongLong(&ok[2]);
        if (!ok[0] || !ok[1] || !ok[2] || count < 0 || first < 0 || last < 0) {
            count = 0;
            first = 1;
            last = 0;
        }
        const QByteArray name = fields.size() > 4 ? fields.at(4) : groupName_;
        await_ = Await::Nothing;
        request_ = Request::None;
        busy_ = false;
        emit groupSelected(QString::fromUtf8(name), first, last, count);
        break;
    }
    case Request::Headers:
        handleHeadersReply(code, line);
        break;
    case Request::Article:
        if (code == 220)
            beginDocument(line);
        else
            failRequest(errorCodeFor(code), text);
        break;
    case Request::None:
        break;
    }
}

void NntpControl::handleHeadersReply(int code, const QByteArray& line) {
    const bool accepted = (headerMethod_ == HeaderMethod::Xhdr && code == 221) ||
                          (headerMethod_ == HeaderMethod::Hdr && code == 225) ||
                          (headerMethod_ == HeaderMethod::Xover && code == 224);
    if (accepted) {
        pickingOverview_ = headerMethod_ == HeaderMethod::Xover;
        if (pickingOverview_)
            overviewPicker_ = NntpOverviewPicker(NntpOverviewPicker::fieldIndexOf(headerField_));
        beginDocument(line);
        return;
    }
    if (code == 423 || code == 420) {
        // No articles in that range (some servers say "no current article"):
        // an empty listing rather than a failure.
        const quint64 epoch = epoch_;
        beginDocument(line);
        if (epoch == epoch_) finishDocument();
        return;
    }
    // 500: the server lacks the command; 503: HDR cannot serve this field.
    if (code == 500 || code == 503) {
        if (code == 500) {
            if (headerMethod_ == HeaderMethod::Xhdr) noXhdr_ = true;
            if (headerMethod_ == HeaderMethod::Hdr) noHdr_ = true;
            if (headerMethod_ == HeaderMethod::Xover) noXover_ = true;
        }
        if (advanceHeaderMethod()) {
            command_ = headerCommand();
            sendCommand(command_);
            return;
        }
        failRequest(NntpError::FieldUnavailable,
                    NntpError::describe(NntpError::FieldUnavailable,
                                        QString::fromLatin1(headerField_) + QLatin1String(" (") +
                                            QString::fromUtf8(line) + QLatin1Char(')')));
        return;
    }
    failRequest(errorCodeFor(code), QString::fromUtf8(line));
}

bool NntpControl::advanceHeaderMethod() {
    if (headerMethod_ == HeaderMethod::Xhdr && !noHdr_) {
        headerMethod_ = HeaderMethod::Hdr;
        return true;
    }
    if (headerMethod_ != HeaderMethod::Xover && !noXover_ &&
        NntpOverviewPicker::fieldIndexOf(headerField_) > 0) {
        headerMethod_ = HeaderMethod::Xover;
        return true;
    }
    return false;
}

QByteArray NntpControl::headerCommand() const {
    switch (headerMethod_) {
    case HeaderMethod::Xhdr:
        return "XHDR " + headerField_ + ' ' + headerRange_;
    case HeaderMethod::Hdr:
        return "HDR " + headerField_ + ' ' + headerRange_;
    case HeaderMethod::Xover:
        return "XOVER " + headerRange_;
    }
    return QByteArray();
}

void NntpControl::deliverData(const QByteArray& data) {
    if (!pickingOverview_) {
        emit document(DocumentData, data);
        return;
    }
    const QByteArray picked = overviewPicker_.feed(data);
    if (overviewPicker_.pending() > kMaxLineBytes) {
        failConnection(NntpError::ProtocolViolation,
                       NntpError::describe(NntpError::ProtocolViolation,
                                           QStringLiteral("overview line too long")));
        return;
    }
    if (!picked.isEmpty()) emit document(DocumentData, picked);
}

// ------------------------------------------------------ steps of a conversation

bool NntpControl::refuse(int code, const QString& detail) {
    const QString description = NntpError::describe(code, detail);
    // Raised later, never from inside the caller's own call.
    QMetaObject::invokeMethod(
        this, [this, code, description] { emit error(code, description); }, Qt::QueuedConnection);
    return false;
}

bool NntpControl::startRequest(Request request, const QByteArray& command) {
    if (!socket_ || link_ != Link::Connected || session_ != Session::Transaction)
        return refuse(NntpError::InvalidState, QStringLiteral("not connected"));
    if (busy_) return refuse(NntpError::Busy);
    busy_ = true;
    request_ = request;
    command_ = command;
    authTried_ = false;
    pickingOverview_ = false;
    await_ = Await::Reply;
    sendCommand(command);
    return true;
}

void NntpControl::sendCommand(const QByteArray& command) {
    if (socket_) socket_->write(command + "\r\n");
}

void NntpControl::beginAuthentication() {
    QString user;
    QString pass;
    const quint64 epoch = epoch_;
    emit authenticateRequest(user, pass);
    if (epoch != epoch_) return;
    authPass_ = pass;
    await_ = Await::AuthUser;
    sendCommand("AUTHINFO USER " + withoutLineBreaks(user));
}

void NntpControl::authenticationSucceeded() {
    authPass_.clear();
    const quint64 epoch = epoch_;
    emit authenticateResponse(true);
    if (epoch != epoch_) return;
    // A login may grant what the greeting did not (posting above all), so
    // the server is asked again before anything else.
    authenticated_ = true;
    await_ = Await::ModeReader;
    sendCommand(QByteArrayLiteral("MODE READER"));
}

void NntpControl::modeReaderAnswered() {
    if (authenticated_ && resumeRequest_) {
        resumeRequest_ = false;
        await_ = Await::Reply;
        sendCommand(command_);
    } else {
        becomeReady();
    }
}

void NntpControl::authenticationFailed(const QByteArray& line) {
    authPass_.clear();
    const bool requestWaiting = resumeRequest_;
    await_ = Await::Nothing;
    request_ = Request::None;
    busy_ = false;
    const quint64 epoch = epoch_;
    emit error(NntpError::AuthenticationFailed,
               NntpError::describe(NntpError::AuthenticationFailed, QString::fromUtf8(line)));
    if (epoch != epoch_) return;
    emit authenticateResponse(false);
    if (epoch != epoch_) return;
    if (requestWaiting) emit document(DocumentError, QByteArray());
}

void NntpControl::becomeReady() {
    await_ = Await::Nothing;
    busy_ = false;
    setStates(link_, Session::Transaction);
}

void NntpControl::beginDocument(const QByteArray& statusLine) {
    await_ = Await::Body;
    // A server whose status line ends with LF alone ends its data lines so too.
    bodyDecoder_.reset(lfOnlyLine_);
    const quint64 epoch = epoch_;
    emit document(DocumentBegin, QByteArray());
    if (epoch != epoch_) return;
    emit document(DocumentHeaders, statusLine);
}

void NntpControl::finishDocument() {
    const quint64 epoch = epoch_;
    if (pickingOverview_) {
        const QByteArray tail = overviewPicker_.finish();
        pickingOverview_ = false;
        if (!tail.isEmpty()) {
            emit document(DocumentData, tail);
            if (epoch != epoch_) return;
        }
    }
    await_ = Await::Nothing;
    request_ = Request::None;
    busy_ = false;
    emit document(DocumentEnd, QByteArray());
}

void NntpControl::failRequest(int code, const QString& description) {
    await_ = Await::Nothing;
    request_ = Request::None;
    busy_ = false;
    pickingOverview_ = false;
    const quint64 epoch = epoch_;
    emit error(code, description);
    if (epoch != epoch_) return;
    emit document(DocumentError, QByteArray());
}

void NntpControl::failConnection(int code, const QString& description) {
    const bool requestRunning = request_ != Request::None;
    const Link oldLink = link_;
    const Session oldSession = session_;
    tearDown();
    // The texts read "Disconnected" already while the error is handled, so a
    // handler that disconnects finds nothing left to close.
    const quint64 epoch = epoch_;
    emit error(code, description);
    if (epoch != epoch_) return;
    if (requestRunning) {
        emit document(DocumentError, QByteArray());
        if (epoch != epoch_) return;
    }
    announceStates(oldLink, oldSession);
}
