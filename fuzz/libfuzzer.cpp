// The libFuzzer entry: the one target linked into this binary.
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    velotte::fuzz::targets().front().run(bytes);
    return 0;
}
