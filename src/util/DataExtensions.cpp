#include "DataExtensions.h"

namespace Additions {

Range rangeOfData_dd(QByteArrayView data, QByteArrayView needle)
{
    Range range{kNotFound, needle.size()};
    if (data.isEmpty() || needle.isEmpty())
        return range;
    qsizetype matched = 0;
    for (qsizetype i = 0; i < data.size(); ++i) {
        if (data.at(i) == needle.at(matched)) {
            if (range.location == kNotFound)
                range.location = i;
            if (++matched == needle.size())
                break;
        } else {
            matched = 0;
            range.location = kNotFound;
        }
    }
    return range;
}

} // namespace Additions
