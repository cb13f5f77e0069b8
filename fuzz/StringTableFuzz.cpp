// A replacement string table (a resources folder given on the command line or by LUMEN_RESOURCES):
// its texts are also formats, filled with arguments wherever the monitor shows them.
#include "FuzzSupport.h"

#include "platform/StringFormat.h"
#include "product/StringTable.h"

#include <QFile>
#include <QTemporaryDir>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    initializeFuzzEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static QTemporaryDir resources;
    // The first byte picks the file the rest becomes: the table or the bundle's Info.plist.
    if (size == 0)
        return 0;
    const bool table = data[0] & 1;
    QFile file(resources.filePath(table ? QStringLiteral("Localizable.plist") : QStringLiteral("Info.plist")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return 0;
    file.write(reinterpret_cast<const char *>(data + 1), qint64(size - 1));
    file.close();
    StringTable::install(QStringLiteral("corvane"), resources.path());
    const QVariantList arguments{QStringLiteral("ann"), 42, 3.5, QVariant()};
    const QVariantMap &strings = StringTable::shared().strings();
    for (auto it = strings.cbegin(); it != strings.cend(); ++it) {
        SLLocalizedString(it.key());
        stringWithFormat(it.value().toString(), arguments);
    }
    StringTable::shared().info().value(QStringLiteral("CFBundleVersion")).toString();
    return 0;
}
