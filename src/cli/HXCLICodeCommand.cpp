#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCodeGenerator.h"
#include "HXRequest.h"
#include "HXUserDefaults.h"

// kea-cli code FILE REQUEST [--lang L] [--env NAME]
//
// Prints code that sends the request as Kea would send it (in the chosen or
// remembered environment): a cURL or HTTPie command, or a Python,
// JavaScript or Go program. Without --lang, the language of the
// "HXUserDefaultShowRequestsCode" setting. The cURL options follow the
// settings, and comments follow "HXUserDefaultCodeAddComments".

namespace {

const QString usage = QStringLiteral("usage: kea-cli code FILE REQUEST [--lang curl|httpie|python|javascript|go] "
                                     "[--env NAME]");

int runCode(const QStringList &arguments)
{
    QStringList positional;
    std::optional<QString> environmentName;
    QString languageName =
        HXUserDefaults::standardUserDefaults().stringForKey(QStringLiteral("HXUserDefaultShowRequestsCode"));
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if ((argument == u"--lang" || argument == u"--env") && i + 1 >= arguments.size())
            return HXCLI::usageError(QStringLiteral("%1 needs a value").arg(argument));
        if (argument == u"--lang")
            languageName = arguments.at(++i);
        else if (argument == u"--env")
            environmentName = arguments.at(++i);
        else if (argument.startsWith(u"--"))
            return HXCLI::usageError(QStringLiteral("code: unknown option '%1'").arg(argument));
        else
            positional.append(argument);
    }
    if (positional.size() != 2)
        return HXCLI::usageError(usage);
    const auto language = HXCodeGenerator::languageNamed(languageName);
    if (!language)
        return HXCLI::usageError(QStringLiteral("code: unknown language '%1' (known: %2)")
                                     .arg(languageName, HXCodeGenerator::languageNames().join(QStringLiteral(", "))));

    auto document = HXCLI::openDocumentOrReport(positional.at(0));
    if (!document)
        return HXCLIExitUsage;
    QString error;
    HXRequest *request = HXCLI::findRequest(*document, positional.at(1), error);
    if (request == nullptr)
        return HXCLI::usageError(error);
    if (!HXCLI::useEnvironmentOrReport(*document, environmentName.value_or(QString()), QStringLiteral("code"),
                                       positional.at(0)))
        return HXCLIExitUsage;
    const HXCodeRequest code = HXCodeGenerator::codeRequest(request, document.get());
    if (code.url.isEmpty())
        return HXCLI::usageError(QStringLiteral("code: the URL of '%1' is not valid").arg(request->name()));
    HXCLI::writeOut(HXCodeGenerator::generate(*language, code, HXCodeOptions::fromUserDefaults()));
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("code"),
    QStringLiteral("code FILE REQUEST [--lang curl|httpie|python|javascript|go] [--env NAME]"),
    QStringLiteral("print code that sends a request: a cURL or HTTPie command, Python, JavaScript or Go"),
    runCode,
    QStringLiteral("Options:\n"
                   "  --lang L     curl, httpie, python (requests), javascript (fetch) or go (net/http);\n"
                   "               the \"show requests code\" setting when not given\n"
                   "  --env NAME   evaluate in this environment (else the one chosen with 'env choose')\n"
                   "The cURL command follows the cURL settings (long options, verbose, indent)."),
});
