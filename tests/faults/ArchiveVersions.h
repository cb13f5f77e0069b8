#pragma once

// The two versions of a schedules archive that the kill test's writer alternates between. Both
// sides build them here, so that a read can be told to be the one, the other, or neither.

#include "platform/Clock.h"
#include "scheduler/CorvaneScheduleItem.h"

#include <QList>

#include <algorithm>

namespace ArchiveVersions {

// Version 0 (the old file) or 1 (the new one): every record differs between them, and the new
// one has a record more. Large enough that a write takes a while to be caught in.
inline QList<CorvaneScheduleItem> records(int version, int count = 150)
{
    const QDateTime start(QDate(2026, 11, 16), QTime(20, 0));
    QList<CorvaneScheduleItem> out;
    for (int i = 0; i < count + version; ++i) {
        CorvaneScheduleItem record(Clock::system());
        const QString user = QStringLiteral("user%1").arg(i);
        record.setUsername(user);
        record.setCorvaneUserName(user + QStringLiteral("@example.com"));
        record.setEmailids(QStringLiteral("v%1.%2@example.com").arg(version).arg(i));
        record.setScheduleTime(start.addSecs(60 * (i + version)));
        out.append(record);
    }
    return out;
}

inline bool same(const QList<CorvaneScheduleItem> &a, const QList<CorvaneScheduleItem> &b)
{
    return std::ranges::equal(a, b, [](const CorvaneScheduleItem &x, const CorvaneScheduleItem &y) {
        return x.hasSameFields(y);
    });
}

} // namespace ArchiveVersions
