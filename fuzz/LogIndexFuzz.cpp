// The operation log's XML index files, which the engine writes and a year of which the viewer
// reads. The fast reader of the writer's layout must give exactly what the XML reader gives, or
// nothing; a difference stops the run.
#include "FuzzSupport.h"

#include "logview/LogParseOperation.h"

#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    initializeFuzzEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray xml(reinterpret_cast<const char *>(data), qsizetype(size));
    LogParseOperation::parse(xml);
    const std::optional<QList<LogNode>> scanned = LogParseOperation::scanWriterLayout(xml);
    if (!scanned)
        return 0;
    QString error;
    const std::optional<QList<LogNode>> whole = LogParseOperation::parseWhole(xml, &error);
    if (!whole || *whole != *scanned)
        std::abort();
    return 0;
}
