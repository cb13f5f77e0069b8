#pragma once

#include "scheduler/ErrorReport.h"

#include <QObject>
#include <QPointer>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QProgressBar;
class QWidget;

// The error-report window: built on first open, released on close. Send hands the entries to the
// controller; the report is then shown read-only for a last look before it goes.
class ErrorReportWindow : public QObject, public ErrorReportPresenter {
    Q_OBJECT
public:
    explicit ErrorReportWindow(QObject *parent = nullptr);
    ~ErrorReportWindow() override;

    void showErrorReportWindow(ErrorReport *report) override;
    void closeErrorReportWindow() override;
    bool isErrorReportWindowVisible() const override;
    void setProgressVisible(bool visible) override;
    bool confirmReport(const QString &report) override;
    QWidget *window() const { return m_window; }

private:
    void build();
    void send();

    ErrorReport *m_report = nullptr;
    QPointer<QWidget> m_window;
    QLabel *m_architecture = nullptr;
    QLabel *m_userNameLabel = nullptr;
    QLabel *m_userName = nullptr;
    QLineEdit *m_email = nullptr;
    QLineEdit *m_contactNumber = nullptr;
    QLineEdit *m_ticketNumber = nullptr;
    QLineEdit *m_subject = nullptr;
    QPlainTextEdit *m_message = nullptr;
    QProgressBar *m_progress = nullptr;
};
