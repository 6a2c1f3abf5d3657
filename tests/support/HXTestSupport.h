#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QProcess>
#include <QString>

#include <functional>

namespace HXTest {

// Runs the event loop until `condition` holds or `timeoutMs` passes; returns
// whether the condition held.
bool waitUntil(const std::function<bool()> &condition, int timeoutMs = 5000);

// Reads a whole file; an empty array when it cannot be read.
QByteArray readFile(const QString &path);
bool writeFile(const QString &path, const QByteArray &bytes);

// A TCP port free on 127.0.0.1 at this moment, or 0.
quint16 freeLoopbackPort();
// Waits until `process` accepts connections on 127.0.0.1:`port`; false when
// it stopped or the time ran out.
bool waitUntilAccepting(const QProcess &process, quint16 port, int timeoutMs = 5000);
// Stops a helper program started by a test: terminate, then kill.
void stopProcess(QProcess *process);

// The shared public test corpora beside the repository, or an empty string
// when that folder is absent (tests then skip, saying so).
QString testDataPath(const QString &relative);

} // namespace HXTest
