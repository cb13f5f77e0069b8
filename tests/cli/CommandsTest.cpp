// lumenctl backup-now, status and schedules add/list against a private root and home.

#include "support/LoginDetails.h"
#include "support/TestEnvironment.h"

#include "app/MonitorScripting.h"
#include "logview/LogManager.h"
#include "logview/LogNode.h"
#include "platform/PropertyList.h"
#include "product/FilePathAPIs.h"
#include "scheduler/CorvaneSchedulerController.h"
#include "scheduler/ScheduleArchive.h"
#include "scheduler/SchedulerState.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// LUMENCTL runs the tests against another build (an older one, to see a test fail).
const QString kLumenctl = qEnvironmentVariable("LUMENCTL", QStringLiteral(LUMENCTL_PATH));
const QString kStatusFile = u"/Library/Application Support/CorvaneforMac/ApplicationStatus.plist"_s;

class Commands : public ::testing::Test {
protected:
    explicit Commands(const QString &brand = u"corvane"_s)
        : m_brand(brand)
        , env(brand)
    {
    }

    QStringList environment() const { return {u"HOME="_s + env.home(), u"TZ=Europe/Berlin"_s}; }
    ProcessResult lumenctl(const QStringList &arguments) const
    {
        return runProgram(kLumenctl,
                          QStringList {u"--brand"_s, m_brand, u"--root"_s, env.root()} + arguments,
                          environment());
    }
    // The main application's login details, and a backup set of one folder for `setOwner`.
    void logIn(const QString &setOwner = u"acct"_s) const
    {
        ASSERT_TRUE(writeLogin({{u"CorvaneUsername"_s, u"acct"_s},
                                {u"Username"_s, u"ann"_s},
                                {u"Password"_s, u"c2VjcmV0"_s},
                                {u"UserAtServer"_s, u"acct@srv1"_s},
                                {u"serverName"_s, u"srv1.example"_s},
                                {u"quotaServername"_s, u"quota.example"_s},
                                {u"SSL"_s, u"NO"_s}},
                               setOwner, {u"/data"_s}));
    }
    QJsonObject status(const QStringList &options = {}) const
    {
        return QJsonDocument::fromJson(
                   lumenctl(QStringList {u"status"_s, u"--json"_s} + options).output)
            .object();
    }
    QJsonArray listed() const
    {
        return QJsonDocument::fromJson(lumenctl({u"schedules"_s, u"list"_s, u"--json"_s}).output)
            .array();
    }

    QString m_brand;
    TestEnvironment env;
};

struct BackupNowCase {
    const char *name;
    bool loggedIn;
    QString interactiveUser; // the application status's "Interactive"
    QString state; // the SchedulerState file; null: none
    bool otherSchedule; // a schedule is in the archive already
    int exitCode;
    QString message;
};

TEST_F(Commands, BackupNowTakesTheMenuItemsDecisionAndPrintsItsMessage)
{
    const QString queued
        = u"The immediate backup has been scheduled, it will commence in a few seconds"_s;
    const QString already
        = u"Immediate schedule has already been scheduled. Please try after it completes."_s;
    const QString noLogin = u"Please login to the Corvane and configure a backup set"_s;
    const QString ownBackup
        = u"Backup is in progress. Wait till it is complete to begin the backup on this machine."_s;
    const QList<BackupNowCase> cases {
        {"nobody logged in", false, {}, {}, false, 1, noLogin},
        {"logged in", true, {}, {}, false, 0, queued},
        {"own interactive backup", true, u"acct"_s, {}, false, 1, ownBackup},
        {"another user's interactive backup", true, u"bob"_s, {}, false, 0, queued},
        {"immediate job queued", true, {}, u"2"_s, true, 1, already},
        {"stop pending", true, {}, u"3"_s, true, 1, already},
        {"cut-off reached", true, {}, u"5"_s, true, 1, already},
        {"stale state without schedules", true, {}, u"3"_s, false, 0, queued},
    };
    for (const BackupNowCase &c : cases) {
        SCOPED_TRACE(c.name);
        TestEnvironment fresh;
        const QStringList common {u"--root"_s, fresh.root()};
        if (c.loggedIn)
            logIn();
        if (!c.interactiveUser.isNull())
            PropertyList::writeDictionary(kStatusFile, {{u"Interactive"_s, c.interactiveUser}});
        if (c.otherSchedule)
            ScheduleArchive::save({CorvaneScheduleItem(Clock::system())});
        if (!c.state.isNull())
            SchedulerState::write(c.state);
        const ProcessResult run = runProgram(kLumenctl, common + QStringList {u"backup-now"_s},
                                             {u"HOME="_s + fresh.home()});
        EXPECT_EQ(run.exitCode, c.exitCode) << run.errorOutput.toStdString();
        EXPECT_TRUE((c.exitCode == 0 ? run.output : run.errorOutput).contains(c.message.toUtf8()))
            << run.output.toStdString() << run.errorOutput.toStdString();
        const QList<CorvaneScheduleItem> records = ScheduleArchive::load().records;
        if (c.exitCode == 0) {
            EXPECT_EQ(SchedulerState::read(), u"2"_s);
            ASSERT_EQ(records.size(), 1);
            EXPECT_EQ(records.first().frequency(), CorvaneScheduleItem::Immediate);
            EXPECT_EQ(records.first().corvaneUserName(), u"acct"_s);
        } else {
            EXPECT_EQ(records.size(), c.otherSchedule ? 1 : 0) << "a refusal queues nothing";
        }
    }
}

TEST_F(Commands, StatusFromTheFilesWhenNoMonitorRuns)
{
    EXPECT_EQ(status(),
              (QJsonObject {{u"source"_s, u"files"_s},
                            {u"loggedInUser"_s, u""_s},
                            {u"schedulerState"_s, u"0"_s},
                            {u"schedulerEnabled"_s, true},
                            {u"paused"_s, false},
                            {u"backupInProgress"_s, false},
                            {u"runningJob"_s, QJsonValue()},
                            {u"nextJob"_s, QJsonValue()},
                            {u"dashboard"_s, QJsonValue()}}));

    logIn();
    PropertyList::writeDictionary(kStatusFile, {{u"Interactive"_s, u"acct"_s}});
    env.writeFile(BrandPaths::schedulerStatus(), "0");
    env.writeFile(u"/Library/Application Support/CorvaneforMac/acct/Throttle/pause.txt"_s, "1");
    SchedulerState::write(u"2"_s);
    CorvaneScheduleItem running(Clock::system()), daily(Clock::system());
    running.setFrequency(CorvaneScheduleItem::Immediate);
    running.setStatus(CorvaneScheduleItem::InProgress);
    running.setUsername(u"ann"_s);
    running.setCorvaneUserName(u"acct"_s);
    daily.setUsername(u"bob"_s);
    daily.setScheduleTime(QDateTime::currentDateTime().addDays(-3)); // overdue: the next job
    // The dashboard: acct's daily schedule first started yesterday, and a run of acct's.
    const QDateTime firstStart = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch() - 86400 + 3600);
    CorvaneScheduleItem acctsDaily(Clock::system());
    acctsDaily.setCorvaneUserName(u"acct"_s);
    acctsDaily.setScheduleTime(firstStart);
    ScheduleArchive::save({running, daily, acctsDaily});
    LogNode run;
    run.setDatetime(QLocale::c().toString(QDateTime::currentDateTime().addSecs(-600), u"MMM dd, yyyy hh:mm:ss AP"_s));
    run.setUname(u"acct"_s);
    run.setStatus(u"Failed"_s);
    run.setDuration(u"00:04:10"_s);
    env.writeFile(LogManager::kIndexFolder + u'/' + QDate::currentDate().toString(LogManager::kDayFormat) + u".xml"_s,
                  LogManager::getXMLfromNodes({run}).toUtf8());

    const QJsonObject fromFiles = status();
    EXPECT_EQ(fromFiles[u"loggedInUser"_s], u"acct"_s);
    EXPECT_EQ(fromFiles[u"schedulerState"_s], u"2"_s);
    EXPECT_EQ(fromFiles[u"schedulerEnabled"_s], false);
    EXPECT_EQ(fromFiles[u"paused"_s], true);
    EXPECT_EQ(fromFiles[u"backupInProgress"_s], true);
    EXPECT_EQ(fromFiles[u"runningJob"_s][u"user"_s], u"ann"_s);
    EXPECT_TRUE(fromFiles[u"runningJob"_s][u"progress"_s].isNull());
    EXPECT_EQ(fromFiles[u"nextJob"_s][u"user"_s], u"bob"_s);
    EXPECT_EQ(fromFiles[u"nextJob"_s][u"frequencyString"_s], u"Daily"_s);
    EXPECT_EQ(fromFiles[u"dashboard"_s][u"lastRun"_s][u"status"_s], u"Failed"_s);
    EXPECT_EQ(fromFiles[u"dashboard"_s][u"lastRun"_s][u"duration"_s], u"00:04:10"_s);
    const QJsonArray schedules = fromFiles[u"dashboard"_s][u"schedules"_s].toArray();
    ASSERT_EQ(schedules.size(), 1) << "acct's own schedules, not its run-now record";
    EXPECT_EQ(QDateTime::fromString(schedules[0][u"nextRun"_s].toString(), Qt::ISODate), firstStart.addDays(1))
        << "the start still to come";

    const QByteArray text = lumenctl({u"status"_s}).output;
    for (const char *line :
         {"Logged-in user:   acct\n", "SchedulerState:   2 (an immediate job is queued)\n",
          "Last backup:      Failed, 00:04:10", "Next Daily ",
          "Scheduled jobs:   disabled\n", "Paused:           yes\n", "(from the files)\n"})
        EXPECT_TRUE(text.contains(line)) << line << "\n" << text.toStdString();
}

TEST_F(Commands, StatusFromTheRunningMonitorOverTheBus)
{
    logIn();
    QProcess monitor;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, env.home());
    environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    monitor.setProcessEnvironment(environment);
    monitor.start(QStringLiteral(MONITOR_PATH), {u"--root"_s, env.root()});
    const QString service = MonitorScripting::serviceName(u"corvane"_s);
    ASSERT_TRUE(waitUntil([&] {
        return QDBusConnection::sessionBus().interface()->isServiceRegistered(service).value();
    })) << "the monitor did not come up";
    const QJsonObject live = status();
    EXPECT_EQ(live[u"source"_s], u"monitor"_s);
    EXPECT_EQ(live[u"loggedInUser"_s], u"acct"_s);
    EXPECT_FALSE(live[u"toolTip"_s].toString().isEmpty()) << "what only the running monitor knows";
    const QJsonObject files = status({u"--files"_s});
    EXPECT_EQ(files[u"source"_s], u"files"_s);
    EXPECT_FALSE(files.contains(u"toolTip"_s));
    const QTemporaryDir otherRoot; // the running monitor watches another root: not asked
    const QStringList elsewhere {u"--root"_s, otherRoot.path(), u"status"_s, u"--json"_s};
    const QJsonObject other
        = QJsonDocument::fromJson(runProgram(kLumenctl, elsewhere, Commands::environment()).output).object();
    EXPECT_EQ(other[u"source"_s], u"files"_s);
    monitor.terminate();
    monitor.waitForFinished(3000);
}

// The record of `schedules add` is the editor's: the login details make it runnable.
class SchedulesAddFromLogin : public Commands, public ::testing::WithParamInterface<const char *> {
protected:
    SchedulesAddFromLogin()
        : Commands(QString::fromLatin1(GetParam()))
    {
    }
};

TEST_P(SchedulesAddFromLogin, BuildsTheRecordAsTheEditorAndListsEveryArchivedField)
{
    const bool corvane = m_brand == "corvane"_L1;
    logIn();
    const ProcessResult added = lumenctl(
        {u"schedules"_s, u"add"_s, u"--frequency"_s, u"daily"_s, u"--time"_s, u"07:15"_s});
    ASSERT_EQ(added.exitCode, 0) << added.errorOutput.toStdString();
    // The hourly row starts now, whatever --time says.
    const QString farFromNow = QTime::currentTime().hour() >= 12 ? u"01:00"_s : u"23:00"_s;
    const QDateTime before = QDateTime::currentDateTime().addSecs(-2);
    ASSERT_EQ(lumenctl({u"schedules"_s, u"add"_s, u"--frequency"_s, u"hourly"_s, u"--time"_s,
                        farFromNow, u"--user"_s, u"carl"_s})
                  .exitCode,
              0);
    const QDateTime after = QDateTime::currentDateTime().addSecs(2);

    const QJsonArray rows = listed();
    ASSERT_EQ(rows.size(), 2);
    const QJsonObject daily = rows.at(0).toObject();
    const QJsonObject expected {{u"username"_s, u"ann"_s},
                                {u"corvaneUserName"_s, corvane ? u"acct"_s : u"ann"_s},
                                {u"userAtServer"_s, u"acct@srv1"_s},
                                {u"serverName"_s, u"srv1.example"_s},
                                {u"quotaServerName"_s, u"quota.example"_s},
                                {u"password"_s, u"***"_s},
                                {u"isUseSSL"_s, true},
                                {u"displayDesktopNotification"_s, true},
                                {u"frequency"_s, 2},
                                {u"status"_s, 0},
                                {u"scheduleType"_s, 0},
                                {u"scheduleTimeSettings"_s, 0},
                                {u"selectedDaysForSchedule"_s, QJsonArray()},
                                {u"sendEmailNotification"_s, false},
                                {u"notifyOnFailure"_s, false},
                                {u"sendLogExtract"_s, false},
                                {u"shouldStartMissedScheduleBackup"_s, false},
                                {u"isAutoSyncEnabled"_s, false}};
    for (auto it = expected.begin(); it != expected.end(); ++it)
        EXPECT_EQ(daily.value(it.key()), it.value()) << it.key().toStdString();
    for (const char *key : {"destination", "emailids", "processReferenceFile", "scheduleTimeString",
                            "frequencyString"})
        EXPECT_TRUE(daily.contains(QString::fromLatin1(key))) << key;
    EXPECT_TRUE(daily[u"processReferenceFile"_s].toString().endsWith(u"/ann.plist"_s));
    EXPECT_TRUE(QRegularExpression(u"^\\d{4}-\\d\\d-\\d\\dT07:15:00\\+0[12]:00$"_s)
                    .match(daily[u"scheduleTime"_s].toString())
                    .hasMatch())
        << daily[u"scheduleTime"_s].toString().toStdString();

    const QJsonObject hourly = rows.at(1).toObject();
    EXPECT_EQ(hourly[u"username"_s], u"carl"_s);
    EXPECT_EQ(hourly[u"frequency"_s], 1);
    EXPECT_EQ(hourly[u"scheduleTimeSettings"_s], 1);
    const QDateTime start
        = QDateTime::fromString(hourly[u"scheduleTime"_s].toString(), Qt::ISODate);
    EXPECT_TRUE(start >= before && start <= after)
        << hourly[u"scheduleTime"_s].toString().toStdString();
}

INSTANTIATE_TEST_SUITE_P(Brands, SchedulesAddFromLogin, ::testing::Values("corvane", "stelloa"));

TEST_F(Commands, SchedulesAddRefusesWithoutLoginAndSaysWhenNothingWasSaved)
{
    const ProcessResult nobody
        = lumenctl({u"schedules"_s, u"add"_s, u"--frequency"_s, u"daily"_s, u"--user"_s, u"ann"_s});
    EXPECT_EQ(nobody.exitCode, 1);
    EXPECT_TRUE(nobody.errorOutput.contains("Nobody is logged in"));

    logIn();
    const QString archive = env.real(ScheduleArchive::path());
    const QString folder = QFileInfo(archive).path();
    struct Case {
        const char *name;
        std::function<void()> arrange;
        const char *says; // in the error output
        bool needsNonRoot;
        bool listRefuses; // `schedules list` cannot read the archive either
    };
    const QList<Case> cases {
        {"a folder where the archive belongs", [&] { QDir().mkpath(archive); }, "read", false,
         true},
        {"a path through a regular file",
         [&] {
             QDir(folder).removeRecursively();
             QFile file(folder);
             file.open(QIODevice::WriteOnly);
         },
         "", false, false},
        {"an archive nobody may read",
         [&] {
             QDir().mkpath(folder);
             ScheduleArchive::save({});
             QFile::setPermissions(archive, {});
         },
         "read", true, true},
        {"a folder nobody may write",
         [&] {
             QDir().mkpath(folder);
             QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner);
         },
         "", true, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        if (c.needsNonRoot && geteuid() == 0)
            continue; // permissions do not stop root
        c.arrange();
        const ProcessResult run = lumenctl(
            {u"schedules"_s, u"add"_s, u"--frequency"_s, u"daily"_s, u"--user"_s, u"ann"_s});
        EXPECT_NE(run.exitCode, 0);
        EXPECT_FALSE(run.output.contains("Added"));
        EXPECT_FALSE(run.errorOutput.trimmed().isEmpty());
        EXPECT_TRUE(run.errorOutput.contains(c.says)) << run.errorOutput.toStdString();
        EXPECT_FALSE(run.errorOutput.contains("No such file")) << "it is there, not missing";
        if (c.listRefuses) {
            const ProcessResult list = lumenctl({u"schedules"_s, u"list"_s});
            EXPECT_EQ(list.exitCode, 1) << "an archive that cannot be read is not an empty one";
            EXPECT_TRUE(list.errorOutput.contains("cannot be read"))
                << list.errorOutput.toStdString();
        }
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile::remove(folder);
        QDir(folder).removeRecursively();
    }
}

TEST_F(Commands, SchedulesAddListAndDeleteThroughTheArchive)
{
    logIn();
    const ProcessResult added = lumenctl({u"schedules"_s, u"add"_s, u"--frequency"_s, u"weekdays"_s,
                                          u"--days"_s, u"3,1"_s, u"--time"_s, u"07:15"_s});
    ASSERT_EQ(added.exitCode, 0) << added.errorOutput.toStdString();
    EXPECT_TRUE(added.output.startsWith("Added: Wednesday,Monday, first start "));
    lumenctl({u"schedules"_s, u"add"_s, u"--frequency"_s, u"daily"_s, u"--user"_s, u"bob"_s});

    const QJsonArray rows = listed();
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows.at(0)[u"frequency"_s].toInt(), 5);
    EXPECT_EQ(rows.at(0)[u"selectedDaysForSchedule"_s].toArray(), (QJsonArray {3, 1}));
    EXPECT_TRUE(rows.at(0)[u"scheduleTime"_s].toString().contains(u"T07:15:00"_s));
    EXPECT_EQ(rows.at(1)[u"username"_s].toString(), u"bob"_s);

    EXPECT_EQ(lumenctl({u"schedules"_s, u"delete"_s, u"0"_s}).exitCode, 0);
    const QJsonArray after = listed();
    ASSERT_EQ(after.size(), 1);
    EXPECT_EQ(after.at(0)[u"username"_s].toString(), u"bob"_s);

    for (const QStringList &bad :
         {QStringList {u"add"_s, u"--frequency"_s, u"sometimes"_s},
          QStringList {u"add"_s, u"--frequency"_s, u"weekdays"_s},
          QStringList {u"add"_s, u"--frequency"_s, u"daily"_s, u"--days"_s, u"9"_s},
          QStringList {u"delete"_s, u"5"_s}, QStringList {u"frobnicate"_s}}) {
        const ProcessResult run = lumenctl(QStringList {u"schedules"_s} + bad);
        EXPECT_EQ(run.exitCode, 2) << bad.join(u' ').toStdString();
        EXPECT_TRUE(run.errorOutput.contains("usage:")) << bad.join(u' ').toStdString();
    }
    const ProcessResult immediate = lumenctl({u"schedules"_s, u"add"_s, u"--frequency"_s, u"immediate"_s});
    EXPECT_EQ(immediate.exitCode, 2);
    EXPECT_TRUE(immediate.errorOutput.contains("lumenctl backup-now")) << "the engine is only told by backup-now";

    // While a job runs the monitor keeps a change for later; lumenctl ends at once, so it says
    // that nothing changed.
    CorvaneScheduleItem running = ScheduleArchive::load().records.first();
    running.setStatus(CorvaneScheduleItem::InProgress);
    ASSERT_TRUE(ScheduleArchive::save({running}));
    for (const QStringList &change : {QStringList {u"add"_s, u"--frequency"_s, u"daily"_s},
                                      QStringList {u"delete"_s, u"0"_s}}) {
        const ProcessResult busy = lumenctl(QStringList {u"schedules"_s} + change);
        EXPECT_EQ(busy.exitCode, 1);
        EXPECT_TRUE(busy.errorOutput.contains("nothing was changed")) << busy.errorOutput.toStdString();
        EXPECT_EQ(listed().size(), 1);
    }
}

TEST_F(Commands, TwoConcurrentWritersLoseNoSchedule)
{
    logIn();
    const QString loop
        = u"for i in $(seq 200); do \"$0\" --root \"$1\" schedules add --frequency daily "
          "--user \"$2\" >/dev/null || echo failed; done"_s;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, env.home());
    QProcess first, second;
    for (auto [process, user] : {std::pair {&first, u"ann"_s}, std::pair {&second, u"bob"_s}}) {
        process->setProcessEnvironment(environment);
        process->start(u"/bin/sh"_s, {u"-c"_s, loop, kLumenctl, env.root(), user});
    }
    // 400 program starts: minutes, not seconds, in a sanitizer build on a busy machine.
    ASSERT_TRUE(first.waitForFinished(600000) && second.waitForFinished(600000));
    EXPECT_EQ(first.readAllStandardOutput() + second.readAllStandardOutput(), QByteArray());
    EXPECT_EQ(ScheduleArchive::load().records.size(), 400);
}

} // namespace
