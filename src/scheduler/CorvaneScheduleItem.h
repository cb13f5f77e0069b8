#pragma once

#include "platform/KeyedArchive.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QVariantList>

#include <optional>

class Clock;

// One schedule record: when a backup or restore runs, for whom, where to, and how the user hears
// of the result. Records live in the schedules archive shared with the backup engine, so the
// enumeration values and archive keys must not change.
class CorvaneScheduleItem {
public:
    enum ScheduleType { Backup = 0, Restore = 1 };
    enum Frequency {
        Immediate = 0,
        Hourly = 1,
        Daily = 2,
        Weekdays = 3,
        Monthly = 4,
        SelectedDays = 5
    };
    enum Status { NotStarted = 0, InProgress = 1, Canceled = 2, Completed = 3 };

    // A new record with the defaults of a daily backup starting now.
    explicit CorvaneScheduleItem(const Clock &clock);

    // A copy as the record's copy operation makes it: a new record whose days, backup-now flag
    // and time settings start empty whatever this one holds.
    CorvaneScheduleItem copy() const;

    // Records are objects: two values are the same record when one was taken from the other.
    bool isSameRecord(const CorvaneScheduleItem &other) const
    {
        return m_identity == other.m_identity;
    }
    // This value now stands for `other` (an edit that replaces it in place, or the same record
    // read again from the archive).
    void takeIdentityOf(const CorvaneScheduleItem &other) { m_identity = other.m_identity; }
    // From now on a record of its own (a value put in a new place of the list).
    void detach() { m_identity = nextIdentity(); }
    // Every archived field equal (the backup-now flag is not archived).
    bool hasSameFields(const CorvaneScheduleItem &other) const;

    // Same type, status, destination, user, e-mail and notification flags, and this record's time
    // 0 to 60 seconds after the other's (one-sided).
    bool isEqualToScheduleItem(const CorvaneScheduleItem &other) const;
    // True when the statuses match, nothing more.
    bool compareScheduleItems(const CorvaneScheduleItem &other) const;

    QString scheduleTypeString() const; // null for an unknown type
    QString frequencyString() const;
    QString statusString() const;
    QString scheduleTimeString() const;
    bool frequencyState() const;
    QList<bool> daysArray() const;
    // Day names of the record; for a weekday record without days, those of the user's other
    // records in the archive.
    QString scheduledDays() const;
    QString scheduledDays(const QList<CorvaneScheduleItem> &archive) const;

    ArchivedObject toArchivedObject() const;
    // The record an archived object stands for; nothing (and why, in `error`) when a key holds a
    // value of the wrong kind.
    static std::optional<CorvaneScheduleItem> fromArchivedObject(const ArchivedObject &object,
                                                                 QString *error = nullptr);

    int scheduleType() const { return m_scheduleType; }
    void setScheduleType(int type) { m_scheduleType = type; }
    QDateTime scheduleTime() const { return m_scheduleTime; }
    void setScheduleTime(const QDateTime &time) { m_scheduleTime = time; }
    int frequency() const { return m_frequency; }
    void setFrequency(int frequency) { m_frequency = frequency; }
    int status() const { return m_status; }
    void setStatus(int status) { m_status = status; }
    QString destination() const { return m_destination; }
    void setDestination(const QString &value) { m_destination = value; }
    QString username() const { return m_username; }
    void setUsername(const QString &value) { m_username = value; }
    QString corvaneUserName() const { return m_corvaneUsername; }
    void setCorvaneUserName(const QString &value) { m_corvaneUsername = value; }
    QString userAtServer() const { return m_userAtServer; }
    void setUserAtServer(const QString &value) { m_userAtServer = value; }
    QString serverName() const { return m_serverName; }
    void setServerName(const QString &value) { m_serverName = value; }
    QString password() const { return m_password; }
    void setPassword(const QString &value) { m_password = value; }
    QString processReferenceFile() const { return m_processReferenceFile; }
    void setProcessReferenceFile(const QString &value) { m_processReferenceFile = value; }
    QString emailids() const { return m_emailids; }
    void setEmailids(const QString &value) { m_emailids = value; }
    QString quotaServername() const { return m_quotaServerName; }
    void setQuotaServerName(const QString &value) { m_quotaServerName = value; }
    bool displayDesktopNotification() const { return m_displayDesktopNotification; }
    void setDisplayDesktopNotification(bool on) { m_displayDesktopNotification = on; }
    bool shouldStartMissedScheduleBackup() const { return m_shouldStartMissedScheduleBackup; }
    void setShouldStartMissedScheduleBackup(bool on) { m_shouldStartMissedScheduleBackup = on; }
    bool sendEmailNotification() const { return m_sendEmailNotification; }
    void setSendEmailNotification(bool on) { m_sendEmailNotification = on; }
    bool isUseSSL() const { return m_isUseSSL; }
    // Takes text: on exactly for "YES".
    void setSSL(const QString &yesOrNo) { m_isUseSSL = yesOrNo == QLatin1String("YES"); }
    bool isBackupNow() const { return m_isBackupNow; }
    void setBackupNow(bool on) { m_isBackupNow = on; }
    int scheduleTimeSettings() const { return m_scheduleTimeSettings; }
    void setScheduleTimeSettings(int row) { m_scheduleTimeSettings = row; }
    // Weekday numbers 0 (Sunday) to 6, as numbers or decimal strings; nothing when the archive
    // held no list.
    std::optional<QVariantList> selectedDaysForSchedule() const { return m_selectedDays; }
    void setSelectedDaysForSchedule(const std::optional<QVariantList> &days)
    {
        m_selectedDays = days;
    }
    bool sendLogExtract() const { return m_sendLogExtract; }
    void setSendLogExtract(bool on) { m_sendLogExtract = on; }
    bool notifyOnFailure() const { return m_notifyOnFailure; }
    void setNotifyOnFailure(bool on) { m_notifyOnFailure = on; }
    bool isAutoSyncEnabled() const { return m_isAutoSyncEnabled; }
    void setAutoSyncEnabled(bool on) { m_isAutoSyncEnabled = on; }

    // The integer value of each selected day, whether held as a number or as text.
    QList<int> selectedDayNumbers() const;

private:
    CorvaneScheduleItem(); // the bare object a decoder starts from: zeros and nils

    static quint64 nextIdentity();

    quint64 m_identity;
    int m_scheduleType = 0;
    QDateTime m_scheduleTime;
    int m_frequency = 0;
    int m_status = 0;
    QString m_destination;
    QString m_username;
    QString m_corvaneUsername;
    QString m_userAtServer;
    QString m_serverName;
    QString m_password;
    QString m_processReferenceFile;
    QString m_emailids;
    QString m_quotaServerName;
    bool m_displayDesktopNotification = false;
    bool m_shouldStartMissedScheduleBackup = false;
    bool m_sendEmailNotification = false;
    bool m_isUseSSL = false;
    bool m_isBackupNow = false;
    int m_scheduleTimeSettings = 0;
    std::optional<QVariantList> m_selectedDays;
    bool m_sendLogExtract = false;
    bool m_notifyOnFailure = false;
    bool m_isAutoSyncEnabled = false;
};

// Orders records by start time, earliest first.
bool scheduleSorting(const CorvaneScheduleItem &a, const CorvaneScheduleItem &b);

// The weekday of a date as the schedules count it: 0 Sunday to 6 Saturday.
int weekdayNumber(const QDate &date);
