// Operation log store speed: a year of index files (365 days of 30 runs) loaded from the
// beginning, as the viewer's "from the beginning" period does: the time until every row is in
// the viewer's model, and the longest the main thread went without turning its event loop, side
// by side with Python's xml.etree.ElementTree parsing the same files.
//
//   build/bench/logindex_bench [days] [runs-per-day] [rounds]

#include "YearOfLogs.h"
#include "logview/LogManager.h"
#include "logview/LogParseOperation.h"
#include "platform/Clock.h"
#include "platform/Paths.h"
#include "platform/StringFormat.h"
#include "product/StringTable.h"

#include <QAbstractListModel>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// The viewer's table: one row per run, appended as each day arrives.
class RunsModel : public QAbstractListModel, public LogParseDelegate
{
public:
    int rowCount(const QModelIndex & = {}) const override { return int(m_rows.size()); }
    QVariant data(const QModelIndex &index, int role) const override
    {
        return role == Qt::DisplayRole ? QVariant(m_rows.at(index.row()).datetime()) : QVariant();
    }
    void xmlParsed(const std::optional<QList<LogNode>> &records) override
    {
        if (!records || records->isEmpty())
            return;
        beginInsertRows({}, rowCount(), rowCount() + int(records->size()) - 1);
        m_rows += *records;
        endInsertRows();
    }
    void clear()
    {
        beginResetModel();
        m_rows.clear();
        endResetModel();
    }

private:
    QList<LogNode> m_rows;
};

void writeYear(int days, int runs)
{
    writeYearOfLogs(QDate(2025, 11, 17), days, runs, u"ann@example.com"_s, u"/Users/ann/Documents"_s);
}

struct Load
{
    double ms;
    double longestStallMs;
    double askingMs; // fetchAllLogs itself, on the main thread
};

Load loadAll(int expectedRows)
{
    RunsModel model;
    LogManager store(&model, Clock::system());
    QEventLoop loop;
    QElapsedTimer clock, sinceTick;
    double longest = 0;
    QTimer ticks;
    ticks.setInterval(1);
    QObject::connect(&ticks, &QTimer::timeout, [&] {
        longest = std::max(longest, double(sinceTick.nsecsElapsed()) / 1e6);
        sinceTick.restart();
        if (model.rowCount() >= expectedRows)
            loop.quit();
    });
    ticks.start();
    clock.start();
    sinceTick.start();
    double asking = 0;
    QTimer::singleShot(0, &store, [&] {
        QElapsedTimer call;
        call.start();
        store.fetchAllLogs();
        asking = double(call.nsecsElapsed()) / 1e6;
    });
    loop.exec();
    return {double(clock.nsecsElapsed()) / 1e6, longest, asking};
}

// The parse alone, file after file on this thread: the floor of a load.
double parseOnlyMs()
{
    QElapsedTimer clock;
    clock.start();
    const QString folder = Paths::current().resolve(LogManager::kIndexFolder);
    for (const QString &name : QDir(folder).entryList({u"*.xml"_s}, QDir::Files, QDir::Name)) {
        QFile file(folder + u'/' + name);
        file.open(QIODevice::ReadOnly);
        LogParseOperation::parse(file.readAll());
    }
    return double(clock.nsecsElapsed()) / 1e6;
}

const char *kPython = R"PY(
import glob, sys, time, statistics
import xml.etree.ElementTree as ET
folder, rounds = sys.argv[1], int(sys.argv[2])
def load():
    rows = 0
    for path in sorted(glob.glob(folder + '/*.xml')):
        rows += len(ET.parse(path).getroot().findall('record'))
    return rows
times = []
for _ in range(rounds):
    t = time.perf_counter(); rows = load(); times.append((time.perf_counter() - t) * 1000)
print('%.3f %d' % (statistics.median(times), rows))
)PY";

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int days = args.size() > 1 ? args.at(1).toInt() : 365;
    const int runs = args.size() > 2 ? args.at(2).toInt() : 30;
    const int rounds = args.size() > 3 ? args.at(3).toInt() : 5;
    QTemporaryDir root;
    Paths::install(Paths(root.path(), root.path()));
    StringTable::install(u"corvane"_s);
    QTextStream out(stdout);
    writeYear(days, runs);

    std::vector<double> times, stalls, asking;
    for (int i = 0; i < rounds; ++i) {
        const Load load = loadAll(days * runs);
        times.push_back(load.ms);
        stalls.push_back(load.longestStallMs);
        asking.push_back(load.askingMs);
    }
    std::sort(asking.begin(), asking.end());
    std::sort(times.begin(), times.end());
    const double median = times[times.size() / 2];
    std::vector<double> parses;
    for (int i = 0; i < rounds; ++i)
        parses.push_back(parseOnlyMs());
    std::sort(parses.begin(), parses.end());
    const double worstStall = *std::max_element(stalls.begin(), stalls.end());

    QProcess python;
    python.start(QStringLiteral(LUMEN_PYTHON), {u"-c"_s, QString::fromUtf8(kPython),
                                                Paths::current().resolve(LogManager::kIndexFolder), QString::number(rounds)});
    python.waitForFinished(-1);
    const QStringList py = QString::fromUtf8(python.readAllStandardOutput()).trimmed().split(u' ');
    if (py.size() != 2 || py.at(1).toInt() != days * runs) {
        out << "benchmark failed; python said " << python.readAllStandardError() << "\n";
        return 1;
    }
    const double pyMs = py.at(0).toDouble();
    out << "Operation log index, " << days << " days of " << runs << " runs (" << days * runs
        << " rows), median of " << rounds << " rounds\n";
    out << u"  every row in the model: %1 ms   ElementTree: %2 ms   ratio %3\n"_s.arg(median, 0, 'f', 1)
               .arg(pyMs, 0, 'f', 1).arg(median / pyMs, 0, 'f', 3);
    out << u"  of which the parse alone, on one thread: %1 ms\n"_s.arg(parses[parses.size() / 2], 0, 'f', 1);
    out << u"  longest main-thread stall: %1 ms (worst of all rounds); asking for the files: %2 ms\n"_s
               .arg(worstStall, 0, 'f', 1).arg(asking[asking.size() / 2], 0, 'f', 1);
    return 0;
}
