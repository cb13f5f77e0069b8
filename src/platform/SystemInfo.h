#pragma once

#include <QString>

// Facts about the running system. One backend per platform (SystemInfo_linux.cpp).
namespace SystemInfo {

// The machine's stable identifier: /etc/machine-id, else /var/lib/dbus/machine-id; "" when
// neither can be read.
QString machineID();
// The login name of the user running this process.
QString loginName();
// The computer's name as people see it: the pretty host name, else the host name.
QString computerName();

// The running system's name and version. A SystemVersion.plist under the product root
// ("/System/Library/CoreServices/SystemVersion.plist") wins: its "ProductName" and
// "ProductUserVisibleVersion" (else "ProductVersion"). Otherwise /etc/os-release: NAME is the
// product name and VERSION_ID the version.
struct OSVersion
{
    QString productName;
    QString versionText; // as the source writes it ("13.4.1", "12")
    int major = 0;
    int minor = 0;
    int bugfix = 0;
    bool fromSystemVersionPlist = false;
};
OSVersion osVersion();
OSVersion parseOsRelease(const QByteArray &text);

// The user of the active graphical seat (logind), else of the first X display session in utmp;
// null when nobody is logged in there.
QString consoleUserName();

} // namespace SystemInfo
