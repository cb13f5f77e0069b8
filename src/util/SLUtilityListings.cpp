// SLUtility: the listing formats the backup engine writes for a remote folder, the process-wide
// caches of what is a directory and what size the server reported, and the comparators.

#include "SLUtility.h"

#include "product/MonitorSettings.h"
#include "platform/FoundationValues.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"
#include "platform/UserDefaults.h"
#include "StringExtensions.h"

#include <QHash>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString kDirectory = u"directory"_s;
const QString kNotDirectory = u"not directory"_s;

// Main-thread state, as the listings are parsed there.
QHash<QString, QString> &directoryCheckList()
{
    static QHash<QString, QString> list;
    return list;
}

QHash<QString, QString> &sizeCheckList()
{
    static QHash<QString, QString> list;
    return list;
}

QList<QVariantMap> &keptServerFiles()
{
    static QList<QVariantMap> files;
    return files;
}

QString fullRemotePath(const QString &folder, const QString &name)
{
    return folder == "/"_L1 ? u"/"_s + name : folder + u'/' + name;
}

bool isServerSideName(const QString &name)
{
    static const QStringList names{u"filelist_final.ldb"_s, u"filelist.ldb"_s, u"Encrypted_Data"_s,
                                   u"backup_restore_logs_do_not_delete"_s};
    return names.contains(name) || name.endsWith(u".idxlist"_s);
}

// The text after the first "[" of a bracketed piece (the whole piece without one).
QString bracketValue(const QString &piece)
{
    return piece.mid(SLUtility::LocateCharecter(piece, u'[') + 1);
}

// The path pieces of a bracketed line, from `first` up to the last piece (exclusive), each
// taken after its "[", joined again with "]" so that a "]" inside a name survives.
QString joinPathPieces(const QStringList &pieces, qsizetype first)
{
    QStringList values;
    for (qsizetype i = first; i < pieces.size() - 1; ++i)
        values.append(bracketValue(pieces.at(i)));
    return values.join(u']');
}

QStringList nonEmptyTokens(const QString &line)
{
    return line.split(u' ', Qt::SkipEmptyParts);
}

// Everything from the `first` non-empty token on, with the blanks between kept as they were.
QString tailFromToken(const QString &line, int first)
{
    int seen = 0;
    for (qsizetype i = 0; i < line.size(); ++i) {
        if (line.at(i) != u' ' && (i == 0 || line.at(i - 1) == u' ')) {
            if (seen++ == first)
                return line.mid(i);
        }
    }
    return QString();
}

int compareText(const QString &a, const QString &b, Qt::CaseSensitivity cs)
{
    const int order = QString::compare(a, b, cs);
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

int directoriesFirst(const QString &a, const QString &b)
{
    const bool aDir = SLUtility::isRemoteDirectory(a), bDir = SLUtility::isRemoteDirectory(b);
    if (aDir != bDir)
        return aDir ? -1 : 1;
    return compareText(a, b, Qt::CaseInsensitive);
}

} // namespace

bool SLUtility::isRemoteDirectory(const QString &path)
{
    return directoryCheckList().value(path) == kDirectory;
}

QString SLUtility::remoteFileSize(const QString &path)
{
    return sizeCheckList().value(path);
}

void SLUtility::setRemoteSize(const QString &size, const QString &path)
{
    sizeCheckList().insert(path, size);
}

void SLUtility::setRemoteDirectoryState(const QString &state, const QString &path)
{
    directoryCheckList().insert(path, state);
}

QList<QVariantMap> SLUtility::serverFiles()
{
    return keptServerFiles();
}

void SLUtility::setDirNode(const QString &type, const QString &size, const QString &name, const QString &parent)
{
    const QString path = fullRemotePath(parent, name);
    setRemoteSize(size, path);
    const bool directory = type.startsWith(u'd') || type.startsWith(u'0') || type.startsWith(u'D');
    setRemoteDirectoryState(directory ? kDirectory : kNotDirectory, path);
}

QList<QVariantMap> SLUtility::collectServerFiles(const QString &text, const QString &)
{
    // The key ends with a blank: that is its name. Absent, hidden files are shown.
    const QVariant setting = UserDefaults(MonitorSettings::defaultsDomain()).objectForKey(u"ShowHiddenFilesKey "_s);
    const bool showHidden = !setting.isValid() || FoundationValues::boolValue(setting);
    QList<QVariantMap> records;
    for (const QString &record : text.split(u"||"_s, Qt::SkipEmptyParts)) {
        const qsizetype marker = record.indexOf(u"//"_s);
        if (marker < 0)
            continue;
        const QStringList fields = record.mid(marker + 2).split(u'|');
        if (fields.size() != 4)
            continue;
        const QString path = u"/"_s + fields.at(0);
        const QString name = lastPathComponent(path);
        if ((!showHidden && name.startsWith(u'.')) || isServerSideName(name))
            continue;
        records.append({{u"filePath"_s, name}, {u"fileSize"_s, fields.at(1)}, {u"fileModificationDate"_s, fields.at(2)}});
        setRemoteSize(fields.at(1), path);
        setRemoteDirectoryState(fields.at(3).startsWith(u'4') ? kDirectory : kNotDirectory, path);
    }
    keptServerFiles() = records;
    return records;
}

QList<QVariantMap> SLUtility::collectServerFiles(const QString &folder, const QString &listingFile, bool)
{
    QList<QVariantMap> records;
    for (const QVariant &entry : PropertyList::readArray(listingFile)) {
        const QString line = entry.toString();
        QVariantMap record;
        if (line.contains(u"/BackUp_nightly."_s)) {
            const QStringList parts = line.split(u'/');
            if (parts.size() > 1) {
                const QString name = parts.at(1).split(u'"').first();
                records.append({{u"filePath"_s, name}, {u"fileSize"_s, u" "_s}, {u"fileModificationDate"_s, u" "_s}});
                setRemoteDirectoryState(kDirectory, fullRemotePath(folder, name));
            }
            continue;
        }
        const bool directory = line.startsWith(u'd');
        if (!directory && !line.startsWith(u'-'))
            continue;
        QString name;
        if (line.size() > 43) {
            name = line.mid(43);
            if (!name.startsWith(u'.')) {
                record.insert(u"filePath"_s, name);
                const QString path = fullRemotePath(folder, name);
                setRemoteDirectoryState(directory ? kDirectory : kNotDirectory, path);
                if (!directory)
                    setRemoteSize(line.mid(10, 13), path); // columns 10-22, one wider than shown
            }
        }
        const bool visible = !name.startsWith(u'.');
        if (line.size() > 23 && visible)
            record.insert(u"fileModificationDate"_s, line.mid(23, 19));
        if (line.size() > 11 && visible)
            record.insert(u"fileSize"_s, line.mid(11, 12));
        if (record.contains(u"filePath"_s))
            records.append(record);
    }
    keptServerFiles() = records;
    return records;
}

QList<QVariantMap> SLUtility::collectNexaServerFiles(const QString &folder, const QString &text)
{
    QList<QVariantMap> records;
    for (const QString &line : text.split(u'\n', Qt::SkipEmptyParts)) {
        const QStringList pieces = line.split(u']');
        if (pieces.size() <= 5)
            continue;
        const QString type = bracketValue(pieces.at(0));
        if (!type.startsWith(u'd') && !type.startsWith(u'-'))
            continue;
        const QString size = bracketValue(pieces.at(1));
        const QString version = bracketValue(pieces.at(2));
        const QString date = bracketValue(pieces.at(3));
        const QString path = joinPathPieces(pieces, 4);
        const QStringList parts = path.split(u'/');
        const QString name = parts.size() > 1 ? parts.at(1) : path;

        QVariantMap record{{u"Version"_s, version}};
        const bool hidden = name.startsWith(u'.') || name == "backup_restore_logs_do_not_delete"_L1
                            || name.endsWith(u".idxlist"_s);
        if (!hidden) {
            record.insert(u"filePath"_s, name);
            const QString full = fullRemotePath(folder, name);
            if (type.startsWith(u'-')) {
                setRemoteDirectoryState(kNotDirectory, full);
                record.insert(u"fileSize"_s, size);
                setRemoteSize(size, full);
            } else {
                setRemoteDirectoryState(kDirectory, full);
            }
        }
        if (line.size() > 23 && !name.startsWith(u'.'))
            record.insert(u"fileModificationDate"_s, date);
        if (record.value(u"filePath"_s).toString() == name && record.contains(u"filePath"_s))
            records.append(record);
    }
    return records;
}

SLUtility::SearchEntry SLUtility::parsedEntriesForInfo(const QString &line)
{
    const QStringList tokens = nonEmptyTokens(line);
    SearchEntry out;
    out.fileSize = tokens.value(1);
    out.filePath = tailFromToken(line, 4);
    if (out.filePath.isNull())
        out.filePath = u""_s;
    return out;
}

SLUtility::SearchEntry SLUtility::parsedEntriesForOutputInfoSearch(const QString &line)
{
    const QStringList tokens = nonEmptyTokens(line);
    SearchEntry out;
    out.fileSize = tokens.value(1);
    out.fileModifiedDate = tokens.value(2);
    if (tokens.size() >= 5)
        out.filePath = tailFromToken(line, 4);
    return out;
}

SLUtility::SearchEntry SLUtility::parsedEntriesForOutputInfoSearch(const QString &line, bool forNexaUser)
{
    SearchEntry out;
    const QStringList pieces = line.split(u']');
    if (pieces.size() < 5)
        return out;
    const int pathFrom = forNexaUser ? 5 : 3;
    out.filePermission = bracketValue(pieces.at(0));
    out.fileSize = bracketValue(pieces.at(1));
    if (forNexaUser) {
        out.version1 = bracketValue(pieces.at(2));
        out.fileModifiedDate = bracketValue(pieces.at(3));
    } else {
        out.fileModifiedDate = bracketValue(pieces.at(2));
    }
    out.filePath = joinPathPieces(pieces, pathFrom);
    if (!out.fileSize.isEmpty() && !out.filePath.isEmpty())
        setRemoteSize(out.fileSize, out.filePath);
    return out;
}

SLUtility::SearchEntry SLUtility::parsedEntriesForOutputInfoSearch1(const QString &line)
{
    SearchEntry out;
    const QStringList pieces = line.split(u']');
    if (pieces.size() < 5)
        return out;
    out.fileModifiedDate = bracketValue(pieces.at(0));
    out.fileSize = bracketValue(pieces.at(1));
    out.version1 = bracketValue(pieces.at(2));
    out.filePath = joinPathPieces(pieces, 4);
    return out;
}

int SLUtility::sortRemoteFilesAndFolder(const QVariantMap &a, const QVariantMap &b, const QString &folder)
{
    const auto full = [&](const QVariantMap &record) {
        const QString name = record.value(u"filePath"_s).toString();
        return folder.isEmpty() ? u"/"_s + name : folder + u'/' + name;
    };
    return directoriesFirst(full(a), full(b));
}

int SLUtility::sortSearchedFiles(const QVariantMap &a, const QVariantMap &b)
{
    return directoriesFirst(a.value(u"filePath"_s).toString(), b.value(u"filePath"_s).toString());
}

int SLUtility::sortLocalFilesAndFolder(const QString &a, const QString &b, const QString &folder)
{
    const QString pathA = folder + u'/' + a, pathB = folder + u'/' + b;
    const bool aFile = isMacDirectory(pathA), bFile = isMacDirectory(pathB);
    if (aFile != bFile)
        return aFile ? 1 : -1; // plain folders first
    return compareText(pathA, pathB, Qt::CaseInsensitive);
}

int SLUtility::sortFiles(const QString &a, const QString &b, const QString &folder)
{
    return compareText(folder + u'/' + a, folder + u'/' + b, Qt::CaseSensitive);
}

int SLUtility::sortSnapshotObjects(const QVariantMap &a, const QVariantMap &b)
{
    return compareText(a.value(u"filePath"_s).toString(), b.value(u"filePath"_s).toString(), Qt::CaseSensitive);
}

int SLUtility::sortByDate(const QVariantMap &a, const QVariantMap &b)
{
    // The second against the first: the newest comes first.
    const QVariant first = a.value(u"StartTime"_s), second = b.value(u"StartTime"_s);
    const int order = QVariant::compare(second, first) == QPartialOrdering::Less      ? -1
                      : QVariant::compare(second, first) == QPartialOrdering::Greater ? 1
                                                                                      : 0;
    return order;
}

QString SLUtility::snapshotVersion(const QString &name)
{
    if (!name.contains(u"BackUp_nightly."_s))
        return u""_s;
    const QStringList parts = name.split(u'_');
    return parts.value(1).split(u'.').value(1);
}

void SLUtility::moveSnapshotFoldersToTop(QList<QVariantMap> &records)
{
    const auto rank = [](const QVariantMap &record) {
        const QString name = record.value(u"filePath"_s).toString();
        return name.startsWith(u"BackUp_nightly"_s) ? 0 : name.endsWith(u"_MAC"_s) ? 1 : 2;
    };
    std::stable_sort(records.begin(), records.end(),
                     [&](const QVariantMap &a, const QVariantMap &b) { return rank(a) < rank(b); });
}

QList<QVariantMap> &SLUtility::sortMacFoldersInSnapshots(QList<QVariantMap> &records)
{
    const auto mac = [](const QVariantMap &record) {
        return record.value(u"filePath"_s).toString().endsWith(u"_MAC"_s);
    };
    std::stable_partition(records.begin(), records.end(), mac);
    return records;
}
