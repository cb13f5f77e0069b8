#include "TestEnvironment.h"

#include "product/StringTable.h"
#include "platform/Paths.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QThread>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QProcess>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TestEnvironment::TestEnvironment(const QString &brand)
{
    Paths::install(Paths(m_root.path(), m_home.path()));
    StringTable::install(brand);
}

TestEnvironment::~TestEnvironment()
{
    Paths::install(Paths());
}

QString TestEnvironment::real(const QString &productPath) const
{
    return Paths::current().resolve(productPath);
}

void TestEnvironment::writeFile(const QString &productPath, const QByteArray &bytes) const
{
    const QString path = real(productPath);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << path.toStdString();
    file.write(bytes);
}

QByteArray TestEnvironment::readFile(const QString &productPath) const
{
    QFile file(real(productPath));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool TestEnvironment::exists(const QString &productPath) const
{
    return QFileInfo::exists(real(productPath));
}

namespace {

QMutex g_captureMutex;
QStringList g_captured;
QtMessageHandler g_previous = nullptr;

void captureHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg || type == QtCriticalMsg) {
        QMutexLocker lock(&g_captureMutex);
        g_captured.append(QString::fromUtf8(context.category) + u": "_s + message);
    }
}

} // namespace

WarningCapture::WarningCapture()
{
    QMutexLocker lock(&g_captureMutex);
    g_captured.clear();
    g_previous = qInstallMessageHandler(captureHandler);
}

WarningCapture::~WarningCapture()
{
    qInstallMessageHandler(g_previous);
}

QStringList WarningCapture::lines() const
{
    QMutexLocker lock(&g_captureMutex);
    return g_captured;
}

ProcessResult runProgram(const QString &program, const QStringList &arguments,
                        const QStringList &extraEnvironment)
{
    QProcess process;
    if (!extraEnvironment.isEmpty()) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const QString &entry : extraEnvironment)
            env.insert(entry.section(u'=', 0, 0), entry.section(u'=', 1));
        process.setProcessEnvironment(env);
    }
    process.start(program, arguments);
    ProcessResult result;
    if (!process.waitForFinished(60000))
        return result;
    result.exitCode = process.exitCode();
    result.output = process.readAllStandardOutput();
    result.errorOutput = process.readAllStandardError();
    return result;
}

ProcessResult runPython(const QString &script, const QStringList &arguments)
{
    return runProgram(QStringLiteral(LUMEN_PYTHON), QStringList{u"-c"_s, script} + arguments);
}

QString fixturePath(const QString &relative)
{
    return QStringLiteral(LUMEN_FIXTURES_DIR) + u'/' + relative;
}

QByteArray readRealFile(const QString &path, const QByteArray &ifMissing)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : ifMissing;
}

bool writeStringTable(const QTemporaryDir &resources, const QByteArray &table)
{
    QFile file(resources.filePath(u"Localizable.plist"_s));
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && file.write(table) == table.size();
}

bool waitUntil(const std::function<bool()> &condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(2);
    }
    return true;
}
