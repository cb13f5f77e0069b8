#pragma once

#include <QString>

// The one-digit file that tells the backup engine what is pending: "0" nothing, "2" an
// immediate job queued, "3" stop the running job, "5" the cut-off time has come.
namespace SchedulerState {

QString path();
// The file's text, or "0" when it is missing.
QString read();
void write(const QString &state);
void remove();

} // namespace SchedulerState
