#include "BinaryPlist.h"

#include <QtEndian>

#include <bit>
#include <cmath>
#include <cstring>

using namespace Qt::StringLiterals;

namespace BinaryPlist {

namespace {

constexpr qsizetype kHeaderSize = 8;
constexpr qsizetype kTrailerSize = 32;

// The format counts from 2001-01-01 00:00:00 UTC.
constexpr qint64 kReferenceDateMSecs = 978307200000LL;
// Years 1 to 9999 lie well inside this; beyond it milliseconds would overflow.
constexpr double kMaxAbsSeconds = 1e12;

} // namespace

QString Cost::exceededText()
{
    return u"more than %1 objects or %2 MiB once shared parts are counted"_s.arg(kMaxObjects)
        .arg(kMaxBytes >> 20);
}

QDateTime dateFromSeconds(double seconds)
{
    if (!std::isfinite(seconds) || std::fabs(seconds) > kMaxAbsSeconds)
        return {};
    const QDateTime date = QDateTime::fromMSecsSinceEpoch(
        kReferenceDateMSecs + qint64(std::llround(seconds * 1000.0)), Qt::UTC);
    return date.date().year() >= 1 && date.date().year() <= 9999 ? date : QDateTime();
}

// ---- reading ------------------------------------------------------------------------------------

quint64 Reader::readUnsigned(qsizetype at, int size) const
{
    quint64 value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | quint8(m_data[at + i]);
    return value;
}

bool Reader::open(QByteArrayView data, QString *error)
{
    m_data = data;
    auto fail = [&](const QString &why) {
        *error = why;
        m_count = 0;
        return false;
    };
    if (data.size() < kHeaderSize + kTrailerSize || !data.startsWith("bplist0"))
        return fail(u"not a binary property list"_s);
    const qsizetype trailer = data.size() - kTrailerSize;
    m_offsetSize = quint8(data[trailer + 6]);
    m_refSize = quint8(data[trailer + 7]);
    m_count = readUnsigned(trailer + 8, 8);
    m_top = readUnsigned(trailer + 16, 8);
    const quint64 table = readUnsigned(trailer + 24, 8);
    if (m_offsetSize < 1 || m_offsetSize > 8 || m_refSize < 1 || m_refSize > 8)
        return fail(u"bad integer sizes in the trailer"_s);
    if (m_count == 0 || m_top >= m_count || table < quint64(kHeaderSize)
        || table >= quint64(trailer))
        return fail(u"bad object table in the trailer"_s);
    if (m_count > quint64(trailer - qsizetype(table)) / quint64(m_offsetSize))
        return fail(u"the offset table runs past the end"_s);
    m_offsetTable = qsizetype(table);
    return true;
}

bool Reader::readLength(qsizetype &at, quint8 marker, qsizetype &count) const
{
    count = marker & 0x0F;
    if (count != 0x0F)
        return true;
    if (at >= m_offsetTable)
        return false;
    const quint8 intMarker = quint8(m_data[at]);
    const int size = 1 << (intMarker & 0x0F);
    if ((intMarker & 0xF0) != 0x10 || size > 8 || at + 1 + size > m_offsetTable)
        return false;
    const quint64 value = readUnsigned(at + 1, size);
    if (value > quint64(m_offsetTable))
        return false;
    count = qsizetype(value);
    at += 1 + size;
    return true;
}

Object Reader::object(quint64 index) const
{
    Object out;
    if (index >= m_count)
        return out;
    const quint64 offset
        = readUnsigned(m_offsetTable + qsizetype(index) * m_offsetSize, m_offsetSize);
    if (offset < quint64(kHeaderSize) || offset >= quint64(m_offsetTable))
        return out;
    qsizetype at = qsizetype(offset);
    const quint8 marker = quint8(m_data[at++]);
    const qsizetype room = m_offsetTable - at;
    switch (marker >> 4) {
    case 0x0:
        if (marker == 0x08 || marker == 0x09) {
            out.type = Type::Bool;
            out.integer = marker == 0x09;
        } else if (marker == 0x00) {
            out.type = Type::Null;
        }
        return out;
    case 0x1: {
        const int size = 1 << (marker & 0x0F);
        if (size > 16 || size > room)
            return out;
        // 1, 2 and 4 bytes are unsigned, 8 signed; 16 hold an unsigned value in the low half.
        out.integer = qint64(readUnsigned(at + (size == 16 ? 8 : 0), size == 16 ? 8 : size));
        out.type = Type::Int;
        return out;
    }
    case 0x2:
    case 0x3: {
        const int size = (marker >> 4) == 0x3 ? 8 : 1 << (marker & 0x0F);
        if ((marker >> 4) == 0x3 && marker != 0x33)
            return out;
        if ((size != 4 && size != 8) || size > room)
            return out;
        const quint64 bits = readUnsigned(at, size);
        if (size == 4)
            out.real = double(std::bit_cast<float>(quint32(bits)));
        else
            out.real = std::bit_cast<double>(bits);
        out.type = (marker >> 4) == 0x3 ? Type::Date : Type::Real;
        return out;
    }
    case 0x4:
    case 0x5:
    case 0x6: {
        qsizetype count = 0;
        if (!readLength(at, marker, count))
            return out;
        const qsizetype bytes = (marker >> 4) == 0x6 ? count * 2 : count;
        if (count > m_offsetTable || bytes > m_offsetTable - at)
            return out;
        out.type = (marker >> 4) == 0x4 ? Type::Data
            : (marker >> 4) == 0x5      ? Type::AsciiString
                                        : Type::Utf16String;
        out.start = at;
        out.count = count;
        return out;
    }
    case 0x8: {
        const int size = (marker & 0x0F) + 1;
        if (size > 8 || size > room)
            return out;
        out.type = Type::Uid;
        out.integer = qint64(readUnsigned(at, size));
        return out;
    }
    case 0xA:
    case 0xD: {
        qsizetype count = 0;
        if (!readLength(at, marker, count))
            return out;
        const qsizetype refs = (marker >> 4) == 0xD ? count * 2 : count;
        if (count > m_offsetTable || refs > (m_offsetTable - at) / m_refSize)
            return out;
        out.type = (marker >> 4) == 0xA ? Type::Array : Type::Dict;
        out.start = at;
        out.count = count;
        return out;
    }
    default:
        return out;
    }
}

quint64 Reader::reference(const Object &container, qsizetype i) const
{
    const qsizetype total = container.type == Type::Dict ? container.count * 2 : container.count;
    if ((container.type != Type::Array && container.type != Type::Dict) || i < 0 || i >= total)
        return m_count;
    return readUnsigned(container.start + i * m_refSize, m_refSize);
}

QString Reader::string(const Object &object) const
{
    if (object.type == Type::AsciiString)
        return QString::fromLatin1(m_data.data() + object.start, object.count);
    if (object.type != Type::Utf16String)
        return QString();
    QString text(object.count, Qt::Uninitialized);
    const auto *bytes = reinterpret_cast<const uchar *>(m_data.data() + object.start);
    for (qsizetype i = 0; i < object.count; ++i)
        text[i] = QChar(qFromBigEndian<quint16>(bytes + 2 * i));
    return text;
}

bool Reader::stringEquals(const Object &object, QLatin1StringView text) const
{
    if (object.type != Type::AsciiString)
        return object.type == Type::Utf16String && string(object) == text;
    return object.count == text.size()
        && std::memcmp(m_data.data() + object.start, text.data(), size_t(text.size())) == 0;
}

QByteArray Reader::data(const Object &object) const
{
    return object.type == Type::Data ? QByteArray(m_data.data() + object.start, object.count)
                                     : QByteArray();
}

std::optional<QVariant> Reader::scalar(const Object &object) const
{
    switch (object.type) {
    case Type::Bool:
        return QVariant(bool(object.integer));
    case Type::Int:
        return QVariant(object.integer);
    case Type::Real:
        return QVariant(object.real);
    case Type::Date: {
        const QDateTime date = dateFromSeconds(object.real);
        return date.isValid() ? QVariant(date) : QVariant();
    }
    case Type::Data:
        return QVariant(data(object));
    case Type::AsciiString:
    case Type::Utf16String:
        return QVariant(string(object));
    default:
        return std::nullopt;
    }
}

// ---- writing ------------------------------------------------------------------------------------

namespace {

char *putBigEndian(char *at, quint64 value, int size)
{
    for (int i = 0; i < size; ++i)
        at[i] = char(value >> (8 * (size - 1 - i)));
    return at + size;
}

void appendBigEndian(QByteArray &out, quint64 value, int size)
{
    char bytes[8];
    putBigEndian(bytes, value, size);
    out.append(bytes, size);
}

void appendIntegerObject(QByteArray &out, qint64 value)
{
    if (value < 0) {
        out.append(char(0x13));
        appendBigEndian(out, quint64(value), 8);
    } else if (value <= 0xFF) {
        out.append(char(0x10));
        appendBigEndian(out, quint64(value), 1);
    } else if (value <= 0xFFFF) {
        out.append(char(0x11));
        appendBigEndian(out, quint64(value), 2);
    } else if (value <= 0xFFFFFFFFLL) {
        out.append(char(0x12));
        appendBigEndian(out, quint64(value), 4);
    } else {
        out.append(char(0x13));
        appendBigEndian(out, quint64(value), 8);
    }
}

void appendMarkerWithLength(QByteArray &out, quint8 type, qsizetype count)
{
    if (count < 15) {
        out.append(char((type << 4) | quint8(count)));
    } else {
        out.append(char((type << 4) | 0x0F));
        appendIntegerObject(out, count);
    }
}

int bytesFor(quint64 value)
{
    return value <= 0xFF ? 1 : value <= 0xFFFF ? 2 : value <= 0xFFFFFFFFULL ? 4 : 8;
}

template<typename Key, typename Encode>
Writer::Index unique(QHash<Key, Writer::Index> &seen, const Key &key, Encode encode)
{
    const auto found = seen.constFind(key);
    if (found != seen.cend())
        return found.value();
    const Writer::Index index = encode();
    seen.insert(key, index);
    return index;
}

} // namespace

// Starts a scalar at the end of the pool; its length is settled by the next entry or finish().
Writer::Index Writer::beginScalar()
{
    if (!m_entries.empty() && m_entries.back().length < 0)
        m_entries.back().length = m_pool.size() - m_entries.back().offset;
    m_entries.push_back({m_pool.size(), -1, 0, 0});
    return Index(m_entries.size() - 1);
}

Writer::Index Writer::addString(const QString &text)
{
    return unique(m_strings, text, [&] {
        const Index index = beginScalar();
        const bool ascii
            = std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x80; });
        appendMarkerWithLength(m_pool, ascii ? 0x5 : 0x6, text.size());
        if (ascii) {
            for (const QChar c : text)
                m_pool.append(char(c.unicode()));
        } else {
            for (const QChar c : text)
                appendBigEndian(m_pool, c.unicode(), 2);
        }
        return index;
    });
}

Writer::Index Writer::addInteger(qint64 value)
{
    return unique(m_integers, value, [&] {
        const Index index = beginScalar();
        appendIntegerObject(m_pool, value);
        return index;
    });
}

Writer::Index Writer::addReal(double value)
{
    return unique(m_reals, std::bit_cast<quint64>(value), [&] {
        const Index index = beginScalar();
        m_pool.append(char(0x23));
        appendBigEndian(m_pool, std::bit_cast<quint64>(value), 8);
        return index;
    });
}

Writer::Index Writer::addDate(double secondsSinceReference)
{
    return unique(m_dates, std::bit_cast<quint64>(secondsSinceReference), [&] {
        const Index index = beginScalar();
        m_pool.append(char(0x33));
        appendBigEndian(m_pool, std::bit_cast<quint64>(secondsSinceReference), 8);
        return index;
    });
}

Writer::Index Writer::addBool(bool value)
{
    if (!m_haveBool[value]) {
        m_bools[value] = beginScalar();
        m_pool.append(value ? char(0x09) : char(0x08));
        m_haveBool[value] = true;
    }
    return m_bools[value];
}

Writer::Index Writer::addUid(quint64 value)
{
    return unique(m_uids, value, [&] {
        const Index index = beginScalar();
        const int size = bytesFor(value);
        m_pool.append(char(0x80 | (size - 1)));
        appendBigEndian(m_pool, value, size);
        return index;
    });
}

Writer::Index Writer::addData(const QByteArray &data)
{
    const Index index = beginScalar();
    appendMarkerWithLength(m_pool, 0x4, data.size());
    m_pool.append(data);
    return index;
}

Writer::Index Writer::reserve()
{
    const Index index = beginScalar();
    m_entries.back().length = 0; // settled by setArray / setDictionary
    return index;
}

Writer::Index Writer::addContainer(Index slot, quint8 type, qsizetype count,
                                   const std::vector<Index> &refs, const std::vector<Index> *more)
{
    // The marker goes to the end of the pool; the entry points there whatever its position.
    if (!m_entries.empty() && m_entries.back().length < 0)
        m_entries.back().length = m_pool.size() - m_entries.back().offset;
    Entry &entry = m_entries[slot];
    entry.offset = m_pool.size();
    appendMarkerWithLength(m_pool, type, count);
    entry.length = m_pool.size() - entry.offset;
    entry.refStart = m_refs.size();
    m_refs.insert(m_refs.end(), refs.begin(), refs.end());
    if (more)
        m_refs.insert(m_refs.end(), more->begin(), more->end());
    entry.refCount = m_refs.size() - entry.refStart;
    return slot;
}

void Writer::setArray(Index slot, const std::vector<Index> &items)
{
    addContainer(slot, 0xA, qsizetype(items.size()), items);
}

void Writer::setDictionary(Index slot, const std::vector<Index> &keys,
                           const std::vector<Index> &values)
{
    addContainer(slot, 0xD, qsizetype(keys.size()), keys, &values);
}

QByteArray Writer::finish(Index top)
{
    if (!m_entries.empty() && m_entries.back().length < 0)
        m_entries.back().length = m_pool.size() - m_entries.back().offset;
    const int refSize = bytesFor(m_entries.size());
    const qsizetype objectsEnd = kHeaderSize + m_pool.size() + qsizetype(m_refs.size()) * refSize;
    const int offsetSize = bytesFor(quint64(objectsEnd));
    QByteArray out(objectsEnd + qsizetype(m_entries.size()) * offsetSize + kTrailerSize,
                   Qt::Uninitialized);
    char *at = out.data();
    std::memcpy(at, "bplist00", kHeaderSize);
    at += kHeaderSize;
    char *table = out.data() + objectsEnd;
    for (const Entry &entry : m_entries) {
        table = putBigEndian(table, quint64(at - out.data()), offsetSize);
        std::memcpy(at, m_pool.constData() + entry.offset, size_t(entry.length));
        at += entry.length;
        for (size_t i = entry.refStart; i < entry.refStart + entry.refCount; ++i)
            at = putBigEndian(at, m_refs[i], refSize);
    }
    std::memset(table, 0, 6);
    table[6] = char(offsetSize);
    table[7] = char(refSize);
    table = putBigEndian(table + 8, m_entries.size(), 8);
    table = putBigEndian(table, top, 8);
    putBigEndian(table, quint64(objectsEnd), 8);
    return out;
}

} // namespace BinaryPlist
