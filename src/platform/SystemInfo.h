#pragma once

#include <QString>

// Facts about the running system. One backend per platform (SystemInfo_linux.cpp).
namespace SystemInfo {

// The machine's stable identifier: /etc/machine-id, else /var/lib/dbus/machine-id; "" when
// neither can be read.
QString machineID();
// The login name of the user running this process.
QString loginName();

} // namespace SystemInfo
