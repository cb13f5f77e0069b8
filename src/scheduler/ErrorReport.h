#pragma once

#include "net/ScriptURLConnection.h"

#include <QByteArray>
#include <QString>

class AlertPresenter;
class ErrorReport;
class QNetworkAccessManager;

// The form of the error-report window. The controller fills it when the window opens; the view
// writes the user's entries back before a send.
struct ErrorReportFields {
    QString userNameLabel; // "Corvane username" / "Stelloa username"
    QString userName;
    QString email;
    QString contactNumber;
    QString ticketNumber;
    QString subject;
    QString message;
    QString architecture; // "New Architecture" / "Old Architecture"
};

// The error-report window, built by the views on first open and released on close.
class ErrorReportPresenter {
public:
    virtual ~ErrorReportPresenter() = default;
    // Shows the window with `report`'s fields; the window's Send calls report->sendErrorReport().
    virtual void showErrorReportWindow(ErrorReport *report) = 0;
    virtual void closeErrorReportWindow() = 0;
    virtual bool isErrorReportWindowVisible() const = 0;
    virtual void setProgressVisible(bool visible) = 0;
    // The report text exactly as it is about to leave the machine; true when the user chose
    // Send, false for Cancel.
    virtual bool confirmReport(const QString &report) = 0;
};

// The user's feedback or problem report to the product's support: the form filled from the
// login details, a plain-text report with system facts, quota and the last part of two trace
// logs, posted as a form to the product's notification service.
class ErrorReport : public ScriptURLConnectionDelegate {
public:
    static constexpr qsizetype kLogTailLength = 20480;

    // None of these is owned. Without a window nothing is shown or sent; without alerts the
    // messages are not shown.
    void setPresenter(ErrorReportPresenter *window) { m_window = window; }
    void setAlertPresenter(AlertPresenter *alerts) { m_alerts = alerts; }
    void setNetwork(QNetworkAccessManager *network) { m_network = network; }

    ErrorReportFields &fields() { return m_fields; }
    const ErrorReportFields &fields() const { return m_fields; }
    bool isIndicatorVisible() const { return m_indicatorVisible; }

    // Fills the form for the logged-in account and shows the window (unless it is open).
    void showErrorReport();
    // Checks the form, shows the report to the user and, on Send, posts it.
    void sendErrorReport();

    // "&" -> "%26", then "=" -> "%3D". Both passes look only at the first N characters, N the
    // length of `text` as given, so an "=" pushed beyond N by the first pass stays as it is.
    static QString replaceSpecialCharacters(const QString &text);
    // The file's UTF-8 text, only its last kLogTailLength characters; "" when unreadable.
    static QString getUTT8StringFromFile(const QString &path);
    static QString getInteractiveTraceLog();
    static QString getMonitorTraceLog();
    static QString getDaemonTraceLog();
    static QString getInteractiveSessionLog();
    static QString getDaemonSessionLog();
    static QString getWebmanagementLog();
    // The home folder as "~" and the login name as "<user>": what log lines say of the machine's
    // owner stays on the machine.
    static QString maskPersonalDetails(const QString &logText);

    // The report for the current form, line by line.
    QString composeReport() const;
    // The form body posted for `report`, joined as the service expects: no other escaping.
    QByteArray requestBody(const QString &report) const;

    // The end of a sending: the indicator goes, then the failure or success message.
    void ConnectionDidReceivedData(const std::optional<QByteArray> &data,
                                   ScriptURLConnection *connection) override;
    void connectionFailedWithError(const NetworkError &error,
                                   ScriptURLConnection *connection) override;

private:
    void alert(const QString &message) const;
    void setIndicatorVisible(bool visible);
    void post(const QString &report);

    ErrorReportPresenter *m_window = nullptr;
    AlertPresenter *m_alerts = nullptr;
    QNetworkAccessManager *m_network = nullptr;
    ErrorReportFields m_fields;
    bool m_indicatorVisible = false;
};
