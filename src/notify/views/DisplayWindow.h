#pragma once

#include "notify/DisplayController.h"
#include "notify/NotificationLayout.h"

#include <QPointer>
#include <QWidget>

class ProgressView;
class QLabel;
class QPushButton;
class QToolButton;

// The older self-drawn notification panel: icon, title, message, up to three sub-titles and a
// quota bar, with close, view-log and (for a quota-exceeded message) upgrade buttons. It never
// takes the focus; closed, it fades out and deletes itself a second later.
class DisplayWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr int kReleaseDelayMs = 1000;

    explicit DisplayWindow(QWidget *parent = nullptr);

    void setDisplayController(DisplayController *controller) { m_controller = controller; }
    void setTitle(const QString &title);
    void setIcon(const QString &imageName);
    void setMessage(const QString &message);
    // Rows 1..3.
    void setSubFieldTitle(int row, const QString &title);
    void setProgressValue(int value);

    // Fills every field from `contents`, places the panel at its frame and shows it.
    void showContents(const DisplayPanelContents &contents);
    // Adds the buttons the message calls for, plays the sound and brings the panel to front
    // without activating it.
    void showMessage(bool rightAligned, bool withUpgrade, const QString &soundName);
    // Out of sight, then released.
    void closeNotificationWindow();

    // For tests and screenshots.
    QPushButton *viewLogButton() const { return m_viewLogButton; }
    QPushButton *upgradeButton() const { return m_upgradeButton; }
    QToolButton *closeButton() const { return m_closeButton; }
    ProgressView *progressView() const { return m_progressView; }
    QString lastSoundName() const { return m_lastSound; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void closeClicked();
    void releaseWindow();

    QPointer<DisplayController> m_controller;
    QLabel *m_appIcon;
    QLabel *m_titleField;
    QLabel *m_messageField;
    QList<QLabel *> m_subFields;
    ProgressView *m_progressView;
    QToolButton *m_closeButton;
    QPushButton *m_viewLogButton;
    QPushButton *m_upgradeButton;
    QString m_lastSound;
    bool m_closing = false;
};

// Plays a named alert sound of the desktop without waiting for it; a plain beep when the
// desktop has no sound player.
void playSystemSound(const QString &name);
