#pragma once

#include "AlertPresenter.h"
#include "product/StringTable.h"

// Tells the user that a file could not be saved, once for each spell of failures: the refresh
// every minute retries some saves, and a save that fails again says nothing more until one has
// succeeded in between.
class SaveFailureNotice {
public:
    explicit SaveFailureNotice(AlertPresenter *alerts = nullptr)
        : m_alerts(alerts)
    {
    }

    // The outcome of a save; `message` says what could not be saved where.
    void report(bool saved, const QString &message)
    {
        const bool told = m_failing;
        m_failing = !saved;
        if (saved || told || !m_alerts)
            return;
        // Not modal: nobody waits on these saves, and a pane must not stop the refresh.
        m_alerts->displayMessage(message, SLLocalizedString(QStringLiteral("ApplicationName")),
                                 {SLLocalizedString(QStringLiteral("OK")), QString(), QString()},
                                 false);
    }

private:
    AlertPresenter *m_alerts;
    bool m_failing = false;
};
