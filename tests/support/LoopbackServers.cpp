#include "LoopbackServers.h"

#include <QElapsedTimer>
#include <QFile>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

using namespace Qt::StringLiterals;

TestHttpServer::TestHttpServer(bool always407, const QStringList &options)
{
    QStringList args{QStringLiteral(LUMEN_TEST_SUPPORT_DIR) + u"/http_test_server.py"_s};
    args += options;
    if (always407)
        args.append(u"--always-407"_s);
    m_process.start(QStringLiteral(LUMEN_PYTHON), args);
    if (m_process.waitForReadyRead(10000))
        m_port = quint16(m_process.readLine().trimmed().toUInt());
}

TestHttpServer::~TestHttpServer()
{
    m_process.kill();
    m_process.waitForFinished();
}

QString TestHttpServer::url(const QString &path) const
{
    return u"http://127.0.0.1:%1%2"_s.arg(m_port).arg(path);
}

QStringList TestHttpServer::errorLines()
{
    return QString::fromUtf8(m_process.readAllStandardError()).split(u'\n', Qt::SkipEmptyParts);
}

quint16 freeLoopbackPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

static bool waitForPort(quint16 port, int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, port);
        if (socket.waitForConnected(200))
            return true;
        QThread::msleep(50);
    }
    return false;
}

TinyProxy::TinyProxy(const QString &user, const QString &password)
{
    const QString binary = QStandardPaths::findExecutable(u"tinyproxy"_s, {u"/usr/bin"_s, u"/usr/sbin"_s});
    if (binary.isEmpty())
        return;
    m_port = freeLoopbackPort();
    QFile config(m_dir.filePath(u"tinyproxy.conf"_s));
    if (!config.open(QIODevice::WriteOnly))
        return;
    config.write(u"Port %1\nListen 127.0.0.1\nTimeout 10\nAllow 127.0.0.1\nMaxClients 20\n"
                 "LogLevel Connect\nBasicAuth %2 %3\n"_s.arg(m_port).arg(user, password).toUtf8());
    config.close();
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.start(binary, {u"-d"_s, u"-c"_s, config.fileName()});
    m_running = m_process.waitForStarted() && waitForPort(m_port, 5000);
}

TinyProxy::~TinyProxy()
{
    m_process.kill();
    m_process.waitForFinished();
}

QString TinyProxy::log() const
{
    return QString::fromUtf8(const_cast<QProcess &>(m_process).readAll());
}
