#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

#include <ostream>

// Readable failure messages for Qt values.
inline void PrintTo(const QString &text, std::ostream *os)
{
    *os << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QStringList &list, std::ostream *os)
{
    *os << '[' << list.join(QStringLiteral(", ")).toStdString() << ']';
}

inline void PrintTo(const QVariant &value, std::ostream *os)
{
    *os << value.typeName() << '(' << value.toString().toStdString() << ')';
}

#include <QDateTime>

inline void PrintTo(const QDateTime &time, std::ostream *os)
{
    *os << time.toString(Qt::ISODateWithMs).toStdString();
}
