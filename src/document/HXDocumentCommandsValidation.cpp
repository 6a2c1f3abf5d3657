// HXDocumentCommands: which commands are enabled, with which title and state.

#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXEnvironment.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXRequestHandler.h"
#include "HXUndoManager.h"

#include <QCoreApplication>

namespace {

using Action = HXDocumentCommands::Action;
using State = HXDocumentCommands::State;

State stateOf(bool on)
{
    return on ? State::On : State::Off;
}

HXDocumentCommands::Validation enabledIf(bool enabled, std::optional<State> state = std::nullopt)
{
    return {enabled, QString(), state};
}

} // namespace

HXDocumentCommands::Validation HXDocumentCommands::validateUserInterfaceItem(Action action,
                                                                             const InterfaceState &state) const
{
    const QList<HXRequest *> requests = requestsFromSelection(state.selection);
    const bool anyRequest = !requests.isEmpty();
    const bool anyItem = !state.selection.isEmpty();
    HXManagedObjectContext *context = m_document->managedObjectContext();
    auto toggle = [&](const char *property) {
        return enabledIf(anyRequest, State(stateForRequests(requests, QString::fromLatin1(property))));
    };
    auto environmentNeighbour = [&](int step) {
        const QList<HXEnvironment *> environments = HXEnvironment::environmentsSortedByName(context);
        const qsizetype index = environments.indexOf(m_document->currentEnvironment());
        return index >= 0 && index + step >= 0 && index + step < environments.size();
    };

    switch (action) {
    case Action::SendRequest:
    case Action::SendAllRequests:
    case Action::Copy:
    case Action::Cut:
    case Action::Duplicate:
        return enabledIf(anyRequest);
    case Action::SetCustomRequestMethod:
        return enabledIf(requests.size() == 1);
    case Action::ToogleFollowRedirects:
        return toggle("followRedirects");
    case Action::ToogleRedirectMethod:
        return toggle("redirectMethod");
    case Action::ToogleRedirectAuthorization:
        return toggle("redirectAuthorization");
    case Action::DeleteRequest: {
        Validation validation = enabledIf(anyItem);
        validation.title = tr("Delete");
        if (state.selection.size() == 1)
            validation.title = dynamic_cast<HXRequestGroup *>(state.selection.first()) != nullptr
                                   ? tr("Delete Folder")
                                   : tr("Delete Request");
        return validation;
    }
    case Action::StopRequests:
        return enabledIf(m_document->requestHandler()->isBusy());
    case Action::Paste:
        return enabledIf(canPaste());
    case Action::SelectNextRequest:
        return enabledIf(state.canSelectNextRequest);
    case Action::SelectPreviousRequest:
        return enabledIf(state.canSelectPreviousRequest);
    case Action::ShowRequestView:
        return enabledIf(true, stateOf(state.mainViewType == 0));
    case Action::ShowSplitView:
        return enabledIf(true, stateOf(state.mainViewType == 1));
    case Action::ShowResponseView:
        return enabledIf(true, stateOf(state.mainViewType == 2));
    case Action::ArrangeRequestsByNone:
        return enabledIf(true, stateOf(state.arrangeBy == 0));
    case Action::ArrangeRequestsByHTTPMethod:
        return enabledIf(true, stateOf(state.arrangeBy == 1));
    case Action::ArrangeRequestsByHost:
        return enabledIf(true, stateOf(state.arrangeBy == 2));
    case Action::ArrangeRequestsByLastResponseStatusCode:
        return enabledIf(true, stateOf(state.arrangeBy == 3));
    case Action::OrderRequestsByCustomOrder:
        return enabledIf(true, stateOf(state.orderBy == 0));
    case Action::OrderRequestsByName:
        return enabledIf(true, stateOf(state.orderBy == 1));
    case Action::OrderRequestsByURL:
        return enabledIf(true, stateOf(state.orderBy == 2));
    case Action::AddRequestFolder:
    case Action::GroupRequestTreeItems:
        return enabledIf(state.arrangeBy == 0);
    case Action::ShowWarningsPopover:
        return {true, state.warningsShown ? tr("Hide Warnings") : tr("Show Warnings"), std::nullopt};
    case Action::ShowRequestCode:
        return {true, state.codeInspectorShown ? tr("Hide Code Inspector") : tr("Show Code Inspector"), std::nullopt};
    case Action::ExportResponse:
        return enabledIf(state.selection.size() == 1 && anyRequest && requests.first()->lastResponse() != nullptr);
    case Action::SelectNextEnvironment:
        return enabledIf(environmentNeighbour(1));
    case Action::SelectPreviousEnvironment:
        return enabledIf(environmentNeighbour(-1));
    case Action::DeleteEnvironment:
        return enabledIf(HXEnvironment::environmentsSortedByName(context).size() > 1);
    case Action::SelectResponseInOrder:
        return enabledIf(responseInOrder(state.tag,
                                         state.selection.isEmpty() ? nullptr : _lastSelectedRequest(state.selection),
                                         state.shownResponse) != nullptr);
    case Action::DeleteResponse:
        return enabledIf(state.shownResponse != nullptr);
    case Action::DeleteAllResponsesOfCurrentRequest:
        return enabledIf(anyItem);
    case Action::AddHTTPBasicAuthorization:
    case Action::AddOAuthAuthorization:
    case Action::AddAmazonS3Authorization:
        return enabledIf(_lastSelectedRequest(state.selection) != nullptr);
    case Action::Undo: {
        const HXUndoManager *undo = context->undoManager();
        const bool can = undo != nullptr && undo->canUndo();
        const QString name = can ? undo->undoActionName() : QString();
        return {can, name.isEmpty() ? tr("Undo") : tr("Undo %1").arg(name), std::nullopt};
    }
    case Action::Redo: {
        const HXUndoManager *undo = context->undoManager();
        const bool can = undo != nullptr && undo->canRedo();
        const QString name = can ? undo->redoActionName() : QString();
        return {can, name.isEmpty() ? tr("Redo") : tr("Redo %1").arg(name), std::nullopt};
    }
    case Action::AddRequest:
    case Action::SelectEnvironment:
    case Action::AddEnvironment:
    case Action::ShowEnvironmentsSheet:
    case Action::DeleteAllResponses:
        return enabledIf(true);
    }
    return enabledIf(true);
}
