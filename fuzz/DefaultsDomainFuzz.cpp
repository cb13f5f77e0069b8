// A defaults domain file (~/Library/Preferences/<domain>.plist), which the main application and
// the monitor both rewrite. Whatever the file holds, a value the monitor sets and synchronizes
// must read back the same in a fresh reader.
#include "FuzzSupport.h"

#include "platform/Paths.h"
#include "platform/UserDefaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    initializeFuzzEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString domain = QStringLiteral("com.corvane.lumen.fuzz");
    const QString real = Paths::current().resolve(UserDefaults(domain).path());
    QDir().mkpath(QFileInfo(real).path());
    QFile file(real);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return 0;
    file.write(reinterpret_cast<const char *>(data), qint64(size));
    file.close();

    UserDefaults defaults(domain);
    for (const QString &key : {QStringLiteral("PausedUntil"), QStringLiteral("StaleBackupDays"), QStringLiteral("a")}) {
        defaults.stringForKey(key);
        defaults.dictionaryForKey(key);
        defaults.boolForKey(key);
        defaults.integerForKey(key);
    }
    const QVariant value = QStringLiteral("set by the monitor");
    defaults.setObject(value, QStringLiteral("MonitorKey"));
    if (defaults.synchronize() && UserDefaults(domain).objectForKey(QStringLiteral("MonitorKey")) != value)
        std::abort();
    return 0;
}
