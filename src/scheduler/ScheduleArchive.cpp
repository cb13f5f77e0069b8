#include "ScheduleArchive.h"

#include "product/StringTable.h"
#include "logging/SLLogger.h"
#include "platform/AtomicFile.h"
#include "platform/Paths.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace ScheduleArchive {

namespace {

const QString kRootKey = u"Schedules"_s;

void trace(const QString &message)
{
    SLLogger::logMonitorTrace(message);
}

} // namespace

QString path()
{
    return SLLocalizedString(u"SchedulerSettingsFile"_s);
}

QByteArray encode(const QList<CorvaneScheduleItem> &records)
{
    QVariantList list;
    list.reserve(records.size());
    for (const CorvaneScheduleItem &record : records)
        list.append(QVariant::fromValue(record.toArchivedObject()));
    return KeyedArchive::archive({{kRootKey, list}});
}

Contents decode(const QByteArray &data)
{
    Contents contents;
    contents.state = State::Unreadable;
    const KeyedArchive::Result result = KeyedArchive::unarchive(data);
    if (!result.ok()) {
        trace(u"Schedules archive unreadable: %1"_s.arg(result.error));
        return contents;
    }
    const QVariant root = result.topObjects.value(kRootKey);
    if (root.typeId() != QMetaType::QVariantList) {
        trace(u"Schedules archive holds no list of schedules"_s);
        return contents;
    }
    contents.state = State::Readable;
    for (const QVariant &element : root.toList()) {
        QString error;
        std::optional<CorvaneScheduleItem> record;
        if (element.typeId() == qMetaTypeId<ArchivedObject>())
            record = CorvaneScheduleItem::fromArchivedObject(element.value<ArchivedObject>(), &error);
        else
            error = u"an element is not a schedule record"_s;
        if (record) {
            contents.records.append(*record);
        } else {
            ++contents.skippedRecords;
            trace(u"Schedule record skipped: %1"_s.arg(error));
        }
    }
    return contents;
}

Contents load()
{
    QFile file(Paths::current().resolve(path()));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return decode(file.readAll());
}

bool save(const QList<CorvaneScheduleItem> &records)
{
    return AtomicFile::write(path(), encode(records), 0777);
}

QString moveAsideUnreadable(const QDateTime &now)
{
    const QString real = Paths::current().resolve(path());
    const QString aside = real + u".unreadable-"_s + now.toString(u"yyyyMMdd-HHmmss"_s);
    if (!QFile::rename(real, aside))
        return QString();
    trace(u"Unreadable schedules archive kept as %1"_s.arg(aside));
    return aside;
}

} // namespace ScheduleArchive
