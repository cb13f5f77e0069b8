#pragma once

// Header-only: the backup set's path comes from the scheduler layer, above what the support library
// links.

#include "platform/PropertyList.h"
#include "product/FilePathAPIs.h"
#include "scheduler/CorvaneSchedulerController.h"

// The main application's login details and, unless `setOwner` is null, that account's backup set.
inline bool writeLogin(const QVariantMap &details, const QString &setOwner = {},
                       const QVariantList &backupSet = {QStringLiteral("/Users/ann/Documents")})
{
    if (!PropertyList::writeDictionary(BrandPaths::loginDetails(), details))
        return false;
    const QString set = CorvaneSchedulerController::pathForApplicationFile(14).replace(
        QStringLiteral("%@"), setOwner);
    return setOwner.isNull() || PropertyList::write(set, backupSet, PropertyList::Format::Xml);
}
