#pragma once

#include "notify/AlertPresenter.h"

#include <QDialog>
#include <QHash>
#include <QPointer>

#include <memory>

namespace Ui {
class AlertPanel;
}
class QPushButton;

// The program's own message box: up to three buttons, a title, and a message whose pane grows
// with the text. The message field holds 70 characters a line in its font. Only one pane is
// current at a time; a new one hides the previous. A pane that deletes itself on close (the
// presenter's non-modal panes) is deleted as soon as it is hidden, so none are kept.
class AlertPaneWindowController : public QDialog {
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

protected:
    void hideEvent(QHideEvent *event) override;

private:
    void makeCurrent();
    void fitMessageFieldToFont();
    void sizeButtonsToTitles();
    void growBy(int points, int buttonPoints);
    void buttonClicked(int result);

    std::unique_ptr<Ui::AlertPanel> m_ui;
    AlertDelegate *m_delegate;
    int m_result = 0;
    bool m_isModal = false;
    QString m_imageName;
    // The layout every message starts from.
    QSize m_designedSize;
    QRect m_designedMessage;
    QPoint m_designedButtonView;
};

// Shows each message in a new pane, except the named windows, which are reused while open.
class AlertPanePresenter : public AlertPresenter {
public:
    explicit AlertPanePresenter(bool corvane)
        : m_corvane(corvane)
    {
    }
    int displayMessage(const QString &message, const QString &title, const AlertButtons &buttons,
                       bool modal, const QString &imageName = QString(),
                       AlertDelegate *delegate = nullptr) override;
    void displayInWindow(const QString &windowName, const QString &message, const QString &title,
                         const AlertButtons &buttons, const QString &imageName) override;

private:
    bool m_corvane;
    QHash<QString, QPointer<AlertPaneWindowController>> m_windows;
};
