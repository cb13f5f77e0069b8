#pragma once

#include <QDateTime>
#include <QMetaType>
#include <QStringList>
#include <QVariantMap>

#include <optional>
#include <utility>

// An instance of a class in a keyed archive: its class chain ("$classes", most derived first)
// and its keyed fields. Scalars among the fields (integers, reals, booleans) are stored inline;
// every other value is an object stored by reference. A field holding an invalid QVariant is a
// nil object.
struct ArchivedObject {
    using Field = std::pair<QString, QVariant>;

    QStringList classes;
    QList<Field> fields; // in the order they were encoded

    QString className() const { return classes.value(0); }
    bool isKindOf(const QString &name) const { return classes.contains(name); }

    bool contains(QStringView key) const { return find(key) != nullptr; }
    // Invalid when the key is absent (or holds nil).
    QVariant value(QStringView key) const
    {
        const Field *field = find(key);
        return field ? field->second : QVariant();
    }
    // Replaces the key's value, or appends the key.
    void insert(const QString &key, const QVariant &value)
    {
        for (Field &field : fields) {
            if (field.first == key) {
                field.second = value;
                return;
            }
        }
        fields.append({key, value});
    }

private:
    const Field *find(QStringView key) const
    {
        for (const Field &field : fields) {
            if (field.first == key)
                return &field;
        }
        return nullptr;
    }
};
Q_DECLARE_METATYPE(ArchivedObject)

// The platform's keyed-archive format (binary property list with "$archiver", "$version",
// "$top", "$objects"), readable by the Foundation programs of the product.
//
// Values map as follows: QString <-> NSString (also NSMutableString), qint64/double/bool <->
// NSNumber, QVariantList <-> NSArray/NSMutableArray (also NSSet), QVariantMap <-> NSDictionary,
// QDateTime <-> NSDate (also NSCalendarDate; read back in UTC), QByteArray <-> NSData,
// ArchivedObject <-> any other class.
namespace KeyedArchive {

// Writes the root objects under their keys ("$top"); the result is a binary property list.
QByteArray archive(const QVariantMap &topObjects);

// An NSCalendarDate: seconds since 2001 as "NS.time", the local zone's name and the default
// calendar format.
ArchivedObject calendarDate(const QDateTime &time);
// The date an NSDate or NSCalendarDate object stands for. Nothing when its time is missing, not
// a number, not finite or outside the years 1 to 9999: such a date is unreadable, never 2001.
std::optional<QDateTime> dateOf(const QVariant &value);

struct Result {
    QVariantMap topObjects;
    QString error; // empty when the archive was read completely
    bool ok() const { return error.isEmpty(); }
};
// Reads every root object, each object once however often it is referred to. Structural faults
// (not an archive, dangling references, an object that contains itself, a tree larger than
// BinaryPlist::Cost allows once shared objects are counted) give an error text, never a crash.
// A date whose time cannot be read comes back as the ArchivedObject it is (see dateOf).
// Dates come as QDateTime, or, with Dates::AsObjects, as the NSDate / NSCalendarDate objects they
// are (dateOf reads them): a reader that writes back what it does not understand keeps them
// exactly, class, zone and fractions of a millisecond included.
enum class Dates { AsDateTimes, AsObjects };
Result unarchive(const QByteArray &data, Dates dates = Dates::AsDateTimes);

} // namespace KeyedArchive
