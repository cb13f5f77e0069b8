#include "FilePathAPIs.h"

#include "FileKindTable.h"
#include "StringTable.h"
#include "platform/Paths.h"
#include "platform/StringFormat.h"

#include <QList>

using namespace Qt::StringLiterals;

namespace FilePathAPIs {

namespace {

constexpr FileKind kKinds[] = {
    {0, u"UserDetailsPath", FileKindForm::FormatWithPlaceholder},
    {2, u"LastUserLoginDetailsFilePath", FileKindForm::Standardised},
    {3, u"SessionLogsFolderPath", FileKindForm::AsItStands},
    {4, u"SchedulerState", FileKindForm::AsItStands},
    {5, u"ApplicationStatusPath", FileKindForm::AsItStands},
    {6, u"ApplicationExecName", FileKindForm::AsItStands},
    {7, u"ApplicationExecPath", FileKindForm::AsItStands},
    {29, u"SchedulerSettingsFile", FileKindForm::AsItStands},
    {30, u"SchedulerProgress", FileKindForm::AsItStands},
    {31, u"BackupFailCountFilePath", FileKindForm::FormatWithPlaceholder},
    {32, u"ApplicationPreferenceFile", FileKindForm::AsItStands},
    {35, u"CDPFilePath", FileKindForm::FormatWithPlaceholder},
};

} // namespace

QString keyForApplicationFile(int kind)
{
    return keyForFileKind(kKinds, kind);
}

QString pathForApplicationFile(int kind)
{
    return pathForFileKind(kKinds, kind);
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
