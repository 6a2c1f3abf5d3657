#pragma once

#include "HXDocument.h"

#include <memory>

class HXEnvironment;
class HXRequest;
class HXRequestGroup;
class HXRequestTreeItem;

// Opening documents for kea-cli commands: a missing, unreadable or malformed
// file gives one line on stderr and a null document (exit with
// HXCLIExitUsage); the file is never written in that case. A document
// opened `toChange` stays under an advisory lock (flock) until kea-cli exits,
// so that runs changing one document take turns instead of losing changes;
// runs that only read take no lock (saves replace the file atomically).
namespace HXCLI {
std::unique_ptr<HXDocument> openDocumentOrReport(const QString &path, bool toChange = false);
// Saves, or reports the failure on stderr and returns false.
bool saveDocumentOrReport(HXDocument &document, const QString &path);

// The request named by `reference`: a request uuid; a path of folder names
// and the request's name joined by "/" ("Accounts/Uploads/Upload avatar");
// or a request name found anywhere in the tree, when only one request has
// it. Null with a one-line reason in `error` otherwise.
HXRequest *findRequest(HXDocument &document, const QString &reference, QString &error);
// Every request of the document in tree order (each folder's items by
// order, depth first), and the "Folder/Sub/Name" path of a tree item.
QList<HXRequest *> allRequests(HXDocument &document);
QString itemPath(const HXRequestTreeItem *item);
// The folder at `path` ("Accounts/Uploads"), or null when some folder on the
// way does not exist. With `create`, missing folders are added (each last
// among its siblings) and the innermost returned.
HXRequestGroup *findFolder(HXDocument &document, const QString &path, bool create);

// A value given on the command line as a stored dynamic string: text that is
// a JSON array is taken as the stored form (text runs and token objects, as
// "kea-cli eval" and documents hold them); any other text is plain text and
// is stored as such (so a JSON object body such as {"a": 1} stays text).
QString storedDynamicString(const QString &given);

// The environment chosen with "kea-cli env FILE choose NAME" is kept in the
// user-interface store under the document's identifier, as the application
// keeps it (the document itself is not changed). Makes that environment current in `document`; with
// no choice remembered (or a choice that no longer exists), the first
// environment by name. Returns the current environment, or null when the
// document has none.
HXEnvironment *restoreSelectedEnvironment(HXDocument &document);
void rememberSelectedEnvironment(const HXDocument &document, const HXEnvironment *environment);
// The environment of that name, or null.
HXEnvironment *environmentNamed(HXDocument &document, const QString &name);
// Makes the environment `name` current (the remembered one when `name` is
// empty). When there is no such environment, says so on stderr as
// "<command>: no environment ..." and returns false.
bool useEnvironmentOrReport(HXDocument &document, const QString &name, const QString &command, const QString &path);
} // namespace HXCLI
