// lumen-engine-sim: a stand-in for the backup engine and the main application, for end-to-end
// tests and the demo. It runs due records of the schedules archive the way the engine does
// (status 1 while running, 3 when done, 2 when stopped), obeys the SchedulerState file, talks to
// the monitor over the message channel and leaves a session log and a log-index record behind.
// It transfers nothing.
//
//   lumen-engine-sim [--brand B] [--root DIR] [--resources DIR] [--speed N] [--once]

#include "product/FilePathAPIs.h"
#include "product/LaunchOptions.h"
#include "ipc/MessageSendingModule.h"
#include "logging/SLLogger.h"
#include "logging/WriteToFile.h"
#include "platform/AtomicFile.h"
#include "platform/Clock.h"
#include "platform/SystemInfo.h"
#include "scheduler/NextRunCalculator.h"
#include "scheduler/ScheduleArchive.h"
#include "scheduler/SchedulerState.h"
#include "platform/Paths.h"
#include "platform/StringFormat.h"

#include <QFile>
#include <QLocale>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QTimer>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

// How long a simulated run takes, and how long an immediate record waits, at speed 1.
constexpr double kRunSeconds = 20.0;
constexpr double kImmediateDelaySeconds = 45.0;

class Engine : public QObject, public MessageSendingModuleDelegate
{
public:
    explicit Engine(double speed) : m_speed(speed)
    {
        const QString id = SystemInfo::machineID(), login = SystemInfo::loginName();
        m_channel.setDelegate(this);
        m_channel.setupConnection(stringWithFormat(u"CorvanePortableAM%@%@"_s, {id, login}),
                                  stringWithFormat(u"CorvanePortableMA%@%@"_s, {id, login}));
        m_channel.sendIPCMessage(u""_s, 3, true); // greet the monitor
        connect(&m_tick, &QTimer::timeout, this, &Engine::tick);
        m_tick.start(int(250 / m_speed) + 10);
    }

    void didReceiveIPCMessage(const IncomingMessage &) override {}

private:
    void tick()
    {
        if (m_running)
            advance();
        else
            startDueRecord();
    }

    void startDueRecord()
    {
        ScheduleArchive::Contents contents = ScheduleArchive::load();
        const QDateTime now = QDateTime::currentDateTime();
        for (CorvaneScheduleItem &record : contents.records) {
            if (record.status() != CorvaneScheduleItem::NotStarted)
                continue;
            const bool immediate = record.frequency() == CorvaneScheduleItem::Immediate;
            // An immediate record starts 45 seconds after it was queued; --speed shortens that.
            const QDateTime queuedAt = record.scheduleTime().addSecs(-qint64(kImmediateDelaySeconds));
            const bool due = immediate ? queuedAt.addMSecs(qint64(kImmediateDelaySeconds * 1000 / m_speed)) <= now
                                       : record.scheduleTime() <= now;
            if (!due)
                continue;
            // Picked up: nothing pending any more. Said before the record shows as running, so
            // that a stop asked for once it runs is never overwritten.
            SchedulerState::write(u"0"_s);
            record.setStatus(CorvaneScheduleItem::InProgress);
            ScheduleArchive::save(contents.records);
            m_running = record;
            m_started = now;
            m_progress = 0;
            m_channel.sendIPCMessage(u"Start"_s, 4, true);
            return;
        }
    }

    void advance()
    {
        const QString state = SchedulerState::read();
        if (state == "3"_L1 || state == "5"_L1) {
            finish(CorvaneScheduleItem::Canceled, state == "3"_L1 ? u"Stopped by the user"_s : u"Cut-off time reached"_s);
            return;
        }
        const double fraction = m_started.msecsTo(QDateTime::currentDateTime()) / (kRunSeconds * 1000 / m_speed);
        const int percent = qBound(0, int(fraction * 100), 100);
        if (percent >= m_progress + 20 || percent == 100) {
            m_progress = percent;
            m_channel.sendIPCMessage(u"Backing up %1: %2% done"_s.arg(m_running->corvaneUserName()).arg(percent), 2, true);
        }
        if (fraction >= 1.0)
            finish(CorvaneScheduleItem::Completed, QString());
    }

    void finish(int status, const QString &error)
    {
        const CorvaneScheduleItem done = *m_running;
        m_running.reset();
        ScheduleArchive::Contents contents = ScheduleArchive::load();
        for (qsizetype i = 0; i < contents.records.size(); ++i) {
            CorvaneScheduleItem &record = contents.records[i];
            if (record.corvaneUserName() != done.corvaneUserName() || record.scheduleTime() != done.scheduleTime())
                continue;
            record.setStatus(status);
            if (record.frequency() == CorvaneScheduleItem::Immediate && status == CorvaneScheduleItem::Completed)
                contents.records.removeAt(i); // a finished immediate record leaves the archive
            break;
        }
        ScheduleArchive::save(contents.records);
        if (status == CorvaneScheduleItem::Canceled)
            SchedulerState::write(u"0"_s);

        const QString logPath = writeSessionLog(done, status, error);
        m_channel.sendIPCMessage(u"Terminate"_s, 4, true);
        // A personal plan near its quota, so that every part of the notifications shows.
        QVariantMap details{{u"SessionLogPath"_s, logPath},      {u"AccountType"_s, u"Personal"_s},
                            {u"Username"_s, done.corvaneUserName()}, {u"SuccessCount"_s, u"128"_s},
                            {u"SyncFileCount"_s, u"1024"_s},     {u"FailureCount"_s, u"0"_s},
                            {u"TotalCount"_s, u"1152"_s},        {u"PercentageQuota"_s, u"92"_s},
                            {u"UsedQuota"_s, u"4.6 GB"_s},       {u"TotalQuota"_s, u"5 GB"_s}};
        const std::optional<CorvaneScheduleItem> next
            = NextRunCalculator(Clock::system()).nextScheduledItem(ScheduleArchive::load().records);
        details.insert(u"NextScheduledItem"_s, next ? next->scheduleTimeString() : u""_s);
        if (error.isEmpty())
            details.insert(u"StatusMessage"_s, u"Backup completed"_s);
        else
            details.insert(u"ErrorMessage"_s, error);
        m_channel.sendIPCMessage(details, 1, true);
        if (m_once)
            QTimer::singleShot(500, qApp, &QCoreApplication::quit);
    }

    QString writeSessionLog(const CorvaneScheduleItem &record, int status, const QString &error)
    {
        const QDateTime now = QDateTime::currentDateTime();
        const QString folder = u"/Library/Application Support/CorvanePortableforMac/SessionLogs"_s;
        const QString name = SLLogger::constructSessionFileNameforOperarion(3);
        const QString logPath = folder + u"/Backup/"_s + name;
        SLLogger::writeSessionLog(u"Scheduled backup of %1 to %2"_s.arg(record.corvaneUserName(), record.destination()), logPath);
        SLLogger::writeSessionLog(error.isEmpty() ? u"1152 files backed up, 1024 already in sync"_s : error, logPath);
        // One record in the day's index, in the index's own fixed layout.
        const QString day = now.toString(u"MM-dd-yyyy"_s);
        const QString index = folder + u"/LOGXML/"_s + day + u".xml"_s;
        const QString recordXml =
            u"<record>\n\t<datetime>%1</datetime>\n\t<uname>%2</uname>\n\t<files>1152</files>\n"
            "\t<filesinsync>1024</filesinsync>\n\t<status>%3</status>\n\t<duration>%4</duration>\n"
            "\t<content>Scheduled backup</content>\n\t<optype>1</optype>\n\t<lpath>/Users</lpath>\n"
            "\t<logfile>%5</logfile>\n\t<logname>%6</logname>\n</record>\n"_s
                .arg(QLocale::c().toString(m_started, u"MMM dd, yyyy hh:mm:ss AP"_s), record.corvaneUserName(),
                     status == CorvaneScheduleItem::Completed ? u"Success"_s : u"-----"_s,
                     QTime(0, 0).addSecs(int(m_started.secsTo(now))).toString(u"hh:mm:ss"_s),
                     logPath, day);
        QByteArray xml = AtomicFileRead(index);
        if (xml.isEmpty())
            xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<records>\n</records>\n";
        xml.replace("</records>\n", recordXml.toUtf8() + "</records>\n");
        AtomicFile::write(index, xml);
        return logPath;
    }

    static QByteArray AtomicFileRead(const QString &path)
    {
        QFile file(Paths::current().resolve(path));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

public:
    bool m_once = false;

private:
    double m_speed;
    MessageSendingModule m_channel;
    QTimer m_tick;
    std::optional<CorvaneScheduleItem> m_running;
    QDateTime m_started;
    int m_progress = 0;
};

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Stand-in for the backup engine (tests and demos only)."_s);
    parser.addHelpOption();
    parser.addOptions(LaunchOptions::commandLineOptions());
    parser.addOption({u"speed"_s, u"Run this many times faster than real time."_s, u"n"_s, u"1"_s});
    parser.addOption({u"once"_s, u"Exit after the first finished run."_s});
    parser.process(app);
    if (!LaunchOptions::applyFromParser(parser))
        return 2;
    Engine engine(qMax(0.01, parser.value(u"speed"_s).toDouble()));
    engine.m_once = parser.isSet(u"once"_s);
    QTextStream(stderr) << "engine ready\n";
    return app.exec();
}
