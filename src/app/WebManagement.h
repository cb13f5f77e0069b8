#pragma once

#include <QString>
#include <QVariantMap>

#include <functional>
#include <utility>

// The per-user web-management switch as the monitor keeps it: the state file ("1" for a user
// with web management on), the helper's status file ("User_State" per user), and the command
// lines that stop and start the helper.
class WebManagement
{
public:
    struct Services
    {
        // How many processes of the helper (a product path) run.
        std::function<int(const QString &helperPath)> isApplicationRunning;
        // Shows a message in the monitor's alert window.
        std::function<void(const QString &message)> showMessage;
    };

    explicit WebManagement(Services services);

    // Whether the helper may run for `user`; turns the state off for a helper that reported a
    // stop ("User_State" 3 or 4) or a failed login ("User_State" 2). The stop and start command
    // lines are formed here (see lastStopCommand / lastStartCommand); running them is the
    // caller's choice.
    bool webManagementQuit(bool quit, bool launch, const QString &user);
    void writeWebManagementState(bool on, const QString &user);
    // Whether web management is on for `user` now; the helper is quitted when the state file
    // is gone.
    bool checkWebmanagementState(const QString &user);
    bool isMagicFileExists() const;

    QString lastStopCommand() const { return m_lastStopCommand; }
    // The stop line formed since the last call ("" for none), and whether a start was asked
    // since: what the caller is to run.
    QString takeStopCommand() { return std::exchange(m_pendingStop, QString()); }
    bool takeStartRequest() { return std::exchange(m_pendingStart, false); }
    // How many times the helper was to be stopped.
    int stopRequests() const { return m_stopRequests; }
    QString lastStartCommand() const { return m_lastStartCommand; }

private:
    QVariantMap readState() const;

    Services m_services;
    QString m_lastStopCommand;
    int m_stopRequests = 0;
    QString m_pendingStop;
    bool m_pendingStart = false;
    QString m_lastStartCommand;
};
