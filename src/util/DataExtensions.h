#pragma once

#include <QByteArray>
#include <QByteArrayView>

// Byte-buffer helpers.
namespace Additions {

// The platform's "not found" location.
constexpr qint64 kNotFound = 0x7fffffff;

struct Range
{
    qint64 location = kNotFound;
    qint64 length = 0;
    friend bool operator==(const Range &, const Range &) = default;
};

// One left-to-right scan for `needle`. A mismatch forgets the partial match without re-testing
// that byte, and a partial match running into the end of the data counts as found.
Range rangeOfData_dd(QByteArrayView data, QByteArrayView needle);

} // namespace Additions
