#include "news/nntp_stream.h"
#include "support/vector_level.h"

#include <gtest/gtest.h>

#include <QList>

namespace {

// The payload, and where the terminator ended in the joined pieces (-1: not found).
struct Decoded {
    QByteArray data;
    qsizetype endOffset = -1;
};

// Each piece is fed from `lead` on, behind bytes that are not the body's
// (a status line before it in the same block).
Decoded decodePieces(const QList<QByteArray>& pieces, bool lfOnly = false, qsizetype lead = 0) {
    NntpBodyDecoder decoder;
    decoder.reset(lfOnly);
    Decoded result;
    qsizetype offset = 0;
    for (const QByteArray& piece : pieces) {
        if (result.endOffset >= 0) break;
        const NntpBodyDecoder::Result r = decoder.feed(QByteArray(lead, '.') + piece, lead);
        result.data += r.data;
        if (r.finished) result.endOffset = offset + r.consumed;
        offset += piece.size();
    }
    return result;
}

// Lines ".", "..", an empty one, a trailing dot, and a dot and CR that are
// no terminator ("\rX"), stuffed as a server sends them.
const QByteArray kStuffed = "plain line\r\n..leading dot\r\n..\r\n...\r\n\r\nends with dot.\r\n"
                            ".\rX\r\n..\r\n.\r\n211 next reply";
const QByteArray kUnstuffed =
    "plain line\r\n.leading dot\r\n.\r\n..\r\n\r\nends with dot.\r\n\rX\r\n.\r\n";

// Splits into two pieces are the ones with an empty piece among the three.
// A reply from a server that ends lines with a bare line feed comes out with
// CR LF like any other. In a CR LF reply a bare line feed ends no line, so
// neither a dot behind it nor ".\n" means anything.
TEST(NntpBodyDecoder, EverySplitIntoThreePiecesGivesTheSamePayload) {
    const QByteArray loneLf = "lone\n.\nLF\n..\r\n";
    for (const bool lfOnly : {false, true}) {
        const QByteArray stuffed =
            lfOnly ? QByteArray(kStuffed).replace("\r\n", "\n") : loneLf + kStuffed;
        const QByteArray unstuffed = lfOnly ? kUnstuffed : loneLf + kUnstuffed;
        const qsizetype terminatorEnd = stuffed.indexOf("211 next reply");
        for (qsizetype lead : {0, 3}) {
            for (qsizetype a = 0; a <= stuffed.size(); ++a) {
                for (qsizetype b = a; b <= stuffed.size(); ++b) {
                    const Decoded d = decodePieces(
                        {stuffed.left(a), stuffed.mid(a, b - a), stuffed.mid(b)}, lfOnly, lead);
                    ASSERT_EQ(d.data, unstuffed) << "split at " << a << " and " << b;
                    ASSERT_EQ(d.endOffset, terminatorEnd) << "split at " << a << " and " << b;
                }
            }
        }
    }
}

// A block without dots is handed on without a copy, and so are the body
// before a terminator and one that starts behind a status line; such a
// part outlives its block and is copied once written to. After a
// terminator the decoder is ready for the next body, and reset forgets a
// held ".\r".
TEST(NntpBodyDecoder, PlainBlocksPassUncopiedAndResetStartsANewBody) {
    NntpBodyDecoder decoder;
    const QByteArray block = QByteArray("1 subject\r\n").repeated(1000) + "2 half a li";
    NntpBodyDecoder::Result r = decoder.feed(block);
    EXPECT_FALSE(r.finished);
    EXPECT_EQ(r.consumed, block.size());
    EXPECT_EQ(r.data.constData(), block.constData());
    decoder.reset();

    QByteArray two = "first body\r\n.\r\n220 1 <a@b>\r\nsecond body\r\n";
    r = decoder.feed(two);
    EXPECT_TRUE(r.finished);
    QByteArray first = r.data;
    EXPECT_EQ(first.constData(), two.constData());
    const qsizetype second = two.indexOf("second");
    r = decoder.feed(two, second);
    EXPECT_EQ(r.data.constData(), two.constData() + second);
    QByteArray rest = r.data;
    two.fill('x'); // the block's own storage is copied first
    EXPECT_EQ(first, QByteArray("first body\r\n"));
    EXPECT_EQ(rest, QByteArray("second body\r\n"));
    two = QByteArray();
    first[0] = 'F'; // the last holder writes where it is
    rest.append("more", 4);
    EXPECT_EQ(first + rest, QByteArray("First body\r\nsecond body\r\nmore"));
    decoder.reset();

    EXPECT_TRUE(decoder.feed("ne\r\n.\r\n").finished);
    EXPECT_FALSE(decoder.feed("abc\r\n.\r").finished);
    decoder.reset();
    r = decoder.feed("\nline\r\n.\r\n");
    EXPECT_TRUE(r.finished);
    EXPECT_EQ(r.data, QByteArray("\nline\r\n"));
}

// The search for a dot at a line's start looks at many bytes a step: a
// stuffed dot and the terminator are found at every position across the
// steps' edges, and a dot behind a bare LF is kept, at every vector level
// (a level the processor lacks runs a narrower one).
TEST(NntpBodyDecoder, DotsAreFoundAtEveryPositionAtEveryVectorLevel) {
    const QByteArray filler = QByteArray("ab\n.c.").repeated(40);
    for (VectorLevel level : {VectorLevel::Plain, VectorLevel::Avx2, VectorLevel::Avx512}) {
        const VectorLevel before = limitVectorLevel(level);
        for (int at = 0; at < 140; ++at) {
            const QByteArray first = filler.left(at), second = filler.left(at * 7 % 130);
            const QByteArray wire = first + "\r\n..stuffed\r\n" + second + "\r\n.\r\nnext";
            const Decoded d = decodePieces({wire});
            EXPECT_EQ(d.data, first + "\r\n.stuffed\r\n" + second + "\r\n")
                << "level " << int(level) << " at " << at;
            EXPECT_EQ(d.endOffset, wire.size() - 4) << "level " << int(level) << " at " << at;
        }
        limitVectorLevel(before);
    }
}

TEST(NntpOverviewPicker, PicksTheAskedFieldAsNumberBlankValueFromWholeLines) {
    const QByteArray overview = "10\tHello world\tAnn <a@b>\tdate\t<id@x>\t\t1234\t17\r\n"
                                "11\tshort line\r\n"
                                "12\t\tBob\r\n";
    const std::pair<const char*, QByteArray> cases[] = {
        {"Subject", "10 Hello world\r\n11 short line\r\n12 \r\n"},
        {"FROM", "10 Ann <a@b>\r\n11 \r\n12 Bob\r\n"},
        {"Lines", "10 17\r\n11 \r\n12 \r\n"},
    };
    for (const auto& [field, picked] : cases)
        EXPECT_EQ(NntpOverviewPicker(NntpOverviewPicker::fieldIndexOf(field)).feed(overview),
                  picked)
            << field;

    // A line cut across blocks waits for its end; finish gives the last one.
    NntpOverviewPicker picker(1);
    EXPECT_EQ(picker.feed("5\tfir"), QByteArray());
    EXPECT_EQ(picker.feed("st\tx\r"), QByteArray());
    EXPECT_EQ(picker.feed("\n6\tsecond"), QByteArray("5 first\r\n"));
    EXPECT_EQ(picker.finish(), QByteArray("6 second\r\n"));
    EXPECT_EQ(picker.finish(), QByteArray());
}

} // namespace
