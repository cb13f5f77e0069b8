#include "FolderSizer.h"

#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

constexpr size_t kBufferSize = 64 * 1024;
constexpr int kMaxThreads = 32;

// An open folder, kept open while any of its subfolders still waits to be opened through it.
struct Folder
{
    explicit Folder(int descriptor) : fd(descriptor) {}
    ~Folder() { ::close(fd); }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;
    int fd;
};

struct Job
{
    std::shared_ptr<Folder> parent;
    std::string name;
};

struct linux_dirent64
{
    ino64_t d_ino;
    off64_t d_off;
    unsigned short d_reclen;
    unsigned char d_type;
    char d_name[1]; // the name runs on past the end
};

class Scan
{
public:
    explicit Scan(int threads) : m_threads(threads) {}

    void push(Job job)
    {
        {
            std::lock_guard lock(m_mutex);
            m_jobs.push_back(std::move(job));
            ++m_pending;
        }
        m_wake.notify_one();
    }

    // Runs until every folder has been read.
    void work()
    {
        std::vector<char> buffer(kBufferSize);
        for (;;) {
            Job job;
            {
                std::unique_lock lock(m_mutex);
                m_wake.wait(lock, [&] { return !m_jobs.empty() || m_pending == 0; });
                if (m_jobs.empty())
                    return;
                job = std::move(m_jobs.back()); // last in, first out: depth first, few open folders
                m_jobs.pop_back();
            }
            readFolder(job, buffer);
            job.parent.reset();
            bool finished = false;
            {
                std::lock_guard lock(m_mutex);
                finished = --m_pending == 0;
            }
            if (finished)
                m_wake.notify_all();
        }
    }

    std::atomic<quint64> bytes{0};
    std::atomic<quint64> entries{0};
    std::atomic<quint64> unreadable{0};

private:
    void readFolder(const Job &job, std::vector<char> &buffer)
    {
        const int fd = ::openat(job.parent->fd, job.name.c_str(),
                                O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NOATIME);
        const int opened = fd >= 0 ? fd
                                   : ::openat(job.parent->fd, job.name.c_str(),
                                              O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (opened < 0) {
            unreadable.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        auto folder = std::make_shared<Folder>(opened);
        quint64 localBytes = 0, localEntries = 0;
        for (;;) {
            const long read = ::syscall(SYS_getdents64, opened, buffer.data(), buffer.size());
            if (read <= 0)
                break; // end, or an error part-way: keep what was read
            for (long at = 0; at < read;) {
                const auto *entry = reinterpret_cast<const linux_dirent64 *>(buffer.data() + at);
                at += entry->d_reclen;
                const char *name = entry->d_name;
                if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
                    continue;
                ++localEntries;
                if (entry->d_type == DT_DIR) {
                    push({folder, name});
                    continue;
                }
                struct stat info;
                if (::fstatat(opened, name, &info, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) != 0)
                    continue; // gone since the listing
                if (entry->d_type == DT_UNKNOWN && S_ISDIR(info.st_mode)) {
                    push({folder, name});
                    continue;
                }
                localBytes += quint64(info.st_size);
            }
        }
        bytes.fetch_add(localBytes, std::memory_order_relaxed);
        entries.fetch_add(localEntries, std::memory_order_relaxed);
    }

    int m_threads;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<Job> m_jobs;
    quint64 m_pending = 0;
};

bool isRotational(const QString &path)
{
    struct stat info;
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return false;
    const QString device = QStringLiteral("/sys/dev/block/%1:%2").arg(major(info.st_dev)).arg(minor(info.st_dev));
    const QString node = QFileInfo(device).canonicalFilePath();
    if (node.isEmpty())
        return false;
    for (const QString &dir : {node, node + QStringLiteral("/..")}) {
        QFile flag(dir + QStringLiteral("/queue/rotational"));
        if (flag.open(QIODevice::ReadOnly))
            return flag.readAll().trimmed() == "1";
    }
    return false;
}

} // namespace

int FolderSizer::defaultThreadCount(const QString &path)
{
    const int cores = qMax(1, QThread::idealThreadCount());
    if (isRotational(path))
        return qMin(2, cores);
    return qMin(kMaxThreads, 2 * cores);
}

FolderSizer::Totals FolderSizer::measure(const QString &path, const Progress &progress,
                                         int progressIntervalMs) const
{
    Totals totals;
    const QByteArray native = QFile::encodeName(path);
    struct stat info;
    if (::lstat(native.constData(), &info) != 0)
        return totals;
    if (!S_ISDIR(info.st_mode)) {
        totals.bytes = quint64(info.st_size);
        return totals;
    }
    const int rootFd = ::open(native.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (rootFd < 0) {
        totals.unreadableFolders = 1;
        return totals;
    }
    const int threads = qBound(1, m_threads > 0 ? m_threads : defaultThreadCount(path), kMaxThreads);
    Scan scan(threads);
    scan.push({std::make_shared<Folder>(rootFd), "."});

    std::vector<std::thread> pool;
    for (int i = 0; i < threads; ++i)
        pool.emplace_back([&scan] { scan.work(); });
    if (progress) {
        std::atomic<bool> done{false};
        std::thread watcher([&] {
            for (auto &thread : pool)
                thread.join();
            done = true;
        });
        auto last = std::chrono::steady_clock::now();
        while (!done) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            if (std::chrono::steady_clock::now() - last >= std::chrono::milliseconds(progressIntervalMs)) {
                last = std::chrono::steady_clock::now();
                progress({scan.bytes.load(), scan.entries.load(), scan.unreadable.load()});
            }
        }
        watcher.join();
        // The last report is the result, so a display never stops short of the total.
        progress({scan.bytes.load(), scan.entries.load(), scan.unreadable.load()});
    } else {
        for (auto &thread : pool)
            thread.join();
    }
    totals.bytes = scan.bytes.load();
    totals.entries = scan.entries.load();
    totals.unreadableFolders = scan.unreadable.load();
    return totals;
}
