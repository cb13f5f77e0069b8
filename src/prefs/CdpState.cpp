#include "CdpState.h"

#include "platform/PropertyList.h"
#include "platform/StringFormat.h"
#include "product/FilePathAPIs.h"

using namespace Qt::StringLiterals;

namespace CdpState {

namespace {
constexpr int kCdpStateFileKind = 35;
}

QString path(const QString &userName)
{
    return stringWithFormat(FilePathAPIs::pathForApplicationFile(kCdpStateFileKind), {userName});
}

QVariantMap read(const QString &userName)
{
    if (userName.isEmpty())
        return {};
    return PropertyList::readDictionary(path(userName));
}

bool isEnabledFor(const QString &userName)
{
    const QVariantMap state = read(userName);
    const QVariant enabled = state.value(u"Enabled"_s);
    return !userName.isEmpty() && state.value(u"Username"_s).toString() == userName
        && enabled.typeId() == QMetaType::QString && enabled.toString() == "1"_L1;
}

bool write(const QString &userName, bool enabled)
{
    if (userName.isEmpty())
        return false;
    QVariantMap state = read(userName);
    state.insert(u"Enabled"_s, enabled ? u"1"_s : u"0"_s);
    state.insert(u"Frequency"_s, u"1"_s);
    state.insert(u"Username"_s, userName);
    return PropertyList::writeDictionary(path(userName), state);
}

} // namespace CdpState
