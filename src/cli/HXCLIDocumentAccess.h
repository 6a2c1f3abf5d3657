#pragma once

#include "HXDocument.h"

#include <memory>

// Opening documents for kea-cli commands: a missing, unreadable or malformed
// file gives one line on stderr and a null document (exit with
// HXCLIExitUsage); the file is never written in that case.
namespace HXCLI {
std::unique_ptr<HXDocument> openDocumentOrReport(const QString &path);
// Saves, or reports the failure on stderr and returns false.
bool saveDocumentOrReport(HXDocument &document, const QString &path);
} // namespace HXCLI
