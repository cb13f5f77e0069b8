#include "DictionaryExtensions.h"

#include "platform/FoundationValues.h"

namespace Extention {

QVariantMap modifiedEntriesInDictionary(const QVariantMap &receiver, const QVariantMap &other)
{
    using FoundationValues::boolValue;
    QVariantMap changed;
    for (auto it = other.cbegin(); it != other.cend(); ++it) {
        const auto mine = receiver.constFind(it.key());
        if (mine == receiver.cend() || boolValue(mine.value()) != boolValue(it.value()))
            changed.insert(it.key(), it.value());
    }
    return changed;
}

} // namespace Extention
