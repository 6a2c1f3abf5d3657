// The warnings a request carries, with the buttons that repair it.

#include "HXRequest.h"

QList<HXWarning> HXRequest::warningsWithDocument(HXDocument *document)
{
    Q_UNUSED(document);
    return {};
}
