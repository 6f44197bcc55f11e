// The address scans: web addresses in an article's text, and the e-mail
// addresses and hosts of "From" and "Path" header replies cut anywhere.
#include "fuzz_support.h"
#include "harvest/address_scans.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    const std::uint8_t mode = in.byte();
    const QByteArray text = in.rest();
    static std::unique_ptr<App> app = fuzzApp();
    App& a = *app;
    a.lstHTTP.clear();
    a.lstFavorites.clear();

    (void)cutEmailAddress(QString::fromUtf8(text.left(text.indexOf('\n'))));

    a.HarvestBody = mode & 1;
    a.HeaderField = mode & 2 ? QStringLiteral("SubjectDL") : QString();
    a.MessageText = text;
    HarvestArticle(a);

    a.HeaderField = mode & 4 ? QStringLiteral("Path") : QStringLiteral("From");
    ResetHeaderHarvest(a);
    feedInBlocks(text, in, [&](const QByteArray& block) { HarvestHeaderData(a, block); });
    return 0;
}
