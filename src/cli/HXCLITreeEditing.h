#pragma once

#include "HXDocumentCommands.h"

#include <QString>
#include <QStringList>

class HXDocument;
class HXRequestTreeItem;

// Shared by the kea-cli commands that edit the request tree.
namespace HXCLI {
// A request (name, Folder/Name path or uuid, as findRequest) or a folder
// (its path; a trailing "/" asks for a folder only). Null with a one-line
// reason in `error`.
HXRequestTreeItem *findItem(HXDocument &document, const QString &reference, QString &error);
// The items of several references, in order; false (with `error`) when one
// is not found.
bool findItems(HXDocument &document, const QStringList &references, HXDocumentCommands::Selection &items,
               QString &error);
} // namespace HXCLI
