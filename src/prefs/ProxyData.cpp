#include "ProxyData.h"

#include "ProxyController.h"
#include "platform/FoundationValues.h"
#include "platform/PropertyList.h"
#include "util/StringExtensions.h"

void ProxyData::clearProxyData()
{
    mUserName.clear();
    mPassword.clear();
    mIpaddress.clear();
    mPort.clear();
}

ProxyData ProxyData::fromSettingFile(const QString &path)
{
    using Keys = ProxyController;
    ProxyData data;
    const QVariantMap settings = PropertyList::readDictionary(path);
    if (FoundationValues::integerValue(settings.value(Keys::kProxyEnable))
        != ProxyController::ManualProxy)
        return data;
    data.setIpaddress(settings.value(Keys::kProxyAddress).toString());
    data.setPort(settings.value(Keys::kProxyPort).toString());
    if (FoundationValues::integerValue(settings.value(Keys::kProxyAuthEnable)) == 1) {
        data.setUserName(settings.value(Keys::kProxyUserName).toString());
        data.setPassword(
            stelloaExtension::decryptedString(settings.value(Keys::kProxyPassword).toString()));
    }
    return data;
}
