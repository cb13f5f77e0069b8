#include "PropertyList.h"

#include "AtomicFile.h"
#include "BinaryPlist.h"
#include "FileContents.h"
#include "PlatformLog.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QStringList>

#include <plist/plist.h>

#include <limits>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int kMaxDepth = 512;

// Property-list dates count seconds from 2001-01-01 00:00:00 UTC.
constexpr qint64 kReferenceDateOffset = 978307200;

struct PlistDeleter {
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

QVariant uidOrMap(const QVariantMap &map);

// Only XML reaches here, and the library's XML reader never yields a key with U+0000 in it once
// raw NUL bytes are refused (a character reference to U+0000 fails the parse).
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
    return uidOrMap(map);
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
    if (depth > kMaxDepth) {
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
        return QVariant::fromValue(PlistUid {value});
    }
    default:
        return {};
    }
}

// The XML form of a keyed archive writes a UID as {"CF$UID": n}.
QVariant uidOrMap(const QVariantMap &map)
{
    if (map.size() == 1 && map.contains(u"CF$UID"_s) && map.first().canConvert<qint64>()
        && map.first().typeId() != QMetaType::QString)
        return QVariant::fromValue(PlistUid {map.first().toULongLong()});
    return map;
}

namespace BP = BinaryPlist;

// Binary files are read with our own reader rather than the library's: its keys are C strings
// (a key holding U+0000 trips an assertion), and it expands containers shared by reference into
// separate copies without bound. Here every container is decoded once, keys and strings are read
// by length, and the whole tree is held to BinaryPlist::Cost.
class BinaryTree {
public:
    explicit BinaryTree(const BP::Reader &plist)
        : m_plist(plist)
    {
    }

    QVariant root(QString *error)
    {
        const QVariant value = node(m_plist.topObject(), 0);
        *error = m_error;
        return m_error.isEmpty() ? value : QVariant();
    }

private:
    struct Decoded {
        QVariant value;
        BP::Cost cost;
    };

    QVariant fail(const QString &why)
    {
        if (m_error.isEmpty())
            m_error = why;
        return {};
    }

    void spend(const BP::Cost &cost)
    {
        m_spent.add(cost);
        if (m_spent.exceeded())
            fail(u"the property list stands for "_s + BP::Cost::exceededText());
    }

    QVariant node(quint64 index, int depth)
    {
        if (!m_error.isEmpty())
            return {};
        if (depth > kMaxDepth)
            return fail(u"nested too deeply"_s);
        const BP::Object object = m_plist.object(index);
        if (object.type == BP::Type::Array || object.type == BP::Type::Dict)
            return container(index, object, depth);
        spend({1, quint64(object.count)});
        if (const std::optional<QVariant> value = m_plist.scalar(object)) {
            if (object.type != BP::Type::Date)
                return *value;
            // Calendar dates are local, as the platform shows them.
            return value->isValid() ? QVariant(value->toDateTime().toLocalTime())
                                    : fail(u"a date out of range"_s);
        }
        if (object.type == BP::Type::Uid)
            return QVariant::fromValue(PlistUid {quint64(object.integer)});
        return fail(u"a malformed object"_s);
    }

    QVariant container(quint64 index, const BP::Object &object, int depth)
    {
        const auto found = m_done.constFind(index);
        if (found != m_done.cend()) {
            spend(found->cost);
            return found->value;
        }
        if (m_open.contains(index))
            return fail(u"a container that contains itself"_s);
        m_open.insert(index);
        const BP::Cost before = m_spent;
        spend({1, 0});
        QVariant value;
        if (object.type == BP::Type::Array) {
            QVariantList list;
            list.reserve(object.count);
            for (qsizetype i = 0; i < object.count && m_error.isEmpty(); ++i)
                list.append(node(m_plist.reference(object, i), depth + 1));
            value = list;
        } else {
            value = dictionary(object, depth);
        }
        m_open.remove(index);
        m_done.insert(index, {value, m_spent.since(before)});
        return m_error.isEmpty() ? value : QVariant();
    }

    QVariant dictionary(const BP::Object &object, int depth)
    {
        QVariantMap map;
        for (qsizetype i = 0; i < object.count && m_error.isEmpty(); ++i) {
            const BP::Object key = m_plist.object(m_plist.reference(object, i));
            if (key.type != BP::Type::AsciiString && key.type != BP::Type::Utf16String)
                return fail(u"a dictionary key that is not a string"_s);
            spend({1, quint64(key.count)});
            map.insert(m_plist.string(key),
                       node(m_plist.reference(object, object.count + i), depth + 1));
        }
        return uidOrMap(map);
    }

    const BP::Reader &m_plist;
    QHash<quint64, Decoded> m_done;
    QSet<quint64> m_open;
    BP::Cost m_spent;
    QString m_error;
};

QVariant fromBinary(const QByteArray &data)
{
    BP::Reader plist;
    QString error;
    QVariant value;
    if (plist.open(data, &error))
        value = BinaryTree(plist).root(&error);
    if (!error.isEmpty())
        qCWarning(lcPlatform).noquote() << "unreadable binary property list:" << error;
    return value;
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
    if (data.startsWith("bplist"))
        return fromBinary(data);
    if (data.contains('\0')) {
        qCWarning(lcPlatform) << "a NUL byte in an XML property list";
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
    // Regular files only, and within a cap: a FIFO or a device in a file's place never blocks.
    const FileContents file = FileContents::read(path);
    if (!file.ok()) {
        if (file.status() != FileContents::Status::Missing)
            qCWarning(lcPlatform).noquote() << file.errorString();
        return {};
    }
    // An empty file is a file created to be filled later (the application-status file is made
    // so): it reads as nothing, like a missing one, without a warning.
    if (file.data().isEmpty())
        return {};
    const QVariant value = fromData(file.data());
    if (!value.isValid())
        qCWarning(lcPlatform) << "unreadable property list" << path;
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
