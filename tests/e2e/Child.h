#pragma once

#include "support/TestEnvironment.h"

#include <QProcess>
#include <QProcessEnvironment>

// A child process of the product, on the test's root, home and bus, without a display; ended
// with the test.
class Child
{
public:
    Child(const QString &program, const QStringList &arguments, const TestEnvironment &env, const QString &runtime)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), env.home());
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        m_process.setProcessEnvironment(environment);
        m_process.start(program, QStringList{QStringLiteral("--root"), env.root()} + arguments);
        m_process.waitForStarted();
    }
    ~Child()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.terminate();
            if (!m_process.waitForFinished(3000))
                m_process.kill();
        }
    }
    QProcess &process() { return m_process; }

private:
    QProcess m_process;
};
