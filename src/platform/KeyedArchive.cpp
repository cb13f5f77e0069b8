#include "KeyedArchive.h"

#include "BinaryPlist.h"
#include "PlatformLog.h"
#include "PropertyList.h"

#include <QHash>
#include <QSet>
#include <QTimeZone>

#include <cmath>
#include <vector>

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

namespace BP = BinaryPlist;

class Writer {
public:
    Writer() { newUid(m_out.addString(u"$null"_s)); }

    quint64 encode(const QVariant &value)
    {
        switch (value.typeId()) {
        case QMetaType::UnknownType:
            return 0;
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
            return newUid(m_out.addData(value.toByteArray()));
        default:
            break;
        }
        if (value.typeId() == qMetaTypeId<ArchivedObject>())
            return encodeObject(value.value<ArchivedObject>());
        if (isScalar(value))
            return newUid(scalar(value));
        qCWarning(lcPlatform) << "archived a value of type" << value.typeName() << "as nil";
        return 0;
    }

    QByteArray finish(const QVariantMap &top)
    {
        std::vector<BP::Writer::Index> topKeys, topValues;
        for (auto it = top.cbegin(); it != top.cend(); ++it) {
            topKeys.push_back(m_out.addString(it.key()));
            topValues.push_back(m_out.addUid(encode(it.value())));
        }
        const auto topDict = m_out.reserve();
        m_out.setDictionary(topDict, topKeys, topValues);
        const auto objects = m_out.reserve();
        m_out.setArray(objects, m_slots);
        const auto root = m_out.reserve();
        m_out.setDictionary(
            root,
            {m_out.addString(u"$archiver"_s), m_out.addString(u"$version"_s),
             m_out.addString(u"$top"_s), m_out.addString(u"$objects"_s)},
            {m_out.addString(u"NSKeyedArchiver"_s), m_out.addInteger(100000), topDict, objects});
        return m_out.finish(root);
    }

private:
    quint64 newUid(BP::Writer::Index slot)
    {
        m_slots.push_back(slot);
        return m_slots.size() - 1;
    }

    BP::Writer::Index scalar(const QVariant &value)
    {
        switch (value.typeId()) {
        case QMetaType::Bool:
            return m_out.addBool(value.toBool());
        case QMetaType::Double:
            return m_out.addReal(value.toDouble());
        default:
            return m_out.addInteger(value.toLongLong());
        }
    }

    // Equal strings share one entry, as they may in the platform's own archives.
    quint64 encodeString(const QString &text)
    {
        const auto found = m_strings.constFind(text);
        if (found != m_strings.cend())
            return found.value();
        const quint64 uid = newUid(m_out.addString(text));
        m_strings.insert(text, uid);
        return uid;
    }

    quint64 classUid(const QStringList &classes)
    {
        const QString key = classes.join(u'\n');
        const auto found = m_classes.constFind(key);
        if (found != m_classes.cend())
            return found.value();
        std::vector<BP::Writer::Index> names;
        for (const QString &name : classes)
            names.push_back(m_out.addString(name));
        const auto list = m_out.reserve();
        m_out.setArray(list, names);
        const auto slot = m_out.reserve();
        m_out.setDictionary(slot,
                            {m_out.addString(u"$classname"_s), m_out.addString(u"$classes"_s)},
                            {m_out.addString(classes.value(0)), list});
        const quint64 uid = newUid(slot);
        m_classes.insert(key, uid);
        return uid;
    }

    // The object's slot is taken before its members, so that it comes first as in Foundation's
    // own files.
    quint64 encodeArray(const QVariantList &list)
    {
        const auto slot = m_out.reserve();
        const quint64 uid = newUid(slot);
        std::vector<BP::Writer::Index> refs;
        refs.reserve(size_t(list.size()));
        for (const QVariant &item : list)
            refs.push_back(m_out.addUid(encode(item)));
        const auto array = m_out.reserve();
        m_out.setArray(array, refs);
        m_out.setDictionary(
            slot, {m_out.addString(u"$class"_s), m_out.addString(u"NS.objects"_s)},
            {m_out.addUid(classUid({u"NSMutableArray"_s, u"NSArray"_s, u"NSObject"_s})), array});
        return uid;
    }

    quint64 encodeDictionary(const QVariantMap &map)
    {
        const auto slot = m_out.reserve();
        const quint64 uid = newUid(slot);
        std::vector<BP::Writer::Index> keys, values;
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            keys.push_back(m_out.addUid(encodeString(it.key())));
            values.push_back(m_out.addUid(encode(it.value())));
        }
        const auto keyArray = m_out.reserve();
        m_out.setArray(keyArray, keys);
        const auto valueArray = m_out.reserve();
        m_out.setArray(valueArray, values);
        m_out.setDictionary(
            slot,
            {m_out.addString(u"$class"_s), m_out.addString(u"NS.keys"_s),
             m_out.addString(u"NS.objects"_s)},
            {m_out.addUid(classUid({u"NSMutableDictionary"_s, u"NSDictionary"_s, u"NSObject"_s})),
             keyArray, valueArray});
        return uid;
    }

    quint64 encodeObject(const ArchivedObject &object)
    {
        const auto slot = m_out.reserve();
        const quint64 uid = newUid(slot);
        std::vector<BP::Writer::Index> keys {m_out.addString(u"$class"_s)};
        std::vector<BP::Writer::Index> values {m_out.addUid(classUid(object.classes))};
        for (const auto &[name, value] : object.fields) {
            keys.push_back(m_out.addString(name));
            values.push_back(isScalar(value) ? scalar(value) : m_out.addUid(encode(value)));
        }
        m_out.setDictionary(slot, keys, values);
        return uid;
    }

    BP::Writer m_out;
    std::vector<BP::Writer::Index> m_slots; // archive UID -> object of the file
    QHash<QString, quint64> m_strings;
    QHash<QString, quint64> m_classes;
};

class Reader {
public:
    Reader(const BP::Reader &plist, Dates dates)
        : m_plist(plist)
        , m_datesAsObjects(dates == Dates::AsObjects)
    {
    }

    // Finds "$objects" and "$top"; false when the file is no keyed archive.
    bool open(BP::Object *top)
    {
        const BP::Object root = m_plist.object(m_plist.topObject());
        m_objects = m_plist.object(valueOf(root, "$objects"_L1));
        *top = m_plist.object(valueOf(root, "$top"_L1));
        return root.type == BP::Type::Dict && m_objects.type == BP::Type::Array
            && m_objects.count > 0 && top->type == BP::Type::Dict;
    }

    QString key(quint64 index)
    {
        const auto found = m_keys.constFind(index);
        if (found != m_keys.cend())
            return found.value();
        const BP::Object object = m_plist.object(index);
        if (object.type != BP::Type::AsciiString && object.type != BP::Type::Utf16String) {
            fail(u"a dictionary key that is not a string"_s);
            return QString();
        }
        const QString text = m_plist.string(object);
        m_keys.insert(index, text);
        return text;
    }

    // A value as stored: a reference is followed, anything else stands for itself.
    QVariant value(quint64 index, int depth)
    {
        const BP::Object object = m_plist.object(index);
        if (object.type == BP::Type::Uid)
            return decode(quint64(object.integer), depth + 1);
        spend({1, quint64(object.count)});
        return plain(object, depth);
    }

    QString error() const { return m_error; }

private:
    void fail(const QString &why)
    {
        if (m_error.isEmpty())
            m_error = why;
    }

    quint64 valueOf(const BP::Object &dict, QLatin1StringView wanted) const
    {
        if (dict.type != BP::Type::Dict)
            return m_plist.objectCount();
        for (qsizetype i = 0; i < dict.count; ++i) {
            if (m_plist.stringEquals(m_plist.object(m_plist.reference(dict, i)), wanted))
                return m_plist.reference(dict, dict.count + i);
        }
        return m_plist.objectCount();
    }

    QVariant plain(const BP::Object &object, int depth)
    {
        if (const std::optional<QVariant> value = m_plist.scalar(object)) {
            if (object.type == BP::Type::Date && !value->isValid())
                fail(u"a date out of range"_s);
            return *value;
        }
        switch (object.type) {
        case BP::Type::Null:
            return {};
        case BP::Type::Array:
            return inlineArray(object, depth);
        case BP::Type::Dict:
            fail(u"a dictionary where an object was expected"_s);
            return {};
        default:
            fail(u"a malformed object"_s);
            return {};
        }
    }

    void spend(const BP::Cost &cost)
    {
        m_spent.add(cost);
        if (m_spent.exceeded())
            fail(u"the archive stands for "_s + BP::Cost::exceededText());
    }

    // An array stored in place rather than by reference; the file may still share it between
    // several places, so it is decoded once, by its position in the file.
    QVariant inlineArray(const BP::Object &object, int depth)
    {
        if (depth > kMaxDepth) {
            fail(u"objects nested too deeply"_s);
            return {};
        }
        const quint64 at = quint64(object.start);
        const auto found = m_inline.constFind(at);
        if (found != m_inline.cend()) {
            spend(found->second);
            return found->first;
        }
        if (m_openInline.contains(at)) {
            fail(u"an object that contains itself"_s);
            return {};
        }
        m_openInline.insert(at);
        const BP::Cost before = m_spent;
        QVariantList list;
        for (qsizetype i = 0; i < object.count && m_error.isEmpty(); ++i)
            list.append(value(m_plist.reference(object, i), depth + 1));
        m_openInline.remove(at);
        m_inline.insert(at, {list, m_spent.since(before)});
        return list;
    }

    QVariant decode(quint64 uid, int depth)
    {
        if (!m_error.isEmpty() || uid == 0)
            return {};
        if (uid >= quint64(m_objects.count)) {
            fail(u"reference %1 points past the object table"_s.arg(uid));
            return {};
        }
        if (depth > kMaxDepth) {
            fail(u"objects nested too deeply"_s);
            return {};
        }
        if (m_state.empty()) {
            m_state.assign(size_t(m_objects.count), Unseen);
            m_cache.resize(size_t(m_objects.count));
            m_costs.resize(size_t(m_objects.count));
        }
        // A value cannot hold itself: a reference back to an object still being decoded is an
        // error rather than a silent nil that a later save would write back.
        if (m_state[uid] == InProgress) {
            fail(u"an object that contains itself"_s);
            return {};
        }
        if (m_state[uid] == Done) {
            spend(m_costs[uid]);
            return m_cache[uid];
        }
        m_state[uid] = InProgress;
        const BP::Cost before = m_spent;
        const BP::Object object = m_plist.object(m_plist.reference(m_objects, qsizetype(uid)));
        spend({1, quint64(object.count)});
        QVariant result;
        if (object.type == BP::Type::Dict)
            result = decodeInstance(object, depth);
        else if (object.type == BP::Type::Array || object.type == BP::Type::Uid)
            fail(u"a bare array or reference in the object table"_s);
        else
            result = plain(object, depth);
        m_state[uid] = Done;
        m_cache[uid] = result;
        m_costs[uid] = m_spent.since(before);
        return result;
    }

    QStringList classChain(quint64 classIndex)
    {
        const BP::Object ref = m_plist.object(classIndex);
        if (ref.type != BP::Type::Uid || ref.integer <= 0 || ref.integer >= m_objects.count)
            return {};
        const auto found = m_classes.constFind(quint64(ref.integer));
        if (found != m_classes.cend())
            return found.value();
        const BP::Object info
            = m_plist.object(m_plist.reference(m_objects, qsizetype(ref.integer)));
        QStringList classes;
        const BP::Object chain = m_plist.object(valueOf(info, "$classes"_L1));
        for (qsizetype i = 0; chain.type == BP::Type::Array && i < chain.count; ++i)
            classes.append(m_plist.string(m_plist.object(m_plist.reference(chain, i))));
        if (classes.isEmpty()) {
            const BP::Object name = m_plist.object(valueOf(info, "$classname"_L1));
            if (name.type == BP::Type::AsciiString || name.type == BP::Type::Utf16String)
                classes.append(m_plist.string(name));
        }
        m_classes.insert(quint64(ref.integer), classes);
        return classes;
    }

    QVariantList decodeList(const BP::Object &dict, QLatin1StringView field, int depth)
    {
        const BP::Object refs = m_plist.object(valueOf(dict, field));
        QVariantList list;
        if (refs.type != BP::Type::Array) {
            if (refs.type != BP::Type::Invalid)
                fail(u"a collection whose members are not a list"_s);
            return list;
        }
        list.reserve(refs.count);
        for (qsizetype i = 0; i < refs.count && m_error.isEmpty(); ++i) {
            const BP::Object ref = m_plist.object(m_plist.reference(refs, i));
            if (ref.type != BP::Type::Uid) {
                fail(u"a collection member that is not a reference"_s);
                break;
            }
            list.append(decode(quint64(ref.integer), depth + 1));
        }
        return list;
    }

    QVariant field(const BP::Object &dict, QLatin1StringView name, int depth)
    {
        const quint64 index = valueOf(dict, name);
        return index < m_plist.objectCount() ? value(index, depth) : QVariant();
    }

    QVariant decodeInstance(const BP::Object &dict, int depth)
    {
        const QStringList classes = classChain(valueOf(dict, "$class"_L1));
        if (classes.isEmpty()) {
            fail(u"an object without a class"_s);
            return {};
        }
        const QString &name = classes.first();
        if (name == "NSArray"_L1 || name == "NSMutableArray"_L1 || name == "NSSet"_L1
            || name == "NSMutableSet"_L1 || name == "NSOrderedSet"_L1
            || name == "NSMutableOrderedSet"_L1)
            return decodeList(dict, "NS.objects"_L1, depth);
        if (name == "NSDictionary"_L1 || name == "NSMutableDictionary"_L1) {
            const QVariantList keys = decodeList(dict, "NS.keys"_L1, depth);
            const QVariantList values = decodeList(dict, "NS.objects"_L1, depth);
            if (keys.size() != values.size())
                fail(u"a dictionary whose keys and values differ in number"_s);
            QVariantMap map;
            for (qsizetype i = 0; i < qMin(keys.size(), values.size()); ++i)
                map.insert(keys.at(i).toString(), values.at(i));
            return map;
        }
        if (name == "NSString"_L1 || name == "NSMutableString"_L1)
            return field(dict, "NS.string"_L1, depth).toString();
        if (name == "NSData"_L1 || name == "NSMutableData"_L1)
            return field(dict, "NS.data"_L1, depth).toByteArray();
        if (name == "NSNull"_L1)
            return {};
        ArchivedObject instance {classes, {}};
        instance.fields.reserve(dict.count);
        for (qsizetype i = 0; i < dict.count && m_error.isEmpty(); ++i) {
            const QString fieldName = key(m_plist.reference(dict, i));
            if (fieldName != "$class"_L1)
                instance.fields.append(
                    {fieldName, value(m_plist.reference(dict, dict.count + i), depth)});
        }
        // A date whose time cannot be read stays the object it is, which no reader takes for a
        // date.
        if (!m_datesAsObjects && (name == "NSDate"_L1 || name == "NSCalendarDate"_L1)) {
            if (const std::optional<QDateTime> date = dateOf(QVariant::fromValue(instance)))
                return *date;
            qCWarning(lcPlatform) << "a date without a readable time in a keyed archive";
        }
        return QVariant::fromValue(instance);
    }

    const BP::Reader &m_plist;
    const bool m_datesAsObjects;
    BP::Object m_objects;
    enum State : quint8 { Unseen, InProgress, Done };
    std::vector<State> m_state; // per archive UID, so shared objects decode once
    std::vector<QVariant> m_cache;
    std::vector<BP::Cost> m_costs; // what each decoded object cost, spent again at each reuse
    QHash<quint64, std::pair<QVariant, BP::Cost>> m_inline;
    QSet<quint64> m_openInline;
    BP::Cost m_spent;
    QHash<quint64, QStringList> m_classes;
    QHash<quint64, QString> m_keys;
    QString m_error;
};

} // namespace

QByteArray archive(const QVariantMap &topObjects)
{
    Writer writer;
    return writer.finish(topObjects);
}

namespace {

// Asking the system for its zone reads files; an archive of thousands of dates asks once. A
// change of TZ (tests, or a user who sets it) is noticed.
QString localZoneName()
{
    thread_local QByteArray lastTz;
    thread_local QString name;
    const QByteArray tz = qgetenv("TZ");
    if (name.isEmpty() || tz != lastTz) {
        lastTz = tz;
        name = QString::fromUtf8(QTimeZone::systemTimeZoneId());
    }
    return name;
}

} // namespace

ArchivedObject calendarDate(const QDateTime &time)
{
    const ArchivedObject zone {{u"NSTimeZone"_s, u"NSObject"_s},
                               {{u"NS.name"_s, localZoneName()}, {u"NS.data"_s, QVariant()}}};
    return ArchivedObject {{u"NSCalendarDate"_s, u"NSDate"_s, u"NSObject"_s},
                           {{u"NS.time"_s, secondsSinceReference(time)},
                            {u"NS.timezone"_s, QVariant::fromValue(zone)},
                            {u"NS.format"_s, u"%Y-%m-%d %H:%M:%S %z"_s}}};
}

namespace {

// Foundation's own archives hold the time as "NS.time"; GNUstep's calendar dates as "$0", with
// the format and the zone under "$1" and "$2".
std::optional<QDateTime> timeOfDateObject(const ArchivedObject &object)
{
    const QVariant seconds
        = object.contains(u"NS.time") ? object.value(u"NS.time") : object.value(u"$0");
    switch (seconds.typeId()) {
    case QMetaType::Double:
    case QMetaType::LongLong:
    case QMetaType::Int: {
        const QDateTime date = BP::dateFromSeconds(seconds.toDouble());
        return date.isValid() ? std::optional(date) : std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

} // namespace

std::optional<QDateTime> dateOf(const QVariant &value)
{
    if (value.typeId() == QMetaType::QDateTime)
        return value.toDateTime().isValid() ? std::optional(value.toDateTime()) : std::nullopt;
    if (value.typeId() == qMetaTypeId<ArchivedObject>()) {
        const ArchivedObject object = value.value<ArchivedObject>();
        if (object.isKindOf(u"NSDate"_s) || object.isKindOf(u"NSCalendarDate"_s))
            return timeOfDateObject(object);
    }
    return std::nullopt;
}

Result unarchive(const QByteArray &bytes, Dates dates)
{
    Result result;
    // The XML form ({"CF$UID": n} references) goes through the general reader once.
    QByteArray data = bytes;
    if (!bytes.startsWith("bplist")) {
        const QVariant xml = PropertyList::fromData(bytes);
        if (!xml.isValid()) {
            result.error = u"not a property list"_s;
            return result;
        }
        data = PropertyList::toData(xml, PropertyList::Format::Binary);
    }
    BP::Reader plist;
    BP::Object top;
    Reader reader(plist, dates);
    if (!plist.open(data, &result.error) || !reader.open(&top)) {
        if (result.error.isEmpty())
            result.error = u"not a keyed archive"_s;
        qCWarning(lcPlatform) << "unreadable keyed archive:" << result.error;
        return result;
    }
    for (qsizetype i = 0; i < top.count && reader.error().isEmpty(); ++i) {
        const QString name = reader.key(plist.reference(top, i));
        const BP::Object ref = plist.object(plist.reference(top, top.count + i));
        if (ref.type != BP::Type::Uid) {
            result.error = u"a root object that is not a reference"_s;
            break;
        }
        result.topObjects.insert(name, reader.value(plist.reference(top, top.count + i), 0));
    }
    if (result.error.isEmpty())
        result.error = reader.error();
    if (!result.ok()) {
        qCWarning(lcPlatform) << "unreadable keyed archive:" << result.error;
        result.topObjects.clear();
    }
    return result;
}

} // namespace KeyedArchive
