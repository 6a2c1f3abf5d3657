#include "HXDynamicStringTextBridge.h"

#include "HXDynamicValueCatalogue.h"

#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

QTextCharFormat HXDynamicStringTextBridge::formatForAttachment(const HXTextAttachment &attachment)
{
    QTextCharFormat format;
    format.setObjectType(tokenObjectType);
    format.setProperty(AttachmentFileNameProperty, attachment.preferredFileName());
    format.setProperty(AttachmentContentsProperty, attachment.contents());
    QString label = attachment.preferredFileName();
    QString group;
    if (HXDynamicValuePtr value = attachment.dynamicValue()) {
        label = value->displayString();
        if (const HXDynamicValueKind *kind = HXDynamicValueCatalogue::kindForClassName(value->className()))
            group = kind->group;
    }
    format.setProperty(TokenLabelProperty, label);
    format.setProperty(TokenGroupProperty, group);
    return format;
}

std::optional<HXTextAttachment> HXDynamicStringTextBridge::attachmentForFormat(const QTextFormat &format)
{
    if (format.objectType() != tokenObjectType)
        return std::nullopt;
    return HXTextAttachment(format.stringProperty(AttachmentFileNameProperty),
                            format.property(AttachmentContentsProperty).toByteArray());
}

void HXDynamicStringTextBridge::insertAttachment(QTextCursor &cursor, const HXTextAttachment &attachment)
{
    const QTextCharFormat previous = cursor.charFormat();
    cursor.insertText(QString(QChar(HXDynamicString::attachmentCharacter)), formatForAttachment(attachment));
    // Text typed after a token is plain text.
    QTextCharFormat plain = previous;
    plain.setObjectType(QTextFormat::NoObject);
    cursor.setCharFormat(plain);
}

void HXDynamicStringTextBridge::setDynamicString(QTextDocument *document, const HXDynamicString &string)
{
    const bool undo = document->isUndoRedoEnabled();
    document->setUndoRedoEnabled(false);
    document->clear();
    QTextCursor cursor(document);
    const QString &text = string.string();
    qsizetype runStart = 0;
    auto flush = [&](qsizetype end) {
        if (end > runStart)
            cursor.insertText(text.mid(runStart, end - runStart), QTextCharFormat());
    };
    for (auto it = string.attachments().cbegin(); it != string.attachments().cend(); ++it) {
        if (it.key() < runStart || it.key() >= text.size())
            continue;
        flush(it.key());
        insertAttachment(cursor, it.value());
        runStart = it.key() + 1;
    }
    flush(text.size());
    document->setUndoRedoEnabled(undo);
}

HXDynamicString HXDynamicStringTextBridge::dynamicString(const QTextDocument *document)
{
    HXDynamicString result;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        if (block != document->begin())
            result.append(QStringLiteral("\n"));
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            const std::optional<HXTextAttachment> attachment = attachmentForFormat(fragment.charFormat());
            const QString text = fragment.text();
            if (!attachment) {
                // A stray replacement character without a token is dropped:
                // it would read back as a token carrying nothing.
                QString plain = text;
                plain.remove(QChar(HXDynamicString::attachmentCharacter));
                result.append(plain);
                continue;
            }
            // Equal tokens side by side share one fragment.
            for (QChar character : text) {
                if (character == QChar(HXDynamicString::attachmentCharacter))
                    result.appendAttachment(*attachment);
                else
                    result.append(QString(character));
            }
        }
    }
    return result;
}
