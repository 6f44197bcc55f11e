// The NZB reader: a file from an indexer or a stranger. What it reads is
// written back and read again, which must give the same document.
#include "fuzz_support.h"
#include "nzb/nzb_file.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzInit();
    const NzbParse parsed =
        parseNzb(QByteArrayView(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    if (!parsed.ok()) return 0;
    for (const NzbFile& f : parsed.nzb.files)
        (void)nzbFileName(f.subject);
    const NzbParse again = parseNzb(writeNzb(parsed.nzb));
    if (!again.ok() || again.nzb.files.size() != parsed.nzb.files.size()) std::abort();
    for (qsizetype i = 0; i < again.nzb.files.size(); ++i) {
        const NzbFile &a = parsed.nzb.files[i], &b = again.nzb.files[i];
        if (a.subject != b.subject || a.segments.size() != b.segments.size()) std::abort();
        for (qsizetype s = 0; s < a.segments.size(); ++s)
            if (a.segments[s].messageId != b.segments[s].messageId) std::abort();
    }
    return 0;
}
