// libFuzzer target for URL-encoded text: any text must convert to rows under
// every option without crashing; rows written back to text must read back as
// the same rows; and both colouring parsers must give ranges inside the text.
// The first byte chooses the options, the rest is the text (UTF-8).

#include "HXURLEncodedStringParser.h"
#include "HXURLEncodedTextParser.h"

#include <QCoreApplication>

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition)
{
    if (!condition)
        std::abort();
}

bool sameRows(const QList<HXURLEncodedRow> &a, const QList<HXURLEncodedRow> &b)
{
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        if (!(a[i].name == b[i].name) || !(a[i].value == b[i].value))
            return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const uint8_t flags = data[0];
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data + 1), qsizetype(size - 1));
    const HXDynamicString string(text);

    HXURLEncodedStringParser::Options options;
    options.usePlusForSpaces = flags & 1;
    options.withPath = flags & 2;
    options.addEmptyRowIfNecessary = flags & 4;
    if (flags & 8) {
        options.objectsSeparator = QStringLiteral(";");
        options.valueSeparator = QStringLiteral(":");
    }
    const QList<HXURLEncodedRow> rows = HXURLEncodedStringParser::rowsForString(string, options);

    // Written without a URL and read back plainly, the rows come back.
    HXURLEncodedStringParser::Options plain = options;
    plain.withPath = false;
    plain.addEmptyRowIfNecessary = false;
    QList<HXURLEncodedRow> written = rows;
    if (options.addEmptyRowIfNecessary && !written.isEmpty())
        written.removeLast();
    const HXDynamicString encoded = HXURLEncodedStringParser::stringForRows(written, plain);
    check(sameRows(HXURLEncodedStringParser::rowsForString(encoded, plain), written));

    // With the text as the URL, the front part is kept.
    HXURLEncodedStringParser::Options withURL = plain;
    withURL.pathFromURLValue = QVariant::fromValue(string);
    (void)HXURLEncodedStringParser::stringForRows(written, withURL);

    HXURLEncodedTextParser textParser;
    textParser.setStringBlock([&] { return string; });
    textParser.applyAttributesInRange({0, string.length()}, [&](int, HXTextRange range) {
        check(range.location >= 0 && range.length >= 0 && range.end() <= string.length());
    });
    HXTextRange pair;
    (void)textParser.keyPathForObjectAtRange({string.length() / 2, 0}, &pair);

    HXURLEncodedStringParser urlParser;
    urlParser.setStringBlock([&] { return string; });
    urlParser.applyAttributesInRange({0, string.length()}, [&](int, HXTextRange range) {
        check(range.location >= 0 && range.length >= 0 && range.end() <= string.length());
    });
    return 0;
}
