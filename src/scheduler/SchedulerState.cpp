#include "SchedulerState.h"

#include "product/FilePathAPIs.h"
#include "platform/AtomicFile.h"
#include "platform/Paths.h"
#include "util/StringExtensions.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace SchedulerState {

QString path()
{
    return FilePathAPIs::pathForApplicationFile(4);
}

QString read()
{
    const QString text = stelloaExtension::loadStringFromFile(path());
    return text.isNull() ? u"0"_s : text;
}

void write(const QString &state)
{
    // Other users' copies of the program and the engine rewrite it too.
    AtomicFile::write(path(), state.toUtf8(), 0777);
}

void remove()
{
    QFile::remove(Paths::current().resolve(path()));
}

} // namespace SchedulerState
