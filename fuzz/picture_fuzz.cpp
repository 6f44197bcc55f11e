// The picture loader: any file a post carries, read with the allocation
// limit and the size cap.
#include "fuzz_support.h"
#include "shell/picture_control.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzInit();
    const QImage image = loadPicture(fuzzFile(QStringLiteral("picture"), data, size));
    (void)image.isNull();
    return 0;
}
