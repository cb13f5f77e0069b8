#include "WebManagement.h"

#include "logging/SLLogger.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/StringFormat.h"
#include "product/StringTable.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

QString stateFile()
{
    return stringByStandardizingPath(SLLocalizedString(u"WebmanagementFilePath"_s));
}

QString statusFile()
{
    return stringByStandardizingPath(SLLocalizedString(u"WebmanagementFilePathTemp"_s));
}

bool exists(const QString &productPath)
{
    return QFileInfo::exists(Paths::current().resolve(productPath));
}

} // namespace

WebManagement::WebManagement(Services services)
    : m_services(std::move(services))
{
}

QVariantMap WebManagement::readState() const
{
    return PropertyList::readDictionary(stateFile());
}

void WebManagement::writeWebManagementState(bool on, const QString &user)
{
    QVariantMap state = readState();
    if (on)
        state.insert(user, u"1"_s);
    else
        state.remove(user);
    PropertyList::writeDictionary(stateFile(), state);
}

bool WebManagement::webManagementQuit(bool quit, bool launch, const QString &user)
{
    bool stop = false;
    if (exists(statusFile())) {
        const QString userState
            = PropertyList::readDictionary(statusFile()).value(user).toMap().value(u"User_State"_s).toString();
        if (userState == "3"_L1 || userState == "4"_L1) {
            writeWebManagementState(false, user);
            launch = false;
            stop = true;
        } else if (userState == "2"_L1 && readState().value(user).toString() == "1"_L1) {
            writeWebManagementState(false, user);
            m_services.showMessage(u"Authentication failed. Login to Corvane with your updated credentials."_s);
            launch = false;
            stop = true;
        }
    } else {
        stop = quit;
    }
    if (stop) {
        ++m_stopRequests;
        m_lastStopCommand = stringWithFormat(u"ps axwww | grep %@ | awk '{print $1}' | xargs -n1 kill -9 &> .error"_s,
                                             {SLLocalizedString(u"WebManagementExecName"_s)});
        SLLogger::logMonitorTrace(u"Web management helper to be stopped: "_s + m_lastStopCommand);
        m_pendingStop = m_lastStopCommand;
        m_pendingStart = false;
    }
    if (!launch)
        return false;
    const QString helper = SLLocalizedString(u"WebManagementExecPath"_s);
    if (m_services.isApplicationRunning(helper) != 0)
        return true;
    const QString version = PropertyList::readDictionary(u"/System/Library/CoreServices/SystemVersion.plist"_s)
                                .value(u"ProductUserVisibleVersion"_s)
                                .toString();
    m_lastStartCommand
        = stringWithFormat(version.startsWith(u"10.4"_s) ? u"open \"%@\""_s : u"open -g \"%@\""_s, {helper});
    m_pendingStart = true;
    return true;
}

bool WebManagement::checkWebmanagementState(const QString &user)
{
    if (!exists(stateFile())) {
        webManagementQuit(true, false, user);
        return false;
    }
    if (readState().value(user).toString() != "1"_L1)
        return false;
    // On, unless the helper reported that it stopped or could not log in.
    return webManagementQuit(false, true, user);
}

bool WebManagement::isMagicFileExists() const
{
    return exists(SLLocalizedString(u"MagicFile"_s));
}
