#pragma once

#include <QString>

// The --engine option shared by the commands that send: "own", "libcurl" or
// "qt", and the stored engine identifier each stands for.
namespace HXCLIEngineOption {

// "own|libcurl|qt", for usage lines.
QString choices();
// The engine identifier for an option value, or a null string when the value
// names no engine.
QString identifierForName(const QString &name);
// The engine identifiers in menu order, with their option names.
QList<std::pair<QString, QString>> namesAndIdentifiers();

} // namespace HXCLIEngineOption
