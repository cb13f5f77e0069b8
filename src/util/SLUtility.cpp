#include "SLUtility.h"

#include "app/FilePathAPIs.h"

bool SLUtility::isCorvaneApplication()
{
    return FilePathAPIs::isCorvaneApplication();
}

bool SLUtility::isStringContainsKeyString(const QString &text, const QString &key)
{
    return !key.isEmpty() && text.contains(key);
}
