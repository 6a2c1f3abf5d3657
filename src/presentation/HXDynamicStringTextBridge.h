#pragma once

#include "HXDynamicString.h"

#include <QTextCharFormat>

class QTextCursor;
class QTextDocument;

// Moves a dynamic string in and out of a QTextDocument. Each token becomes an
// object replacement character whose character format carries the token's
// attachment (and the label and catalogue group a view draws it with); the
// rest is plain text. Reading the document back gives the same string.
class HXDynamicStringTextBridge
{
public:
    // The object type of token characters, for QTextDocumentLayout::registerHandler.
    static constexpr int tokenObjectType = QTextFormat::UserObject + 17;
    enum Property {
        AttachmentFileNameProperty = QTextFormat::UserProperty + 17,
        AttachmentContentsProperty,
        TokenLabelProperty, // the value's display string
        TokenGroupProperty, // the catalogue group of the value's kind
    };

    // Replaces the document's text (one undo step of the document is not kept).
    static void setDynamicString(QTextDocument *document, const HXDynamicString &string);
    static HXDynamicString dynamicString(const QTextDocument *document);

    // Inserts one token at the cursor.
    static void insertAttachment(QTextCursor &cursor, const HXTextAttachment &attachment);
    static QTextCharFormat formatForAttachment(const HXTextAttachment &attachment);
    // The attachment a token character's format carries; none for other formats.
    static std::optional<HXTextAttachment> attachmentForFormat(const QTextFormat &format);
};
