// The monitor's user interface under load: how long its main thread's event loop went without
// turning while
//   (a) the engine sends 100 messages a second over the message channel (a second process of
//       this program takes the engine's end of the real channel on the bus),
//   (b) the refresh runs once a second for an account whose backup set is a 200,000-file folder
//       that the exclusion pane measures again and again (the monitor's one size request),
//   (c) the log viewer loads a year of operation log index files ("from the beginning"),
// each load alone and then all together, with a fresh monitor for each. A 1 ms timer finds the
// stalls; every event the main thread dispatches is timed and named, and one that runs long has
// its stack sampled, so that each stall is put down to what ran meanwhile.
//
//   dbus-run-session -- env QT_QPA_PLATFORM=offscreen build/bench/latency_probe
//       [--seconds 20] [--rate 100] [--work /tmp/lumen-latency-probe] [--phase NAME]...

#include "YearOfLogs.h"
#include "app/CorvaneMonitorController.h"
#include "app/DesktopServices.h"
#include "app/views/StatusItemView.h"
#include "logview/LogManager.h"
#include "logview/LogViewController.h"
#include "logview/views/LogWindow.h"
#include "notify/AlertPresenter.h"
#include "notify/views/DesktopNotificationWindow.h"
#include "platform/Clock.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/SystemInfo.h"
#include "platform/UserDefaults.h"
#include "prefs/PreferencesPanes.h"
#include "prefs/views/PreferencesWindow.h"
#include "product/FilePathAPIs.h"
#include "product/MonitorSettings.h"
#include "product/StringTable.h"
#include "platform/StringFormat.h"
#include "scheduler/CorvaneSchedulerController.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QMetaEnum>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QQueue>
#include <QSet>
#include <QTextStream>
#include <QThread>
#include <QTimer>
#include <QWidget>
#include <QWindow>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <map>
#include <pthread.h>
#include <thread>
#include <time.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

qint64 nsOf(clockid_t clock)
{
    timespec now {};
    ::clock_gettime(clock, &now);
    return qint64(now.tv_sec) * 1000000000 + now.tv_nsec;
}

qint64 monoNs()
{
    return nsOf(CLOCK_MONOTONIC);
}

const char *const kTickerName = "probe ticker";

double ms(qint64 ns)
{
    return double(ns) / 1e6;
}

// ---- what the main thread dispatches ----------------------------------------------------------

// What one dispatched event was, in static texts only (a receiver may be gone once it returns).
struct Label
{
    const char *what = "";  // the receiver's class, or a name the probe gave it
    const char *owner = ""; // a timer's parent class, a window's top-level widget
    int event = 0;
    int message = -1;       // the message type, for a message handled by the controller

    auto key() const { return std::tuple(what, owner, event, message); }
    QString text() const
    {
        if (message >= 0)
            return u"message type %1 (handleMessage)"_s.arg(message);
        const char *name = QMetaEnum::fromType<QEvent::Type>().valueToKey(event);
        QString text = QString::fromLatin1(what);
        if (*owner)
            text += u" of "_s + QString::fromLatin1(owner);
        return text + u" ["_s + QString::fromLatin1(name ? name : "event") + u']';
    }
};

struct Dispatch
{
    qint64 start, end;
    qint64 ranNs; // the main thread's CPU time in it
    quint64 seq;
    Label label;
};

struct StackSample
{
    quint64 seq = 0;
    int depth = 0;
    void *frames[128] {};
};

constexpr int kMaxSamples = 2048;
StackSample g_samples[kMaxSamples];
std::atomic<int> g_sampleCount {0};
std::atomic<int> g_sampleSlot {-1}; // the slot the signal handler fills next
std::atomic<bool> g_sampleDone {true};
std::atomic<qint64> g_dispatchStart {0}; // of the top-level dispatch under way, 0 between
std::atomic<quint64> g_dispatchSeq {0};

extern "C" void sampleStack(int)
{
    const int slot = g_sampleSlot.load();
    if (slot >= 0) {
        g_samples[slot].seq = g_dispatchSeq.load();
        g_samples[slot].depth = ::backtrace(g_samples[slot].frames, 128);
    }
    g_sampleDone = true;
}

// Samples the main thread's stack every 5 ms of one dispatch, from another thread.
class StackWatch
{
public:
    StackWatch() : m_main(::pthread_self())
    {
        void *warm[4];
        ::backtrace(warm, 4); // loads the unwinder before any signal needs it
        struct sigaction action {};
        action.sa_handler = sampleStack;
        action.sa_flags = SA_RESTART;
        ::sigaction(SIGUSR2, &action, nullptr);
        m_thread = std::thread([this] { run(); });
    }
    ~StackWatch()
    {
        m_stop = true;
        m_thread.join();
    }

private:
    void run()
    {
        quint64 lastSeq = 0;
        qint64 nextAt = 0;
        while (!m_stop) {
            const timespec pause {0, 1000000};
            ::clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
            const qint64 start = g_dispatchStart.load();
            const quint64 seq = g_dispatchSeq.load();
            if (start == 0)
                continue;
            if (seq != lastSeq) {
                lastSeq = seq;
                nextAt = start + 5000000;
            }
            if (monoNs() < nextAt || !g_sampleDone || g_sampleCount >= kMaxSamples)
                continue;
            nextAt += 5000000;
            g_sampleDone = false;
            g_sampleSlot = g_sampleCount++;
            ::pthread_kill(m_main, SIGUSR2);
        }
    }

    pthread_t m_main;
    std::atomic<bool> m_stop {false};
    std::thread m_thread;
};

// Posted to the controller just before each message it queues for the main thread: the next
// call the controller runs from its queue is that message's handling.
class MessageMarker : public QEvent
{
public:
    static inline const QEvent::Type kType = QEvent::Type(QEvent::registerEventType());
    explicit MessageMarker(int messageType) : QEvent(kType), type(messageType) {}
    const int type;
};

// The controller as the running monitor has it, marking the messages it queues.
class ProbedController : public CorvaneMonitorController
{
public:
    using CorvaneMonitorController::CorvaneMonitorController;
    void didReceiveIPCMessage(const IncomingMessage &message) override
    {
        QCoreApplication::postEvent(this, new MessageMarker(message.message.value(1).toString().toInt()));
        CorvaneMonitorController::didReceiveIPCMessage(message);
    }
};

// Times and names every event the main thread dispatches from its event loop.
class ProbeApplication : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        if (event->type() == MessageMarker::kType) {
            m_nextMessage = static_cast<MessageMarker *>(event)->type;
            ++handled;
            return true;
        }
        if (m_depth > 0 || !receiver) {
            if (receiver == controller && event->type() == QEvent::MetaCall)
                m_nextMessage = -1; // handled inside another dispatch
            return QApplication::notify(receiver, event);
        }
        const Label label = labelOf(receiver, event);
        const quint64 seq = ++g_dispatchSeq;
        const qint64 start = monoNs(), ran = nsOf(CLOCK_THREAD_CPUTIME_ID);
        g_dispatchStart = start;
        ++m_depth;
        const bool result = QApplication::notify(receiver, event);
        --m_depth;
        const qint64 end = monoNs();
        g_dispatchStart = 0;
        if (recording && end - start >= 20000)
            dispatches.push_back({start, end, nsOf(CLOCK_THREAD_CPUTIME_ID) - ran, seq, label});
        return result;
    }

    void name(const QObject *object, const char *text) { m_names.insert(object, text); }
    void forget(const QObject *object) { m_names.remove(object); }

    ProbedController *controller = nullptr;
    bool recording = false;
    int handled = 0; // messages
    std::vector<Dispatch> dispatches;

private:
    Label labelOf(QObject *receiver, QEvent *event)
    {
        Label label;
        label.event = int(event->type());
        if (receiver == controller && event->type() == QEvent::MetaCall && m_nextMessage >= 0) {
            label.message = std::exchange(m_nextMessage, -1);
            return label;
        }
        label.what = m_names.value(receiver, receiver->metaObject()->className());
        if (auto *window = qobject_cast<QWindow *>(receiver)) {
            for (QWidget *top : QApplication::topLevelWidgets()) {
                if (top->windowHandle() == window)
                    label.owner = m_names.value(top, top->metaObject()->className());
            }
        } else if (receiver->parent() && (event->type() == QEvent::Timer || receiver->inherits("QTimer"))) {
            label.owner = m_names.value(receiver->parent(), receiver->parent()->metaObject()->className());
        }
        return label;
    }

    int m_depth = 0;
    int m_nextMessage = -1;
    QHash<const QObject *, const char *> m_names;
};

// The offscreen platform's notes on what it cannot do, once each; the rest as they come.
void quietMessages(QtMsgType, const QMessageLogContext &, const QString &message)
{
    static QSet<QString> seen;
    if (message.contains(u"This plugin does not support"_s) || message.contains(u"org.freedesktop.Notifications"_s)) {
        if (seen.contains(message))
            return;
        seen.insert(message);
    }
    QTextStream(stderr) << message << u'\n';
}

ProbeApplication *probeApp()
{
    return static_cast<ProbeApplication *>(QCoreApplication::instance());
}

// ---- the monitor, as lumen-monitor wires it -----------------------------------------------------

class QuietAlerts : public AlertPresenter
{
public:
    int displayMessage(const QString &, const QString &, const AlertButtons &, bool, const QString &,
                       AlertDelegate *) override
    {
        ++shown;
        return kDefault;
    }
    int shown = 0;
};

// Pages, programs and command lines are only counted.
class QuietDesktop : public DesktopServices
{
public:
    bool openUrl(const QUrl &) override { return true; }
    bool launchApplication(const QString &) override { return false; }
    bool launchApplicationNamed(const QString &) override { return false; }
    void runCommandLine(const QString &) override {}
};

struct Monitor
{
    Monitor()
    {
        MonitorServices services {&Clock::system(), &alerts, &desktop, &network, true};
        services.notificationWindow = &notificationWindow;
        controller = std::make_unique<ProbedController>(services);
        probeApp()->controller = controller.get();
        preferences = std::make_unique<PreferencesWindow>([this] { return controller->preferencesPanes(); },
                                                          [this] { controller->windowWillClose(); });
        controller->setPreferencesWindow(preferences.get());
        controller->setLogWindow(&logWindow);
        controller->awakeFromNib();
        statusItem = std::make_unique<StatusItemView>(controller.get());
        statusItem->show();
    }
    ~Monitor() { probeApp()->controller = nullptr; }

    QuietAlerts alerts;
    QuietDesktop desktop;
    QNetworkAccessManager network;
    DesktopNotificationWindow notificationWindow;
    std::unique_ptr<ProbedController> controller;
    std::unique_ptr<PreferencesWindow> preferences;
    LogWindow logWindow;
    std::unique_ptr<StatusItemView> statusItem;
};

// ---- the loads ----------------------------------------------------------------------------------

const QString kAccount = u"ann@example.com"_s;
const QString kBackupSet = u"/Users/ann/Documents"_s;
constexpr int kDays = 365, kRunsPerDay = 30;

// (a) This program again as the engine's end of the channel.
class MessagesLoad
{
public:
    MessagesLoad(int rate, const QString &work)
    {
        m_engine.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_engine.start(QCoreApplication::applicationFilePath(),
                       {u"--engine"_s, QString::number(rate), u"--work"_s, work});
        m_engine.waitForStarted();
        m_engine.waitForReadyRead(10000); // "ready": its end of the channel is on the bus
    }
    ~MessagesLoad()
    {
        m_engine.terminate();
        if (!m_engine.waitForFinished(3000))
            m_engine.kill();
    }
    qint64 pid() const { return m_engine.processId(); }

private:
    QProcess m_engine;
};

// (b) The refresh once a second; the exclusion pane open, measuring the backup set's folder again
// as soon as it is done.
class BackupSetLoad
{
public:
    explicit BackupSetLoad(Monitor &monitor) : m_monitor(monitor)
    {
        probeApp()->name(&m_refresh, "refresh timer: checkForTotalQuota");
        probeApp()->name(&m_again, "size request timer: setSizesWanted");
        QObject::connect(&m_refresh, &QTimer::timeout, [this] {
            const qint64 start = monoNs(), ran = nsOf(CLOCK_THREAD_CPUTIME_ID);
            m_monitor.controller->checkForTotalQuota();
            m_refreshNs.push_back(monoNs() - start);
            m_refreshRanNs.push_back(nsOf(CLOCK_THREAD_CPUTIME_ID) - ran);
        });
        QObject::connect(&m_again, &QTimer::timeout, [this] {
            ExcludeViewController &exclude = m_monitor.controller->preferencesPanes()->exclude;
            if (m_measuring && !exclude.isSizing()) {
                ++m_measured;
                m_measuring = false;
            }
            if (!exclude.isSizing()) {
                exclude.setSizesWanted(true);
                m_measuring = true;
            }
        });
        m_monitor.controller->OpenPreferences(u"ViewExclude"_s); // the pane asks for sizes when shown
        m_measuring = true;
        if (QWidget *window = m_monitor.preferences->window())
            probeApp()->name(window, "preferences window");
        m_refresh.start(1000);
        m_again.start(50);
    }
    ~BackupSetLoad()
    {
        if (QWidget *window = m_monitor.preferences->window()) {
            probeApp()->forget(window);
            window->close();
        }
        // A measurement under way ends before the next phase.
        const ExcludeViewController &exclude = m_monitor.controller->preferencesPanes()->exclude;
        const qint64 until = monoNs() + 60000000000;
        QEventLoop wait;
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, [&] {
            if (!exclude.isSizing() || monoNs() > until)
                wait.quit();
        });
        poll.start(50);
        wait.exec();
        probeApp()->forget(&m_refresh);
        probeApp()->forget(&m_again);
    }
    QString summary() const
    {
        const auto longest = [](const std::vector<qint64> &all) {
            return ms(all.empty() ? 0 : *std::max_element(all.begin(), all.end()));
        };
        std::vector<qint64> ran = m_refreshRanNs;
        std::sort(ran.begin(), ran.end());
        return u"%1 refreshes (longest %2 ms; the main thread ran %3 ms median, %4 ms most), %5 measurements "
               "of the backup set's folder"_s
            .arg(m_refreshNs.size()).arg(longest(m_refreshNs), 0, 'f', 1).arg(ran.empty() ? 0 : ms(ran[ran.size() / 2]), 0, 'f', 1)
            .arg(longest(ran), 0, 'f', 1).arg(m_measured);
    }

private:
    Monitor &m_monitor;
    QTimer m_refresh, m_again;
    bool m_measuring = false;
    int m_measured = 0;
    std::vector<qint64> m_refreshNs, m_refreshRanNs;
};

// (c) The log window opened on "from the beginning" until every run is listed, closed, opened again
// (the first load parses the files, the later ones come from the viewer's cache).
class LogLoad
{
public:
    explicit LogLoad(Monitor &monitor) : m_monitor(monitor)
    {
        probeApp()->name(&m_step, "log window timer: viewSessionLog");
        QObject::connect(&m_step, &QTimer::timeout, [this] { step(); });
        m_step.start(50);
    }
    ~LogLoad()
    {
        close();
        probeApp()->forget(&m_step);
    }
    QString summary() const
    {
        QStringList times;
        for (const qint64 load : m_loadNs)
            times << QString::number(ms(load), 'f', 0);
        return u"%1 loads of %2 runs, ms each: %3"_s.arg(m_loadNs.size()).arg(kDays * kRunsPerDay)
            .arg(times.join(u' '));
    }

private:
    void step()
    {
        if (!m_monitor.logWindow.isLogWindowOpen()) {
            m_opened = monoNs();
            m_monitor.controller->viewSessionLog();
            if (QWidget *window = m_monitor.logWindow.window())
                probeApp()->name(window, "log window");
            return;
        }
        if (m_monitor.controller->logViewController()->mLogContainer().size() >= kDays * kRunsPerDay) {
            m_loadNs.push_back(monoNs() - m_opened);
            close();
        }
    }
    void close()
    {
        if (QWidget *window = m_monitor.logWindow.window())
            probeApp()->forget(window);
        m_monitor.controller->closeSeesionLog();
    }

    Monitor &m_monitor;
    QTimer m_step;
    qint64 m_opened = 0;
    std::vector<qint64> m_loadNs;
};

// ---- the stalls ---------------------------------------------------------------------------------

struct Stall
{
    qint64 start, end; // the ticks around it
    qint64 ranNs;      // CPU time the main thread had meanwhile
};

// CPU time of the whole machine, this process and the engine, in clock ticks.
struct CpuTimes
{
    qint64 busy = 0, total = 0, ours = 0, niced = 0; // niced: processes that give way to ours
    static qint64 ofProcess(qint64 pid)
    {
        QFile stat(u"/proc/%1/stat"_s.arg(pid));
        if (pid <= 0 || !stat.open(QIODevice::ReadOnly))
            return 0;
        const QByteArray text = stat.readAll();
        const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        return fields.value(11).toLongLong() + fields.value(12).toLongLong(); // utime, stime
    }
    static CpuTimes now(qint64 enginePid)
    {
        QFile stat(u"/proc/stat"_s);
        stat.open(QIODevice::ReadOnly);
        const QList<QByteArray> cpu = stat.readLine().simplified().split(' ');
        CpuTimes times;
        for (int i = 1; i < cpu.size() && i <= 8; ++i) {
            times.total += cpu.at(i).toLongLong();
            if (i != 4 && i != 5) // idle, iowait
                times.busy += cpu.at(i).toLongLong();
            if (i == 2)
                times.niced = cpu.at(i).toLongLong();
        }
        times.ours = ofProcess(QCoreApplication::applicationPid()) + ofProcess(enginePid);
        return times;
    }
};

QString loadAverage()
{
    QFile file(u"/proc/loadavg"_s);
    file.open(QIODevice::ReadOnly);
    return QString::fromLatin1(file.readAll().split(' ').value(0));
}

// Microseconds in which some runnable task of the machine waited for a core (pressure stall
// information), 0 where the kernel does not tell.
qint64 cpuPressureUs()
{
    QFile file(u"/proc/pressure/cpu"_s);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray some = file.readLine();
    return some.mid(some.indexOf("total=") + 6).trimmed().toLongLong();
}

// Names of this program's code addresses: addr2line reads the whole symbol table (helpers
// of anonymous namespaces too); without it, the exported names dladdr knows.
QHash<void *, QString> g_names;

void resolveNames(const QList<void *> &addresses)
{
    Dl_info self {};
    ::dladdr(reinterpret_cast<void *>(&monoNs), &self);
    QStringList offsets;
    QList<void *> asked;
    for (void *address : addresses) {
        if (!g_names.contains(address)) {
            asked << address;
            offsets << u"0x"_s + QString::number(quintptr(address) - quintptr(self.dli_fbase), 16);
        }
    }
    if (asked.isEmpty())
        return;
    QProcess addr2line;
    addr2line.start(u"addr2line"_s, QStringList {u"-f"_s, u"-C"_s, u"-e"_s, QCoreApplication::applicationFilePath()} + offsets);
    const QList<QByteArray> lines = addr2line.waitForFinished(20000) ? addr2line.readAllStandardOutput().split('\n')
                                                                      : QList<QByteArray>();
    for (qsizetype i = 0; i < asked.size(); ++i) {
        QString name = QString::fromUtf8(lines.value(2 * i));
        if (name.isEmpty() || name == "??"_L1) {
            Dl_info info {};
            name = ::dladdr(asked[i], &info) && info.dli_sname ? QString::fromLatin1(info.dli_sname) : QString();
            int status = 0;
            char *plain = abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status);
            if (status == 0 && plain)
                name = QString::fromLatin1(plain);
            std::free(plain);
        }
        name.remove(u"(anonymous namespace)::"_s);
        name = name.left(name.indexOf(u'(')); // the whole name when it has no arguments
        // A queued lambda runs inside Qt's slot object, named after the function it was made in.
        for (const QString &slot : {u"QtPrivate::QCallableObject<"_s, u"QtPrivate::QFunctorSlotObject<"_s}) {
            if (name.startsWith(slot))
                name = name.mid(slot.size()) + u" (lambda)"_s;
        }
        g_names.insert(asked[i], name);
    }
}

// The product's frames of a sample, outermost first: this program's, less the probe's own, the
// start-up's and the library templates compiled into it. With none, the innermost two frames of
// the libraries (exported names).
QStringList productFrames(const StackSample &sample)
{
    static const QStringList probe {u"ProbeApplication"_s, u"StackWatch"_s, u"sampleStack"_s, u"Load::"_s,
                                    u"runPhase"_s, u"main"_s};
    Dl_info self {};
    ::dladdr(reinterpret_cast<void *>(&monoNs), &self);
    QList<void *> ours;
    for (int i = sample.depth - 1; i >= 0; --i) {
        Dl_info info {};
        if (::dladdr(sample.frames[i], &info) && info.dli_fbase == self.dli_fbase)
            ours << sample.frames[i];
    }
    resolveNames(ours);
    QStringList frames;
    for (void *address : std::as_const(ours)) {
        const QString name = g_names.value(address);
        const bool skip = name.isEmpty() || name.startsWith(u'Q') || name.startsWith(u'_') || name.startsWith(u"std::"_s)
                          || std::any_of(probe.begin(), probe.end(), [&](const QString &p) { return name.contains(p); });
        if (!skip && (frames.isEmpty() || frames.last() != name))
            frames << name;
    }
    for (int i = 1; frames.isEmpty() && i < sample.depth; ++i) { // 0 is the signal handler's
        Dl_info info {};
        if (!::dladdr(sample.frames[i], &info) || !info.dli_sname || info.dli_fbase == self.dli_fbase)
            continue;
        int status = 0;
        char *plain = abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status);
        const QString name = QString::fromLatin1(status == 0 && plain ? plain : info.dli_sname);
        std::free(plain);
        if (name.startsWith(u"Q"_s))
            frames = QStringList {u"(library) "_s + name.left(name.indexOf(u'('))};
    }
    return frames;
}

// Every frame of a sample, innermost first, on standard error (LUMEN_PROBE_STACKS=1).
void dumpSample(const StackSample &sample)
{
    QTextStream err(stderr);
    err << "   sample of dispatch " << sample.seq << ":\n";
    for (int i = 0; i < sample.depth; ++i) {
        Dl_info info {};
        const bool known = ::dladdr(sample.frames[i], &info);
        int status = 0;
        char *plain = known && info.dli_sname ? abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status) : nullptr;
        err << "     " << (known ? info.dli_fname : "?") << "  "
            << (plain ? plain : (known && info.dli_sname ? info.dli_sname : "?")) << '\n';
        std::free(plain);
    }
}

// Where the samples of one dispatch found the main thread: "outer > inner" (times seen).
QString whereSampled(quint64 seq)
{
    std::map<QString, int> seen;
    for (int i = 0; i < g_sampleCount.load(); ++i) {
        if (g_samples[i].seq != seq)
            continue;
        if (qEnvironmentVariableIsSet("LUMEN_PROBE_STACKS"))
            dumpSample(g_samples[i]);
        const QStringList frames = productFrames(g_samples[i]);
        if (!frames.isEmpty())
            ++seen[frames.size() <= 2 ? frames.join(u" > "_s) : frames.first() + u" > … > "_s + frames.last()];
    }
    QStringList parts;
    for (const auto &[where, count] : seen)
        parts << (count > 1 ? u"%1 (x%2)"_s.arg(where).arg(count) : where);
    return parts.join(u"; "_s);
}

// What ran in the stall: the name that took most of it, with its share and where the samples
// found it; or that nothing was dispatched for most of it (the thread was not running).
QString causeOf(const Stall &stall, const std::vector<Dispatch> &dispatches)
{
    std::map<decltype(Label().key()), std::pair<qint64, const Dispatch *>> byLabel; // time, longest
    qint64 dispatched = 0;
    auto first = std::lower_bound(dispatches.begin(), dispatches.end(), stall.start,
                                  [](const Dispatch &d, qint64 at) { return d.end < at; });
    for (auto it = first; it != dispatches.end() && it->start < stall.end; ++it) {
        if (it->label.what == kTickerName)
            continue; // the probe's own ticks
        const qint64 overlap = std::min(it->end, stall.end) - std::max(it->start, stall.start);
        auto &entry = byLabel[it->label.key()];
        if (!entry.second || it->end - it->start > entry.second->end - entry.second->start)
            entry.second = &*it;
        entry.first += overlap;
        dispatched += overlap;
    }
    const qint64 gap = stall.end - stall.start;
    std::vector<std::pair<qint64, const Dispatch *>> ranked;
    for (const auto &[key, entry] : byLabel)
        ranked.push_back(entry);
    std::sort(ranked.begin(), ranked.end(), [](const auto &a, const auto &b) { return a.first > b.first; });
    QStringList causes;
    if (gap - dispatched >= gap / 4)
        causes << u"no event dispatched for %1 ms (the thread waited for a core)"_s.arg(ms(gap - dispatched), 0, 'f', 1);
    for (size_t i = 0; i < std::min<size_t>(2, ranked.size()); ++i) {
        if (i > 0 && ranked[i].first < gap / 4)
            break;
        QString cause = u"%1 %2 ms"_s.arg(ranked[i].second->label.text()).arg(ms(ranked[i].first), 0, 'f', 1);
        const QString where = whereSampled(ranked[i].second->seq);
        if (!where.isEmpty())
            cause += u", in "_s + where;
        causes << cause;
    }
    return causes.join(u"; "_s);
}

// The kinds of event that cost the main thread most CPU time in one dispatch: "name: most
// (median of the n over 1 ms)".
QStringList heaviest(const std::vector<Dispatch> &dispatches, int count)
{
    std::map<decltype(Label().key()), std::vector<qint64>> byLabel;
    std::map<decltype(Label().key()), Label> labels;
    for (const Dispatch &dispatch : dispatches) {
        if (dispatch.ranNs >= 1000000) {
            byLabel[dispatch.label.key()].push_back(dispatch.ranNs);
            labels[dispatch.label.key()] = dispatch.label;
        }
    }
    std::vector<std::pair<qint64, QString>> ranked;
    for (auto &[key, ran] : byLabel) {
        std::sort(ran.begin(), ran.end());
        ranked.emplace_back(ran.back(), u"%1: %2 ms (median %3 ms of %4)"_s.arg(labels[key].text())
                                            .arg(ms(ran.back()), 0, 'f', 1).arg(ms(ran[ran.size() / 2]), 0, 'f', 1)
                                            .arg(ran.size()));
    }
    std::sort(ranked.begin(), ranked.end(), [](const auto &a, const auto &b) { return a.first > b.first; });
    QStringList lines;
    for (size_t i = 0; i < std::min<size_t>(size_t(count), ranked.size()); ++i)
        lines << ranked[i].second;
    return lines;
}

// ---- one phase ----------------------------------------------------------------------------------

struct PhaseResult
{
    QString name;
    double longestMs = 0;
    int over16 = 0, over8 = 0;
    int over16Ran = 0; // of which the main thread itself ran over 16 ms: its own work, not a busy machine
    QStringList worst;
};

PhaseResult runPhase(const QString &name, const QStringList &loads, int seconds, int rate, const QString &work,
                     QTextStream &out)
{
    ProbeApplication *app = probeApp();
    Monitor monitor;
    QCoreApplication::processEvents(); // the start-up's own posted work is not the loads'
    app->dispatches.clear();
    app->handled = 0;
    app->dispatches.reserve(2000000);
    g_sampleCount = 0;
    std::unique_ptr<MessagesLoad> messages;
    if (loads.contains(u"messages"_s))
        messages = std::make_unique<MessagesLoad>(rate, work);
    const CpuTimes before = CpuTimes::now(messages ? messages->pid() : 0);
    const QString loadBefore = loadAverage();
    const qint64 pressureBefore = cpuPressureUs(), wallBefore = monoNs();
    app->recording = true;
    std::unique_ptr<BackupSetLoad> backupSet;
    std::unique_ptr<LogLoad> logs;
    if (loads.contains(u"backupset"_s))
        backupSet = std::make_unique<BackupSetLoad>(monitor);
    if (loads.contains(u"logs"_s))
        logs = std::make_unique<LogLoad>(monitor);

    std::vector<Stall> stalls;
    qint64 ticks = 0, lastTick = monoNs(), lastRan = nsOf(CLOCK_THREAD_CPUTIME_ID);
    QTimer ticker;
    app->name(&ticker, kTickerName);
    ticker.setTimerType(Qt::PreciseTimer);
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        const qint64 now = monoNs(), ran = nsOf(CLOCK_THREAD_CPUTIME_ID);
        ++ticks;
        if (now - lastTick - 1000000 >= 2000000)
            stalls.push_back({lastTick, now, ran - lastRan});
        lastTick = now;
        lastRan = ran;
    });
    ticker.start(1);
    QEventLoop loop;
    QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
    loop.exec();
    ticker.stop();
    app->forget(&ticker);
    app->recording = false;
    const CpuTimes after = CpuTimes::now(messages ? messages->pid() : 0);
    const double waited = 100.0 * double(cpuPressureUs() - pressureBefore) * 1000 / double(monoNs() - wallBefore);
    const int handled = app->handled;
    const QString backupSetSummary = backupSet ? backupSet->summary() : QString();
    const QString logSummary = logs ? logs->summary() : QString();
    logs.reset();
    backupSet.reset();
    messages.reset();

    PhaseResult result;
    result.name = name;
    std::sort(stalls.begin(), stalls.end(), [](const Stall &a, const Stall &b) { return a.end - a.start > b.end - b.start; });
    const auto stallMs = [](const Stall &stall) { return ms(stall.end - stall.start - 1000000); };
    for (const Stall &stall : stalls) {
        result.over16 += stallMs(stall) > 16 ? 1 : 0;
        result.over16Ran += stallMs(stall) > 16 && ms(stall.ranNs) > 16 ? 1 : 0;
        result.over8 += stallMs(stall) > 8 ? 1 : 0;
    }
    result.longestMs = stalls.empty() ? 0 : stallMs(stalls.front());
    const qint64 phaseStart = app->dispatches.empty() ? 0 : app->dispatches.front().start;
    for (size_t i = 0; i < std::min<size_t>(3, stalls.size()); ++i)
        result.worst << u"%1 ms at %2 s (the main thread ran %3 ms of it): %4"_s.arg(stallMs(stalls[i]), 0, 'f', 1)
                            .arg(ms(stalls[i].start - phaseStart) / 1000, 0, 'f', 2)
                            .arg(ms(stalls[i].ranNs), 0, 'f', 1)
                            .arg(causeOf(stalls[i], app->dispatches));

    const double cpuTotal = double(std::max<qint64>(1, after.total - before.total));
    out << u"== %1 (%2): %3 s, %4 ticks of the 1 ms timer; load average %5 -> %6; CPU of both cores: "
           "this monitor and its engine %7%, other processes (the bus daemon too) %8% (%9% niced); "
           "some task waited for a core %10% of the time\n"_s
               .arg(name, loads.join(u" + "_s)).arg(seconds).arg(ticks).arg(loadBefore, loadAverage())
               .arg(100.0 * double(after.ours - before.ours) / cpuTotal, 0, 'f', 0)
               .arg(100.0 * double((after.busy - before.busy) - (after.ours - before.ours)) / cpuTotal, 0, 'f', 0)
               .arg(100.0 * double(after.niced - before.niced) / cpuTotal, 0, 'f', 0)
               .arg(waited, 0, 'f', 0);
    if (loads.contains(u"messages"_s))
        out << u"   messages handled: %1 (%2 a second)\n"_s.arg(handled).arg(double(handled) / seconds, 0, 'f', 1);
    if (!backupSetSummary.isEmpty())
        out << u"   backup set: "_s << backupSetSummary << u'\n';
    if (!logSummary.isEmpty())
        out << u"   log viewer: "_s << logSummary << u'\n';
    out << u"   longest stall %1 ms; over 16 ms: %2 (the main thread running over 16 ms of it: %3); over 8 ms: %4\n"_s
               .arg(result.longestMs, 0, 'f', 1).arg(result.over16).arg(result.over16Ran).arg(result.over8);
    for (const QString &line : std::as_const(result.worst))
        out << u"   - "_s << line << u'\n';
    out << u"   heaviest events (the main thread's CPU time in one dispatch; median of those over 1 ms):\n"_s;
    for (const QString &line : heaviest(app->dispatches, 4))
        out << u"   . "_s << line << u'\n';
    out.flush();
    return result;
}

// ---- the data -----------------------------------------------------------------------------------

// Everything of the previous run goes but the backup set's folder, which is made once (with the
// folder-size benchmark's generator: 200,000 files in 10,000 folders).
bool prepareWork(const QString &work, QTextStream &out)
{
    QDir root(work);
    root.mkpath(u"."_s);
    for (const QString &entry : root.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) {
        if (entry == "Users"_L1)
            continue;
        if (!QDir(root.filePath(entry)).removeRecursively())
            QFile::remove(root.filePath(entry));
    }
    const QString tree = work + kBackupSet;
    if (!QFile::exists(tree + u"/.complete"_s)) {
        out << u"making the backup set's 200,000 files under "_s << tree << u" (once)...\n"_s;
        out.flush();
        QDir().mkpath(tree);
        const int status = QProcess::execute(QStringLiteral(LUMEN_PYTHON),
            {u"-c"_s, u"import sys; sys.path.insert(0, sys.argv[1]); import folder_size_bench as b; b.make_tree(sys.argv[2])"_s,
             QStringLiteral(LUMEN_BENCH_DIR), tree});
        if (status != 0)
            return false;
    }
    QDir().mkpath(work + u"/home"_s);
    return true;
}

void writeYear()
{
    writeYearOfLogs(QDate::currentDate().addDays(-kDays), kDays, kRunsPerDay, kAccount, kBackupSet);
}

// The account logged in, its backup set the folder, the folder excluded (so the exclusion pane
// measures it), and the log viewer's period "from the beginning".
void writeAccount()
{
    PropertyList::writeDictionary(BrandPaths::loginDetails(), {{u"CorvaneUsername"_s, kAccount},
                                                               {u"Password"_s, u"secret"_s},
                                                               {u"serverName"_s, u"storage1"_s}});
    PropertyList::write(CorvaneSchedulerController::pathForApplicationFile(14).replace(u"%@"_s, kAccount),
                        QVariantList {kBackupSet}, PropertyList::Format::Xml);
    UserDefaults defaults(MonitorSettings::defaultsDomain());
    defaults.setObject(QVariantMap {{u"User specified Exclusion"_s, QVariantMap {{kBackupSet, 1}}}}, kAccount);
    defaults.setObject(int(LogViewController::FromTheBeginning), u"logsFrom"_s);
    defaults.synchronize();
}

// ---- the engine's end ---------------------------------------------------------------------------

// Per 100 messages: a job starts, 96 progress lines, the job's result, the greeting, the job ends
// (which makes the monitor refresh).
std::pair<QVariant, int> engineMessage(qint64 serial)
{
    switch (serial % 100) {
    case 0: return {u"Start"_s, 4};
    case 50:
        return {QVariantMap {{u"SessionLogPath"_s, u"/Library/Application Support/CorvanePortableforMac/SessionLogs/Backup/B1.log"_s},
                             {u"AccountType"_s, u"Personal"_s}, {u"Username"_s, kAccount},
                             {u"SuccessCount"_s, u"128"_s}, {u"SyncFileCount"_s, u"1024"_s},
                             {u"FailureCount"_s, u"0"_s}, {u"TotalCount"_s, u"1152"_s},
                             {u"PercentageQuota"_s, u"92"_s}, {u"UsedQuota"_s, u"4.6 GB"_s},
                             {u"TotalQuota"_s, u"5 GB"_s}, {u"StatusMessage"_s, u"Backup completed"_s}},
                1};
    case 75: return {u""_s, 3};
    case 99: return {u"Terminate"_s, 4};
    default: return {u"Backing up %1: %2% done"_s.arg(kAccount).arg(serial % 100), 2};
    }
}

class QuietEnd : public MessageSendingModuleDelegate
{
public:
    void didReceiveIPCMessage(const IncomingMessage &) override {}
};

int runEngine(int rate)
{
    QuietEnd quiet;
    MessageSendingModule channel;
    channel.setDelegate(&quiet);
    const QString id = SystemInfo::machineID(), login = SystemInfo::loginName();
    channel.setupConnection(stringWithFormat(u"CorvanePortableAM%@%@"_s, {id, login}),
                            stringWithFormat(u"CorvanePortableMA%@%@"_s, {id, login}));
    QTextStream(stdout) << "ready" << Qt::endl;
    const qint64 start = monoNs();
    qint64 sent = 0;
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        for (const qint64 due = (monoNs() - start) * rate / 1000000000; sent < due; ++sent) {
            const auto [payload, type] = engineMessage(sent);
            channel.sendIPCMessage(payload, type, true);
        }
    });
    tick.start(2);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    QCommandLineParser parser;
    parser.addOptions({{u"seconds"_s, u"Length of each phase."_s, u"s"_s, u"20"_s},
                       {u"rate"_s, u"Messages a second from the engine."_s, u"n"_s, u"100"_s},
                       {u"work"_s, u"Folder of the probe's files (the backup set's kept)."_s, u"dir"_s,
                        u"/tmp/lumen-latency-probe"_s},
                       {u"phase"_s, u"Only this phase: messages, backupset, logs or all (repeatable)."_s, u"name"_s},
                       {u"engine"_s, u"(internal) be the engine's end, sending N a second."_s, u"n"_s}});
    parser.parse(arguments);
    const QString work = parser.value(u"work"_s);
    if (parser.isSet(u"engine"_s)) {
        QCoreApplication app(argc, argv);
        Paths::install(Paths(work, work + u"/home"_s));
        StringTable::install(u"corvane"_s);
        return runEngine(parser.value(u"engine"_s).toInt());
    }

    ProbeApplication app(argc, argv);
    qInstallMessageHandler(quietMessages);
    QApplication::setQuitOnLastWindowClosed(false);
    QTextStream out(stdout);
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
        out << "run me under dbus-run-session: the message channel is on the session bus\n";
        return 2;
    }
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS")); // logind: none here
    if (!prepareWork(work, out))
        return 1;
    Paths::install(Paths(work, work + u"/home"_s));
    StringTable::install(u"corvane"_s);
    writeYear();
    writeAccount();
    StackWatch watch;

    const QList<std::pair<QString, QStringList>> phases {
        {u"messages"_s, {u"messages"_s}},
        {u"backupset"_s, {u"backupset"_s}},
        {u"logs"_s, {u"logs"_s}},
        {u"all"_s, {u"messages"_s, u"backupset"_s, u"logs"_s}}};
    const QStringList wanted = parser.values(u"phase"_s);
    const int seconds = parser.value(u"seconds"_s).toInt();
    const int rate = parser.value(u"rate"_s).toInt();
    out << u"Main-thread stalls of the monitor (1 ms timer; a stall is the time past 1 ms between two "
           "ticks), %1 s a phase, %2 cores\n"_s.arg(seconds).arg(QThread::idealThreadCount());
    QList<PhaseResult> results;
    for (const auto &[name, loads] : phases) {
        if (wanted.isEmpty() || wanted.contains(name))
            results << runPhase(name, loads, seconds, rate, work, out);
    }
    out << u"\nsummary (goal: no stall over 16 ms)\n"_s;
    for (const PhaseResult &result : std::as_const(results))
        out << u"  %1 longest %2 ms, over 16 ms: %3 (running: %4)\n"_s.arg(result.name, -10).arg(result.longestMs, 5, 'f', 1)
                   .arg(result.over16).arg(result.over16Ran);
    return 0;
}
