// The preferences window and the other programs of the product: each in a process of its own,
// meeting on the test's bus as they do on a desktop.

#include "Child.h"
#include "MonitorBus.h"
#include "prefs/CVTabViewController.h"
#include "prefs/ExcludeViewController.h"
#include "prefs/UserPreferences.h"
#include "prefs/views/ExcludeView.h"
#include "product/FilePathAPIs.h"
#include "support/LoginDetails.h"
#include "support/TestEnvironment.h"

#include <QAbstractButton>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>
#include <QFileDialog>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kAccount = u"ann@example.com"_s;

class PreferencesEndToEndTest : public ::testing::Test
{
protected:
    void SetUp() override { writeLogin({{u"CorvaneUsername"_s, kAccount}, {u"Username"_s, u"ann"_s}}, kAccount); }

    // Runs lumenctl to its end; its standard output.
    QByteArray lumenctl(const QStringList &arguments)
    {
        Child run(QStringLiteral(LUMENCTL_PATH), arguments, env, runtime.path());
        EXPECT_TRUE(run.process().waitForFinished(10000));
        EXPECT_EQ(run.process().exitCode(), 0) << run.process().readAllStandardError().toStdString();
        return run.process().readAllStandardOutput();
    }

    TestEnvironment env;
    QTemporaryDir runtime;
};

TEST_F(PreferencesEndToEndTest, ALaunchRequestOpensTheExclusionPaneWhereOtherProgramsAddAndRemoveRows)
{
    env.writeFile(BrandPaths::launchRequest(), "ViewExclude");
    Child monitor(QStringLiteral(MONITOR_PATH), {}, env, runtime.path());
    ASSERT_TRUE(waitUntil(monitorIsUp)) << "the monitor did not come up";

    const QString exclusions = CVTabViewController::panes().at(CVTabViewController::ExcludeRow).title;
    EXPECT_TRUE(waitUntil([&] { return monitorStatus().value(u"preferencesPane"_s).toString() == exclusions; }))
        << QJsonDocument(monitorStatus()).toJson().toStdString();
    EXPECT_FALSE(env.exists(BrandPaths::launchRequest())) << "a launch request is used up";
    EXPECT_TRUE(lumenctl({u"status"_s}).contains((u"Preferences:      "_s + exclusions + u" pane open"_s).toUtf8()));

    const auto excluded = [] { return UserPreferences(kAccount).userSpecifiedExclusion(); };
    lumenctl({u"notify"_s, u"CorvaneMonitorPortableAddRemoveFileToExclude"_s, u"--user-info"_s,
              u"{\"add\": \"/Users/ann/Movies\"}"_s});
    EXPECT_TRUE(waitUntil([&] { return excluded().value(u"/Users/ann/Movies"_s) == QVariant(1); }))
        << "the running monitor's pane took no row";
    lumenctl({u"notify"_s, u"CorvaneMonitorPortableAddRemoveFileToExclude"_s, u"--user-info"_s,
              u"{\"remove\": \"/Users/ann/Movies\"}"_s});
    EXPECT_TRUE(waitUntil([&] { return !excluded().contains(u"/Users/ann/Movies"_s); }))
        << "the running monitor's pane kept the row";
}

TEST_F(PreferencesEndToEndTest, AMonitorWithoutALaunchRequestKeepsItsWindowClosed)
{
    Child monitor(QStringLiteral(MONITOR_PATH), {}, env, runtime.path());
    ASSERT_TRUE(waitUntil(monitorIsUp)) << "the monitor did not come up";
    const QJsonObject status = monitorStatus();
    ASSERT_TRUE(status.contains(u"preferencesPane"_s));
    EXPECT_TRUE(status.value(u"preferencesPane"_s).isNull());
}

TEST_F(PreferencesEndToEndTest, AnExclusionAddedInThePaneReachesAnotherProgram)
{
    Child listener(QStringLiteral(LUMENCTL_PATH),
                   {u"listen"_s, u"--notification"_s, u"CorvanePortableAddRemoveFileToExclude"_s, u"--count"_s,
                    u"1"_s, u"--timeout"_s, u"20"_s},
                   env, runtime.path());
    listener.process().setReadChannel(QProcess::StandardError);
    ASSERT_TRUE(listener.process().waitForReadyRead(10000)); // "listening"

    ExcludeViewController controller;
    controller.userInfo().setUserName(kAccount);
    controller.loadExcludeSet();
    ExcludeView pane(&controller);
    pane.show();
    auto *add = qobject_cast<QAbstractButton *>(pane.control("addFilesButton"));
    ASSERT_TRUE(add);
    add->click();
    // The user picks a folder in the open panel.
    auto *openPanel = pane.findChild<QFileDialog *>();
    ASSERT_TRUE(openPanel && openPanel->isVisible());
    const QString movies = env.home() + u"/Movies"_s;
    ASSERT_TRUE(QDir().mkpath(movies));
    openPanel->setDirectory(env.home());
    openPanel->selectFile(movies);
    static_cast<QDialog *>(openPanel)->accept(); // as the Open button does

    ASSERT_TRUE(listener.process().waitForFinished(20000));
    const QJsonObject event = QJsonDocument::fromJson(listener.process().readAllStandardOutput()).object();
    EXPECT_EQ(event.value(u"name"_s).toString(), u"CorvanePortableAddRemoveFileToExclude"_s);
    EXPECT_EQ(event.value(u"object"_s).toString(), u"add"_s);
    EXPECT_EQ(event.value(u"userInfo"_s).toObject().value(u"add"_s).toArray(), QJsonArray{movies});
}

} // namespace
