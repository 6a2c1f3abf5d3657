// kea-cli complete: lists the completions the request editors offer for a
// word, heaviest first, one per line with its weight and description.

#include "HXCLICommand.h"
#include "HXCompletionManager.h"

namespace {

const char completeUsage[] = "usage: kea-cli complete CATEGORY [--filter F] [PREFIX]";

int runComplete(const QStringList &arguments)
{
    std::optional<QString> filter;
    QStringList words;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == u"--filter" && i + 1 < arguments.size()) {
            filter = arguments.at(++i);
            continue;
        }
        if (argument.startsWith(u'-') && argument != u"-")
            return HXCLI::usageError(QString::fromLatin1(completeUsage));
        words.append(argument);
    }
    if (words.isEmpty() || words.size() > 2)
        return HXCLI::usageError(QString::fromLatin1(completeUsage));
    const QString prefix = words.value(1);
    HXCompletionManager *manager = HXCompletionManager::sharedCompletionManager();
    if (manager->database() == nullptr) {
        HXCLI::writeErr(QStringLiteral("kea-cli: complete: the completion store %1 cannot be opened\n")
                            .arg(manager->databasePath()));
        return HXCLIExitFailure;
    }
    QString out;
    for (const auto &entry : manager->completionsForWord(prefix, {}, words.first(), filter)) {
        // One entry per line: control characters would break the layout.
        auto clean = [](QString text) {
            for (QChar &c : text) {
                if (c.category() == QChar::Other_Control)
                    c = u' ';
            }
            return text;
        };
        out += QStringLiteral("%1\t%2").arg(clean(entry->word())).arg(entry->weight());
        if (!entry->comment().isEmpty())
            out += u'\t' + clean(entry->comment());
        out += u'\n';
    }
    HXCLI::writeOut(out);
    return HXCLIExitSuccess;
}

const bool registered = HXCLICommandRegistry::add(
    {QStringLiteral("complete"), QStringLiteral("complete CATEGORY [--filter F] [PREFIX]"),
     QStringLiteral("list the completions offered for PREFIX (header names: HXCompletionCategoryHTTPRequestHeaders)"),
     runComplete});

} // namespace
