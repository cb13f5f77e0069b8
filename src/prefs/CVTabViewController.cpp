#include "CVTabViewController.h"

#include "platform/StringFormat.h"
#include "product/FilePathAPIs.h"
#include "product/StringTable.h"

using namespace Qt::StringLiterals;

CVTabViewController::CVTabViewController(QObject *parent)
    : QObject(parent)
{
}

QList<CVTabViewController::Pane> CVTabViewController::panes()
{
    return {{SLLocalizedString(u"General"_s), u"CV_General.png"_s}, {SLLocalizedString(u"Exclude"_s), u"CV_Exclude.png"_s}};
}

QString CVTabViewController::appVersionText() const
{
    const QVariantMap info = StringTable::shared().info();
    return stringWithFormat(u"v%@  Date: %@"_s, {info.value(u"CFBundleVersion"_s), info.value(u"ReleaseDate"_s)});
}

QString CVTabViewController::logoImage() const
{
    if (!FilePathAPIs::isCorvaneApplication())
        return u"portable_pref_logo.png"_s;
    return m_largeLogo ? u"CVMain_Logo.png"_s : u"CVMiniLogo.png"_s;
}

QString CVTabViewController::upgradeToolTip() const
{
    return FilePathAPIs::isCorvaneApplication() ? QString() : u"Upgrade to latest version of Stelloa Lumen."_s;
}

bool CVTabViewController::changePasswordBesideUpgrade() const
{
    return !FilePathAPIs::isCorvaneApplication();
}

void CVTabViewController::tableViewSelectionChanged(int row)
{
    if (row >= 0 && row < panes().size() && row != m_selected) {
        m_selected = row;
        Q_EMIT selectedPaneChanged(row);
    }
    // In every case: leaving a pane never loses the proxy settings being edited.
    if (m_mainController)
        m_mainController->SaveSetting();
}

void CVTabViewController::setControlsStatus(bool enabled)
{
    m_controlsEnabled = enabled;
    Q_EMIT stateChanged();
}

void CVTabViewController::setPanesEnabled(bool enabled)
{
    m_panesEnabled = enabled;
    Q_EMIT stateChanged();
}

void CVTabViewController::setUpgradeEnabled(bool enabled)
{
    m_upgradeEnabled = enabled;
    Q_EMIT stateChanged();
}

void CVTabViewController::setUserName(const QString &name)
{
    m_userName = name;
    Q_EMIT stateChanged();
}

void CVTabViewController::upgrade()
{
    if (m_mainController)
        m_mainController->upgradeAccount();
}

void CVTabViewController::changePassword()
{
    if (m_mainController)
        m_mainController->changePassword();
}

void CVTabViewController::checkForSoftwareUpgrades()
{
    if (m_mainController)
        m_mainController->updateSoftware();
}

void CVTabViewController::clickLogo()
{
    if (m_mainController)
        m_mainController->openProductPage();
}
