#pragma once

#include <QString>
#include <QVariant>

// How the platform reads a property-list value as a boolean or a number: numbers by value,
// strings by their leading text ("YES", "true", "1" are true; "12abc" is 12), anything else 0.
namespace FoundationValues {

bool boolValue(const QVariant &value);
qint64 integerValue(const QVariant &value);
double doubleValue(const QVariant &value);

bool stringBoolValue(const QString &text);
qint64 stringIntegerValue(const QString &text);
double stringDoubleValue(const QString &text);

// The text a value shows when formatted with "%@": nil prints as "(null)".
QString description(const QVariant &value);

} // namespace FoundationValues
