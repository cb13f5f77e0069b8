#pragma once

#include "logging/SLLogger.h"

#include <QString>

// "Start of X In SchedulerController" when a call begins and "Exit of X In SchedulerController"
// when it ends, however it ends.
class TracedCall {
public:
    explicit TracedCall(const QString &name, const QString &exitName = QString())
        : m_exit(exitName.isEmpty() ? name : exitName)
    {
        SLLogger::logMonitorTrace(QStringLiteral("Start of %1 In SchedulerController").arg(name));
    }
    ~TracedCall()
    {
        SLLogger::logMonitorTrace(QStringLiteral("Exit of %1 In SchedulerController").arg(m_exit));
    }
    TracedCall(const TracedCall &) = delete;
    TracedCall &operator=(const TracedCall &) = delete;

private:
    QString m_exit;
};
