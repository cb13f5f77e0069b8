#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <optional>

class Clock;

// Which window is in front, as the view layer knows it.
class WindowOrder
{
public:
    virtual ~WindowOrder() = default;
    // The application's windows, front to back.
    virtual QList<const void *> windowsFrontToBack() const = 0;
};

// Stateless helpers shared by every part of the monitor: sizes and exclusions, listings of the
// server, formatting, validation and facts about the system. Paths are product paths.
class SLUtility
{
public:
    static bool isCorvaneApplication();
    // isString:containsKeyString: -- a plain substring test.
    static bool isStringContainsKeyString(const QString &text, const QString &key);

    // ---- sizes and exclusions -------------------------------------------------------------
    static bool isDirectory(const QString &path);
    // An item that behaves as one file: a non-folder, or a package folder (".app", ".bundle", ...).
    static bool isMacDirectory(const QString &path);
    static bool isFileExists(const QString &path);
    static bool isWritableFileAtPath(const QString &path);
    // Everything inside a folder, by FolderSizer.
    static quint64 fastFolderSizeAtFSRef(const QString &path,
                                         const std::function<void(quint64 bytes, quint64 entries)> &progress = {});
    // Used space for "/" and mounted volumes; otherwise the folder's contents; nothing when the
    // path does not exist.
    static std::optional<quint64> getFolderSize(const QString &path,
                                                const std::function<void(quint64, quint64)> &progress = {});
    static quint64 calculateTotalSizeInArray(const QStringList &paths,
                                             const std::function<void(quint64, quint64)> &progress = {});
    // Pauses 10 ms per item so that a large tree does not load the machine: never on the main
    // thread (calculateSizeOfFileInBackground runs it on a pool thread).
    static quint64 calculateSizeOfFile(const QString &path);
    static void calculateSizeOfFileInBackground(const QString &path, QObject *context,
                                                std::function<void(quint64)> done);
    static quint64 calculateSizeOfFile(const QString &path, const QString &user, const QVariantMap &excluded);
    static quint64 totalSizeOfDefaultExclusionForUser(const QString &user, const QVariantMap &excluded);
    static quint64 totalSizeOfUserExclusionForUser(const QString &user, const QVariantMap &excluded);
    static bool shouldExcludeUserFile(const QString &path, const QVariantMap &userDictionary);
    static bool shouldExcludeHiddenFile(const QString &path, const QVariantMap &dictionary);
    static bool hasReadPermissionForFile(const QString &path);
    static void filterUndeletableFiles(QStringList &paths);
    static bool isEmptyFolder(const QString &path);
    static bool isSupportedImageFile(const QString &path, const QStringList &extensions);
    static QStringList listMountedVolumesPaths();
    static QStringList timeMachineFolders();
    static bool isTimeMachineFolderPresent();
    static bool isTimeMachineFolderPresentLocallyAndInBackupSet(const QStringList &paths);
    static quint64 usedSpaceOfVolume(const QString &path);

    // ---- server listings ------------------------------------------------------------------
    // Entry records have "filePath" (a name), "fileSize", "fileModificationDate" and, for Nexa
    // accounts, "Version".
    static QList<QVariantMap> collectServerFiles(const QString &text, const QString &user);
    static QList<QVariantMap> collectServerFiles(const QString &folder, const QString &listingFile, bool isSnapshotEnabled);
    static QList<QVariantMap> collectNexaServerFiles(const QString &folder, const QString &text);
    static QList<QVariantMap> serverFiles();
    static void setDirNode(const QString &type, const QString &size, const QString &name, const QString &parent);
    static bool isRemoteDirectory(const QString &path);
    static QString remoteFileSize(const QString &path);
    static void setRemoteSize(const QString &size, const QString &path);
    static void setRemoteDirectoryState(const QString &state, const QString &path);
    static void resetRemoteFileSize() {}
    static void printRemoteDirectoryCheckList() {}

    struct SearchEntry
    {
        QString fileSize, filePath, fileModifiedDate, version1, filePermission, version2;
    };
    static SearchEntry parsedEntriesForInfo(const QString &line);
    static SearchEntry parsedEntriesForOutputInfoSearch(const QString &line);
    static SearchEntry parsedEntriesForOutputInfoSearch(const QString &line, bool forNexaUser);
    static SearchEntry parsedEntriesForOutputInfoSearch1(const QString &line);

    // Comparators: negative, zero or positive as the first sorts before, with or after.
    static int sortRemoteFilesAndFolder(const QVariantMap &a, const QVariantMap &b, const QString &folder);
    static int sortSearchedFiles(const QVariantMap &a, const QVariantMap &b);
    static int sortLocalFilesAndFolder(const QString &a, const QString &b, const QString &folder);
    static int sortFiles(const QString &a, const QString &b, const QString &folder);
    static int sortSnapshotObjects(const QVariantMap &a, const QVariantMap &b);
    static int sortByDate(const QVariantMap &a, const QVariantMap &b);
    static QString snapshotVersion(const QString &name);
    static void moveSnapshotFoldersToTop(QList<QVariantMap> &records);
    static QList<QVariantMap> &sortMacFoldersInSnapshots(QList<QVariantMap> &records);

    // ---- formatting and validation ----------------------------------------------------------
    static std::optional<quint64> formatedFileSize(std::optional<quint64> bytes) { return bytes; }
    static QString formatedFileSizeAsString(std::optional<quint64> bytes);
    static QString formatedFileSizeAsStringWithDecimalTruncated(std::optional<quint64> bytes);
    static QString formatedFileSizeInBits(std::optional<quint64> bytes);
    static QString formatedFileSizeForOutlineView(quint64 bytes);
    static QString timeDisplayFormatHour(int hour, int minute, int seconds);
    static QString getSessionLogTime(const Clock &clock);
    static QString getSessionDurationWithStartDate(const QString &start, const QString &end);
    static bool isEmailID(const QString &text);
    static bool isValidEmailID(const QString &text);
    static int LocateCharecter(const QString &text, QChar character);
    // The file name of a verification error line, or nothing.
    static std::optional<QString> parseError(const QString &line);

    // ---- system facts -----------------------------------------------------------------------
    static QString machineID();
    static QString machineName();
    static QString MacOSVersion();
    static QString MacOSVersionWithBugfix();
    static QString lastConsoleUserName();
    static QString currentConsoleUserName();
    static bool isApplicationRunningForUser(const QString &application, const QString &user);
    static bool isFrontWindow(const WindowOrder &order, const void *window);
    static int killProcess(qint64 pid);
    // Exactly `size` bytes: the file's first bytes, the rest zero.
    static std::optional<QByteArray> dataWithContentsOfFile(const QString &path, qint64 size);
    static QString userPreferencePath();
    static void removeFile(const QString &path);
    static void removeFolder(const QString &path);
};
