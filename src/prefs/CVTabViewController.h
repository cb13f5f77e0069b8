#pragma once

#include <QList>
#include <QObject>
#include <QString>

// What the preferences window asks of the monitor.
class PreferencesWindowDelegate
{
public:
    virtual ~PreferencesWindowDelegate() = default;
    virtual void upgradeAccount() = 0;
    virtual void changePassword() = 0;
    virtual void updateSoftware() = 0;
    // Keeps the proxy settings being edited, so that leaving a pane never loses them.
    virtual void SaveSetting() = 0;
    // The product's web page (the logo).
    virtual void openProductPage() = 0;
};

// The preferences window's behaviour: the source list of panes, the selected pane, the version
// line, the logo, the buttons and the user name in the title bar. The window (views) renders it.
class CVTabViewController : public QObject
{
    Q_OBJECT
public:
    struct Pane
    {
        QString title;
        QString iconName;
    };
    enum Row { GeneralRow = 0, ExcludeRow = 1 };

    explicit CVTabViewController(QObject *parent = nullptr);

    static QList<Pane> panes();
    void setMainController(PreferencesWindowDelegate *controller) { m_mainController = controller; }

    // "v<version>  Date: <release date>" from the bundle's information.
    QString appVersionText() const;
    void setLogoForMainScreen(bool large) { m_largeLogo = large; }
    QString logoImage() const;
    // The second brand's upgrade tool tip, and its change-password button beside the upgrade.
    QString upgradeToolTip() const;
    bool changePasswordBesideUpgrade() const;

    int mLastSelectedIndex() const { return m_selected; }
    // A row of the source list chosen: its pane shows, and the proxy settings are kept.
    void tableViewSelectionChanged(int row);
    void setControlsStatus(bool enabled);
    bool controlsEnabled() const { return m_controlsEnabled; }
    // The panes' own controls, off while nobody is logged in.
    void setPanesEnabled(bool enabled);
    bool panesEnabled() const { return m_panesEnabled; }
    void setUpgradeEnabled(bool enabled);
    bool upgradeEnabled() const { return m_upgradeEnabled; }
    // The user name in the title bar; empty and hidden while nobody is logged in.
    void setUserName(const QString &name);
    QString userName() const { return m_userName; }

    void upgrade();
    void changePassword();
    void checkForSoftwareUpgrades();
    void clickLogo();

Q_SIGNALS:
    void selectedPaneChanged(int row);
    // Anything the window shows changed.
    void stateChanged();

private:
    PreferencesWindowDelegate *m_mainController = nullptr; // the monitor, not owned
    int m_selected = GeneralRow;
    bool m_largeLogo = false;
    bool m_controlsEnabled = true;
    bool m_upgradeEnabled = true;
    bool m_panesEnabled = true;
    QString m_userName;
};

// The window on screen, as the monitor sees it: built on first open.
class PreferencesWindowPresenter
{
public:
    virtual ~PreferencesWindowPresenter() = default;
    // Brings the window to front with the pane the controller has selected.
    virtual void openPreferences() = 0;
    virtual bool isOpen() const = 0;
};
