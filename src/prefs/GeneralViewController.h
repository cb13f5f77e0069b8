#pragma once

#include "TimeMachineTableModel.h"
#include "User.h"

#include <QImage>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>

class DistributedNotificationCenter;
class ProxyController;
class VolumeMonitor;

// What the general pane asks of the monitor that owns it.
class GeneralViewDelegate {
public:
    virtual ~GeneralViewDelegate() = default;
    // The CDP box was clicked. The monitor confirms with the user, writes the state file and
    // then sets the box (setMCDPCheckBox) or reloads the pane.
    virtual void ContinuousDataProtectionSelected() = 0;
    // A message to the main application over the monitor's channel (mIPCWithCorvanePortableApp).
    virtual void sendIPCMessage(const QVariant &payload, int type, bool runInThread) = 0;
};

// Facts about the machine, replaceable in tests.
struct GeneralViewServices {
    // Null: no broadcast notifications are observed or posted.
    DistributedNotificationCenter *notifications = nullptr;
    // The computer's name as the system reports it (SystemInfo::computerName by default).
    std::function<QString()> computerName;
    // The Time Machine folders of the mounted volumes (SLUtility::timeMachineFolders).
    std::function<QStringList()> timeMachineFolders;
    QString mountTable = QStringLiteral("/proc/self/mountinfo");
    int volumePollIntervalMs = 2000;
};

// The general preferences pane without its widgets: multiple-computer backup with the folder
// name, hidden files, versions, restore destination, continuous protection, power-off after a
// scheduled job and the Time Machine backup set. The view shows what the getters say, forwards
// each click to the action of the same name and redraws on stateChanged().
class GeneralViewController : public QObject {
    Q_OBJECT
public:
    using Services = GeneralViewServices;

    static constexpr int kRestoreDestinationMessageType = 8;

    explicit GeneralViewController(Services services = {}, QObject *parent = nullptr);
    ~GeneralViewController() override;

    // Observes the Time Machine and versions notifications; call once after construction.
    void initialize();
    // The view exists: the storage account's multiple-computer box is disabled, volumes are
    // watched, the empty-table message placed.
    void loadView();
    // The view is gone: volumes are no longer watched until the next loadView.
    void unloadView();
    bool isMonitoringVolumes() const;

    User &userInfo() { return mUserObject; }
    const User &userInfo() const { return mUserObject; }
    void setDelegate(GeneralViewDelegate *delegate) { m_delegate = delegate; }
    GeneralViewDelegate *delegate() const { return m_delegate; }
    void SetMProxyController(ProxyController *controller) { m_proxyController = controller; }
    ProxyController *mProxyController() const { return m_proxyController; }

    // ---- what the controls show ------------------------------------------------------------
    // multipleMacOptionsBtnForNexa; enableMultipleMacBackup; enableMultipleMacBackupForNexa.
    QString multipleMacFolderName() const { return m_folderName; }
    bool multipleMacBackupChecked() const { return m_multipleMacChecked; }
    bool multipleMacBackupEnabled() const { return m_multipleMacEnabled; }
    bool multipleMacBackupForNexaEnabled() const { return m_multipleMacForNexaEnabled; }
    bool showHiddenFiles() const { return m_showHiddenFiles; }
    bool versionChecked() const { return m_version; }
    bool versionEnabled() const { return m_versionEnabled; }
    bool restoreDestinationChecked() const { return m_restoreDestination; }
    bool powerOffAfterScheduledJob() const { return m_powerOff; }
    bool mCDPCheckBox() const { return m_cdp; }
    void setMCDPCheckBox(bool on);
    TimeMachineTableModel *timeMachineModel() { return &m_timeMachineVolumes; }
    const QList<TimeMachineNode> &mTimeMachineVolumes() const
    {
        return m_timeMachineVolumes.rows();
    }
    QImage mTimeMachineImage() const { return m_timeMachineImage; }
    bool isDefaultMessageVisible() const { return m_defaultMessageVisible; }
    // The help buttons' tool tips for the second brand; null: keep the interface file's own.
    QString multipleMacToolTip() const;
    QString proxyToolTip() const;

    // ---- actions ---------------------------------------------------------------------------
    void cdpPopupChanged();
    void showHiddenFilesButtonChanged(bool on);
    void EnableVersion(bool on);
    void powerOffAfterScheduledJobToggle(bool on);
    void selectRestoreDestinationPath(bool on);
    void EnableCDP(bool on);
    void multipleMacOptionsBtnSelected(const QString &text);
    void multipleMacBackupSelected();
    void toggleCheckBoxSate(int row);

    // ---- files -----------------------------------------------------------------------------
    QString multipleMacFolderNameFromFile() const;
    bool isMultipleMacEnabled() const;
    static QString getRemoteFolderName(const QString &name);
    void loadPrefrences();
    // Whether the monitor's defaults took every value.
    bool savePreferences();
    // The first file the last savePreferences could not write; empty when all were written.
    QString unsavedFile() const { return m_unsavedFile; }
    void loadTimeMachineBackupSet();
    void saveTimeMachineBackupSet();
    // The reference file of the user's Time Machine set, which depends on the backup mode.
    QString timeMachineReferenceFile() const;
    bool isBackupMode() const;
    void enableVersionButton();
    void addRemoveDefaultMessage();
    void monitorVolumes();
    void volumesChanged();
    void refreshView();

    // Class-wide flags shared with the monitor.
    static bool multiplePCSelectedFromPrefFlag();
    static void setMultipleProceedSelectedFromPrefFlag(bool on);
    static bool isMultipleMacOptionChanged();
    static void setMultipleMacOptionChanged(bool on);

Q_SIGNALS:
    // Any control's value or enabled state changed: the view shows the getters again.
    void stateChanged();
    void refreshRequested();

private:
    QString computerName() const;
    bool writeMultipleMacState();
    void syncCdpCheckBox();

    Services m_services;
    User mUserObject;
    GeneralViewDelegate *m_delegate = nullptr;
    ProxyController *m_proxyController = nullptr;
    TimeMachineTableModel m_timeMachineVolumes;
    QImage m_timeMachineImage;
    VolumeMonitor *m_volumeMonitor = nullptr;
    bool m_observing = false;

    QString m_folderName;
    QString m_unsavedFile;
    bool m_multipleMacChecked = false;
    bool m_multipleMacEnabled = true;
    bool m_multipleMacForNexaEnabled = true;
    bool m_showHiddenFiles = true;
    bool m_version = false;
    bool m_versionEnabled = false;
    bool m_restoreDestination = false;
    bool m_powerOff = false;
    bool m_cdp = false;
    bool m_defaultMessageVisible = true;
};
