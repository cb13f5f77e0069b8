#pragma once

#include <QString>

#include <span>

// A table from small integers ("file kinds") to string-table keys, and how each value is turned
// into a path. The monitor and the scheduler each have one.
enum class FileKindForm {
    AsItStands,
    Standardised,          // "~", "." and ".." resolved
    FormatWithPlaceholder, // used as a format with "%@" as its argument, for the caller to fill
};

struct FileKind
{
    int kind;
    const char16_t *key;
    FileKindForm form;
};

// "" for a kind the table lacks.
QString pathForFileKind(std::span<const FileKind> table, int kind);
QString keyForFileKind(std::span<const FileKind> table, int kind);
