#pragma once

#include "HXDynamicResult.h"
#include "HXDynamicValue.h"
#include "HXStringEncoding.h"

#include <QHash>
#include <QList>
#include <QString>

#include <functional>
#include <memory>

class HXDynamicValueContext;
using HXDynamicValueContextPtr = std::shared_ptr<HXDynamicValueContext>;
using HXDynamicValueContextFactory = std::function<HXDynamicValueContextPtr()>;

// An evaluation context: the per-pass cache of value results, the recursion
// guard and the string encoding in force. All evaluation runs inside one; the
// current context is one process-wide slot (main thread only, no locking).
//
// A kind reads it while it evaluates:
//     HXStringEncoding encoding = HXDynamicValueContext::currentContextStringEncoding();
//     if (auto *request = HXRequestEvaluationContext::currentRequestEvaluationContext()) ...
class HXDynamicValueContext
{
public:
    HXDynamicValueContext();
    virtual ~HXDynamicValueContext();
    HXDynamicValueContext(const HXDynamicValueContext &) = delete;
    HXDynamicValueContext &operator=(const HXDynamicValueContext &) = delete;

    // The values whose evaluation is under way (the recursion guard).
    QList<HXDynamicValuePtr> &currentDynamicValues() { return m_currentDynamicValues; }
    // Results by uniqueIdentifier. A value that evaluated to nothing is
    // present with a null HXDynamicResult (the explicit null marker).
    QHash<QString, HXDynamicResult> &cachedValues() { return m_cachedValues; }

    // The encoding used when an operation names none. UTF-8 at creation.
    HXStringEncoding currentStringEncoding() const { return m_currentStringEncoding; }
    void setCurrentStringEncoding(HXStringEncoding encoding) { m_currentStringEncoding = encoding; }

    // The context in the slot, or null.
    static HXDynamicValueContext *currentContext();
    // The current context's encoding, or UTF-8 when none is current (the
    // class operation currentStringEncoding).
    static HXStringEncoding currentContextStringEncoding();

    // Runs `execute` inside a context: the current one if there is one (its
    // cache and guard are shared, `factory` is not called); otherwise a new
    // one from `factory`, else from the default factory, else a plain
    // HXDynamicValueContext, made current for the duration and discarded
    // afterwards.
    static void context(const HXDynamicValueContextFactory &factory, const std::function<void()> &execute);
    // Makes this context current (even over another one), runs `block`, and
    // restores the previous one.
    void executeWithBlock(const std::function<void()> &block);

    // The factory used when context() is given none. Installed once at
    // start-up (it makes a plain HXRequestEvaluationContext).
    static void setDefaultContextFactory(HXDynamicValueContextFactory factory);
    static const HXDynamicValueContextFactory &defaultContextFactory();

private:
    QList<HXDynamicValuePtr> m_currentDynamicValues;
    QHash<QString, HXDynamicResult> m_cachedValues;
    HXStringEncoding m_currentStringEncoding = HXStringEncoding::UTF8;
};
