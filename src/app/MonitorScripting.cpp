#include "MonitorScripting.h"

#include "Dashboard.h"

#include "CorvaneMonitorController.h"
#include "platform/Clock.h"
#include "platform/Paths.h"
#include "platform/PlatformLog.h"
#include "platform/BusConnection.h"
#include "platform/StringFormat.h"
#include "product/FilePathAPIs.h"
#include "scheduler/NextRunCalculator.h"
#include "scheduler/ScheduleArchive.h"
#include "scheduler/SchedulerState.h"
#include "util/StringExtensions.h"

#include <QJsonDocument>

#include <QDBusConnection>
#include <QTimer>

using namespace Qt::StringLiterals;

QString MonitorScripting::serviceName(const QString &brand)
{
    return u"com.halvern.Lumen.Monitor."_s + brand;
}

MonitorScripting::MonitorScripting(CorvaneMonitorController *controller, QObject *parent)
    : QObject(parent)
    , m_controller(controller)
{
}

bool MonitorScripting::publish(const QString &brand)
{
    m_brand = brand;
    if (!registerOnBus())
        return false;
    // A restarted bus daemon knows nothing of the old connection's objects and names.
    connect(&BusConnection::shared(), &BusConnection::reconnected, this, [this] {
        if (!registerOnBus())
            qCWarning(lcPlatform) << "the monitor cannot be scripted on the new bus connection";
    });
    return true;
}

bool MonitorScripting::registerOnBus()
{
    QDBusConnection bus = BusConnection::shared().connection();
    return bus.registerObject(QString::fromLatin1(kPath), this, QDBusConnection::ExportScriptableSlots)
           && bus.registerService(serviceName(m_brand));
}

bool MonitorScripting::Activate(int tag)
{
    QAction *item = m_controller->itemWithTag(tag);
    if (!item || !item->isEnabled())
        return false;
    // After the reply: an item may open a window that waits for the user.
    QTimer::singleShot(0, item, &QAction::trigger);
    return true;
}

QString MonitorScripting::ToolTip() const
{
    return m_controller->toolTip();
}

namespace {

QString fileText(const QString &path)
{
    return stelloaExtension::loadStringFromFile(path).trimmed();
}

QJsonObject jobJson(const CorvaneScheduleItem &record)
{
    const QDateTime start = record.scheduleTime();
    return QJsonObject{
        {u"user"_s, record.username()},
        {u"account"_s, record.corvaneUserName()},
        {u"frequency"_s, record.frequency()},
        {u"frequencyString"_s, record.frequencyString()},
        {u"scheduleTime"_s, start.isValid() ? QJsonValue(iso8601WithOffset(start))
                                            : QJsonValue()},
        {u"scheduleTimeString"_s, record.scheduleTimeString()},
    };
}

} // namespace

QJsonObject MonitorScripting::status(const CorvaneMonitorController &controller, const Clock &clock)
{
    const QList<CorvaneScheduleItem> records = ScheduleArchive::load().records;
    QJsonValue running;
    for (const CorvaneScheduleItem &record : records) {
        if (record.status() == CorvaneScheduleItem::InProgress) {
            QJsonObject job = jobJson(record);
            job.insert(u"progress"_s, QJsonValue()); // only the running monitor hears the engine
            running = job;
            break;
        }
    }
    const std::optional<CorvaneScheduleItem> next = NextRunCalculator(clock).nextScheduledItem(records);
    const QString pauseFile = stringByAppendingPathComponent(
        stringByDeletingLastPathComponent(controller.throttleFile()), u"pause.txt"_s);
    return QJsonObject{
        {u"source"_s, u"files"_s},
        {u"loggedInUser"_s, controller.loggedInUser()},
        {u"schedulerState"_s, SchedulerState::read().trimmed()},
        {u"schedulerEnabled"_s, fileText(BrandPaths::schedulerStatus()) != "0"_L1},
        {u"paused"_s, fileText(pauseFile) == "1"_L1},
        {u"backupInProgress"_s, controller.isBackupInProgress()},
        {u"runningJob"_s, running},
        {u"nextJob"_s, next ? QJsonValue(jobJson(*next)) : QJsonValue()},
        {u"dashboard"_s, controller.loggedInUser().isEmpty()
             ? QJsonValue()
             : QJsonValue(Dashboard::of(controller.loggedInUser(), records, clock.now()).json())},
    };
}

QString MonitorScripting::Status() const
{
    QJsonObject state = status(*m_controller, Clock::system());
    state.insert(u"source"_s, u"monitor"_s);
    state.insert(u"root"_s, Paths::current().root()); // whose files these are
    state.insert(u"toolTip"_s, m_controller->toolTip());
    const QString pane = m_controller->shownPreferencesPane();
    state.insert(u"preferencesPane"_s, pane.isEmpty() ? QJsonValue() : QJsonValue(pane));
    state.insert(u"logWindow"_s, m_controller->logWindowStatus());
    if (state.value(u"runningJob"_s).isObject()) {
        // While a job runs the tool tip carries the engine's progress lines.
        QJsonObject job = state.value(u"runningJob"_s).toObject();
        job.insert(u"progress"_s, m_controller->toolTip());
        state.insert(u"runningJob"_s, job);
    }
    return QString::fromUtf8(QJsonDocument(state).toJson(QJsonDocument::Compact));
}
