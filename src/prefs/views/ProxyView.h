#pragma once

#include "prefs/ProxyController.h"

#include <QWidget>

#include <memory>

class QButtonGroup;
class QLineEdit;
namespace Ui {
class Proxy;
}

// The proxy controls: the three modes, server and port, the authentication box with user name
// and password. One widget both for the general pane and for the stand-alone window; only the
// latter shows Save and Cancel.
class ProxyView : public QWidget {
    Q_OBJECT
public:
    explicit ProxyView(ProxyController *controller, QWidget *parent = nullptr);
    ~ProxyView() override;

    void setStandAlone(bool standAlone);

private:
    void render();
    void focusField(ProxyController::Field field);
    QLineEdit *field(ProxyController::Field field) const;
    void localizeTexts();

    ProxyController *m_controller;
    std::unique_ptr<Ui::Proxy> m_ui;
    QButtonGroup *m_modes;
};

// The stand-alone "Proxy" window, built on first show and kept for later ones.
class ProxyWindow : public ProxyWindowPresenter {
public:
    ProxyWindow();
    ~ProxyWindow() override;

    bool loadProxyWindow(ProxyController *controller) override;
    void bringProxyWindowToFront() override;
    void closeProxyWindow() override;

    ProxyView *view() const { return m_view.get(); }

private:
    std::unique_ptr<ProxyView> m_view;
};
