#include "Command.h"
#include "JsonValues.h"

#include "platform/PropertyList.h"
#include "platform/StringFormat.h"
#include "product/FilePathAPIs.h"

#include "platform/Clock.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "scheduler/ScheduleArchive.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

using Choice = NextRunCalculator::EditorChoice;

// Every archived field under its archive key, as the engine reads it; the start as ISO 8601
// with its UTC offset, the password masked. The texts the monitor shows come beside them.
QJsonObject toJson(const CorvaneScheduleItem &record, int index)
{
    QJsonObject row{{u"index"_s, index}};
    for (const ArchivedObject::Field &field : record.toArchivedObject().fields)
        row.insert(field.first, jsonFromVariant(field.second));
    const QDateTime start = record.scheduleTime();
    row.insert(u"scheduleTime"_s, start.isValid() ? QJsonValue(iso8601WithOffset(start)) : QJsonValue());
    if (!record.password().isEmpty())
        row.insert(u"password"_s, u"***"_s);
    row.insert(u"scheduleTimeString"_s, record.scheduleTimeString());
    row.insert(u"frequencyString"_s, record.frequencyString());
    row.insert(u"statusString"_s, record.statusString());
    return row;
}

int list(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QCommandLineParser parser;
    parser.addOption({u"json"_s, u"Print JSON."_s});
    if (!parser.parse(QStringList{u"list"_s} + arguments)) {
        err << parser.errorText() << u'\n';
        return 2;
    }
    const ScheduleArchive::Contents contents = ScheduleArchive::load();
    if (contents.state == ScheduleArchive::State::Unreadable || contents.state == ScheduleArchive::State::Inaccessible) {
        err << u"The schedules archive cannot be read: "_s << contents.error << u'\n';
        return 1;
    }
    if (parser.isSet(u"json"_s)) {
        QJsonArray rows;
        for (int i = 0; i < contents.records.size(); ++i)
            rows.append(toJson(contents.records.at(i), i));
        out << QJsonDocument(rows).toJson(QJsonDocument::Indented);
        return 0;
    }
    for (int i = 0; i < contents.records.size(); ++i) {
        const CorvaneScheduleItem &r = contents.records.at(i);
        out << i << u"  "_s << r.scheduleTimeString() << u"  "_s << r.frequencyString().trimmed()
            << u"  "_s << (r.statusString().isEmpty() ? u"Waiting"_s : r.statusString()) << u"  "_s
            << r.username() << u" ("_s << r.corvaneUserName() << u")\n"_s;
    }
    if (contents.records.isEmpty())
        out << u"No schedules.\n"_s;
    if (!contents.undecodable.isEmpty())
        out << contents.undecodable.size()
            << u" more that this program cannot read (kept in the archive as they are).\n"_s;
    return 0;
}

std::optional<Choice> choiceNamed(const QString &name)
{
    static const QMap<QString, Choice> choices{{u"daily"_s, Choice::DailySchedule},
                                               {u"weekdays"_s, Choice::WeekDays},
                                               {u"hourly"_s, Choice::HourlySchedule},
                                               {u"monthly"_s, Choice::MonthlySchedule}};
    const auto found = choices.constFind(name);
    return found == choices.cend() ? std::nullopt : std::optional(found.value());
}

constexpr int kLoginDetailsKind = 2;
// The monitor keeps a change made while a job runs and saves it afterwards; this program ends
// at once, so it changes nothing.
const QString kBusyMessage = u"A backup is running: nothing was changed. Try again when it has finished.\n"_s;
constexpr int kBackupSetKind = 14;

// The editor's time-settings row for a choice.
int timeSettingsRow(Choice choice)
{
    switch (choice) {
    case Choice::HourlySchedule:
        return 1;
    case Choice::MonthlySchedule:
        return 3;
    default:
        return 0;
    }
}

// A new record from the login details, as the editor builds one: the account by brand, the
// server fields and password as stored, SSL on, desktop notification on, the quota server, and
// the local user's backup set. Nothing when nobody is logged in.
std::optional<CorvaneScheduleItem> recordFromLogin(const Clock &clock, const QString &localUser)
{
    const QVariantMap login
        = PropertyList::readDictionary(CorvaneSchedulerController::pathForApplicationFile(kLoginDetailsKind));
    if (login.isEmpty())
        return std::nullopt;
    CorvaneScheduleItem record(clock);
    record.setUsername(localUser.isEmpty() ? login.value(u"Username"_s).toString() : localUser);
    record.setCorvaneUserName(
        login.value(FilePathAPIs::isCorvaneApplication() ? u"CorvaneUsername"_s : u"Username"_s).toString());
    record.setUserAtServer(login.value(u"UserAtServer"_s).toString());
    record.setServerName(login.value(u"serverName"_s).toString());
    record.setPassword(login.value(u"Password"_s).toString());
    record.setSSL(u"YES"_s);
    record.setDisplayDesktopNotification(true);
    record.setQuotaServerName(login.contains(u"quotaServername"_s)
                                  ? login.value(u"quotaServername"_s).toString()
                                  : login.value(login.value(u"StelloaUserName"_s).toString()).toString());
    record.setProcessReferenceFile(stringWithFormat(CorvaneSchedulerController::pathForApplicationFile(kBackupSetKind),
                                                    {record.username()}));
    return record;
}

int add(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QCommandLineParser parser;
    parser.addOptions({{u"frequency"_s, u"daily, weekdays, hourly or monthly (an immediate backup: backup-now)."_s, u"f"_s},
                       {u"time"_s, u"Start time HH:MM[:SS] (default 20:00; not for hourly)."_s, u"t"_s},
                       {u"days"_s, u"Weekdays 0 (Sunday) to 6, comma-separated."_s, u"list"_s},
                       {u"day-of-month"_s, u"Day of the month for monthly schedules."_s, u"n"_s},
                       {u"user"_s, u"Local user that owns the schedule (default: the logged-in one)."_s, u"name"_s},
                       {u"account"_s, u"Account user name (default: the logged-in account)."_s, u"name"_s}});
    if (!parser.parse(QStringList{u"add"_s} + arguments)) {
        err << parser.errorText() << u'\n';
        return 2;
    }
    const std::optional<Choice> choice = choiceNamed(parser.value(u"frequency"_s));
    QTime time = QTime::fromString(parser.value(u"time"_s).isEmpty() ? u"20:00"_s : parser.value(u"time"_s), u"H:mm"_s);
    if (!time.isValid())
        time = QTime::fromString(parser.value(u"time"_s), u"H:mm:ss"_s);
    QVariantList days;
    bool daysOk = true;
    for (const QString &day : parser.value(u"days"_s).split(u',', Qt::SkipEmptyParts)) {
        bool ok = false;
        const int value = day.trimmed().toInt(&ok);
        daysOk = daysOk && ok && value >= 0 && value <= 6;
        days.append(value);
    }
    const int dayOfMonth = parser.value(u"day-of-month"_s).isEmpty() ? 1 : parser.value(u"day-of-month"_s).toInt();
    if (parser.value(u"frequency"_s) == "immediate"_L1) {
        // The engine runs an immediate job when told to, which is what backup-now does.
        err << u"An immediate backup is started with: lumenctl backup-now\n"_s;
        return 2;
    }
    if (!choice || !time.isValid() || !daysOk || dayOfMonth < 1 || dayOfMonth > 31
        || (*choice == Choice::WeekDays && days.isEmpty())) {
        err << u"usage: lumenctl schedules add --frequency daily|weekdays|hourly|monthly "
               "[--time HH:MM] [--days 1,3,5] [--day-of-month 1-31] [--user NAME] [--account NAME]\n"_s;
        return 2;
    }
    const Clock &clock = Clock::system();
    std::optional<CorvaneScheduleItem> record = recordFromLogin(clock, parser.value(u"user"_s));
    if (!record) {
        err << u"Nobody is logged in (no login details in "_s
            << CorvaneSchedulerController::pathForApplicationFile(kLoginDetailsKind)
            << u"): log in with the application first; the engine could not run the schedule.\n"_s;
        return 1;
    }
    if (parser.isSet(u"account"_s))
        record->setCorvaneUserName(parser.value(u"account"_s));
    CorvaneSchedulerController store(clock);
    // The hourly row keeps the time it was chosen at: now.
    const QDateTime picker(clock.now().date(), time);
    const NextRunCalculator::EditorSchedule schedule
        = store.nextRun().scheduleFromEditor(*choice, picker, days, dayOfMonth, clock.now());
    record->setFrequency(schedule.frequency);
    record->setSelectedDaysForSchedule(schedule.days);
    record->setScheduleTime(schedule.firstStart);
    record->setScheduleTimeSettings(timeSettingsRow(*choice));
    const CorvaneSchedulerController::SaveResult result = store.corvaneaddSchedulerDetails(*record);
    if (result.status == CorvaneSchedulerController::SaveResult::Status::Deferred) {
        err << kBusyMessage;
        return 1;
    }
    if (!result.saved()) {
        err << (result.message.isEmpty() ? u"The schedule was not saved."_s : result.message) << u'\n';
        return 1;
    }
    out << u"Added: "_s << record->frequencyString().trimmed() << u", first start "_s
        << record->scheduleTimeString() << u'\n';
    return 0;
}

int remove(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    bool ok = false;
    const int index = arguments.value(0).toInt(&ok);
    CorvaneSchedulerController store(Clock::system());
    if (arguments.size() != 1 || !ok || index < 0 || index >= store.records().size()) {
        err << u"usage: lumenctl schedules delete INDEX (see schedules list)\n"_s;
        return 2;
    }
    const CorvaneSchedulerController::SaveResult result = store.corvaneDeleteSchedulerDeatilsAtIndices({index});
    if (result.status == CorvaneSchedulerController::SaveResult::Status::Deferred) {
        err << kBusyMessage;
        return 1;
    }
    if (!result.saved()) {
        err << (result.message.isEmpty() ? u"The schedule was not deleted."_s : result.message) << u'\n';
        return 1;
    }
    out << u"Deleted schedule "_s << index << u".\n"_s;
    return 0;
}

int next(const QStringList &, QTextStream &out, QTextStream &)
{
    const NextRunCalculator calc(Clock::system());
    const std::optional<CorvaneScheduleItem> record = calc.nextScheduledItem(ScheduleArchive::load().records);
    if (!record) {
        out << u"You have no scheduled jobs\n"_s;
        return 0;
    }
    out << record->scheduleTimeString() << u"  "_s << record->frequencyString().trimmed() << u"  "_s
        << record->username() << u'\n';
    return 0;
}

} // namespace

int runSchedulesCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    const QString verb = arguments.value(0);
    const QStringList rest = arguments.mid(1);
    if (verb == "list"_L1)
        return list(rest, out, err);
    if (verb == "add"_L1)
        return add(rest, out, err);
    if (verb == "delete"_L1)
        return remove(rest, out, err);
    if (verb == "next"_L1)
        return next(rest, out, err);
    err << u"usage: lumenctl schedules list [--json] | add ... | delete INDEX | next\n"_s;
    return 2;
}
