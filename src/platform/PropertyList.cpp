#include "PropertyList.h"

#include "AtomicFile.h"
#include "Paths.h"
#include "PlatformLog.h"

#include <QDateTime>
#include <QFile>
#include <QStringList>

#include <plist/plist.h>

#include <limits>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// Property-list dates count seconds from 2001-01-01 00:00:00 UTC.
constexpr qint64 kReferenceDateOffset = 978307200;

struct PlistDeleter
{
    void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

QString takeString(char *text)
{
    const QString value = QString::fromUtf8(text);
    free(text);
    return value;
}

QVariant toVariant(plist_t node, int depth);

QVariant dictionaryToVariant(plist_t node, int depth)
{
    QVariantMap map;
    plist_dict_iter it = nullptr;
    plist_dict_new_iter(node, &it);
    for (;;) {
        char *key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, it, &key, &value);
        if (!value) {
            free(key);
            break;
        }
        map.insert(takeString(key), toVariant(value, depth + 1));
    }
    free(it);
    // The XML form of a keyed archive writes a UID as {"CF$UID": n}.
    if (map.size() == 1 && map.contains(u"CF$UID"_s) && map.first().canConvert<qint64>()
        && map.first().typeId() != QMetaType::QString)
        return QVariant::fromValue(PlistUid{map.first().toULongLong()});
    return map;
}

QVariant integerToVariant(plist_t node)
{
    // libplist 2.2 hands every integer over as its 64 bits; the format's integers are signed
    // (the 16-byte form above the signed range is not told apart by this library version).
    uint64_t value = 0;
    plist_get_uint_val(node, &value);
    return QVariant::fromValue(static_cast<qint64>(value));
}

QVariant toVariant(plist_t node, int depth)
{
    if (depth > 512) {
        qCWarning(lcPlatform) << "property list nested too deeply";
        return {};
    }
    switch (plist_get_node_type(node)) {
    case PLIST_DICT:
        return dictionaryToVariant(node, depth);
    case PLIST_ARRAY: {
        // By iterator: indexed access walks the node list from the start each time.
        QVariantList list;
        list.reserve(plist_array_get_size(node));
        plist_array_iter it = nullptr;
        plist_array_new_iter(node, &it);
        for (plist_t item = nullptr;;) {
            plist_array_next_item(node, it, &item);
            if (!item)
                break;
            list.append(toVariant(item, depth + 1));
        }
        free(it);
        return list;
    }
    case PLIST_STRING: {
        // By pointer and length: a damaged file may hold a NUL inside a string.
        uint64_t length = 0;
        const char *text = plist_get_string_ptr(node, &length);
        return QString::fromUtf8(text, qsizetype(length));
    }
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return bool(value);
    }
    case PLIST_UINT:
        return integerToVariant(node);
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value;
    }
    case PLIST_DATE: {
        int32_t sec = 0, usec = 0;
        plist_get_date_val(node, &sec, &usec);
        const qint64 msecs = (qint64(sec) + kReferenceDateOffset) * 1000 + usec / 1000;
        return QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC).toLocalTime();
    }
    case PLIST_DATA: {
        uint64_t length = 0;
        const char *bytes = plist_get_data_ptr(node, &length);
        return QByteArray(bytes, qsizetype(length));
    }
    case PLIST_UID: {
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return QVariant::fromValue(PlistUid{value});
    }
    default:
        return {};
    }
}

plist_t fromVariant(const QVariant &value, int depth);

plist_t dictionaryFromMap(const QVariantMap &map, int depth)
{
    plist_t dict = plist_new_dict();
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        plist_t child = fromVariant(it.value(), depth + 1);
        if (!child) {
            plist_free(dict);
            return nullptr;
        }
        plist_dict_set_item(dict, it.key().toUtf8().constData(), child);
    }
    return dict;
}

plist_t arrayFromList(const QVariantList &list, int depth)
{
    plist_t array = plist_new_array();
    for (const QVariant &item : list) {
        plist_t child = fromVariant(item, depth + 1);
        if (!child) {
            plist_free(array);
            return nullptr;
        }
        plist_array_append_item(array, child);
    }
    return array;
}

plist_t dateFromDateTime(const QDateTime &date)
{
    const qint64 msecs = date.toMSecsSinceEpoch() - kReferenceDateOffset * 1000;
    qint64 sec = msecs / 1000;
    qint64 msec = msecs % 1000;
    if (msec < 0) {
        msec += 1000;
        sec -= 1;
    }
    return plist_new_date(int32_t(sec), int32_t(msec * 1000));
}

plist_t fromVariant(const QVariant &value, int depth)
{
    if (depth > 512)
        return nullptr;
    switch (value.typeId()) {
    case QMetaType::QVariantMap:
        return dictionaryFromMap(value.toMap(), depth);
    case QMetaType::QVariantHash: {
        const QVariantHash hash = value.toHash();
        QVariantMap map;
        for (auto it = hash.cbegin(); it != hash.cend(); ++it)
            map.insert(it.key(), it.value());
        return dictionaryFromMap(map, depth);
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return arrayFromList(value.toList(), depth);
    case QMetaType::QString:
        return plist_new_string(value.toString().toUtf8().constData());
    case QMetaType::Bool:
        return plist_new_bool(value.toBool());
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Char:
    case QMetaType::SChar:
        // Stored as 64-bit two's complement: negatives take eight bytes, as the format wants.
        return plist_new_uint(static_cast<uint64_t>(value.toLongLong()));
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return plist_new_uint(value.toULongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(value.toDouble());
    case QMetaType::QDateTime:
        return dateFromDateTime(value.toDateTime());
    case QMetaType::QByteArray: {
        const QByteArray data = value.toByteArray();
        return plist_new_data(data.constData(), uint64_t(data.size()));
    }
    default:
        if (value.canConvert<PlistUid>() && value.typeId() == qMetaTypeId<PlistUid>())
            return plist_new_uid(value.value<PlistUid>().value);
        qCWarning(lcPlatform) << "no property-list form for a value of type" << value.typeName();
        return nullptr;
    }
}

} // namespace

QVariant PropertyList::fromData(const QByteArray &data)
{
    if (data.isEmpty() || data.size() > std::numeric_limits<uint32_t>::max()) {
        qCWarning(lcPlatform) << "empty or oversized property list";
        return {};
    }
    plist_t root = nullptr;
    plist_from_memory(data.constData(), uint32_t(data.size()), &root);
    if (!root) {
        qCWarning(lcPlatform) << "unreadable property list of" << data.size() << "bytes";
        return {};
    }
    PlistPtr owner(root);
    return toVariant(root, 0);
}

QByteArray PropertyList::toData(const QVariant &value, Format format)
{
    PlistPtr root(fromVariant(value, 0));
    if (!root)
        return {};
    char *bytes = nullptr;
    uint32_t length = 0;
    if (format == Format::Xml)
        plist_to_xml(root.get(), &bytes, &length);
    else
        plist_to_bin(root.get(), &bytes, &length);
    QByteArray out(bytes, qsizetype(length));
    free(bytes);
    return out;
}

QVariant PropertyList::read(const QString &path)
{
    QFile file(Paths::current().resolve(path));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QVariant value = fromData(file.readAll());
    if (!value.isValid())
        qCWarning(lcPlatform) << "unreadable property list" << file.fileName();
    return value;
}

QVariantMap PropertyList::readDictionary(const QString &path)
{
    const QVariant value = read(path);
    if (value.isValid() && value.typeId() != QMetaType::QVariantMap)
        qCWarning(lcPlatform) << "not a dictionary:" << path;
    return value.toMap();
}

QVariantList PropertyList::readArray(const QString &path)
{
    const QVariant value = read(path);
    if (value.isValid() && value.typeId() != QMetaType::QVariantList)
        qCWarning(lcPlatform) << "not an array:" << path;
    return value.typeId() == QMetaType::QVariantList ? value.toList() : QVariantList();
}

bool PropertyList::write(const QString &path, const QVariant &value, Format format, int mode)
{
    const QByteArray data = toData(value, format);
    if (data.isEmpty()) {
        qCWarning(lcPlatform) << "nothing written to" << path;
        return false;
    }
    return AtomicFile::write(path, data, mode);
}

bool PropertyList::writeDictionary(const QString &path, const QVariantMap &dictionary, int mode)
{
    return write(path, dictionary, Format::Xml, mode);
}
