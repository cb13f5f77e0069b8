// Property lists, XML and binary: channel payloads, the string table, settings files. What
// decodes is written in both forms and read again.
#include "FuzzSupport.h"

#include "platform/PropertyList.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    initializeFuzzEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QVariant value
        = PropertyList::fromData(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (!value.isValid())
        return 0;
    PropertyList::fromData(PropertyList::toData(value, PropertyList::Format::Binary));
    PropertyList::fromData(PropertyList::toData(value, PropertyList::Format::Xml));
    return 0;
}
