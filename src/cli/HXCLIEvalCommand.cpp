#include "HXCLICommand.h"
#include "HXDynamicValueContext.h"
#include "HXDynamicValueEngine.h"
#include "HXRequestEvaluationContext.h"
#include "HXStringEncoding.h"

// kea-cli eval [--encoding NAME] [--display] [--] STORED_TEXT
//
// Evaluates a stored dynamic string (plain text, or the JSON array form with
// tokens) in a fresh evaluation context and writes the resulting bytes to
// stdout, exactly, with no newline added. --display writes the text shown in
// the editor instead (each token's display string), as UTF-8.

namespace {

int runEval(const QStringList &arguments)
{
    HXStringEncoding encoding = HXStringEncoding::UTF8;
    bool display = false;
    std::optional<QString> storedText;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (!optionsEnded && argument == u"--") {
            optionsEnded = true;
        } else if (!optionsEnded && argument == u"--display") {
            display = true;
        } else if (!optionsEnded && argument == u"--encoding") {
            if (i + 1 >= arguments.size())
                return HXCLI::usageError(QStringLiteral("--encoding needs a charset name"));
            const QString name = arguments.at(++i);
            const std::optional<HXStringEncoding> named = HXStringEncodings::encodingForIANAName(name);
            if (!named)
                return HXCLI::usageError(QStringLiteral("unknown encoding '%1'").arg(name));
            encoding = *named;
        } else if (!optionsEnded && argument.startsWith(u'-') && argument.size() > 1) {
            return HXCLI::usageError(QStringLiteral("eval: unknown option '%1' (put -- before a text that begins "
                                                    "with a dash)")
                                         .arg(argument));
        } else if (storedText) {
            return HXCLI::usageError(QStringLiteral("eval takes one stored text (quote it)"));
        } else {
            storedText = argument;
        }
    }
    if (!storedText)
        return HXCLI::usageError(QStringLiteral("eval needs a stored text"));

    QByteArray output;
    const auto factory = [encoding] {
        auto context = std::make_shared<HXRequestEvaluationContext>();
        context->setCurrentStringEncoding(encoding);
        return HXDynamicValueContextPtr(context);
    };
    HXDynamicValueContext::context(factory, [&] {
        if (display)
            output = HXDynamicValueEngine::displayStringFromString(*storedText).toUtf8();
        else
            output = HXDynamicValueEngine::evaluateStringAsData(*storedText, encoding);
    });
    HXCLI::writeOut(output);
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("eval"),
    QStringLiteral("eval [--encoding NAME] [--display] [--] STORED_TEXT"),
    QStringLiteral("evaluate a stored dynamic string and write the resulting bytes"),
    runEval,
});
