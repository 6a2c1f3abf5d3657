#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QString>

#include <functional>

namespace HXTest {

// Runs the event loop until `condition` holds or `timeoutMs` passes; returns
// whether the condition held.
bool waitUntil(const std::function<bool()> &condition, int timeoutMs = 5000);

// Reads a whole file; an empty array when it cannot be read.
QByteArray readFile(const QString &path);
bool writeFile(const QString &path, const QByteArray &bytes);

// `data` compressed in the gzip format, as servers send it.
QByteArray gzip(const QByteArray &data);

// The shared public test corpora beside the repository, or an empty string
// when that folder is absent (tests then skip, saying so).
QString testDataPath(const QString &relative);

} // namespace HXTest
