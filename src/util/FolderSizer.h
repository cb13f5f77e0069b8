#pragma once

#include <QString>

#include <functional>

// The logical size of everything inside a folder, fast: raw directory reads into a per-thread
// buffer, the entry type from the directory record so folders and links need no stat of their
// own kind, one stat per other entry relative to its folder's descriptor, and folders shared out
// to a small pool of threads. A folder counts what is inside it; every other entry (links not
// followed, hard links at every path) its own size; a folder that cannot be read counts nothing.
class FolderSizer
{
public:
    struct Totals
    {
        quint64 bytes = 0;
        quint64 entries = 0;         // every entry seen, folders included
        quint64 unreadableFolders = 0;
    };
    using Progress = std::function<void(const Totals &soFar)>;

    // `threads` 0 picks defaultThreadCount() for the path measured.
    explicit FolderSizer(int threads = 0) : m_threads(threads) {}

    // `path` is a real path. A path that is not a folder measures its own size (links not
    // followed); a missing one measures 0. `progress` is called on the calling thread about every
    // `progressIntervalMs` while the scan runs.
    Totals measure(const QString &path, const Progress &progress = {}, int progressIntervalMs = 250) const;

    // Twice the cores, at most 32; one or two on a rotational disk, where seeks dominate.
    static int defaultThreadCount(const QString &path);

private:
    int m_threads;
};
