#include "KeyedArchive.h"

#include "PlatformLog.h"
#include "PlistUid.h"
#include "PropertyList.h"

#include <QHash>
#include <QSet>
#include <QTimeZone>

#include <cmath>

using namespace Qt::StringLiterals;

namespace KeyedArchive {

namespace {

// Archive times count seconds from 2001-01-01 00:00:00 UTC.
constexpr qint64 kReferenceDateMSecs = 978307200000LL;
constexpr int kMaxDepth = 256;

bool isScalar(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

double secondsSinceReference(const QDateTime &time)
{
    return double(time.toMSecsSinceEpoch() - kReferenceDateMSecs) / 1000.0;
}

QDateTime dateFromSeconds(double seconds)
{
    if (!std::isfinite(seconds))
        return {};
    return QDateTime::fromMSecsSinceEpoch(kReferenceDateMSecs + qint64(std::llround(seconds * 1000.0)))
        .toLocalTime();
}

class Writer
{
public:
    PlistUid encode(const QVariant &value)
    {
        switch (value.typeId()) {
        case QMetaType::UnknownType:
            return PlistUid{0};
        case QMetaType::QString:
            return encodeString(value.toString());
        case QMetaType::QVariantList:
        case QMetaType::QStringList:
            return encodeArray(value.toList());
        case QMetaType::QVariantMap:
            return encodeDictionary(value.toMap());
        case QMetaType::QDateTime:
            return encodeObject({{u"NSDate"_s, u"NSObject"_s},
                                 {{u"NS.time"_s, secondsSinceReference(value.toDateTime())}}});
        case QMetaType::QByteArray:
            return append(value);
        default:
            break;
        }
        if (value.typeId() == qMetaTypeId<ArchivedObject>())
            return encodeObject(value.value<ArchivedObject>());
        if (isScalar(value))
            return append(value.typeId() == QMetaType::Bool || value.typeId() == QMetaType::Double
                              ? value
                              : QVariant(value.toLongLong()));
        qCWarning(lcPlatform) << "archived a value of type" << value.typeName() << "as nil";
        return PlistUid{0};
    }

    QVariantList takeObjects() { return std::move(m_objects); }

private:
    PlistUid append(const QVariant &value)
    {
        m_objects.append(value);
        return PlistUid{quint64(m_objects.size() - 1)};
    }

    // Equal strings share one entry, as they may in the platform's own archives.
    PlistUid encodeString(const QString &text)
    {
        const auto found = m_strings.constFind(text);
        if (found != m_strings.cend())
            return PlistUid{found.value()};
        const PlistUid uid = append(text);
        m_strings.insert(text, uid.value);
        return uid;
    }

    PlistUid classUid(const QStringList &classes)
    {
        const QString key = classes.join(u'\n');
        const auto found = m_classes.constFind(key);
        if (found != m_classes.cend())
            return PlistUid{found.value()};
        const PlistUid uid = append(QVariantMap{{u"$classname"_s, classes.value(0)},
                                                {u"$classes"_s, classes}});
        m_classes.insert(key, uid.value);
        return uid;
    }

    // The object's slot is taken before its members, so that it comes first as in Foundation's
    // own files.
    PlistUid encodeArray(const QVariantList &list)
    {
        const PlistUid uid = append(QVariant());
        QVariantList refs;
        refs.reserve(list.size());
        for (const QVariant &item : list)
            refs.append(QVariant::fromValue(encode(item)));
        m_objects[qsizetype(uid.value)] = QVariantMap{
            {u"$class"_s, QVariant::fromValue(
                             classUid({u"NSMutableArray"_s, u"NSArray"_s, u"NSObject"_s}))},
            {u"NS.objects"_s, refs}};
        return uid;
    }

    PlistUid encodeDictionary(const QVariantMap &map)
    {
        const PlistUid uid = append(QVariant());
        QVariantList keys, values;
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            keys.append(QVariant::fromValue(encodeString(it.key())));
            values.append(QVariant::fromValue(encode(it.value())));
        }
        m_objects[qsizetype(uid.value)] = QVariantMap{
            {u"$class"_s,
             QVariant::fromValue(classUid(
                 {u"NSMutableDictionary"_s, u"NSDictionary"_s, u"NSObject"_s}))},
            {u"NS.keys"_s, keys},
            {u"NS.objects"_s, values}};
        return uid;
    }

    PlistUid encodeObject(const ArchivedObject &object)
    {
        const PlistUid uid = append(QVariant());
        QVariantMap dictionary;
        dictionary.insert(u"$class"_s, QVariant::fromValue(classUid(object.classes)));
        for (auto it = object.fields.cbegin(); it != object.fields.cend(); ++it) {
            const QVariant &value = it.value();
            dictionary.insert(it.key(), isScalar(value) ? value : QVariant::fromValue(encode(value)));
        }
        m_objects[qsizetype(uid.value)] = dictionary;
        return uid;
    }

    QVariantList m_objects{u"$null"_s};
    QHash<QString, quint64> m_strings;
    QHash<QString, quint64> m_classes;
};

class Reader
{
public:
    explicit Reader(QVariantList objects) : m_objects(std::move(objects)) {}

    QVariant decodeReference(const QVariant &reference, int depth)
    {
        if (reference.typeId() != qMetaTypeId<PlistUid>()) {
            fail(u"a reference is not a UID"_s);
            return {};
        }
        return decode(reference.value<PlistUid>().value, depth);
    }

    QString error() const { return m_error; }

private:
    void fail(const QString &why)
    {
        if (m_error.isEmpty())
            m_error = why;
    }

    QVariant decode(quint64 uid, int depth)
    {
        if (!m_error.isEmpty() || uid == 0)
            return {};
        if (uid >= quint64(m_objects.size())) {
            fail(u"reference %1 points past the object table"_s.arg(uid));
            return {};
        }
        if (depth > kMaxDepth) {
            fail(u"objects nested too deeply"_s);
            return {};
        }
        const auto cached = m_cache.constFind(uid);
        if (cached != m_cache.cend())
            return cached.value();
        // A reference back to an object still being decoded (a cycle) reads as nil.
        if (m_inProgress.contains(uid))
            return {};
        m_inProgress.insert(uid);
        const QVariant value = decodeRaw(m_objects.at(qsizetype(uid)), depth);
        m_inProgress.remove(uid);
        m_cache.insert(uid, value);
        return value;
    }

    QVariant decodeRaw(const QVariant &raw, int depth)
    {
        if (raw.typeId() != QMetaType::QVariantMap) {
            if (raw.typeId() == QMetaType::QVariantList || raw.typeId() == qMetaTypeId<PlistUid>())
                fail(u"a bare array or reference in the object table"_s);
            return raw; // strings, numbers, booleans, data and plain dates stand for themselves
        }
        const QVariantMap object = raw.toMap();
        const QStringList classes = classChain(object.value(u"$class"_s));
        if (classes.isEmpty()) {
            fail(u"an object without a class"_s);
            return {};
        }
        return decodeInstance(classes, object, depth);
    }

    QStringList classChain(const QVariant &reference)
    {
        if (reference.typeId() != qMetaTypeId<PlistUid>())
            return {};
        const quint64 uid = reference.value<PlistUid>().value;
        if (uid == 0 || uid >= quint64(m_objects.size()))
            return {};
        const QVariantMap info = m_objects.at(qsizetype(uid)).toMap();
        QStringList classes = info.value(u"$classes"_s).toStringList();
        if (classes.isEmpty() && info.value(u"$classname"_s).typeId() == QMetaType::QString)
            classes.append(info.value(u"$classname"_s).toString());
        return classes;
    }

    QVariantList decodeList(const QVariant &refs, int depth)
    {
        QVariantList list;
        const QVariantList items = refs.toList();
        list.reserve(items.size());
        for (const QVariant &ref : items)
            list.append(decodeReference(ref, depth + 1));
        return list;
    }

    QVariant decodeInstance(const QStringList &classes, const QVariantMap &object, int depth)
    {
        const QString name = classes.first();
        if (name == "NSArray"_L1 || name == "NSMutableArray"_L1 || name == "NSSet"_L1
            || name == "NSMutableSet"_L1 || name == "NSOrderedSet"_L1
            || name == "NSMutableOrderedSet"_L1)
            return decodeList(object.value(u"NS.objects"_s), depth);
        if (name == "NSDictionary"_L1 || name == "NSMutableDictionary"_L1) {
            const QVariantList keys = decodeList(object.value(u"NS.keys"_s), depth);
            const QVariantList values = decodeList(object.value(u"NS.objects"_s), depth);
            if (keys.size() != values.size())
                fail(u"a dictionary with more keys than values"_s);
            QVariantMap map;
            for (qsizetype i = 0; i < qMin(keys.size(), values.size()); ++i)
                map.insert(keys.at(i).toString(), values.at(i));
            return map;
        }
        if (name == "NSDate"_L1 || name == "NSCalendarDate"_L1)
            return dateFromSeconds(object.value(u"NS.time"_s).toDouble());
        if (name == "NSString"_L1 || name == "NSMutableString"_L1)
            return fieldValue(object.value(u"NS.string"_s), depth).toString();
        if (name == "NSData"_L1 || name == "NSMutableData"_L1)
            return fieldValue(object.value(u"NS.data"_s), depth).toByteArray();
        if (name == "NSNull"_L1)
            return {};
        ArchivedObject instance{classes, {}};
        for (auto it = object.cbegin(); it != object.cend(); ++it) {
            if (it.key() != "$class"_L1)
                instance.fields.insert(it.key(), fieldValue(it.value(), depth));
        }
        return QVariant::fromValue(instance);
    }

    QVariant fieldValue(const QVariant &value, int depth)
    {
        if (value.typeId() == qMetaTypeId<PlistUid>())
            return decode(value.value<PlistUid>().value, depth + 1);
        return value;
    }

    QVariantList m_objects;
    QHash<quint64, QVariant> m_cache;
    QSet<quint64> m_inProgress;
    QString m_error;
};

} // namespace

QByteArray archive(const QVariantMap &topObjects)
{
    Writer writer;
    QVariantMap top;
    for (auto it = topObjects.cbegin(); it != topObjects.cend(); ++it)
        top.insert(it.key(), QVariant::fromValue(writer.encode(it.value())));
    const QVariantMap root{{u"$archiver"_s, u"NSKeyedArchiver"_s},
                           {u"$version"_s, 100000},
                           {u"$top"_s, top},
                           {u"$objects"_s, writer.takeObjects()}};
    return PropertyList::toData(root, PropertyList::Format::Binary);
}

ArchivedObject calendarDate(const QDateTime &time)
{
    const ArchivedObject zone{{u"NSTimeZone"_s, u"NSObject"_s},
                              {{u"NS.name"_s, QString::fromUtf8(QTimeZone::systemTimeZoneId())},
                               {u"NS.data"_s, QVariant()}}};
    return ArchivedObject{{u"NSCalendarDate"_s, u"NSDate"_s, u"NSObject"_s},
                          {{u"NS.time"_s, secondsSinceReference(time)},
                           {u"NS.timezone"_s, QVariant::fromValue(zone)},
                           {u"NS.format"_s, u"%Y-%m-%d %H:%M:%S %z"_s}}};
}

std::optional<QDateTime> dateOf(const QVariant &value)
{
    if (value.typeId() == QMetaType::QDateTime && value.toDateTime().isValid())
        return value.toDateTime();
    return std::nullopt;
}

Result unarchive(const QByteArray &data)
{
    Result result;
    const QVariantMap root = PropertyList::fromData(data).toMap();
    const QVariantList objects = root.value(u"$objects"_s).toList();
    const QVariant top = root.value(u"$top"_s);
    if (objects.isEmpty() || top.typeId() != QMetaType::QVariantMap) {
        result.error = u"not a keyed archive"_s;
        qCWarning(lcPlatform) << "unreadable keyed archive:" << result.error;
        return result;
    }
    Reader reader(objects);
    const QVariantMap refs = top.toMap();
    for (auto it = refs.cbegin(); it != refs.cend(); ++it)
        result.topObjects.insert(it.key(), reader.decodeReference(it.value(), 0));
    result.error = reader.error();
    if (!result.ok()) {
        qCWarning(lcPlatform) << "unreadable keyed archive:" << result.error;
        result.topObjects.clear();
    }
    return result;
}

} // namespace KeyedArchive
