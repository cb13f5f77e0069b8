#pragma once

#include <QObject>
#include <QSet>
#include <QString>
#include <QTimer>

// Tells when a volume is mounted or unmounted. The kernel's mount table (/proc/self/mountinfo)
// keeps no modification time, so a file watcher never fires on it: the table is read again every
// couple of seconds while the monitor runs and its mount points are compared with the last ones.
// Reading it is cheap (a few kilobytes) and the monitor starts only when a pane needs it.
class VolumeMonitor : public QObject {
    Q_OBJECT
public:
    static constexpr int kDefaultIntervalMs = 2000;

    explicit VolumeMonitor(const QString &mountTable = QStringLiteral("/proc/self/mountinfo"),
                           int intervalMs = kDefaultIntervalMs, QObject *parent = nullptr);

    // Takes the current mount points as the starting point and polls from then on.
    void start();
    void stop();
    bool isActive() const { return m_timer.isActive(); }
    // One comparison now (the timer calls it).
    void check();

Q_SIGNALS:
    void volumeDidMount(const QString &mountPoint);
    void volumeDidUnmount(const QString &mountPoint);

private:
    QSet<QString> currentMountPoints() const;

    QString m_mountTable;
    QTimer m_timer;
    QSet<QString> m_mountPoints;
};
