// The list files a person may edit or be sent: any list's saved file, the
// favourites, and "NNTP_NET.INI" as the server list reads it at start.
#include "favorites/favorites_file.h"
#include "fuzz_support.h"
#include "setup/server_list.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static std::unique_ptr<App> app = fuzzApp();
    App& a = *app;
    const QString path = fuzzFile(QStringLiteral("list.txt"), data, size);
    ListModel list;
    list.setSorted(size % 2);
    if (list.load(path)) {
        // What a load gives back, saved and loaded again, is the same rows.
        const QString again = fuzzDir() + QStringLiteral("again.txt");
        list.save(again);
        ListModel back;
        back.setSorted(size % 2);
        if (!back.load(again) || back.count() != list.count()) std::abort();
        for (int i = 0; i < list.count(); ++i) {
            const ListRow& x = list.row(i);
            const ListRow& y = back.row(i);
            if (x.text != y.text || x.tag != y.tag || x.number != y.number) std::abort();
        }
    }
    a.lstFavorites.load(path);
    fuzzFile(QStringLiteral("NNTP_NET.INI"), data, size);
    a.CurrentServer = QStringLiteral("news.example.com");
    LoadServerList(a);
    (void)findServer(a, a.CurrentServer);
    return 0;
}
