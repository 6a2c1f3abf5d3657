#pragma once

#include <QString>

class HXEnvironment;
class HXManagedObjectContext;

// What evaluating a request needs from the document that holds it: its object
// store, the file it is saved in (relative file paths start from that file's
// folder) and the environment whose values environment variables take.
// Documents implement it; request assembly and dynamic values see nothing
// else of them.
class HXEvaluationDocument
{
public:
    virtual ~HXEvaluationDocument() = default;

    virtual HXManagedObjectContext *managedObjectContext() const = 0;
    // Empty while the document has never been saved.
    virtual QString fileName() const = 0;
    // Null when the document has no environment.
    virtual HXEnvironment *currentEnvironment() const = 0;
};
