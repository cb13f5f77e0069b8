#pragma once

#include "product/StringTable.h"
#include "logging/LogFormat.h"
#include "platform/PropertyList.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

// A private environment whose string table sends every log to a known file, with the clock fixed
// at Sunday 15 November 2026, 18:05:09 local time.
class LoggingFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        useApplicationName(QStringLiteral("Corvane Lumen"));
        LogFormat::setClock(&clock);
    }
    void TearDown() override
    {
        LogFormat::setClock(nullptr);
        LogFormat::setApplicationDelegate(nullptr);
        StringTable::install(QStringLiteral("corvane"));
    }

    // Installs a string table that differs from the brand's only in "ApplicationName".
    void useApplicationName(const QString &name)
    {
        QVariantMap strings{
            {QStringLiteral("ApplicationName"), name},
            {QStringLiteral("InteractiveTraceFilePath"), QStringLiteral("~/Logs/Interactive.log")},
            {QStringLiteral("MonitorTraceFilePath"), QStringLiteral("~/Logs/Monitor.log")},
            {QStringLiteral("DaemonTraceFilePath"), QStringLiteral("~/Logs/Daemon.log")},
            {QStringLiteral("ScheduledBackupLog"), QStringLiteral("~/Logs/Scheduled.log")},
            {QStringLiteral("InteractiveSessionLog"), QStringLiteral("~/Logs/Session.log")},
            {QStringLiteral("SyncInteractiveSessionLog"), QStringLiteral("~/Logs/../Logs/Sync.log")},
        };
        ASSERT_TRUE(
            writeStringTable(resources, PropertyList::toData(strings, PropertyList::Format::Xml)));
        StringTable::install(QStringLiteral("corvane"), resources.path());
    }

    QString text(const QString &productPath) const
    {
        return QString::fromUtf8(env.readFile(productPath));
    }

    static constexpr const char *kStamp = "Sun Nov 15 2026 6:5:9 PM";

    TestEnvironment env;
    QTemporaryDir resources;
    FixedClock clock{QDateTime(QDate(2026, 11, 15), QTime(18, 5, 9))};
};

class FakeUserNames : public LogFormat::UserNames
{
public:
    FakeUserNames(QString mapped, QString actual) : m_mapped(mapped), m_actual(actual) {}
    QString currentStelloaUserName() const override { return m_mapped; }
    QString currentCorvaneUserName() const override { return m_actual; }

private:
    QString m_mapped;
    QString m_actual;
};
