#pragma once

#include "notify/AlertPresenter.h"

#include <QDialog>
#include <QPointer>

#include <memory>

namespace Ui {
class AlertPanel;
}
class QPushButton;

// The program's own message box: up to three buttons, a title, and a message whose pane grows
// with the text. Only one pane is current at a time; a new one hides the previous.
class AlertPaneWindowController : public QDialog
{
    Q_OBJECT
public:
    AlertPaneWindowController(const AlertButtons &buttons, AlertDelegate *delegate = nullptr,
                              QWidget *parent = nullptr);
    ~AlertPaneWindowController() override;

    // Modal: runs until a button is pressed and returns its result. Not modal: shows the pane
    // and returns the last stored result.
    int displayMessage(const QString &message, const QString &title, bool modal);
    void setImageName(const QString &name);
    bool isModal() const { return m_isModal; }
    int result() const { return m_result; }

    static int calculateTotalLinesFromText(const QString &text);
    void resizeWindowFromTextLength(int extraLines);
    static AlertPaneWindowController *current();

    // For tests and screenshots: the pane's own widgets.
    QPushButton *button(int result) const;
    QRect messageGeometry() const;

private:
    void buttonClicked(int result);
    void sizeButtonsToTitles();

    std::unique_ptr<Ui::AlertPanel> m_ui;
    AlertDelegate *m_delegate;
    int m_result = 0;
    bool m_isModal = false;
    QString m_imageName;
};

// Shows each message in a new pane.
class AlertPanePresenter : public AlertPresenter
{
public:
    explicit AlertPanePresenter(bool corvane) : m_corvane(corvane) {}
    int displayMessage(const QString &message, const QString &title, const AlertButtons &buttons,
                       bool modal, const QString &imageName = QString(),
                       AlertDelegate *delegate = nullptr) override;

private:
    bool m_corvane;
};
