#pragma once

#include <QVariantMap>

// Dictionary helpers.
namespace Extention {

// The entries of `other` that `receiver` lacks, or whose truth value differs from the receiver's.
QVariantMap modifiedEntriesInDictionary(const QVariantMap &receiver, const QVariantMap &other);

} // namespace Extention
