// The server's listings, as the engine's helper programs print them (the search output has its
// own target).
#include "FuzzSupport.h"

#include "util/SLUtility.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    initializeFuzzEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = fuzzText(data, size);
    SLUtility::collectServerFiles(text, QStringLiteral("user"));
    SLUtility::collectNexaServerFiles(QStringLiteral("/folder"), text);
    for (const QString &line : text.split(u'\n')) {
        SLUtility::parsedEntriesForInfo(line);
    }
    return 0;
}
