// The reply reader: status codes, dot-unstuffing of a multi-line reply cut
// anywhere, and the overview lines turned into XHDR lines.
#include "fuzz_support.h"
#include "news/nntp_stream.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    const std::uint8_t mode = in.byte();
    const QByteArray reply = in.rest();

    (void)nntpReplyCode(reply.left(reply.indexOf('\n')));

    // Fed whole and fed in blocks, the decoder must give the same bytes and
    // find the terminator at the same place.
    NntpBodyDecoder whole;
    whole.reset(mode & 1);
    const NntpBodyDecoder::Result once = whole.feed(reply);
    if (once.consumed < 0 || once.consumed > reply.size()) std::abort();

    NntpBodyDecoder cut;
    cut.reset(mode & 1);
    QByteArray pieces;
    qsizetype consumed = 0;
    bool finished = false;
    feedInBlocks(reply, in, [&](const QByteArray& block) {
        if (finished) return;
        const NntpBodyDecoder::Result r = cut.feed(block);
        if (r.consumed < 0 || r.consumed > block.size()) std::abort();
        pieces += r.data;
        consumed += r.consumed;
        finished = r.finished;
    });
    if (finished != once.finished || pieces != once.data) std::abort();
    if (finished && consumed != once.consumed) std::abort();

    NntpOverviewPicker picker(1 + (mode >> 1) % 8);
    QByteArray lines;
    feedInBlocks(once.data, in, [&](const QByteArray& block) { lines += picker.feed(block); });
    lines += picker.finish();
    (void)NntpOverviewPicker::fieldIndexOf(reply.left(16));
    return 0;
}
