// Schedules archive speed: encode + atomic write and read + decode of 10,000 records, side by side
// with Python's plistlib dumping and loading the very same file.
//
//   build/bench/archive_bench [records] [rounds]

#include "product/StringTable.h"
#include "platform/Clock.h"
#include "platform/Paths.h"
#include "scheduler/ScheduleArchive.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <functional>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

double medianMs(int rounds, const std::function<void()> &work)
{
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer timer;
        timer.start();
        work();
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

QList<CorvaneScheduleItem> makeRecords(int count)
{
    QList<CorvaneScheduleItem> records;
    const QDateTime base(QDate(2026, 11, 16), QTime(9, 0));
    for (int i = 0; i < count; ++i) {
        CorvaneScheduleItem item(Clock::system());
        item.setUsername(u"user%1"_s.arg(i % 50));
        item.setCorvaneUserName(u"user%1@example.com"_s.arg(i % 50));
        item.setScheduleTime(base.addSecs(i * 61));
        item.setFrequency(i % 6);
        item.setStatus(i % 4);
        item.setDestination(u"MyCorvane"_s);
        item.setServerName(u"storage%1.example.com"_s.arg(i % 7));
        item.setProcessReferenceFile(u"/Library/Application Support/CorvaneforMac/BackupSets/user%1.plist"_s.arg(i % 50));
        item.setEmailids(u"user%1@example.com"_s.arg(i));
        item.setSelectedDaysForSchedule(QVariantList{i % 7, (i + 3) % 7});
        records.append(item);
    }
    return records;
}

const char *kPython = R"PY(
import plistlib, sys, time, statistics
path, rounds = sys.argv[1], int(sys.argv[2])
def median(work):
    times = []
    for _ in range(rounds):
        t = time.perf_counter(); work(); times.append((time.perf_counter() - t) * 1000)
    return statistics.median(times)
data = {}
def load():
    with open(path, 'rb') as f:
        data['v'] = plistlib.load(f)
def dump():
    with open(path + '.py', 'wb') as f:
        plistlib.dump(data['v'], f, fmt=plistlib.FMT_BINARY)
print('%.3f %.3f' % (median(load), median(dump)))
)PY";

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int count = args.size() > 1 ? args.at(1).toInt() : 10000;
    const int rounds = args.size() > 2 ? args.at(2).toInt() : 7;
    QTemporaryDir root;
    Paths::install(Paths(root.path(), root.path()));
    StringTable::install(u"corvane"_s);
    QTextStream out(stdout);

    const QList<CorvaneScheduleItem> records = makeRecords(count);
    const double encodeMs = medianMs(rounds, [&] { ScheduleArchive::save(records); });
    int decoded = 0;
    const double decodeMs = medianMs(rounds, [&] { decoded = int(ScheduleArchive::load().records.size()); });
    const QString file = Paths::current().resolve(ScheduleArchive::path());

    QProcess python;
    python.start(QStringLiteral(LUMEN_PYTHON), {u"-c"_s, QString::fromUtf8(kPython), file, QString::number(rounds)});
    python.waitForFinished(-1);
    const QStringList py = QString::fromUtf8(python.readAllStandardOutput()).split(u' ');
    if (decoded != count || py.size() != 2) {
        out << "benchmark failed: decoded " << decoded << " of " << count << "; python said "
            << python.readAllStandardError() << "\n";
        return 1;
    }
    const double pyLoad = py.at(0).toDouble(), pyDump = py.at(1).toDouble();
    out << "Schedules archive, " << count << " records, " << QFile(file).size() / 1024
        << " KiB, median of " << rounds << " rounds\n";
    out << u"  decode: read + decode %1 ms   plistlib.load %2 ms   ratio %3\n"_s
               .arg(decodeMs, 0, 'f', 1).arg(pyLoad, 0, 'f', 1).arg(decodeMs / pyLoad, 0, 'f', 3);
    out << u"  encode: encode + atomic write %1 ms   plistlib.dump %2 ms   ratio %3\n"_s
               .arg(encodeMs, 0, 'f', 1).arg(pyDump, 0, 'f', 1).arg(encodeMs / pyDump, 0, 'f', 3);
    return 0;
}
