#include "VolumeMonitor.h"

#include "platform/Paths.h"
#include "platform/Workspace.h"

#include <QFile>

VolumeMonitor::VolumeMonitor(const QString &mountTable, int intervalMs, QObject *parent)
    : QObject(parent)
    , m_mountTable(mountTable)
{
    m_timer.setInterval(intervalMs);
    connect(&m_timer, &QTimer::timeout, this, &VolumeMonitor::check);
}

void VolumeMonitor::start()
{
    if (m_timer.isActive())
        return;
    m_mountPoints = currentMountPoints();
    m_timer.start();
}

void VolumeMonitor::stop()
{
    m_timer.stop();
}

QSet<QString> VolumeMonitor::currentMountPoints() const
{
    // A kernel table reports a size of 0, so it is read as a stream rather than as a whole file.
    QFile table(Paths::system(m_mountTable));
    if (!table.open(QIODevice::ReadOnly))
        return m_mountPoints; // unreadable for a moment: nothing changed as far as we know
    QSet<QString> points;
    for (const Workspace::Mount &mount : Workspace::parseMountInfo(table.readAll()))
        points.insert(mount.mountPoint);
    return points;
}

void VolumeMonitor::check()
{
    const QSet<QString> now = currentMountPoints();
    if (now == m_mountPoints)
        return;
    const QSet<QString> before = std::exchange(m_mountPoints, now);
    for (const QString &point : now - before)
        Q_EMIT volumeDidMount(point);
    for (const QString &point : before - now)
        Q_EMIT volumeDidUnmount(point);
}
