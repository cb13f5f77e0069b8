#pragma once

#include <QString>

// Stateless helpers shared by every part of the monitor.
class SLUtility
{
public:
    static bool isCorvaneApplication();
    // isString:containsKeyString: -- a plain substring test.
    static bool isStringContainsKeyString(const QString &text, const QString &key);
};
