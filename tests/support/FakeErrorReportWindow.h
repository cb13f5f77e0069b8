#pragma once

// Header-only: the presenter interface lives in the scheduler layer, above what the support
// library links.

#include "scheduler/ErrorReport.h"

#include <QStringList>

// The error-report window for controller tests: remembers what it was asked to show and answers
// the last look at the report with `send`.
class FakeErrorReportWindow : public ErrorReportPresenter {
public:
    void showErrorReportWindow(ErrorReport *) override
    {
        visible = true;
        ++shown;
    }
    void closeErrorReportWindow() override { visible = false; }
    bool isErrorReportWindowVisible() const override { return visible; }
    void setProgressVisible(bool on) override { progress.append(on); }
    bool confirmReport(const QString &report) override
    {
        previews.append(report);
        return send;
    }

    bool visible = false;
    int shown = 0;
    bool send = true;
    QList<bool> progress;
    QStringList previews;
};
