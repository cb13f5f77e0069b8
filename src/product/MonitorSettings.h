#pragma once

#include <QString>
#include <QVariantMap>

// Settings the monitor reads for the logged-in user: the engine's port argument and the per-user
// preference dictionary.
namespace MonitorSettings {

// "com.halvern.CorvaneLumenMonitor" or "com.halvern.StelloaLumenMonitor".
QString defaultsDomain();

// "--port=<port file text>", or "--port=443" without a port file.
QString portParam();

// The user's entry of the monitor's defaults, with the user's CDP state under "CDPState" and the
// user's entry of the several-computers state under "MultipleMacState" when those files exist.
QVariantMap getPreferencesSettingForUser(const QString &userName);

} // namespace MonitorSettings
