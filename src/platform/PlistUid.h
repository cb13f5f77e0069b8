#pragma once

#include <QMetaType>
#include <QtGlobal>

// A keyed archive's object reference: the "UID" type of binary property lists.
struct PlistUid
{
    quint64 value = 0;
    friend bool operator==(const PlistUid &a, const PlistUid &b) { return a.value == b.value; }
};
Q_DECLARE_METATYPE(PlistUid)
