#pragma once

#include <QLoggingCategory>

// Trace lines of the platform layer. The applications route these categories into their trace
// file (see TraceRouting), tests capture them.
Q_DECLARE_LOGGING_CATEGORY(lcPlatform)
