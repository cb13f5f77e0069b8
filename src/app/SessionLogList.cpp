#include "SessionLogList.h"

#include "platform/Paths.h"
#include "product/StringTable.h"

#include <QDir>
#include <QFile>
#include <QLocale>

using namespace Qt::StringLiterals;

SessionLogRow SessionLogList::rowForFile(const QString &folder, const QString &fileName)
{
    SessionLogRow row;
    row.Filepath = folder + u'/' + fileName;
    row.Description = fileName.section(u' ', 0, 0);
    const QString date = fileName.section(u' ', 1);
    row.StartTime = QDateTime::fromString(date, u"MM-dd-yyyy-HH-mm-ss"_s);
    if (!row.StartTime.isValid())
        row.StartTime = QDateTime::fromString(date, u"MM-dd-yyyy-HH-mm"_s);
    return row;
}

void SessionLogList::reload(const QString &folder)
{
    beginResetModel();
    m_rows.clear();
    const QDir listing(Paths::current().resolve(folder));
    // Without QDir::Hidden the listing leaves out every name that starts with ".".
    for (const QString &name : listing.entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name))
        m_rows.append(rowForFile(folder, name));
    endResetModel();
}

void SessionLogList::deleteRows(const QList<int> &rows)
{
    QList<int> deleted;
    for (const int row : rows) {
        if (row >= 0 && row < m_rows.size() && QFile::remove(Paths::current().resolve(m_rows.at(row).Filepath)))
            deleted.append(row);
    }
    std::sort(deleted.begin(), deleted.end(), std::greater<>());
    beginResetModel();
    for (const int row : std::as_const(deleted))
        m_rows.removeAt(row);
    endResetModel();
}

int SessionLogList::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int SessionLogList::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant SessionLogList::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size() || role != Qt::DisplayRole)
        return {};
    const SessionLogRow &row = m_rows.at(index.row());
    if (index.column() == DescriptionColumn)
        return row.Description;
    return row.StartTime.isValid() ? QLocale().toString(row.StartTime, QLocale::ShortFormat) : QString();
}

QVariant SessionLogList::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return section == DescriptionColumn ? SLLocalizedString(u"Description"_s) : SLLocalizedString(u"Start Time"_s);
}
