#pragma once

#include <QString>
#include <QVariantMap>

// The per-user continuous-protection state file that the engine reads: a dictionary with
// "Enabled" ("1" or "0"), "Frequency" (always "1") and "Username". The monitor's menu item and the
// general pane's check box both follow it, so both read it here.
namespace CdpState {

// The state file of `userName` (a product path).
QString path(const QString &userName);

// The file's dictionary; empty when it is missing or unreadable.
QVariantMap read(const QString &userName);

// On exactly when the file is `userName`'s own ("Username" equal) and "Enabled" is "1": a file
// left behind by another account reads as off.
bool isEnabledFor(const QString &userName);

// Rewrites the file atomically, keeping any other keys it holds. False without a user name or
// when the file cannot be written.
bool write(const QString &userName, bool enabled);

} // namespace CdpState
