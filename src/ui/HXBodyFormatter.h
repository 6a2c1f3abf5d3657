#pragma once

#include "HXJSONPrintingSettings.h"
#include "HXResponse.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

class HXJSONTree;

// Turns a response body into the text the viewer shows, on a worker thread:
// JSON pretty-printed with the JSON settings (and its item tree kept for the
// outline), XML pretty-printed, anything else decoded in its charset. The
// result comes back on the main thread; a newer request makes older results
// be dropped.
class HXBodyFormatter : public QObject
{
    Q_OBJECT
public:
    struct Input
    {
        QByteArray body;
        HXResponse::BodyTextType type = HXResponse::BodyTextTypeText;
        HXStringEncoding encoding = HXStringEncoding::UTF8;
        HXJSONPrintingSettings jsonSettings;
    };
    struct Result
    {
        QString text;
        std::vector<qsizetype> lineStarts;
        qsizetype longestLine = 0;
        std::shared_ptr<const HXJSONTree> jsonTree;
        bool formatted = false; // false: shown as received (not well-formed)
    };

    explicit HXBodyFormatter(QObject *parent = nullptr);

    // Starts formatting; `done` runs on this object's thread unless another
    // format() was started in the meantime, and may take the result apart
    // (its line offsets are large for large bodies: move them, never copy).
    void format(Input input, std::function<void(Result &)> done);
    // The work itself, on the calling thread.
    static Result formatNow(const Input &input);
    bool isBusy() const { return m_running > 0; }

private:
    quint64 m_generation = 0;
    int m_running = 0;
};
