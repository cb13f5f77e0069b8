#pragma once

#include <QString>

// Every fuzz target starts here: a core application (some parsers use its event loop or
// settings), a private root so that nothing the parser writes reaches the machine, and the trace
// log kept quiet.
void initializeFuzzEnvironment();

// The bytes as text, decoded as the monitor decodes files it reads (UTF-8, bad sequences replaced).
QString fuzzText(const uint8_t *data, size_t size);
