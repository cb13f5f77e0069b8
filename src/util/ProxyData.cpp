#include "ProxyData.h"

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
    ProxyData data;
    const QVariantMap settings = PropertyList::readDictionary(path);
    if (FoundationValues::integerValue(settings.value(kProxyEnable)) != ManualProxy)
        return data;
    data.setIpaddress(settings.value(kProxyAddress).toString());
    data.setPort(settings.value(kProxyPort).toString());
    if (FoundationValues::integerValue(settings.value(kProxyAuthEnable)) == 1) {
        data.setUserName(settings.value(kProxyUserName).toString());
        data.setPassword(
            stelloaExtension::decryptedString(settings.value(kProxyPassword).toString()));
    }
    return data;
}
