// The server search's output lines ("[perm][size][date]…][path]" and the plain listing form), as
// the engine's helper prints them; the entries are then sorted for the results list, so the
// comparator must be a consistent order over whatever the lines give.
#include "FuzzSupport.h"

#include "util/SLUtility.h"

#include <algorithm>
#include <cstdlib>

namespace {

int sign(int value)
{
    return (value > 0) - (value < 0);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    initializeFuzzEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QList<QVariantMap> found;
    for (const QString &line : fuzzText(data, size).split(u'\n')) {
        for (const SLUtility::SearchEntry &entry :
             {SLUtility::parsedEntriesForOutputInfoSearch(line), SLUtility::parsedEntriesForOutputInfoSearch(line, false),
              SLUtility::parsedEntriesForOutputInfoSearch(line, true), SLUtility::parsedEntriesForOutputInfoSearch1(line)})
            found.append({{QStringLiteral("filePath"), entry.filePath}, {QStringLiteral("fileSize"), entry.fileSize}});
    }
    for (const QVariantMap &a : found) {
        for (const QVariantMap &b : found) {
            if (sign(SLUtility::sortSearchedFiles(a, b)) != -sign(SLUtility::sortSearchedFiles(b, a)))
                std::abort();
        }
        if (found.size() > 64)
            break; // the pairs of the first rows are enough; the sort below sees them all
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const QVariantMap &a, const QVariantMap &b) { return SLUtility::sortSearchedFiles(a, b) < 0; });
    return 0;
}
