#include "CorvaneScheduleItem.h"

#include "ScheduleArchive.h"
#include "platform/Clock.h"
#include "platform/FoundationValues.h"

#include <QLocale>

#include <atomic>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

const char16_t *const kDayNames[]
    = {u"Sunday", u"Monday", u"Tuesday", u"Wednesday", u"Thursday", u"Friday", u"Saturday"};

QString dayName(int day)
{
    return day >= 0 && day <= 6 ? QString::fromUtf16(kDayNames[day]) : QString();
}

// Archive keys, in the order the record writes them.
namespace Key {
const QString scheduleType = u"scheduleType"_s;
const QString scheduleTime = u"scheduleTime"_s;
const QString frequency = u"frequency"_s;
const QString status = u"status"_s;
const QString destination = u"destination"_s;
const QString username = u"username"_s;
const QString corvaneUserName = u"corvaneUserName"_s;
const QString emailids = u"emailids"_s;
const QString displayDesktopNotification = u"displayDesktopNotification"_s;
const QString shouldStartMissedScheduleBackup = u"shouldStartMissedScheduleBackup"_s;
const QString sendEmailNotification = u"sendEmailNotification"_s;
const QString userAtServer = u"userAtServer"_s;
const QString serverName = u"serverName"_s;
const QString quotaServerName = u"quotaServerName"_s;
const QString password = u"password"_s;
const QString processReferenceFile = u"processReferenceFile"_s;
const QString isUseSSL = u"isUseSSL"_s;
const QString scheduleTimeSettings = u"scheduleTimeSettings"_s;
const QString selectedDaysForSchedule = u"selectedDaysForSchedule"_s;
const QString sendLogExtract = u"sendLogExtract"_s;
const QString notifyOnFailure = u"notifyOnFailure"_s;
const QString isAutoSyncEnabled = u"isAutoSyncEnabled"_s;
} // namespace Key

QVariant objectOrNil(const QString &text)
{
    return text.isNull() ? QVariant() : QVariant(text);
}

// Reads keyed values as a keyed decoder does: a missing key is 0, NO or nil; a value of the
// wrong kind makes the record unreadable.
class FieldReader {
public:
    explicit FieldReader(const ArchivedObject &object)
        : m_object(object)
    {
    }

    int integer(const QString &key)
    {
        const QVariant value = m_object.value(key);
        if (!value.isValid())
            return 0;
        switch (value.typeId()) {
        case QMetaType::LongLong:
        case QMetaType::Int:
        case QMetaType::Bool:
            return inRange(key, double(value.toLongLong()));
        case QMetaType::Double:
            return inRange(key, value.toDouble());
        default:
            return wrong(key, 0);
        }
    }

    bool boolean(const QString &key) { return integer(key) != 0; }

    QString string(const QString &key)
    {
        const QVariant value = m_object.value(key);
        if (!value.isValid())
            return QString();
        return value.typeId() == QMetaType::QString ? value.toString() : wrong(key, QString());
    }

    std::optional<QDateTime> date(const QString &key)
    {
        const QVariant value = m_object.value(key);
        if (!value.isValid())
            return QDateTime();
        const std::optional<QDateTime> date = KeyedArchive::dateOf(value);
        // Far outside the calendar the engine and this program share, a date is not one.
        if (!date || !date->isValid() || date->date().year() < 1 || date->date().year() > 9999)
            return wrong(key, std::optional<QDateTime>());
        return date;
    }

    std::optional<QVariantList> list(const QString &key)
    {
        const QVariant value = m_object.value(key);
        if (!value.isValid())
            return std::nullopt;
        return value.typeId() == QMetaType::QVariantList
            ? std::optional(value.toList())
            : wrong(key, std::optional<QVariantList>());
    }

    // The selected days: numbers within 32 bits or texts, as the editor and the engine write them.
    std::optional<QVariantList> days(const QString &key)
    {
        std::optional<QVariantList> days = list(key);
        for (const QVariant &day : days ? *days : QVariantList()) {
            switch (day.typeId()) {
            case QMetaType::QString:
            case QMetaType::LongLong:
            case QMetaType::Int:
            case QMetaType::Bool:
                break;
            case QMetaType::Double:
                inRange(key, day.toDouble());
                break;
            default:
                return wrong(key, std::optional<QVariantList>());
            }
        }
        return days;
    }

    QString error() const { return m_error; }

private:
    // A 32-bit keyed integer: a value beyond it (or not a number at all) is not the record's.
    int inRange(const QString &key, double value)
    {
        if (!std::isfinite(value) || value < double(std::numeric_limits<int>::min())
            || value > double(std::numeric_limits<int>::max()))
            return wrong(key, 0);
        return int(value);
    }

    template<typename T> T wrong(const QString &key, T fallback)
    {
        if (m_error.isEmpty())
            m_error = u"\"%1\" holds a value of the wrong kind"_s.arg(key);
        return fallback;
    }

    const ArchivedObject &m_object;
    QString m_error;
};

} // namespace

quint64 CorvaneScheduleItem::nextIdentity()
{
    static std::atomic<quint64> counter {0};
    return ++counter;
}

CorvaneScheduleItem::CorvaneScheduleItem()
    : m_identity(nextIdentity())
{
}

CorvaneScheduleItem::CorvaneScheduleItem(const Clock &clock)
    : m_identity(nextIdentity())
    , m_scheduleType(Backup)
    , m_scheduleTime(clock.now())
    , m_frequency(Daily)
    , m_status(NotStarted)
    , m_destination(u"My Corvane"_s)
    , m_username(u"None"_s)
    , m_corvaneUsername(u"None"_s)
    , m_userAtServer(u""_s)
    , m_serverName(u""_s)
    , m_password(u""_s)
    , m_processReferenceFile(u""_s)
    , m_emailids(u""_s)
    , m_quotaServerName(u""_s)
    , m_selectedDays(QVariantList())
{
    setSSL(u"NO"_s);
}

CorvaneScheduleItem CorvaneScheduleItem::copy() const
{
    CorvaneScheduleItem out = *this;
    out.m_identity = nextIdentity();
    out.m_isBackupNow = false;
    out.m_scheduleTimeSettings = 0;
    out.m_selectedDays = QVariantList();
    return out;
}

bool CorvaneScheduleItem::isEqualToScheduleItem(const CorvaneScheduleItem &other) const
{
    if (m_scheduleType != other.m_scheduleType)
        return false;
    const qint64 laterBy = other.m_scheduleTime.msecsTo(m_scheduleTime);
    if (!m_scheduleTime.isValid() || !other.m_scheduleTime.isValid() || laterBy < 0
        || laterBy > 60000)
        return false;
    return m_status == other.m_status && m_destination == other.m_destination
        && m_username == other.m_username && m_emailids == other.m_emailids
        && m_displayDesktopNotification == other.m_displayDesktopNotification
        && m_shouldStartMissedScheduleBackup == other.m_shouldStartMissedScheduleBackup
        && m_sendEmailNotification == other.m_sendEmailNotification
        && m_sendLogExtract == other.m_sendLogExtract
        && m_notifyOnFailure == other.m_notifyOnFailure;
}

bool CorvaneScheduleItem::hasSameFields(const CorvaneScheduleItem &other) const
{
    return m_scheduleType == other.m_scheduleType && m_scheduleTime == other.m_scheduleTime
        && m_scheduleTime.isValid() == other.m_scheduleTime.isValid()
        && m_frequency == other.m_frequency && m_status == other.m_status
        && m_destination == other.m_destination && m_username == other.m_username
        && m_corvaneUsername == other.m_corvaneUsername && m_userAtServer == other.m_userAtServer
        && m_serverName == other.m_serverName && m_password == other.m_password
        && m_processReferenceFile == other.m_processReferenceFile && m_emailids == other.m_emailids
        && m_quotaServerName == other.m_quotaServerName
        && m_displayDesktopNotification == other.m_displayDesktopNotification
        && m_shouldStartMissedScheduleBackup == other.m_shouldStartMissedScheduleBackup
        && m_sendEmailNotification == other.m_sendEmailNotification
        && m_isUseSSL == other.m_isUseSSL && m_scheduleTimeSettings == other.m_scheduleTimeSettings
        && m_selectedDays == other.m_selectedDays && m_sendLogExtract == other.m_sendLogExtract
        && m_notifyOnFailure == other.m_notifyOnFailure
        && m_isAutoSyncEnabled == other.m_isAutoSyncEnabled;
}

bool CorvaneScheduleItem::compareScheduleItems(const CorvaneScheduleItem &other) const
{
    return m_status == other.m_status;
}

QString CorvaneScheduleItem::scheduleTypeString() const
{
    switch (m_scheduleType) {
    case Backup:
        return u"Backup"_s;
    case Restore:
        return u"Restore"_s;
    default:
        return QString();
    }
}

QString CorvaneScheduleItem::frequencyString() const
{
    switch (m_frequency) {
    case Immediate:
        return u"Immediate"_s;
    case Hourly:
        return u"Hourly "_s; // the trailing blank is part of the text other code compares with
    case Daily:
        return u"Daily"_s;
    case Weekdays:
        return u"Weekdays"_s;
    case Monthly:
        return u"Monthly"_s;
    case SelectedDays:
        return scheduledDays();
    default:
        return u"None"_s;
    }
}

QString CorvaneScheduleItem::statusString() const
{
    switch (m_status) {
    case NotStarted:
        return u""_s;
    case InProgress:
        return u"In progress"_s;
    case Canceled:
        return u"Canceled"_s;
    case Completed:
        return u"Completed"_s;
    default:
        return u"InvalidStatus"_s;
    }
}

QString CorvaneScheduleItem::scheduleTimeString() const
{
    // "%a %b %d %Y %I:%M:%S %p" of the calendar format.
    return QLocale::c().toString(m_scheduleTime, u"ddd MMM dd yyyy hh:mm:ss AP"_s);
}

bool CorvaneScheduleItem::frequencyState() const
{
    return m_frequency >= Daily && m_frequency <= SelectedDays;
}

QList<int> CorvaneScheduleItem::selectedDayNumbers() const
{
    QList<int> days;
    if (m_selectedDays) {
        for (const QVariant &day : *m_selectedDays)
            days.append(int(FoundationValues::integerValue(day)));
    }
    return days;
}

QList<bool> CorvaneScheduleItem::daysArray() const
{
    QList<bool> days(7, false);
    for (const int day : selectedDayNumbers()) {
        if (day >= 0 && day <= 6)
            days[day] = true;
    }
    return days;
}

QString CorvaneScheduleItem::scheduledDays() const
{
    if (m_frequency == SelectedDays && selectedDayNumbers().isEmpty())
        return scheduledDays(ScheduleArchive::load().records);
    return scheduledDays({});
}

QString CorvaneScheduleItem::scheduledDays(const QList<CorvaneScheduleItem> &archive) const
{
    if (m_frequency != SelectedDays)
        return frequencyString();
    QStringList names;
    const QList<int> own = selectedDayNumbers();
    if (!own.isEmpty()) {
        for (const int day : own) {
            if (!dayName(day).isNull())
                names.append(dayName(day));
        }
        return names.join(u',');
    }
    // The index carries over from one matching record to the next, so a later record only adds
    // the days beyond the count already taken.
    bool matched = false;
    qsizetype index = 0;
    for (const CorvaneScheduleItem &record : archive) {
        if (record.m_username != m_username)
            continue;
        matched = true;
        const QList<int> days = record.selectedDayNumbers();
        if (days.isEmpty()) {
            for (int day = 1; day <= 5; ++day)
                names.append(dayName(day));
            continue;
        }
        for (; index < days.size(); ++index) {
            if (!dayName(days.at(index)).isNull())
                names.append(dayName(days.at(index)));
        }
    }
    return matched ? names.join(u',') : u"None"_s;
}

ArchivedObject CorvaneScheduleItem::toArchivedObject() const
{
    // The keys in the order the record has always encoded them.
    const QVariant time = m_scheduleTime.isValid()
        ? QVariant::fromValue(KeyedArchive::calendarDate(m_scheduleTime))
        : QVariant();
    return ArchivedObject {
        {u"CorvaneScheduleItem"_s, u"NSObject"_s},
        {{Key::scheduleType, m_scheduleType},
         {Key::scheduleTime, time},
         {Key::frequency, m_frequency},
         {Key::status, m_status},
         {Key::destination, objectOrNil(m_destination)},
         {Key::username, objectOrNil(m_username)},
         {Key::corvaneUserName, objectOrNil(m_corvaneUsername)},
         {Key::emailids, objectOrNil(m_emailids)},
         {Key::displayDesktopNotification, m_displayDesktopNotification},
         {Key::shouldStartMissedScheduleBackup, m_shouldStartMissedScheduleBackup},
         {Key::sendEmailNotification, m_sendEmailNotification},
         {Key::userAtServer, objectOrNil(m_userAtServer)},
         {Key::serverName, objectOrNil(m_serverName)},
         {Key::quotaServerName, objectOrNil(m_quotaServerName)},
         {Key::password, objectOrNil(m_password)},
         {Key::processReferenceFile, objectOrNil(m_processReferenceFile)},
         {Key::isUseSSL, m_isUseSSL},
         {Key::scheduleTimeSettings, m_scheduleTimeSettings},
         {Key::selectedDaysForSchedule, m_selectedDays ? QVariant(*m_selectedDays) : QVariant()},
         {Key::sendLogExtract, m_sendLogExtract},
         {Key::notifyOnFailure, m_notifyOnFailure},
         {Key::isAutoSyncEnabled, m_isAutoSyncEnabled}}};
}

std::optional<CorvaneScheduleItem>
CorvaneScheduleItem::fromArchivedObject(const ArchivedObject &object, QString *error)
{
    // The platform's unarchiver makes an instance of the archived class: another class (a date,
    // a newer engine's object) is no schedule record, whatever keys it holds.
    if (!object.isKindOf(u"CorvaneScheduleItem"_s)) {
        if (error)
            *error = u"an object of class %1 is not a schedule record"_s.arg(object.className());
        return std::nullopt;
    }
    FieldReader in(object);
    CorvaneScheduleItem item; // nothing of the defaults: a missing key stays 0, NO or nil
    item.m_scheduleType = in.integer(Key::scheduleType);
    // The stored date comes back to the second, in the local calendar.
    const std::optional<QDateTime> time = in.date(Key::scheduleTime);
    if (time && time->isValid())
        item.m_scheduleTime = QDateTime::fromSecsSinceEpoch(
            qint64(std::floor(double(time->toMSecsSinceEpoch()) / 1000.0)));
    item.m_frequency = in.integer(Key::frequency);
    item.m_status = in.integer(Key::status);
    item.m_destination = in.string(Key::destination);
    item.m_username = in.string(Key::username);
    item.m_corvaneUsername = in.string(Key::corvaneUserName);
    item.m_emailids = in.string(Key::emailids);
    item.m_displayDesktopNotification = in.boolean(Key::displayDesktopNotification);
    item.m_shouldStartMissedScheduleBackup = in.boolean(Key::shouldStartMissedScheduleBackup);
    item.m_sendEmailNotification = in.boolean(Key::sendEmailNotification);
    item.m_userAtServer = in.string(Key::userAtServer);
    item.m_serverName = in.string(Key::serverName);
    item.m_quotaServerName = in.string(Key::quotaServerName);
    item.m_password = in.string(Key::password);
    item.m_processReferenceFile = in.string(Key::processReferenceFile);
    item.setSSL(in.boolean(Key::isUseSSL) ? u"YES"_s : u"NO"_s);
    item.m_scheduleTimeSettings = in.integer(Key::scheduleTimeSettings);
    item.m_selectedDays = in.days(Key::selectedDaysForSchedule);
    item.m_sendLogExtract = in.boolean(Key::sendLogExtract);
    item.m_notifyOnFailure = in.boolean(Key::notifyOnFailure);
    item.m_isAutoSyncEnabled = in.boolean(Key::isAutoSyncEnabled);
    if (!in.error().isEmpty()) {
        if (error)
            *error = in.error();
        return std::nullopt;
    }
    return item;
}

bool scheduleSorting(const CorvaneScheduleItem &a, const CorvaneScheduleItem &b)
{
    return a.scheduleTime() < b.scheduleTime();
}

int weekdayNumber(const QDate &date)
{
    return date.dayOfWeek() % 7;
}
