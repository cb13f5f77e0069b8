#include "FuzzSupport.h"

#include "platform/Paths.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QTemporaryDir>

void initializeFuzzEnvironment()
{
    static int argc = 1;
    static char name[] = "fuzz";
    static char *argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    static QTemporaryDir root;
    Paths::install(Paths(root.path(), root.path() + QStringLiteral("/home")));
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
}

QString fuzzText(const uint8_t *data, size_t size)
{
    return QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
}
