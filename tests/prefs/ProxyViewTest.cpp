#include "prefs/views/ProxyView.h"
#include "platform/PropertyList.h"
#include "support/FakeAlertPresenter.h"
#include "support/TestEnvironment.h"
#include "util/StringExtensions.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QValidator>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Key by key, as a user types (the port field's validator sees every key).
void typeInto(QLineEdit *field, const QString &text)
{
    for (const QChar c : text) {
        QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(c));
        QApplication::sendEvent(field, &press);
    }
}

template<typename T> T *child(QWidget *view, const QString &name)
{
    T *found = view->findChild<T *>(name);
    EXPECT_NE(found, nullptr) << name.toStdString();
    return found;
}

TEST(ProxyView, AUserSetsUpAManualProxyWithAPasswordInTheWindowAndTheEmbeddedControlsFollow)
{
    TestEnvironment env;
    FakeAlertPresenter alerts;
    ProxyController controller(&alerts);
    ProxyWindow window;
    controller.setWindowPresenter(&window);
    controller.show();
    ProxyView *view = window.view();
    ASSERT_TRUE(view && view->isVisible());
    auto *address = child<QLineEdit>(view, u"mProxyAddress"_s);
    auto *port = child<QLineEdit>(view, u"mProxyPort"_s);
    auto *user = child<QLineEdit>(view, u"mProxyUserName"_s);
    auto *password = child<QLineEdit>(view, u"mProxyPassword"_s);
    auto *auth = child<QCheckBox>(view, u"mProxyAuthEnable"_s);
    QPushButton *save
        = child<QDialogButtonBox>(view, u"mButtons"_s)->button(QDialogButtonBox::Save);
    EXPECT_EQ(password->echoMode(), QLineEdit::Password);
    EXPECT_TRUE(child<QRadioButton>(view, u"mNoProxy"_s)->isChecked());
    EXPECT_FALSE(address->isEnabled() || auth->isEnabled());

    child<QRadioButton>(view, u"mManualProxy"_s)->click();
    EXPECT_TRUE(address->isEnabled() && port->isEnabled() && auth->isEnabled());
    EXPECT_FALSE(user->isEnabled() || password->isEnabled());
    typeInto(address, u"10.0.0.1"_s);
    typeInto(port, u"31x28"_s);
    EXPECT_EQ(port->text(), u"3128"_s);
    QString tooHigh = u"65536"_s;
    int cursor = 0;
    EXPECT_EQ(port->validator()->validate(tooHigh, cursor), QValidator::Invalid);
    auth->click();
    EXPECT_TRUE(user->isEnabled() && password->isEnabled());
    typeInto(user, u"u"_s);
    save->click();
    EXPECT_TRUE(view->isVisible()) << "without a password nothing is saved and the window stays";
    typeInto(password, u"p"_s);
    save->click();
    EXPECT_FALSE(view->isVisible());

    const QVariantMap saved = PropertyList::readDictionary(controller.settingFilePath());
    EXPECT_EQ(saved,
              (QVariantMap {{u"ProxyEnable"_s, 1},
                            {u"ProxyAuthEnable"_s, 1},
                            {u"ProxyAddress"_s, u"10.0.0.1"_s},
                            {u"ProxyPort"_s, u"3128"_s},
                            {u"ProxyUserName"_s, u"u"_s},
                            {u"ProxyPassword"_s, stelloaExtension::encryptedString(u"p"_s)}}));
    EXPECT_EQ(ProxyController::initWithProxyDetailsFilePath(controller.settingFilePath())
                  ->proxyArgument(),
              u"--proxy=u:p@10.0.0.1:3128"_s);

    // The general pane's copy of the controls shows the same settings, without Save and Cancel.
    QWidget pane;
    auto *embedded = new ProxyView(&controller, &pane);
    EXPECT_TRUE(child<QDialogButtonBox>(embedded, u"mButtons"_s)->isHidden());
    EXPECT_EQ(child<QLineEdit>(embedded, u"mProxyPassword"_s)->text(), u"p"_s);
    child<QRadioButton>(embedded, u"mNoProxy"_s)->click();
    EXPECT_TRUE(address->text().isEmpty() && !auth->isChecked() && !user->isEnabled());
    EXPECT_TRUE(alerts.shown().isEmpty());
}

} // namespace
