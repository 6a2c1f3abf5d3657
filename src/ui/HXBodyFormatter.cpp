#include "HXBodyFormatter.h"

#include "HXJSONOutput.h"
#include "HXJSONParser.h"
#include "HXLargeTextView.h"
#include "HXXMLString.h"

#include <QPointer>
#include <QThreadPool>

HXBodyFormatter::HXBodyFormatter(QObject *parent) : QObject(parent) {}

HXBodyFormatter::Result HXBodyFormatter::formatNow(const Input &input)
{
    Result result;
    if (input.type == HXResponse::BodyTextTypeJSON) {
        std::unique_ptr<HXJSONParser> parser = HXJSONParser::fromUtf8(input.body);
        input.jsonSettings.configure(parser->printer());
        QByteArray printed;
        printed.reserve(input.body.size() + input.body.size() / 2);
        bool ok = false;
        {
            HXJSONOutput output([&printed](const char *bytes, qsizetype size) { printed.append(bytes, size); });
            ok = parser->printRoot(output);
        }
        if (ok && parser->isWellFormed()) {
            result.text = QString::fromUtf8(printed);
            result.formatted = true;
            if (parser->root())
                result.jsonTree = parser->root()->tree();
        }
    } else if (input.type == HXResponse::BodyTextTypeXML || input.type == HXResponse::BodyTextTypeHTML) {
        if (std::optional<QByteArray> printed = HXXMLString::prettyPrintXML(input.body, "  ", true, nullptr)) {
            result.text = QString::fromUtf8(*printed);
            result.formatted = true;
        }
    }
    if (!result.formatted) {
        std::optional<QString> decoded = HXStringEncodings::decode(input.body, input.encoding);
        result.text = decoded ? *decoded : QString::fromLatin1(input.body);
    }
    result.lineStarts = HXLargeTextView::lineStartsOf(result.text, &result.longestLine);
    return result;
}

void HXBodyFormatter::format(Input input, std::function<void(Result &)> done)
{
    const quint64 generation = ++m_generation;
    ++m_running;
    QPointer<HXBodyFormatter> self(this);
    QThreadPool::globalInstance()->start([self, generation, input = std::move(input), done = std::move(done)] {
        auto result = std::make_shared<Result>(formatNow(input));
        QObject *receiver = self.data();
        if (receiver == nullptr)
            return;
        QMetaObject::invokeMethod(
            receiver,
            [self, generation, result, done] {
                if (!self)
                    return;
                --self->m_running;
                if (generation == self->m_generation)
                    done(*result);
            },
            Qt::QueuedConnection);
    });
}
