#pragma once

#include "HXInstalledInstance.h"

#include <QString>
#include <QStringList>

// Receives the header names and values, parameters and form fields that
// requests use, so they can be offered as completions later. The completion
// store installs itself here; without one, nothing is learnt.
class HXCompletionSink
{
public:
    virtual ~HXCompletionSink() = default;
    virtual void addCompletions(const QString &category, const QStringList &values) = 0;

    static HXCompletionSink *sharedSink() { return HXInstalledInstance<HXCompletionSink>::get(); }
    static void setSharedSink(HXCompletionSink *sink) { HXInstalledInstance<HXCompletionSink>::set(sink); }
};
