#include "HXPresenter.h"

#include "HXDocumentLogging.h"

namespace {

// Without a user to ask: take the default button, log errors.
class HXDefaultPresenter : public HXPresenter
{
public:
    void presentAlert(const Alert &alert, const std::function<void(int)> &completion) override
    {
        qCInfo(lcKeaDocument).noquote() << alert.message << "-"
                                        << (alert.buttons.isEmpty() ? QString() : alert.buttons.first());
        if (completion)
            completion(0);
    }
    void presentError(const HXError &error) override { qCWarning(lcKeaDocument).noquote() << error.description; }
};

HXPresenter *g_presenter = nullptr;

} // namespace

void HXPresenter::presentSavePanel(const SavePanel &, const std::function<void(const QString &)> &completion)
{
    if (completion)
        completion(QString());
}

HXPresenter *HXPresenter::sharedPresenter()
{
    static HXDefaultPresenter defaultPresenter;
    return g_presenter != nullptr ? g_presenter : &defaultPresenter;
}

void HXPresenter::setSharedPresenter(HXPresenter *presenter)
{
    g_presenter = presenter;
}
