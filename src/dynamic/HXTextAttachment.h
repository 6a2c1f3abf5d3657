#pragma once

#include "HXDynamicValue.h"

#include <QByteArray>
#include <QString>

// An object embedded in a dynamic string at an object replacement character
// (U+FFFC): a regular-file wrapper with a preferred file name and contents.
// An attachment whose file name is "kestrelworks.Kea.DynamicValue" carries a
// dynamic value (its contents are the value's keyed archive); any other
// attachment is ignored by evaluation and archiving.
class HXTextAttachment
{
public:
    HXTextAttachment() = default;
    HXTextAttachment(QString preferredFileName, QByteArray contents)
        : m_fileName(std::move(preferredFileName)), m_contents(std::move(contents))
    {}
    // An attachment carrying `value` (null gives an empty attachment).
    static HXTextAttachment withDynamicValue(const HXDynamicValuePtr &value);

    QString preferredFileName() const { return m_fileName; }
    QByteArray contents() const { return m_contents; }
    bool isDynamicValue() const { return m_fileName == HXDynamicValue::pasteboardType(); }

    // Decodes the contents as a keyed archive: a fresh value each call;
    // nothing when this is not a dynamic value or the archive is unreadable.
    HXDynamicValuePtr dynamicValue() const;
    // Archives `value` into the contents and sets the file name.
    void setDynamicValue(const HXDynamicValuePtr &value);

    friend bool operator==(const HXTextAttachment &, const HXTextAttachment &) = default;

private:
    QString m_fileName;
    QByteArray m_contents;
};
