#pragma once

#include "util/FolderSizer.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <memory>

// Adds up the sizes of a list of excluded items on a pool thread (a large folder takes long,
// and the preferences window must stay responsive), telling the main thread how far it got.
// Starting again abandons the previous run: its result is dropped.
class ExcludedFolderSizes : public QObject
{
    Q_OBJECT
public:
    // Measures one real path; FolderSizer by default. Called on a pool thread.
    using Measure = std::function<FolderSizer::Totals(const QString &path, const FolderSizer::Progress &progress)>;

    explicit ExcludedFolderSizes(QObject *parent = nullptr, Measure measure = {});
    ~ExcludedFolderSizes() override;

    void start(const QStringList &realPaths);
    bool isRunning() const { return m_run != nullptr; }

Q_SIGNALS:
    void progress(quint64 bytes, quint64 entries);
    void finished(quint64 bytes, int items);

private:
    struct Run;
    void poll();

    Measure m_measure;
    std::shared_ptr<Run> m_run;
    QTimer m_poll;
};
