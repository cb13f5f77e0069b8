#pragma once

#include "platform/Clock.h"
#include "support/QtPrinters.h"

#include <QByteArray>
#include <QObject>
#include <QVariantList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>

// A private root and home folder for one test, with the brand's string table installed. The
// previous paths come back when it goes out of scope.
class TestEnvironment
{
public:
    explicit TestEnvironment(const QString &brand = QStringLiteral("corvane"));
    ~TestEnvironment();

    QString root() const { return m_root.path(); }
    QString home() const { return m_home.path(); }
    // Product path -> real path in this environment.
    QString real(const QString &productPath) const;

    void writeFile(const QString &productPath, const QByteArray &bytes) const;
    QByteArray readFile(const QString &productPath) const;
    bool exists(const QString &productPath) const;

private:
    QTemporaryDir m_root;
    QTemporaryDir m_home;
};

// A clock that says what the test tells it.
class FixedClock : public Clock
{
public:
    explicit FixedClock(const QDateTime &time) : m_time(time) {}
    QDateTime now() const override { return m_time; }
    void set(const QDateTime &time) { m_time = time; }

private:
    QDateTime m_time;
};

// Collects the warning lines Qt's logging categories emit while it lives.
class WarningCapture
{
public:
    WarningCapture();
    ~WarningCapture();
    QStringList lines() const;
};

// Records each emission of a signal with its arguments.
template<typename Sender, typename... Args>
class SignalRecorder
{
public:
    SignalRecorder(Sender *sender, void (Sender::*signal)(Args...))
    {
        QObject::connect(sender, signal, &m_context, [this](Args... args) {
            m_emissions.append(QVariantList{QVariant::fromValue(args)...});
        });
    }
    qsizetype count() const { return m_emissions.size(); }
    const QList<QVariantList> &emissions() const { return m_emissions; }

private:
    QObject m_context;
    QList<QVariantList> m_emissions;
};

// What a program run by a test printed, and how it ended.
struct ProcessResult
{
    int exitCode = -1;
    QByteArray output;
    QByteArray errorOutput;
};
// Runs a program and collects what it printed.
ProcessResult runProgram(const QString &program, const QStringList &arguments,
                         const QStringList &extraEnvironment = {});
// Runs Python 3 with a script and its arguments.
ProcessResult runPython(const QString &script, const QStringList &arguments = {});

QString fixturePath(const QString &relative);
// A whole file that is not a product path (a fixture, a file a test checks), or `ifMissing`.
QByteArray readRealFile(const QString &path, const QByteArray &ifMissing = {});
// Writes `table` as the Localizable.plist of a resources folder; whether it was written whole.
bool writeStringTable(const QTemporaryDir &resources, const QByteArray &table);

// Runs the event loop until `condition` holds or the time is up; whether it held.
bool waitUntil(const std::function<bool()> &condition, int timeoutMs = 10000);
