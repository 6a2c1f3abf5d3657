#pragma once

#include <QUrl>

#include <functional>

class HXDocument;

// Routes a URL of Kea's own scheme (kea://HOST/PATH?QUERY) to a document:
//   kea://current.document/... goes to the frontmost open document, or to a
//     new untitled one when none is open;
//   kea://new.document/... always goes to a new untitled document.
// The document then acts on the URL's path. Any other host, a URL of another
// scheme or one that is not valid is ignored.
class HXURLEventHandler
{
public:
    static constexpr const char *scheme = "kea";

    // Opens and shows a new untitled document; null when none could be made.
    using UntitledDocumentMaker = std::function<HXDocument *()>;

    // Returns the document the URL went to, or null when it was ignored.
    static HXDocument *handleURL(const QUrl &url, const UntitledDocumentMaker &makeUntitledDocument);
    // The same for the text of a URL, as it arrives from the command line.
    static HXDocument *handleURLString(const QString &text, const UntitledDocumentMaker &makeUntitledDocument);

    // Whether a command-line argument is a URL of this scheme rather than a
    // file name.
    static bool isSchemeURL(const QString &argument);

private:
    // Hands the URL to the document, telling it whether it was made for it.
    static void _dispatchToDocument(HXDocument *document, const QUrl &url, bool isNewDocument);
};
