#include "prefs/views/GeneralView.h"
#include "platform/PropertyList.h"
#include "platform/UserDefaults.h"
#include "prefs/GeneralViewController.h"
#include "product/FilePathAPIs.h"
#include "product/MonitorSettings.h"
#include "support/TestEnvironment.h"

#include <QApplication>
#include <QCheckBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>

#include <gtest/gtest.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

struct Delegate : GeneralViewDelegate {
    void ContinuousDataProtectionSelected() override { ++cdpClicks; }
    void sendIPCMessage(const QVariant &payload, int type, bool) override
    {
        messages.append({payload, type});
    }
    int cdpClicks = 0;
    QList<QVariantList> messages;
};

void type(QWidget *field, const QString &text)
{
    for (QChar c : text) {
        QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(c));
        QApplication::sendEvent(field, &press);
    }
}

void pressReturn(QWidget *field)
{
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(field, &press);
}

TEST(GeneralViewTest, AUserTypesTheComputersNameAndTicksTheBoxesAndEverythingIsSaved)
{
    TestEnvironment env;
    env.writeFile(u"/Library/Application Support/CorvanePortableforMac/ann/backupmode"_s, "1");
    GeneralViewController::Services services;
    services.computerName = [] { return u"Studio's Mac Pro (2)"_s; };
    services.timeMachineFolders = [] { return QStringList(); };
    services.mountTable = env.root() + u"/no-mount-table"_s;
    GeneralViewController controller(services);
    controller.initialize();
    controller.userInfo().setUserName(u"ann"_s);
    controller.userInfo().setNexaUser(true);
    Delegate delegate;
    controller.setDelegate(&delegate);
    controller.loadPrefrences();

    auto *proxy = new QLabel(u"proxy controls"_s);
    auto view = std::make_unique<GeneralView>(&controller, proxy);
    view->show();
    EXPECT_EQ(proxy->parentWidget(), view->findChild<QWidget *>(u"proxyContainer"_s));
    const auto *message = view->findChild<QLabel *>(u"mDefaultLabel"_s);
    EXPECT_EQ(message->parentWidget(), view->findChild<QTableView *>(u"mTableView"_s)->viewport());
    EXPECT_TRUE(message->isVisible()) << "no Time Machine folder";
    EXPECT_EQ(controller.mTimeMachineImage().size(), QSize(16, 16));

    auto *name = view->findChild<QLineEdit *>(u"multipleMacOptionsBtnForNexa"_s);
    EXPECT_EQ(name->text(), u"StudiosMacPro"_s);
    EXPECT_FALSE(view->findChild<QCheckBox *>(u"enableMultipleMacBackupForNexa"_s)->isEnabled());
    name->setFocus();
    name->selectAll();
    const QString fifty = u"Ann's "_s + QString(44, u'm');
    type(name, fifty + u"Z"_s);
    EXPECT_EQ(name->text(), fifty) << "the 51st character is refused";
    pressReturn(name);
    EXPECT_EQ(name->text(), u"Anns"_s + QString(44, u'm'));

    for (const char *box :
         {"showHiddenFilesButtonForNexa", "mVersionButton", "restoreDestinationButton",
          "powerOffAfterScheduledJobButton", "mCDPCheckBox"})
        view->findChild<QCheckBox *>(QString::fromLatin1(box))->click();

    EXPECT_EQ(delegate.cdpClicks, 1);
    EXPECT_EQ(delegate.messages, (QList<QVariantList> {{u"1"_s, 8}}));
    const UserDefaults defaults(MonitorSettings::defaultsDomain());
    EXPECT_EQ(defaults.objectForKey(u"ShowHiddenFilesKey "_s), QVariant(false));
    const QVariantMap ann = defaults.dictionaryForKey(u"ann"_s);
    EXPECT_EQ(ann.value(u"EnableVersion"_s), QVariant(true));
    EXPECT_EQ(ann.value(u"PromptRestoreDestinationPanel"_s), QVariant(true));
    EXPECT_EQ(ann.value(u"PowerOffAfterScheduledJob"_s), QVariant(true));
    EXPECT_EQ(PropertyList::readDictionary(BrandPaths::multipleMacState())
                  .value(u"ann"_s)
                  .toMap()
                  .value(u"MultipleMacFolderName"_s),
              QVariant(name->text()));
    EXPECT_TRUE(controller.isMonitoringVolumes());
    view.reset();
    EXPECT_FALSE(controller.isMonitoringVolumes()) << "a closed pane watches no volumes";
}

} // namespace
