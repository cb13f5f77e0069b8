#pragma once

#include "prefs/CVTabViewController.h"

#include <QObject>
#include <QPointer>

#include <functional>

class PreferencesPanes;
class QLabel;
class QListWidget;
class QPushButton;
class QStackedWidget;
class QWidget;

// The preferences window on screen: the source list of panes on the left, the selected pane on
// the right, the user name at the top, the version line and the account buttons below. Built on
// first open, released when closed (after the monitor has saved the panes).
class PreferencesWindow : public QObject, public PreferencesWindowPresenter
{
    Q_OBJECT
public:
    // `panes` gives the controllers (made by the monitor's start-up, so asked for on first open);
    // `willClose` runs when the user closes the window, before it goes.
    PreferencesWindow(std::function<PreferencesPanes *()> panes, std::function<void()> willClose,
                      QObject *parent = nullptr);
    ~PreferencesWindow() override;

    void openPreferences() override;
    bool isOpen() const override;
    QWidget *window() const { return m_window; }

private:
    void build();
    QWidget *buildLogo();
    QWidget *buildSourceList();
    QWidget *buildButtonRow();
    void render();

    std::function<PreferencesPanes *()> m_panesProvider;
    PreferencesPanes *m_panes = nullptr;
    std::function<void()> m_willClose;
    QPointer<QWidget> m_window;
    QListWidget *m_sourceList = nullptr;
    QStackedWidget *m_stack = nullptr;
    QLabel *m_userName = nullptr;
    QPushButton *m_upgrade = nullptr;
};
