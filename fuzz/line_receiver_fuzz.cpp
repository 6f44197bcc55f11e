// The line receiver in each transfer mode (group lines, header lines, article
// text, and the From and Path harvest), fed as the news control feeds it:
// begin, data blocks cut anywhere, end.
#include "fuzz_support.h"
#include "news/line_receiver.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    const std::uint8_t mode = in.byte();
    const std::uint8_t flags = in.byte();
    static std::unique_ptr<App> app = fuzzApp();
    App& a = *app;
    a.LastError = 0;
    a.lstGroups.clear();
    a.lstMessages.clear();
    a.MessageText.clear();
    a.TransferMode = 1 + mode % 3;
    static const char* const fields[] = {"Subject", "From", "Path"};
    a.HeaderField = QLatin1String(fields[(mode / 3) % 3]);
    a.ShowMNumbers = flags & 1;
    a.RemoveSpam = flags & 2;
    a.HarvestBody = flags & 4;
    a.SkipArticle = false;
    NNTP_Document(a, 1, {});
    feedInBlocks(in.rest(), in, [&](const QByteArray& block) { NNTP_Document(a, 3, block); });
    NNTP_Document(a, 5, {});
    return 0;
}
