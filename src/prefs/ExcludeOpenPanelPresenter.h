#pragma once

#include <QString>
#include <QStringList>

#include <functional>

// The file chooser of the exclusion pane: a sheet allowing several files and folders. It calls
// `done` once, with 1 and the chosen paths on OK, or 0.
class ExcludeOpenPanelPresenter
{
public:
    virtual ~ExcludeOpenPanelPresenter() = default;
    virtual void beginOpenPanel(std::function<void(int returnCode, const QStringList &paths)> done) = 0;
};
