#include "HXCompletionEntry.h"

#include "HXDynamicString.h"
#include "HXDynamicValueEngine.h"

HXDynamicString HXCompletionEntry::attributedStringValue() const
{
    if (m_attributedWord.isEmpty())
        return HXDynamicString(m_word);
    return HXDynamicValueEngine::unarchiveAttributedString(m_attributedWord);
}
