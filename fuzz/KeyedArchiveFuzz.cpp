// Keyed archives as the schedules file holds them, binary or XML, from any source. What decodes
// is archived again, so that a small file standing for a huge tree shows up as a time-out.
#include "FuzzSupport.h"

#include "platform/KeyedArchive.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    initializeFuzzEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const KeyedArchive::Result result = KeyedArchive::unarchive(bytes);
    if (!result.ok())
        return 0;
    for (const QVariant &value : result.topObjects)
        KeyedArchive::dateOf(value);
    KeyedArchive::unarchive(KeyedArchive::archive(result.topObjects));
    return 0;
}
