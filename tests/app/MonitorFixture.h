#pragma once

// The monitor controller of either brand on a private root, with fakes for what it shows.

#include "app/CorvaneMonitorController.h"
#include "app/TrayHelp.h"
#include "notify/DisplayController.h"
#include "scheduler/CorvaneScheduleItem.h"
#include "support/FakeAlertPresenter.h"
#include "support/FakeDesktop.h"
#include "support/LoginDetails.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>

#include <gtest/gtest.h>

#include <memory>

using namespace Qt::StringLiterals;

// Records what the notification window is asked to show.
class FakeNotificationWindow : public NotificationWindowPresenter
{
public:
    QRect availableGeometry() const override { return QRect(0, 30, 1280, 770); }
    QRect screenGeometry() const override { return QRect(0, 0, 1280, 800); }
    QSize notificationSize(const NotificationLayout &) override { return QSize(360, 200); }
    void showNotification(const NotificationLayout &layout) override { shown.append(layout); }
    void hideNotification() override {}
    void showPanel(const DisplayPanelContents &) override {}
    void closePanel() override {}
    QList<NotificationLayout> shown;
};

// What differs between the two brands, as the tests see it.
struct Brand
{
    QString id, name, launchTitle;
    int spItemIndex;
    QString idleImage, user, throttleFolder, execPath, execName, helpUrl, downloadUrl;
};

inline void PrintTo(const Brand &brand, std::ostream *out)
{
    *out << brand.id.toStdString();
}

inline const Brand kBrands[] = {
    {u"corvane"_s, u"Corvane Lumen"_s, u"Launch Corvane"_s, 8, u"Portable_tray1"_s, u"ann@example.com"_s,
     u"/Library/Application Support/CorvaneforMac/ann@example.com/Throttle"_s, u"/Applications/Corvane.app"_s,
     u"Corvane"_s, u"https://help.corvane.example"_s, u"https://www.corvane.example/downloads/lumen/CorvaneLumen.dmg"_s},
    {u"stelloa"_s, u"Stelloa Lumen"_s, u"Launch Stelloa for Mac"_s, 6, u"trayicon"_s, u"ann"_s,
     u"/Library/Application Support/StelloaLumen/Engine/ann/Throttle"_s, u"/Applications/StelloaforMac.app"_s,
     u"StelloaforMac"_s, u"https://help.stelloa.example"_s,
     u"https://www.stelloa.example/slwin/downloads/lumen/StelloaLumen.dmg"_s},
};

class MonitorControllerTest : public ::testing::TestWithParam<Brand>
{
protected:
    void SetUp() override
    {
        // logind's signals come from a stand-in on the test's private bus.
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
        start();
    }

    void start(DesktopServices *desktopServices = nullptr, int networkTimeoutMs = 20000)
    {
        controller.reset();
        MonitorServices services{&clock, &alerts, desktopServices ? desktopServices : &desktop, &network, false};
        services.notificationWindow = &notificationWindow;
        services.preferencesWindow = preferencesWindow;
        services.trayHelp = trayHelp;
        services.errorReportWindow = errorReportWindow;
        services.networkTimeoutMs = networkTimeoutMs;
        services.networkWatcher = networkWatcher;
        controller = std::make_unique<CorvaneMonitorController>(services);
        controller->awakeFromNib();
    }

    const Brand &brand() const { return GetParam(); }

    // Brand A names the account "CorvaneUsername"; brand B "Username" (and "StelloaUserName").
    void logIn(bool withBackupSet = true)
    {
        writeLogin({{u"CorvaneUsername"_s, u"ann@example.com"_s},
                    {u"Username"_s, u"ann"_s},
                    {u"StelloaUserName"_s, u"ann"_s},
                    {u"Password"_s, u"secret"_s},
                    {u"serverName"_s, u"storage1"_s}},
                   withBackupSet ? brand().user : QString());
    }

    QString throttleFolder() const { return env.real(brand().throttleFolder); }
    QByteArray fileText(const QString &real) const { return readRealFile(real, "<missing>"); }
    CorvaneScheduleItem dailyRecord(const QString &user, QTime at = QTime(20, 0))
    {
        CorvaneScheduleItem daily(clock);
        daily.setCorvaneUserName(user);
        daily.setScheduleTime(QDateTime(QDate(2026, 11, 16), at));
        return daily;
    }
    void receive(const QVariant &payload, int type, bool fromCompanion)
    {
        controller->didReceiveIPCMessage({{payload, QString::number(type), u"CorvanePortableAM"_s, u"CorvanePortableMA"_s},
                                          u":1.7"_s, fromCompanion});
        QCoreApplication::processEvents(); // handled on the main thread
    }

    TestEnvironment env{GetParam().id};
    FixedClock clock{QDateTime(QDate(2026, 11, 16), QTime(10, 0))};
    FakeAlertPresenter alerts;
    FakeDesktop desktop;
    FakeNotificationWindow notificationWindow;
    PreferencesWindowPresenter *preferencesWindow = nullptr; // set before start()
    TrayHelpPresenter *trayHelp = nullptr;                   // set before start()
    ErrorReportPresenter *errorReportWindow = nullptr;       // set before start()
    NetworkWatcher *networkWatcher = nullptr;                // set before start()
    QNetworkAccessManager network;
    std::unique_ptr<CorvaneMonitorController> controller;
};

inline std::string brandName(const ::testing::TestParamInfo<Brand> &info)
{
    return info.param.id.toStdString();
}
