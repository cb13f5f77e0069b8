#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QDateTime>
#include <QHash>
#include <QString>
#include <QVarLengthArray>
#include <QVariant>

#include <optional>
#include <vector>

// The binary property-list container ("bplist00") as a flat table of objects, for the keyed
// archive, which has hundreds of thousands of small objects and needs neither a node tree nor
// the general reader's conversions. Every offset and count read from a file is checked before
// use.
namespace BinaryPlist {

// What a decoded tree costs when every shared object is counted wherever it appears: the work
// any reader of the tree does. A file of a few hundred bytes whose containers share members can
// stand for billions of objects; readers stop at these bounds instead.
struct Cost {
    static constexpr quint64 kMaxObjects = quint64(1) << 22;
    static constexpr quint64 kMaxBytes = quint64(128) << 20;

    quint64 objects = 0;
    quint64 bytes = 0;

    // Saturates just above the bounds, so that sums never overflow.
    void add(const Cost &more)
    {
        objects = qMin(objects + more.objects, kMaxObjects + 1);
        bytes = qMin(bytes + more.bytes, kMaxBytes + 1);
    }
    Cost since(const Cost &earlier) const
    {
        return {objects - earlier.objects, bytes - earlier.bytes};
    }
    bool exceeded() const { return objects > kMaxObjects || bytes > kMaxBytes; }
    static QString exceededText();
};

// A date of the format (seconds since 2001-01-01 00:00:00 UTC) in UTC; invalid when the seconds
// are not finite or fall outside the years 1 to 9999.
QDateTime dateFromSeconds(double secondsSinceReference);

enum class Type {
    Invalid,
    Null,
    Bool,
    Int,
    Real,
    Date,
    Data,
    AsciiString,
    Utf16String,
    Uid,
    Array,
    Dict
};

struct Object {
    Type type = Type::Invalid;
    qint64 integer = 0; // Bool, Int, Uid
    double real = 0; // Real, Date
    qsizetype start = 0; // first byte of the payload (Data, strings) or of the references
    qsizetype count = 0; // bytes, characters or entries
};

class Reader {
public:
    // False (with `error`) when the trailer or the offset table is not sound.
    bool open(QByteArrayView data, QString *error);

    quint64 objectCount() const { return m_count; }
    quint64 topObject() const { return m_top; }

    // Invalid for an index out of range or a malformed object.
    Object object(quint64 index) const;
    // The object index stored as the i-th reference of an array, or of a dictionary (keys first,
    // then values); objectCount() when it is out of range.
    quint64 reference(const Object &container, qsizetype i) const;

    QString string(const Object &object) const;
    bool stringEquals(const Object &object, QLatin1StringView text) const;
    QByteArray data(const Object &object) const;
    // The value of a boolean, integer, real, date (UTC), data or string object; nullopt for any
    // other type, and an invalid value for a date out of range.
    std::optional<QVariant> scalar(const Object &object) const;

private:
    quint64 readUnsigned(qsizetype at, int size) const;
    bool readLength(qsizetype &at, quint8 marker, qsizetype &count) const;

    QByteArrayView m_data;
    int m_offsetSize = 0;
    int m_refSize = 0;
    quint64 m_count = 0;
    quint64 m_top = 0;
    qsizetype m_offsetTable = 0;
};

// Builds a file object by object. Scalars and strings are written once however often they are
// added; containers refer to earlier or later objects by index.
class Writer {
public:
    using Index = quint32;

    Index addString(const QString &text);
    Index addInteger(qint64 value);
    Index addReal(double value);
    Index addBool(bool value);
    Index addUid(quint64 value);
    Index addData(const QByteArray &bytes);
    Index addDate(double secondsSinceReference);
    // A container whose references are filled in later with setArray / setDictionary, so that a
    // parent can take its slot before its members.
    Index reserve();
    void setArray(Index slot, const std::vector<Index> &items);
    void setDictionary(Index slot, const std::vector<Index> &keys,
                       const std::vector<Index> &values);

    QByteArray finish(Index top);

private:
    // Every object's marker and payload lie in one pool; containers' references in another.
    struct Entry {
        qsizetype offset = 0;
        qsizetype length = 0;
        size_t refStart = 0;
        size_t refCount = 0;
    };
    Index beginScalar();
    Index addContainer(Index slot, quint8 type, qsizetype count, const std::vector<Index> &refs,
                       const std::vector<Index> *more = nullptr);

    QByteArray m_pool;
    std::vector<Entry> m_entries;
    std::vector<Index> m_refs;
    QHash<QString, Index> m_strings;
    QHash<qint64, Index> m_integers;
    QHash<quint64, Index> m_uids;
    QHash<quint64, Index> m_reals;
    QHash<quint64, Index> m_dates;
    Index m_bools[2] = {0, 0};
    bool m_haveBool[2] = {false, false};
};

} // namespace BinaryPlist
