#pragma once

#include <QString>

// Appends the text's UTF-8 bytes to the file (a new file is written atomically). Nothing happens
// for a nil path or an empty text. Paths are product paths.
void writeToFile(const QString &path, const QString &text);
// Opens the file for appending (creating it) and closes it again.
void flushFileData(const QString &path);
// The file's first byte, or 0 when it cannot be read.
char readFile(const QString &path);
