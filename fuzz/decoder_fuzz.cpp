// The MIME headers of a base64 post as the download and the NZB download read
// them, then the three decoders on a file as the download leaves it: uuencode (which
// also finds yEnc), base64 with and without a MIME boundary, and yEnc with
// its keyword lines; read through a buffer of a steered size so every line
// and marker also lands across a read.
#include "attachments/decoder.h"
#include "attachments/mime_part.h"
#include "attachments/uu_base64.h"
#include "attachments/yenc.h"
#include "fuzz_support.h"

#include <QFile>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzInit();
    FuzzInput in(data, size);
    const std::uint8_t mode = in.byte();
    const std::uint8_t buffer = in.byte();
    const QByteArray text = in.rest();

    // The line parsers on their own, on the first line.
    const std::string_view first(
        text.constData(),
        static_cast<std::size_t>(text.indexOf('\n') < 0 ? text.size() : text.indexOf('\n')));
    (void)parseYencKeywordLine(first);
    (void)isUuBeginLine(first);
    (void)findYencKeywordLine(
        std::string_view(text.constData(), static_cast<std::size_t>(text.size())));

    const QString asText = QString::fromLatin1(text);
    if (isBase64Article(asText)) {
        const Base64Part part = findBase64Part(asText);
        if (part.dataStart < 0 || part.dataStart > asText.size()) __builtin_trap();
    }

    const QString source = fuzzFile(QStringLiteral("article.txt"),
                                    reinterpret_cast<const std::uint8_t*>(text.constData()),
                                    static_cast<std::size_t>(text.size()));
    const QString target = fuzzDir() + QStringLiteral("decoded.bin");
    QFile::remove(target);
    DecodeOptions options;
    static const Encoding encodings[] = {Encoding::Uuencode, Encoding::Base64, Encoding::Yenc};
    options.encoding = encodings[mode % 3];
    options.readBufferSize = 1 + buffer;
    options.maxLineLength = 1024;
    options.keepDamaged = mode & 8;
    if (mode & 16) options.mimeBoundary = "boundary";
    if (mode & 32) options.announcedSize = text.size() / 2;
    (void)decodeFile(source, target, options);
    QFile::remove(target);
    return 0;
}
