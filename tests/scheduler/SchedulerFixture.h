#pragma once

#include "scheduler/CorvaneScheduleItem.h"
#include "scheduler/ScheduleArchive.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

// Every scheduler test runs in Berlin time, so that daylight-saving changes are real.
class SchedulerFixture : public ::testing::Test {
protected:
    // Local Berlin time.
    static QDateTime at(int y, int mo, int d, int h, int mi, int s = 0)
    {
        return QDateTime(QDate(y, mo, d), QTime(h, mi, s));
    }

    CorvaneScheduleItem record(const QString &user, int frequency, const QDateTime &time,
                               int status = CorvaneScheduleItem::NotStarted) const
    {
        CorvaneScheduleItem item(clock);
        item.setUsername(user);
        item.setCorvaneUserName(user + QStringLiteral("@example.com"));
        item.setFrequency(frequency);
        item.setScheduleTime(time);
        item.setStatus(status);
        return item;
    }

    QByteArray archiveBytes() const { return env.readFile(ScheduleArchive::path()); }
    // An archived value in a form that compares byte for byte.
    static QByteArray canonical(const QVariant &value)
    {
        return KeyedArchive::archive({{QStringLiteral("o"), value}});
    }
    // The elements of an archive's list, as archived (records not decoded, dates the objects
    // they are, so that a changed class, zone or fraction of a second shows).
    static QVariantList schedulesIn(const QByteArray &archive)
    {
        return KeyedArchive::unarchive(archive, KeyedArchive::Dates::AsObjects)
            .topObjects.value(QStringLiteral("Schedules"))
            .toList();
    }

    TestEnvironment env;
    FixedClock clock {at(2026, 11, 16, 10, 0, 30)}; // a Monday
};
