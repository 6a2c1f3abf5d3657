#include "HXDynamicValueContext.h"

#include "HXThreading.h"

namespace {

HXDynamicValueContext *currentContextSlot = nullptr;

HXDynamicValueContextFactory &defaultFactorySlot()
{
    static HXDynamicValueContextFactory factory;
    return factory;
}

// Puts the remembered context back into the slot when the work is done,
// also when it ends by an exception.
class CurrentContextRestorer
{
public:
    explicit CurrentContextRestorer(HXDynamicValueContext *previous) : m_previous(previous) {}
    ~CurrentContextRestorer() { currentContextSlot = m_previous; }
    CurrentContextRestorer(const CurrentContextRestorer &) = delete;
    CurrentContextRestorer &operator=(const CurrentContextRestorer &) = delete;

private:
    HXDynamicValueContext *m_previous;
};

} // namespace

HXDynamicValueContext::HXDynamicValueContext() = default;

HXDynamicValueContext::~HXDynamicValueContext()
{
    if (currentContextSlot == this)
        currentContextSlot = nullptr;
}

HXDynamicValueContext *HXDynamicValueContext::currentContext()
{
    return currentContextSlot;
}

HXStringEncoding HXDynamicValueContext::currentContextStringEncoding()
{
    return currentContextSlot ? currentContextSlot->currentStringEncoding() : HXStringEncoding::UTF8;
}

void HXDynamicValueContext::context(const HXDynamicValueContextFactory &factory, const std::function<void()> &execute)
{
    HXDynamicValueContext *previous = currentContextSlot;
    if (previous) {
        if (execute)
            execute();
        return;
    }
    HXDynamicValueContextPtr made;
    if (factory)
        made = factory();
    else if (defaultFactorySlot())
        made = defaultFactorySlot()();
    if (!made)
        made = std::make_shared<HXDynamicValueContext>();
    CurrentContextRestorer restorer(previous);
    currentContextSlot = made.get();
    if (execute)
        execute();
}

void HXDynamicValueContext::executeWithBlock(const std::function<void()> &block)
{
    CurrentContextRestorer restorer(currentContextSlot);
    currentContextSlot = this;
    if (block)
        block();
}

void HXDynamicValueContext::setDefaultContextFactory(HXDynamicValueContextFactory factory)
{
    defaultFactorySlot() = std::move(factory);
}

const HXDynamicValueContextFactory &HXDynamicValueContext::defaultContextFactory()
{
    return defaultFactorySlot();
}
