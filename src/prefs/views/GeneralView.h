#pragma once

#include <QWidget>

#include <memory>

class GeneralViewController;
namespace Ui {
class GeneralView;
}

// The general preferences pane. It shows the controller's state, hands each click to the
// controller's action of the same name and shows the proxy controls it is given where they belong.
class GeneralView : public QWidget {
    Q_OBJECT
public:
    // `proxyView`, when given, is placed in the proxy box and owned by this pane from then on.
    explicit GeneralView(GeneralViewController *controller, QWidget *proxyView = nullptr,
                         QWidget *parent = nullptr);
    ~GeneralView() override;

private:
    void connectControls();
    void placeDefaultMessage();
    void render();
    void redisplayAncestor();

    GeneralViewController *m_controller;
    std::unique_ptr<Ui::GeneralView> m_ui;
};
