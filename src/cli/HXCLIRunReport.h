#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

// The outcome of one "kea-cli send" run as a CI report: one test case per
// request, written as JUnit XML (the common form that CI servers read) or as
// JSON.
class HXCLIRunReport
{
public:
    enum class Outcome {
        Passed,
        Failed,  // a 4xx or 5xx response while --fail is given
        Error,   // no response: the request could not be sent or received
        Skipped, // not sent: an earlier failure stopped the run (--bail)
    };

    struct Case
    {
        QString name;
        QString folder; // "Folder/Sub"; empty at the top level
        QString uuid;
        QString method;
        QString url;
        int statusCode = 0; // 0 without a response
        QString statusLine;
        double seconds = 0;
        Outcome outcome = Outcome::Skipped;
        QString message; // why it failed, one line
        QString details; // more text for a failure or error
    };

    QString suiteName; // the document's file name
    QDateTime started;
    double seconds = 0;
    QList<Case> cases;

    int count(Outcome outcome) const;

    QByteArray junitXML() const;
    QByteArray json() const;

    // Writes the bytes to `path` (replacing it); false with a one-line
    // `error` naming the file.
    static bool writeFile(const QString &path, const QByteArray &bytes, QString &error);
};
