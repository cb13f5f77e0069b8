#pragma once

#include "notify/AlertPresenter.h"

#include <QList>

// An alert presenter for controller tests: records what would have been shown and answers with
// the buttons the test scripted (the default button when the script has run out).
class FakeAlertPresenter : public AlertPresenter
{
public:
    struct Shown
    {
        QString message;
        QString title;
        AlertButtons buttons;
        bool modal = false;
        QString imageName;
    };

    void answerWith(QList<int> results) { m_script = std::move(results); }
    const QList<Shown> &shown() const { return m_shown; }
    QString lastMessage() const { return m_shown.isEmpty() ? QString() : m_shown.last().message; }

    int displayMessage(const QString &message, const QString &title, const AlertButtons &buttons,
                       bool modal, const QString &imageName = QString(),
                       AlertDelegate *delegate = nullptr) override;

private:
    QList<int> m_script;
    QList<Shown> m_shown;
};
