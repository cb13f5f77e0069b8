#include "JsonValues.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>

QJsonValue jsonFromVariant(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            object.insert(it.key(), jsonFromVariant(it.value()));
        return object;
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QJsonArray array;
        for (const QVariant &item : value.toList())
            array.append(jsonFromVariant(item));
        return array;
    }
    case QMetaType::QDateTime:
        return value.toDateTime().toUTC().toString(Qt::ISODateWithMs);
    case QMetaType::QByteArray:
        return QString::fromLatin1(value.toByteArray().toBase64());
    case QMetaType::UnknownType:
        return QJsonValue::Null;
    default:
        return QJsonValue::fromVariant(value);
    }
}

QVariant variantFromJson(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Object: {
        QVariantMap map;
        const QJsonObject object = value.toObject();
        for (auto it = object.begin(); it != object.end(); ++it)
            map.insert(it.key(), variantFromJson(it.value()));
        return map;
    }
    case QJsonValue::Array: {
        QVariantList list;
        for (const QJsonValue &item : value.toArray())
            list.append(variantFromJson(item));
        return list;
    }
    case QJsonValue::Double: {
        const double d = value.toDouble();
        if (d == double(qint64(d)) && qAbs(d) < 9.0e15)
            return qint64(d);
        return d;
    }
    default:
        return value.toVariant();
    }
}
