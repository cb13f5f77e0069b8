#pragma once

#include "PlistUid.h"

#include <QByteArray>
#include <QVariant>

// Property lists, XML and binary, as QVariant trees: dictionary -> QVariantMap, array ->
// QVariantList, string -> QString, integer -> qint64, real ->
// double, boolean -> bool, date -> QDateTime (local time), data -> QByteArray, UID -> PlistUid.
// Bad input never throws: it gives an invalid QVariant and a trace line.
class PropertyList {
public:
    enum class Format { Xml, Binary };

    static QVariant fromData(const QByteArray &data);
    // Empty on a value that has no property-list form (an invalid or unsupported QVariant).
    static QByteArray toData(const QVariant &value, Format format);

    // Files are product paths (see Paths).
    static QVariant read(const QString &path);
    static QVariantMap readDictionary(const QString &path);
    static QVariantList readArray(const QString &path);
    // Whole-file atomic write; `mode` (e.g. 0777) is applied when not negative.
    static bool write(const QString &path, const QVariant &value, Format format, int mode = -1);
    // A dictionary file, written as XML as the platform's dictionary writer does.
    static bool writeDictionary(const QString &path, const QVariantMap &dictionary, int mode = -1);
};
