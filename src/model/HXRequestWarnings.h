#pragma once

#include "HXWarning.h"

#include <QList>

class HXEvaluationDocument;
class HXRequest;

// What is wrong with a request, in a fixed order, each warning with the
// buttons that repair it. The request is evaluated once for `document` (its
// own headers, the URL and the body); every repair is one undoable step.
class HXRequestWarnings
{
public:
    static QList<HXWarning> warningsForRequest(HXRequest *request, HXEvaluationDocument *document);
};
