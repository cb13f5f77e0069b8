#include "GeneralViewController.h"

#include "CdpState.h"
#include "MultipleMacTextFieldFormatter.h"
#include "UserPreferences.h"
#include "VolumeMonitor.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/FileContents.h"
#include "platform/FoundationValues.h"
#include "platform/ImageNamed.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/StringFormat.h"
#include "platform/SystemInfo.h"
#include "platform/UserDefaults.h"
#include "product/FilePathAPIs.h"
#include "product/MonitorSettings.h"
#include "product/StringTable.h"
#include "util/SLUtility.h"

#include <QFileInfo>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

const QString kEnableMultipleMacBackupKey = u"EnableMultipleMacBackupKey"_s;
const QString kMultipleMacFolderName = u"MultipleMacFolderName"_s;
const QString kTimeMachineChanged = u"CorvanePortableTimeMachineFileBackup"_s;
// Other local users' monitors rewrite the several-computers file too.
constexpr int kSharedFileMode = 0666;

bool gMultiplePCSelectedFromPref = false;
bool gMultipleMacOptionChanged = false;

// Letters, digits and the marks that combine with them, as the platform's alphanumeric set.
bool isAlphanumeric(char32_t c)
{
    return QChar::isLetterOrNumber(c) || QChar::isMark(c);
}

bool isSymbol(char32_t c)
{
    return QChar::isSymbol(c);
}

bool isNonBase(char32_t c)
{
    return QChar::isMark(c);
}

// Trims whole characters (not UTF-16 halves) matching `drop` from both ends.
QString trimmed(const QString &text, bool (*drop)(char32_t))
{
    QList<uint> characters = text.toUcs4();
    qsizetype begin = 0, end = characters.size();
    while (begin < end && drop(characters.at(begin)))
        ++begin;
    while (end > begin && drop(characters.at(end - 1)))
        --end;
    return QString::fromUcs4(reinterpret_cast<const char32_t *>(characters.constData() + begin),
                             end - begin);
}

QVariantMap multipleMacStateOf(const QString &userName)
{
    const QVariant entry
        = PropertyList::readDictionary(BrandPaths::multipleMacState()).value(userName);
    return entry.typeId() == QMetaType::QVariantMap ? entry.toMap() : QVariantMap();
}

} // namespace

GeneralViewController::GeneralViewController(Services services, QObject *parent)
    : QObject(parent)
    , m_services(std::move(services))
{
    if (!m_services.computerName)
        m_services.computerName = &SystemInfo::computerName;
    if (!m_services.timeMachineFolders)
        m_services.timeMachineFolders = &SLUtility::timeMachineFolders;
    m_timeMachineVolumes.setToggleHandler([this](int row) { toggleCheckBoxSate(row); });
}

GeneralViewController::~GeneralViewController() = default;

void GeneralViewController::initialize()
{
    m_timeMachineImage = ImageNamed::pixmap(u"timemachine.png"_s, QSize(16, 16)).toImage();
    m_timeMachineVolumes.setImage(m_timeMachineImage);
    if (!m_services.notifications || m_observing)
        return;
    m_observing = true;
    // The centre may outlive the pane: the callbacks check that it is still there.
    const QPointer<GeneralViewController> self(this);
    m_services.notifications->addObserver(
        u"CorvanePortableMonitorTimeMachineFileBackup"_s,
        [self](const QString &, const QString &, const QVariantMap &) {
            if (self)
                self->loadTimeMachineBackupSet();
        });
    m_services.notifications->addObserver(
        u"ShouldEnableVerionsButton"_s,
        [self](const QString &, const QString &, const QVariantMap &) {
            if (self)
                self->enableVersionButton();
        });
}

void GeneralViewController::loadView()
{
    m_multipleMacForNexaEnabled = false;
    monitorVolumes();
    loadTimeMachineBackupSet(); // volumes may have come and gone while no view watched them
    enableVersionButton();
    addRemoveDefaultMessage();
}

void GeneralViewController::unloadView()
{
    if (m_volumeMonitor)
        m_volumeMonitor->stop();
}

bool GeneralViewController::isMonitoringVolumes() const
{
    return m_volumeMonitor && m_volumeMonitor->isActive();
}

QString GeneralViewController::computerName() const
{
    return m_services.computerName();
}

QString GeneralViewController::multipleMacToolTip() const
{
    if (FilePathAPIs::isCorvaneApplication())
        return {};
    return SLLocalizedString(u"Backup data from multiple computers to a single Portable device "
                             u"while avoiding any data overlap. By "
                             "default, Stelloa Lumen creates a unique folder with the name of the "
                             "computer to backup data from "
                             "multiple computers into a single Portable device."_s);
}

QString GeneralViewController::proxyToolTip() const
{
    if (FilePathAPIs::isCorvaneApplication())
        return {};
    return SLLocalizedString(
        u"This option helps you to set Stelloa Lumen to work if your computer connect through a proxy."_s);
}

// ---- actions -------------------------------------------------------------------------------

void GeneralViewController::cdpPopupChanged()
{
    savePreferences();
}

void GeneralViewController::showHiddenFilesButtonChanged(bool on)
{
    m_showHiddenFiles = on;
    savePreferences();
}

void GeneralViewController::EnableVersion(bool on)
{
    m_version = on;
    savePreferences();
}

void GeneralViewController::powerOffAfterScheduledJobToggle(bool on)
{
    m_powerOff = on;
    savePreferences();
}

void GeneralViewController::selectRestoreDestinationPath(bool on)
{
    m_restoreDestination = on;
    if (m_delegate)
        m_delegate->sendIPCMessage(stringWithFormat(u"%d"_s, {int(on)}),
                                   kRestoreDestinationMessageType, false);
    savePreferences();
}

void GeneralViewController::setMCDPCheckBox(bool on)
{
    if (m_cdp == on)
        return;
    m_cdp = on;
    Q_EMIT stateChanged();
}

void GeneralViewController::EnableCDP(bool on)
{
    m_cdp = on;
    if (m_delegate)
        m_delegate->ContinuousDataProtectionSelected();
    else
        syncCdpCheckBox(); // nobody to confirm the change: the box keeps following the file
    Q_EMIT stateChanged();
}

void GeneralViewController::syncCdpCheckBox()
{
    m_cdp = CdpState::isEnabledFor(mUserObject.UserName());
}

void GeneralViewController::multipleMacOptionsBtnSelected(const QString &text)
{
    m_folderName = getRemoteFolderName(text).left(MultipleMacTextFieldFormatter::kMaximumLength);
    refreshView();
    savePreferences();
    Q_EMIT stateChanged();
}

void GeneralViewController::multipleMacBackupSelected()
{
    // Once on, the option stays on: this pane offers no way back.
    m_multipleMacChecked = true;
    m_multipleMacEnabled = false;
    setMultipleMacOptionChanged(true);
    Q_EMIT stateChanged();
}

// ---- multiple computers -----------------------------------------------------------------------

bool GeneralViewController::isMultipleMacEnabled() const
{
    // The string "1" only: a number 1 written by another tool does not count.
    const QVariant enabled
        = multipleMacStateOf(mUserObject.UserName()).value(kEnableMultipleMacBackupKey);
    return enabled.typeId() == QMetaType::QString && enabled.toString() == "1"_L1;
}

QString GeneralViewController::multipleMacFolderNameFromFile() const
{
    if (!isMultipleMacEnabled())
        return {};
    return multipleMacStateOf(mUserObject.UserName()).value(kMultipleMacFolderName).toString();
}

QString GeneralViewController::getRemoteFolderName(const QString &name)
{
    QString result = name;
    QStringList words = name.split(u' ');
    if (words.last().startsWith(u'(') && words.last().endsWith(u')')) {
        words.removeLast(); // a copy's "(2)"
        result = words.join(u' ');
    }
    static const QStringList removed {u"$"_s, u"%"_s, u"^"_s, u"`"_s, u"~"_s, u"!"_s, u"#"_s,
                                      u"&"_s, u"*"_s, u"("_s, u")"_s, u"["_s, u"]"_s, u"?"_s,
                                      u";"_s, u"<"_s, u">"_s, u" "_s, u"'"_s};
    for (const QString &unwanted : removed)
        result.remove(unwanted, Qt::CaseInsensitive);
    if (result.isEmpty())
        return u""_s;
    result = trimmed(result, [](char32_t c) { return !isAlphanumeric(c); });
    result = trimmed(result, isSymbol);
    return trimmed(result, isNonBase);
}

bool GeneralViewController::writeMultipleMacState()
{
    const QString user = mUserObject.UserName();
    const QString path = BrandPaths::multipleMacState();
    QVariantMap all = PropertyList::readDictionary(path);
    QVariantMap entry = multipleMacStateOf(user);
    entry.insert(kEnableMultipleMacBackupKey, u"1"_s);
    if (m_folderName.isEmpty())
        m_folderName = getRemoteFolderName(computerName());
    entry.insert(kMultipleMacFolderName, m_folderName);
    all.insert(user, entry);
    return PropertyList::writeDictionary(path, all, kSharedFileMode);
}

// ---- load and save ----------------------------------------------------------------------------

void GeneralViewController::loadPrefrences()
{
    const QString user = mUserObject.UserName();
    if (mUserObject.isNexaUser()) {
        const QString stored = multipleMacFolderNameFromFile();
        m_folderName = stored.isEmpty() ? getRemoteFolderName(computerName()) : stored;
    }
    m_multipleMacChecked = isMultipleMacEnabled();
    m_multipleMacEnabled = !m_multipleMacChecked;
    // Each read below opens the defaults afresh, so other writers' changes are seen.
    m_showHiddenFiles = UserPreferences::showHiddenFiles();
    const UserPreferences preferences(user);
    m_version = preferences.enableVersion();
    m_powerOff = preferences.powerOffAfterScheduledJob();
    // Straight from the defaults file, as the main application writes it there.
    const QVariantMap defaultsFile
        = PropertyList::readDictionary(UserDefaults::pathFor(MonitorSettings::defaultsDomain()));
    m_restoreDestination = FoundationValues::boolValue(
        defaultsFile.value(user).toMap().value(UserPreferences::kPromptRestoreDestinationPanel));
    loadTimeMachineBackupSet();
    savePreferences(); // a new account has its values written at once
    syncCdpCheckBox();
    Q_EMIT stateChanged();
}

bool GeneralViewController::savePreferences()
{
    m_unsavedFile.clear();
    const auto written = [this](bool saved, const QString &path) {
        if (!saved && m_unsavedFile.isEmpty())
            m_unsavedFile = Paths::current().resolve(path);
        return saved;
    };
    const QString defaults = UserDefaults::pathFor(MonitorSettings::defaultsDomain());
    bool saved = written(UserPreferences::setGlobal(UserPreferences::kShowHiddenFiles, m_showHiddenFiles), defaults);
    const QString user = mUserObject.UserName();
    if (!mUserObject.isNexaUser() || user.isEmpty())
        return saved;
    saved = written(writeMultipleMacState(), BrandPaths::multipleMacState()) && saved;
    saved = written(UserPreferences(user).store(
                        {{UserPreferences::kEnableVersion, m_version},
                         {UserPreferences::kPromptRestoreDestinationPanel, m_restoreDestination},
                         {UserPreferences::kPowerOffAfterScheduledJob, m_powerOff}}),
                    defaults)
        && saved;
    return written(UserPreferences::setGlobal(UserPreferences::kShowHiddenFiles, m_showHiddenFiles), defaults) && saved;
}

// ---- Time Machine -----------------------------------------------------------------------------

bool GeneralViewController::isBackupMode() const
{
    const QString path
        = stringWithFormat(u"/Library/Application Support/CorvanePortableforMac/%@/backupmode"_s,
                           {mUserObject.UserName()});
    return FoundationValues::stringBoolValue(FileContents::readUtf8(path));
}

QString GeneralViewController::timeMachineReferenceFile() const
{
    const QString user = mUserObject.UserName();
    if (!FilePathAPIs::isCorvaneApplication() || isBackupMode())
        return UserPreferences::timeMachineBackupSetPath(user);
    return stringWithFormat(
        u"/Library/Application Support/CorvanePortableforMac/%@/TimeMachinesyncReferenceFile.plist"_s,
        {user});
}

void GeneralViewController::loadTimeMachineBackupSet()
{
    QVariantList checked;
    if (!mUserObject.UserName().isEmpty())
        checked = PropertyList::readArray(timeMachineReferenceFile()); // empty when missing
    QList<TimeMachineNode> rows;
    for (const QString &folder : m_services.timeMachineFolders())
        rows.append({folder, checked.contains(QVariant(folder))});
    m_timeMachineVolumes.setRows(rows);
    addRemoveDefaultMessage();
}

void GeneralViewController::saveTimeMachineBackupSet()
{
    if (mUserObject.UserName().isEmpty())
        return;
    QVariantList checked;
    for (const TimeMachineNode &node : m_timeMachineVolumes.rows()) {
        if (node.checkState)
            checked.append(node.Path);
    }
    PropertyList::write(timeMachineReferenceFile(), checked, PropertyList::Format::Xml);
}

void GeneralViewController::toggleCheckBoxSate(int row)
{
    if (row < 0 || row >= m_timeMachineVolumes.rows().size())
        return;
    const TimeMachineNode node = m_timeMachineVolumes.rows().at(row);
    const bool checked = !node.checkState;
    m_timeMachineVolumes.setCheckState(row, checked);
    if (m_services.notifications) {
        const QString change = checked ? u"add"_s : u"Remove"_s;
        m_services.notifications->post(kTimeMachineChanged, change, {{change, node.Path}}, true);
    }
    saveTimeMachineBackupSet();
}

void GeneralViewController::enableVersionButton()
{
    m_versionEnabled = isBackupMode();
    Q_EMIT stateChanged();
}

void GeneralViewController::addRemoveDefaultMessage()
{
    m_defaultMessageVisible = m_timeMachineVolumes.rows().isEmpty();
    Q_EMIT stateChanged();
}

void GeneralViewController::monitorVolumes()
{
    if (!m_volumeMonitor) {
        m_volumeMonitor
            = new VolumeMonitor(m_services.mountTable, m_services.volumePollIntervalMs, this);
        connect(m_volumeMonitor, &VolumeMonitor::volumeDidMount, this,
                &GeneralViewController::volumesChanged);
        connect(m_volumeMonitor, &VolumeMonitor::volumeDidUnmount, this,
                &GeneralViewController::volumesChanged);
    }
    m_volumeMonitor->start();
}

void GeneralViewController::volumesChanged()
{
    loadTimeMachineBackupSet();
}

void GeneralViewController::refreshView()
{
    Q_EMIT refreshRequested();
}

// ---- class-wide flags -------------------------------------------------------------------------

bool GeneralViewController::multiplePCSelectedFromPrefFlag()
{
    return gMultiplePCSelectedFromPref;
}

void GeneralViewController::setMultipleProceedSelectedFromPrefFlag(bool on)
{
    gMultiplePCSelectedFromPref = on;
}

bool GeneralViewController::isMultipleMacOptionChanged()
{
    return gMultipleMacOptionChanged;
}

void GeneralViewController::setMultipleMacOptionChanged(bool on)
{
    gMultipleMacOptionChanged = on;
}
