#include "ExcludedFolderSizes.h"

#include <QMutex>
#include <QThread>
#include <QThreadPool>

#include <atomic>

namespace {

// Measuring runs below every other thread of the monitor: a large tree keeps the cores busy for
// seconds, and the window's painting (whose helper threads the main thread waits for) must not
// queue behind it. The threads the measurement starts inherit the priority. Never destroyed, so
// that a run still going when the monitor quits holds nothing up.
QThreadPool &measuringPool()
{
    static QThreadPool *pool = [] {
        auto *made = new QThreadPool;
        made->setThreadPriority(QThread::IdlePriority);
        return made;
    }();
    return *pool;
}

} // namespace

// What the pool thread shares with the main thread. The main thread polls it instead of being
// called back, so a run that outlives its owner touches nothing but this.
struct ExcludedFolderSizes::Run
{
    std::atomic<quint64> bytes = 0;
    std::atomic<quint64> entries = 0;
    std::atomic<bool> done = false;
    int items = 0;
};

ExcludedFolderSizes::ExcludedFolderSizes(QObject *parent, Measure measure)
    : QObject(parent)
    , m_measure(measure ? std::move(measure) : [](const QString &path, const FolderSizer::Progress &progress) {
        return FolderSizer().measure(path, progress);
    })
{
    m_poll.setInterval(100);
    connect(&m_poll, &QTimer::timeout, this, &ExcludedFolderSizes::poll);
}

ExcludedFolderSizes::~ExcludedFolderSizes() = default;

void ExcludedFolderSizes::start(const QStringList &realPaths)
{
    auto run = std::make_shared<Run>();
    run->items = int(realPaths.size());
    m_run = run;
    measuringPool().start([run, realPaths, measure = m_measure] {
        quint64 before = 0;
        for (const QString &path : realPaths) {
            const FolderSizer::Totals totals = measure(path, [&](const FolderSizer::Totals &soFar) {
                run->bytes = before + soFar.bytes;
                run->entries = soFar.entries;
            });
            before += totals.bytes;
            run->bytes = before;
        }
        run->done = true;
    });
    m_poll.start();
}

void ExcludedFolderSizes::poll()
{
    if (!m_run)
        return;
    const std::shared_ptr<Run> run = m_run;
    if (!run->done) {
        Q_EMIT progress(run->bytes, run->entries);
        return;
    }
    m_poll.stop();
    m_run.reset();
    Q_EMIT finished(run->bytes, run->items);
}
