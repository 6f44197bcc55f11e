// The server import: a text file of any shape from which addresses are
// picked and added to the server list.
#include "fuzz_support.h"
#include "setup/server_import.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static std::unique_ptr<App> app = fuzzApp();
    App& a = *app;
    a.txtNNTPServ.clear();
    const QString path = fuzzFile(QStringLiteral("servers.txt"), data, size);
    (void)readImportFields(
        QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    importServerFile(a, path);
    return 0;
}
