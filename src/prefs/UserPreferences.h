#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

class User;

// The preferences the panes keep for one account: a dictionary under the account's user name in
// the monitor's defaults domain, beside a few keys shared by every account. Readers give the
// documented default for a missing key; a writer replaces only its own keys, so the panes never
// erase each other's.
class UserPreferences
{
public:
    static inline const QString kDefaultExclusion = QStringLiteral("Default Exclusion");
    static inline const QString kUserSpecifiedExclusion = QStringLiteral("User specified Exclusion");
    static inline const QString kPartialFileExclusion = QStringLiteral("Partial File Exclusion");
    static inline const QString kEnableVersion = QStringLiteral("EnableVersion");
    static inline const QString kPromptRestoreDestinationPanel = QStringLiteral("PromptRestoreDestinationPanel");
    // The general pane's power-off box (off when absent).
    static inline const QString kPowerOffAfterScheduledJob = QStringLiteral("PowerOffAfterScheduledJob");
    // Global keys. The first really ends in a blank.
    static inline const QString kShowHiddenFiles = QStringLiteral("ShowHiddenFilesKey ");
    static inline const QString kEnableExcludeHiddenFiles = QStringLiteral("enableExcludeHiddenFilesKey");

    explicit UserPreferences(const QString &userName);

    QString userName() const { return m_userName; }
    // The dictionary as stored (empty for an account that never saved).
    QVariantMap stored() const;

    // Path (or fragment) -> state, 1 excluded and 0 not.
    QVariantMap defaultExclusion() const;
    QVariantMap userSpecifiedExclusion() const;
    QVariantMap partialFileExclusion() const;
    bool enableVersion() const;
    bool promptRestoreDestinationPanel() const;
    bool powerOffAfterScheduledJob() const;

    // Replaces `values`' keys in the stored dictionary, stores it back and synchronises.
    bool store(const QVariantMap &values);

    static bool showHiddenFiles();
    static bool enableExcludeHiddenFiles();
    static bool setGlobal(const QString &key, bool value);

    // The 23 folders every account excludes unless told otherwise, and the one partial path.
    static QStringList defaultExclusionPaths();
    static QString defaultPartialPath();

    // The account's Time Machine backup set, shared by every local user of the computer.
    static QString timeMachineBackupSetPath(const QString &userName);

private:
    QVariantMap states(const QString &key, const QVariantMap &ifAbsent) const;

    QString m_userName;
};

// Fills `user` from the login details the engine wrote: user name, deciphered password, an empty
// private key, the port argument, the storage server, and the maker's-account flag. Without login
// details nothing is filled and the record keeps what it held.
bool fillUser(User &user, const QVariantMap &loginDetails);
