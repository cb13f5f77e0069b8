#pragma once

#include <QJsonValue>
#include <QVariant>

// Property-list values as JSON for scripts: dates as ISO 8601 text, data as base64.
QJsonValue jsonFromVariant(const QVariant &value);
// JSON as property-list values (objects become dictionaries).
QVariant variantFromJson(const QJsonValue &value);
