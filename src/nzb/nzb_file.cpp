#include "nzb/nzb_file.h"

#include <QFile>
#include <QRegularExpression>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>
#include <algorithm>

namespace {

const QString kNamespace = QStringLiteral("http://www.newzbin.com/DTD/2003/nzb");

using namespace NzbLimits;

// Walks the document element by element and stops at the first thing it
// does not take; fail() keeps the first message only.
class Reader {
public:
    explicit Reader(QByteArrayView bytes) : xml_(bytes.toByteArray()) {}

    NzbParse run() {
        while (!failed() && next()) {
            if (xml_.isStartElement()) {
                if (xml_.name() == u"nzb")
                    readNzb();
                else
                    fail(QStringLiteral("this is not an NZB file"));
                break;
            }
        }
        while (!failed() && next()) {
            if (xml_.isStartElement()) fail(QStringLiteral("content after the </nzb> element"));
        }
        if (!failed() && xml_.hasError()) fail(xml_.errorString());
        if (!failed() && result_.nzb.files.isEmpty()) fail(QStringLiteral("it lists no files"));
        if (!failed()) return std::move(result_);
        return NzbParse{{}, result_.error};
    }

private:
    bool failed() const { return !result_.error.isEmpty(); }

    void fail(const QString& why) {
        if (!failed()) result_.error = why + QStringLiteral(" (line %1)").arg(xml_.lineNumber());
    }

    // The next token; entities and the constructs that declare them are
    // refused here, whatever element they stand in.
    bool next() {
        if (xml_.atEnd()) return false;
        const auto token = xml_.readNext();
        if (xml_.hasError()) {
            fail(QStringLiteral("malformed XML: ") + xml_.errorString());
            return false;
        }
        if (token == QXmlStreamReader::DTD &&
            (!xml_.entityDeclarations().isEmpty() || !xml_.notationDeclarations().isEmpty() ||
             xml_.text().contains(u'['))) {
            fail(QStringLiteral("it declares entities"));
            return false;
        }
        if (token == QXmlStreamReader::EntityReference) {
            fail(QStringLiteral("it uses an undeclared entity &") + xml_.name().toString() + u';');
            return false;
        }
        if (token == QXmlStreamReader::StartElement && ++depth_ > kMaxDepth) {
            fail(QStringLiteral("elements nested too deep"));
            return false;
        }
        if (token == QXmlStreamReader::EndElement) --depth_;
        return true;
    }

    bool knownNamespace() {
        const QStringView ns = xml_.namespaceUri();
        return ns.isEmpty() || ns == kNamespace;
    }

    QString attribute(QLatin1StringView name, bool required) {
        const QStringView value = xml_.attributes().value(name);
        if (value.size() > kMaxTextLength) {
            fail(QStringLiteral("attribute \"%1\" too long").arg(name));
            return {};
        }
        if (required && value.isEmpty())
            fail(QStringLiteral("<%1> without \"%2\"").arg(xml_.name(), name));
        return value.toString();
    }

    // The text of an element that holds text only.
    QString text() {
        QString out;
        const QString element = xml_.name().toString();
        while (!failed() && next()) {
            if (xml_.isEndElement()) return out;
            if (xml_.isStartElement()) {
                fail(QStringLiteral("element <%1> inside <%2>").arg(xml_.name(), element));
                return {};
            }
            if (xml_.isCharacters()) {
                out += xml_.text();
                if (out.size() > kMaxTextLength) {
                    fail(QStringLiteral("text of <%1> too long").arg(element));
                    return {};
                }
            }
        }
        return {};
    }

    // Runs `child` for each child element, which must be named `expected`.
    template <typename Child> void children(QStringView expected, Child child) {
        const QString element = xml_.name().toString();
        while (!failed() && next()) {
            if (xml_.isEndElement()) return;
            if (!xml_.isStartElement()) continue;
            if (xml_.name() != expected || !knownNamespace()) {
                fail(QStringLiteral("unknown element <%1> in <%2>").arg(xml_.name(), element));
                return;
            }
            child();
        }
    }

    void readNzb() {
        if (!knownNamespace()) {
            fail(QStringLiteral("unknown namespace ") + xml_.namespaceUri().toString());
            return;
        }
        bool headSeen = false;
        while (!failed() && next()) {
            if (xml_.isEndElement()) return;
            if (!xml_.isStartElement()) continue;
            if (xml_.name() == u"head" && knownNamespace() && !headSeen &&
                result_.nzb.files.isEmpty()) {
                headSeen = true;
                children(u"meta", [this] { readMeta(); });
            } else if (xml_.name() == u"file" && knownNamespace()) {
                readFile();
            } else {
                fail(QStringLiteral("unknown element <%1> in <nzb>").arg(xml_.name()));
            }
        }
    }

    void readMeta() {
        if (result_.nzb.meta.size() >= kMaxMeta) {
            fail(QStringLiteral("more than %1 meta elements").arg(kMaxMeta));
            return;
        }
        const QString type = attribute(QLatin1String("type"), false);
        const QString value = text();
        if (!failed()) result_.nzb.meta.append({type, value});
    }

    void readFile() {
        if (result_.nzb.files.size() >= kMaxFiles) {
            fail(QStringLiteral("more than %1 files").arg(kMaxFiles));
            return;
        }
        NzbFile file;
        file.poster = attribute(QLatin1String("poster"), false);
        file.subject = attribute(QLatin1String("subject"), true);
        const QString date = attribute(QLatin1String("date"), false);
        if (failed()) return;
        bool ok = true;
        if (!date.isEmpty()) file.date = date.toLongLong(&ok);
        if (!ok || file.date < 0) {
            fail(QStringLiteral("date \"%1\" is no time").arg(date));
            return;
        }
        bool groupsSeen = false, segmentsSeen = false;
        while (!failed() && next()) {
            if (xml_.isEndElement()) break;
            if (!xml_.isStartElement()) continue;
            if (xml_.name() == u"groups" && knownNamespace() && !groupsSeen) {
                groupsSeen = true;
                children(u"group", [this, &file] {
                    const QString group = text().trimmed();
                    if (failed()) return;
                    if (file.groups.size() >= kMaxGroups)
                        fail(QStringLiteral("more than %1 groups for a file").arg(kMaxGroups));
                    else if (!group.isEmpty())
                        file.groups << group;
                });
            } else if (xml_.name() == u"segments" && knownNamespace() && !segmentsSeen) {
                segmentsSeen = true;
                children(u"segment", [this, &file] { readSegment(file); });
            } else {
                fail(QStringLiteral("unknown element <%1> in <file>").arg(xml_.name()));
            }
        }
        if (failed()) return;
        if (file.segments.isEmpty()) {
            fail(QStringLiteral("file \"%1\" has no segments").arg(file.subject.left(80)));
            return;
        }
        std::stable_sort(
            file.segments.begin(), file.segments.end(),
            [](const NzbSegment& a, const NzbSegment& b) { return a.number < b.number; });
        // A number given twice is one segment listed twice: the first stands.
        file.segments.erase(std::unique(file.segments.begin(), file.segments.end(),
                                        [](const NzbSegment& a, const NzbSegment& b) {
                                            return a.number == b.number;
                                        }),
                            file.segments.end());
        result_.nzb.files.append(std::move(file));
    }

    void readSegment(NzbFile& file) {
        if (++segments_ > kMaxSegments) {
            fail(QStringLiteral("more than %1 segments").arg(kMaxSegments));
            return;
        }
        NzbSegment s;
        bool ok = false;
        const QString number = attribute(QLatin1String("number"), true);
        if (failed()) return;
        s.number = number.toInt(&ok);
        if (!ok || s.number < 1 || s.number > kMaxSegmentNumber) {
            fail(QStringLiteral("segment number \"%1\" out of range").arg(number.left(20)));
            return;
        }
        const QString bytes = attribute(QLatin1String("bytes"), false);
        if (failed()) return;
        ok = true;
        if (!bytes.isEmpty()) s.bytes = bytes.toLongLong(&ok);
        if (!ok || s.bytes < 0 || s.bytes > kMaxSegmentBytes) {
            fail(QStringLiteral("segment size \"%1\" out of range").arg(bytes.left(20)));
            return;
        }
        QString id = text().trimmed();
        if (failed()) return;
        if (id.startsWith(u'<') && id.endsWith(u'>')) id = id.mid(1, id.size() - 2);
        const bool printable = std::all_of(id.cbegin(), id.cend(), [](QChar c) {
            return c.unicode() > 0x20 && c.unicode() < 0x7f && c != u'<' && c != u'>';
        });
        if (id.isEmpty() || id.size() > kMaxMessageIdLength - 2 || !printable) {
            fail(QStringLiteral("segment %1 has no usable Message-ID").arg(s.number));
            return;
        }
        s.messageId = id.toLatin1();
        file.segments.append(std::move(s));
    }

    QXmlStreamReader xml_;
    NzbParse result_;
    int depth_ = 0;
    int segments_ = 0;
};

} // namespace

NzbParse parseNzb(QByteArrayView bytes) {
    if (bytes.size() > kMaxFileBytes)
        return {{}, QStringLiteral("the file is larger than %1 MB").arg(kMaxFileBytes >> 20)};
    return Reader(bytes).run();
}

NzbParse readNzbFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {{}, file.errorString()};
    if (file.size() > kMaxFileBytes)
        return {{}, QStringLiteral("the file is larger than %1 MB").arg(kMaxFileBytes >> 20)};
    return parseNzb(file.read(kMaxFileBytes + 1));
}

QByteArray writeNzb(const NzbDocument& nzb) {
    QByteArray out;
    QXmlStreamWriter w(&out);
    w.setAutoFormatting(true);
    w.setAutoFormattingIndent(1);
    w.writeStartDocument();
    w.writeDTD(QStringLiteral("<!DOCTYPE nzb PUBLIC \"-//newzBin//DTD NZB 1.1//EN\" "
                              "\"http://www.newzbin.com/DTD/nzb/nzb-1.1.dtd\">"));
    w.writeDefaultNamespace(kNamespace);
    w.writeStartElement(kNamespace, QStringLiteral("nzb"));
    if (!nzb.meta.isEmpty()) {
        w.writeStartElement(kNamespace, QStringLiteral("head"));
        for (const auto& [type, value] : nzb.meta) {
            w.writeStartElement(kNamespace, QStringLiteral("meta"));
            w.writeAttribute(QStringLiteral("type"), type);
            w.writeCharacters(value);
            w.writeEndElement();
        }
        w.writeEndElement();
    }
    for (const NzbFile& f : nzb.files) {
        w.writeStartElement(kNamespace, QStringLiteral("file"));
        w.writeAttribute(QStringLiteral("poster"), f.poster);
        w.writeAttribute(QStringLiteral("date"), QString::number(f.date));
        w.writeAttribute(QStringLiteral("subject"), f.subject);
        w.writeStartElement(kNamespace, QStringLiteral("groups"));
        for (const QString& g : f.groups)
            w.writeTextElement(kNamespace, QStringLiteral("group"), g);
        w.writeEndElement();
        w.writeStartElement(kNamespace, QStringLiteral("segments"));
        for (const NzbSegment& s : f.segments) {
            w.writeStartElement(kNamespace, QStringLiteral("segment"));
            w.writeAttribute(QStringLiteral("bytes"), QString::number(s.bytes));
            w.writeAttribute(QStringLiteral("number"), QString::number(s.number));
            w.writeCharacters(QString::fromLatin1(s.messageId));
            w.writeEndElement();
        }
        w.writeEndElement();
        w.writeEndElement();
    }
    w.writeEndElement();
    w.writeEndDocument();
    return out;
}

QString nzbFileName(const QString& subject) {
    const qsizetype open = subject.indexOf(u'"');
    const qsizetype close = open < 0 ? -1 : subject.indexOf(u'"', open + 1);
    if (close > open + 1) return subject.mid(open + 1, close - open - 1).trimmed();
    static const QRegularExpression counter(
        QStringLiteral("\\s*(yEnc\\s*)?[(\\[]\\d+/\\d+[)\\]].*$"),
        QRegularExpression::CaseInsensitiveOption);
    return QString(subject).remove(counter).trimmed();
}
