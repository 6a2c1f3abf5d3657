#include "HXTextAttachment.h"

HXTextAttachment HXTextAttachment::withDynamicValue(const HXDynamicValuePtr &value)
{
    HXTextAttachment attachment;
    attachment.setDynamicValue(value);
    return attachment;
}

HXDynamicValuePtr HXTextAttachment::dynamicValue() const
{
    if (!isDynamicValue() || m_contents.isEmpty())
        return nullptr;
    return HXDynamicValue::valueWithKeyedArchive(m_contents);
}

void HXTextAttachment::setDynamicValue(const HXDynamicValuePtr &value)
{
    m_fileName = HXDynamicValue::pasteboardType();
    m_contents = value ? value->keyedArchive() : QByteArray();
}
