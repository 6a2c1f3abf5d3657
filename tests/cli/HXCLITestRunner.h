#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

// What a run of the built kea-cli gave: exit status (-1 when it crashed or
// did not finish) and both output streams.
struct HXCLIRun
{
    int status = -1;
    QByteArray out;
    QByteArray err;
};

// Runs kea-cli as a separate process, the way users and scripts do, with
// `input` on its standard input.
inline HXCLIRun HXRunCLI(const QStringList &arguments, const QByteArray &input = QByteArray(),
                         const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
                         int timeoutMs = 30000)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(KEA_CLI_PATH), arguments);
    HXCLIRun run;
    if (!process.waitForStarted(timeoutMs))
        return run;
    if (!input.isEmpty())
        process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
    }
    run.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}
