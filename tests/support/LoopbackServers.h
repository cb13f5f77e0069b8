#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

// The loopback HTTP server of the tests (a Python script), started and stopped with the object.
class TestHttpServer
{
public:
    explicit TestHttpServer(bool always407 = false, const QStringList &options = {});
    ~TestHttpServer();
    bool isRunning() const { return m_port > 0; }
    quint16 port() const { return m_port; }
    QString url(const QString &path) const;
    // Lines the server printed on standard error (the 407 proxy logs each answered challenge).
    QStringList errorLines();

private:
    QProcess m_process;
    quint16 m_port = 0;
};

// A real tinyproxy on loopback that wants Basic authentication.
class TinyProxy
{
public:
    TinyProxy(const QString &user, const QString &password);
    ~TinyProxy();
    bool isRunning() const { return m_running; }
    quint16 port() const { return m_port; }
    QString log() const;

private:
    QTemporaryDir m_dir;
    QProcess m_process;
    quint16 m_port = 0;
    bool m_running = false;
};

quint16 freeLoopbackPort();
