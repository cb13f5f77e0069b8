#include "FileKindTable.h"

#include "StringTable.h"
#include "platform/Paths.h"
#include "platform/StringFormat.h"

using namespace Qt::StringLiterals;

namespace {

const FileKind *find(std::span<const FileKind> table, int kind)
{
    for (const FileKind &entry : table) {
        if (entry.kind == kind)
            return &entry;
    }
    return nullptr;
}

} // namespace

QString keyForFileKind(std::span<const FileKind> table, int kind)
{
    const FileKind *entry = find(table, kind);
    return entry ? QString::fromUtf16(entry->key) : QString();
}

QString pathForFileKind(std::span<const FileKind> table, int kind)
{
    const FileKind *entry = find(table, kind);
    if (!entry)
        return u""_s;
    const QString value = SLLocalizedString(QString::fromUtf16(entry->key));
    switch (entry->form) {
    case FileKindForm::Standardised:
        return stringByStandardizingPath(value);
    case FileKindForm::FormatWithPlaceholder:
        return stringWithFormat(value, {u"%@"_s});
    case FileKindForm::AsItStands:
        break;
    }
    return value;
}
