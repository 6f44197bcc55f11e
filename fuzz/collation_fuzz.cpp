// The subject parser of the collation: a row title, and the rows it is
// looked for among, both as a stranger's post gives them.
#include "attachments/collation.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    const std::uint8_t mode = in.byte();
    const QString text = QString::fromUtf8(in.rest());
    (void)numericPrefix(text);

    static std::unique_ptr<App> app = fuzzApp();
    App& a = *app;
    a.lstMessages.clear();
    // The first line is the title; the other lines are the message rows.
    const QStringList lines = text.split(u'\n');
    for (qsizetype i = 1; i < lines.size() && i < 400; ++i)
        a.lstMessages.addItem(lines[i]);
    QString title = lines.value(0);
    qint32 current = 0;
    (void)msgMultipart(a, title, current, mode & 1 ? PartSearch::Plain : PartSearch::Indexed);
    return 0;
}
