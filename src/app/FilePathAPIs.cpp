#include "FilePathAPIs.h"

#include "StringTable.h"
#include "platform/Paths.h"
#include "util/StringFormat.h"

#include <QList>

using namespace Qt::StringLiterals;

namespace FilePathAPIs {

namespace {

enum class Form { AsItStands, Standardised, FormatWithPlaceholder };

struct Kind
{
    int kind;
    const char16_t *key;
    Form form;
};

constexpr Kind kKinds[] = {
    {0, u"UserDetailsPath", Form::FormatWithPlaceholder},
    {2, u"LastUserLoginDetailsFilePath", Form::Standardised},
    {3, u"SessionLogsFolderPath", Form::AsItStands},
    {4, u"SchedulerState", Form::AsItStands},
    {5, u"ApplicationStatusPath", Form::AsItStands},
    {6, u"ApplicationExecName", Form::AsItStands},
    {7, u"ApplicationExecPath", Form::AsItStands},
    {29, u"SchedulerSettingsFile", Form::AsItStands},
    {30, u"SchedulerProgress", Form::AsItStands},
    {31, u"BackupFailCountFilePath", Form::FormatWithPlaceholder},
    {32, u"ApplicationPreferenceFile", Form::AsItStands},
    {35, u"CDPFilePath", Form::FormatWithPlaceholder},
};

const Kind *findKind(int kind)
{
    for (const Kind &entry : kKinds) {
        if (entry.kind == kind)
            return &entry;
    }
    return nullptr;
}

} // namespace

QString keyForApplicationFile(int kind)
{
    const Kind *entry = findKind(kind);
    return entry ? QString::fromUtf16(entry->key) : QString();
}

QString pathForApplicationFile(int kind)
{
    const Kind *entry = findKind(kind);
    if (!entry)
        return u""_s;
    const QString value = SLLocalizedString(QString::fromUtf16(entry->key));
    switch (entry->form) {
    case Form::Standardised:
        return stringByStandardizingPath(value);
    case Form::FormatWithPlaceholder:
        // The caller fills in the user name later, so "%@" stays in place.
        return stringWithFormat(value, {u"%@"_s});
    case Form::AsItStands:
        break;
    }
    return value;
}

QString applicationName()
{
    return SLLocalizedString(u"ApplicationName"_s);
}

bool isCorvaneApplication()
{
    return applicationName() == "Corvane Lumen"_L1;
}

} // namespace FilePathAPIs

namespace BrandPaths {

namespace {

QString byBrand(const QString &corvane, const QString &stelloa)
{
    return stringByExpandingTildeInPath(FilePathAPIs::isCorvaneApplication() ? corvane : stelloa);
}

} // namespace

QString loginDetails()
{
    return byBrand(u"~/Library/Application Support/CorvanePortableforMac/CVLoginDetails.plist"_s,
                   u"~/Library/Application Support/StelloaLumen/SLLoginDetails.plist"_s);
}

QString launchRequest()
{
    return byBrand(u"/Library/Application Support/CorvanePortableforMac/.launch"_s,
                   u"/Library/Application Support/StelloaLumen/.launch"_s);
}

QString multipleMacState()
{
    return byBrand(
        u"/Library/Application Support/CorvanePortableforMac/CorvaneMultipleMacState.plist"_s,
        u"/Library/Application Support/StelloaLumen/CorvaneMultipleMacState.plist"_s);
}

QString portFile()
{
    return byBrand(u"~/Library/Application Support/CorvanePortableforMac/port.txt"_s,
                   u"~/Library/Application Support/StelloaLumen/port.txt"_s);
}

QString schedulerStatus()
{
    return u"/Library/Application Support/CorvaneforMac/SchedulerStatus"_s;
}

QString cdpStateFormat()
{
    return u"/Library/Application Support/CorvaneforMac/%@/CDPState.plist"_s;
}

QString cdpState(const QString &userName)
{
    return stringWithFormat(cdpStateFormat(), {userName});
}

QList<Entry> all()
{
    return {
        {u"loginDetails"_s, loginDetails()},
        {u"launchRequest"_s, launchRequest()},
        {u"multipleMacState"_s, multipleMacState()},
        {u"portFile"_s, portFile()},
        {u"schedulerStatus"_s, schedulerStatus()},
        {u"cdpState"_s, cdpStateFormat()},
    };
}

} // namespace BrandPaths
